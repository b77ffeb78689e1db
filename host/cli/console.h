// What the program prints: results on standard output, everything else on standard
// error, one line each.
//
// The verb of a function says where the text that it makes goes: see CONTRIBUTING.md, Style.
#pragma once

#include "host/text/failure.h"
#include "host/text/message_level.h"

#include <nlohmann/json.hpp>

#include <string_view>

namespace talvora::host {

class Console {
  public:
    // Colours when standard error is a terminal, unless NO_COLOR is set.
    Console();

    void set_quiet(bool quiet) { quiet_ = quiet; }         // leaves info lines away
    void set_verbose(bool verbose) { verbose_ = verbose; } // adds detail lines
    bool quiet() const { return quiet_; }
    void set_json(bool json) { json_ = json; } // failures are results too, as JSON

    // "error: TEXT" and the like. A line end or another control character in a text becomes a
    // blank, so that a message stays one line and does nothing to the terminal.
    void print(MessageLevel level, std::string_view text) const;
    void error(std::string_view text) const { print(MessageLevel::Error, text); }
    void warning(std::string_view text) const { print(MessageLevel::Warning, text); }
    void info(std::string_view text) const { print(MessageLevel::Info, text); }
    void hint(std::string_view text) const { print(MessageLevel::Hint, text); }
    void detail(std::string_view text) const { print(MessageLevel::Detail, text); }
    // The failure's text and its hints, at most two.
    void failure(const Failure& failure) const;
    // Under --json the failure as one line on standard output; else nothing. For a command that has
    // told it on standard error already.
    void failure_line(const Failure& failure) const;

    // A line of a table below an error, as it is.
    void note(std::string_view line) const;

    // Of any number of lines; other control characters become blanks.
    void result(std::string_view text) const;
    // One line, whatever the names in it hold.
    void result_line(std::string_view line) const;
    // A result that only tells what was done: left away with --quiet.
    void done_line(std::string_view line) const;
    // NaN and infinities as null; bytes that are no UTF-8 replaced, control characters escaped.
    void document(const nlohmann::ordered_json& json) const; // indented
    void json_line(const nlohmann::ordered_json& json) const;

  private:
    bool is_shown(MessageLevel level) const;

    bool quiet_ = false;
    bool verbose_ = false;
    bool json_ = false;
    bool coloured_ = false;
};

} // namespace talvora::host
