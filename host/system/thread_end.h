// What unwinds the stack when a thread ends in the midst of its calls, by pthread_exit or because
// it is cancelled. Functions of a caller's may do that, such as those of an interpreter that is
// about to end. It is no exception: who catches everything has to throw it on, or the process ends.
#pragma once

#include <cxxabi.h>

namespace talvora::host {

using ThreadEnd = abi::__forced_unwind;

} // namespace talvora::host
