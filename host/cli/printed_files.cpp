#include "host/cli/printed_files.h"

#include "host/system/pending_cleanup.h"
#include "host/system/standard_output.h"
#include "host/text/control_characters.h"
#include "host/text/failure.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <system_error>
#include <unistd.h>

namespace talvora::host {
namespace {

// What goes wrong is found when the program has ended its work (finish_standard_output).
void send_as_it_is(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

// Names in the text do nothing to the terminal that shows it.
void send_to_terminal(std::string_view text) {
    send_as_it_is(blank_controls(text, "\t\n"));
}

TextSink choose_standard_output() {
    return isatty(STDOUT_FILENO) != 0 ? send_to_terminal : send_as_it_is;
}

} // namespace

void write_text_file(const Console& console, const std::string& output, const WriteOptions& options,
                     const std::function<void(const TextSink&)>& work) {
    if (output == "-") {
        work(choose_standard_output());
        return;
    }
    PendingFile pending(output, options);
    std::ofstream stream(name_to_open(pending.path()), std::ios::binary);
    work([&](std::string_view text) { stream << text; });
    if (!stream.flush()) {
        throw Failure(ExitCode::Output,
                      output + ": cannot be written: " + std::generic_category().message(errno));
    }
    publish(console, pending);
}

std::string name_text_file(const std::string& output) {
    return output == "-" ? "" : output;
}

void publish(const Console& console, PendingFile& pending) {
    for (const std::string& note : pending.publish()) {
        console.warning(note);
    }
}

void finish_printing() {
    finish_standard_output(is_any_file_in_place() ? "; what was written to files is complete" : "");
}

} // namespace talvora::host
