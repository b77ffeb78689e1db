#include "host/cli/printed_files.h"

#include "host/text/failure.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <system_error>

namespace talvora::host {

void write_text_file(const Console& console, const std::string& output, const WriteOptions& options,
                     const std::function<void(const TextSink&)>& work) {
    if (output == "-") {
        // What goes wrong is found when the program has ended its work (finish_standard_output).
        work([](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); });
        return;
    }
    PendingFile pending(output, options);
    std::ofstream stream(pending.path(), std::ios::binary);
    work([&](std::string_view text) { stream << text; });
    if (!stream.flush()) {
        throw Failure(ExitCode::Output,
                      output + ": cannot be written: " + std::generic_category().message(errno));
    }
    publish(console, pending);
}

void publish(const Console& console, PendingFile& pending) {
    for (const std::string& note : pending.publish()) {
        console.warning(note);
    }
}

} // namespace talvora::host
