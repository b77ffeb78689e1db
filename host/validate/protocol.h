// What a check that runs in a process of its own tells the one that started it: lines that
// no plug-in prints by chance, so that what it does print does no harm.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

struct ToldLine {
    std::string kind; // as Examination::Sink has it, "fault" or "done"
    std::string text;
};

// With a line end in front too: a plug-in may leave a line unfinished.
std::string format_line(std::string_view kind, std::string_view text);
// The lines of an output. One that is none of ours is of the kind "other".
std::vector<ToldLine> parse_lines(const std::string& output);

} // namespace talvora::host
