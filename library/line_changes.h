// Changing every line of an array, into another one or in place, by several threads.
#pragma once

#include "dsp/run.h"
#include "library/array_lines.h"
#include "library/talvora/talvora.h"
#include "library/workers.h"

#include <functional>

namespace talvora::library {

// Makes of lines what they are to become, in place or from one place to another: neighbouring
// samples are adjacent.
template <class Sample>
using LineChange = std::function<void(dsp::Runs<Sample> lines)>;

// Makes of every line of the input what `make_change` made does with it, and puts that in the
// output. A change is made for each thread, and is handed blocks of lines; in long lines it asks to
// go on. Of the options workers and the stop count; exceptions are as in run_blocks.
//
// Lines of which neighbouring samples are not adjacent in the input are gathered first, and put
// where they belong afterwards where they are not in the output. Takes no memory of size but a copy
// of up to 16 lines for each thread in the latter case.
template <class Sample>
void change_lines(const ArrayLines& lines, const talvora_filter_options& options,
                  const std::function<LineChange<Sample>(const AskToGoOn&)>& make_change);

} // namespace talvora::library
