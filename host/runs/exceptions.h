// What an exception means to the user: for all that the program throws, one failure.
#pragma once

#include "host/text/failure.h"

#include <string>

namespace talvora::host {

// Where the work stood that an exception broke off.
struct WorkPlace {
    std::string input = {};  // said in front where the exception names no file; may be empty
    std::string output = {}; // on the way to it; empty: nothing was being written
};

// The failure for the exception that is being handled, one of the standard library's kind.
Failure explain_exception(const WorkPlace& place = {});

} // namespace talvora::host
