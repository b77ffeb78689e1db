// The checks of the validator: each a row of data and a function that runs in a process
// of its own.
#pragma once

#include "host/validate/check_settings.h"

#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// How a plug-in stands to a check, the best first.
enum class Verdict { Pass, Skipped, Warn, Fail, Crash, TimeOut };
const char* name_of(Verdict verdict); // "pass", ..., "time-out"
// Whether a plug-in with this verdict keeps to the interface.
bool is_good(Verdict verdict);

// What one check finds, told as it goes: whatever was told before a crash is kept.
class Examination {
  public:
    // Receives "at", "fail", "warn", "skip" or "value", and one line of text.
    using Sink = std::function<void(std::string_view kind, std::string_view text)>;

    // `self`: the words that start this program on a check; the check's id, the file of the
    // plug-in and the settings follow them.
    Examination(std::filesystem::path file, std::vector<std::string> self,
                const CheckSettings& settings, Sink sink)
        : file_(std::move(file)), self_(std::move(self)), settings_(settings),
          sink_(std::move(sink)) {}

    const std::filesystem::path& file() const { return file_; }
    const std::vector<std::string>& self() const { return self_; }
    const CheckSettings& settings() const { return settings_; }

    // What is under way; stands in front of what is found there.
    void at(std::string where);
    const std::string& where() const { return where_; }
    void fail(std::string_view text) { tell("fail", text); }
    void warn(std::string_view text) { tell("warn", text); }
    void expect(bool is_met, std::string_view otherwise);
    // The reason why nothing, or not everything, could be examined. The first one counts.
    void skip(std::string_view reason);
    // For the check that started this one.
    void give(std::string_view value) { sink_("value", value); }

  private:
    void tell(std::string_view kind, std::string_view text);

    std::filesystem::path file_;
    std::vector<std::string> self_;
    CheckSettings settings_;
    Sink sink_;
    std::string where_;
    std::vector<std::string> told_;
    bool is_skipped_ = false;
};

struct Check {
    std::string_view id;          // "stage.what-is-checked"
    std::string_view description; // one line: what a good plug-in does
    void (*run)(Examination& examination);
};

// In the order in which they are run and shown.
std::span<const Check> all_checks();
// A listed check, or one that others start; null when there is none.
const Check* find_check(std::string_view id);

} // namespace talvora::host
