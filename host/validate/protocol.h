// What a check that runs in a process of its own tells the one that started it: lines that
// no plug-in prints by chance, so that what it does print does no harm.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

struct ToldLine {
    std::string kind; // as Examination::Sink has it, "fault", "slot" or "done"
    std::string text;
};

// With a line end in front too: a plug-in may leave a line unfinished.
std::string format_line(std::string_view kind, std::string_view text);
// The lines of an output. One that is none of ours is of the kind "other".
std::vector<ToldLine> parse_lines(const std::string& output);

// What is kept of an output, however long it is: the lines told, up to MAX_TOLD bytes, and
// the last one that is none of ours. Lines are cut at MAX_LINE bytes.
class KeptOutput {
  public:
    static constexpr std::size_t MAX_TOLD = std::size_t{16} << 20;
    static constexpr std::size_t MAX_LINE = std::size_t{64} << 10;

    void append(std::string_view bytes);
    // For parse_lines, the lines told first.
    std::string text() const { return told_ + last_line_ + '\n' + line_; }
    // Of what was printed, line ends aside.
    std::uint64_t unkept_bytes() const { return unkept_bytes_; }

  private:
    void end_line();

    std::string told_;
    std::string last_line_;
    std::string line_; // one that has not ended yet
    std::uint64_t unkept_bytes_ = 0;
};

} // namespace talvora::host
