#include "host/validate/validator.h"

#include "host/text/failure.h"
#include "host/text/parse_number.h"
#include "host/text/path_glob.h"
#include "host/text/plural.h"
#include "host/validate/child_process.h"
#include "host/validate/guarded_heap.h"
#include "host/validate/protocol.h"
#include "host/validate/work_folder.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <system_error>

namespace talvora::host {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t MAX_FINDINGS = 8;
constexpr std::size_t MAX_LAST_WORDS = 200; // bytes of what the library printed last
constexpr std::uint64_t MANY_BYTES = 4096;  // printed besides: worth a word
constexpr double MIN_SECONDS = 0.01;
constexpr double MAX_SECONDS = 86400;

// What a child told, in parts.
struct Story {
    std::string last_place;
    std::vector<std::string> failures, warnings, reasons_to_skip;
    std::string fault;
    std::string slot;       // "in read_samples", "after read_string"
    std::string last_words; // the last line that the library printed
    bool is_done = false;
};

// Where a kind of line is kept: the last one, or all. A kind without a row is counted alone.
struct TextOfKind {
    std::string_view kind;
    std::string Story::*text;
};
constexpr TextOfKind TEXTS[] = {{"at", &Story::last_place},
                                {"fault", &Story::fault},
                                {"slot", &Story::slot},
                                {"other", &Story::last_words}};

struct ListOfKind {
    std::string_view kind;
    std::vector<std::string> Story::*list;
};
constexpr ListOfKind LISTS[] = {
    {"fail", &Story::failures}, {"warn", &Story::warnings}, {"skip", &Story::reasons_to_skip}};

void keep(const ToldLine& line, Story& story) {
    for (const auto& [kind, text] : TEXTS) {
        if (kind == line.kind) {
            story.*text = line.text;
        }
    }
    for (const auto& [kind, list] : LISTS) {
        if (kind == line.kind) {
            (story.*list).push_back(line.text);
        }
    }
    story.is_done = story.is_done || line.kind == "done";
}

Story read_story(const std::string& output) {
    Story story;
    for (const ToldLine& line : parse_lines(output)) {
        keep(line, story);
    }
    return story;
}

// The last line that the library printed, and how much more it printed.
std::string quote_last_words(const Story& story, const ChildOutcome& outcome) {
    const std::string begin = story.last_words.substr(0, MAX_LAST_WORDS);
    const std::uint64_t more =
        outcome.unkept_bytes + static_cast<std::uint64_t>(story.last_words.size() - begin.size());
    return more < MANY_BYTES ? begin
                             : fmt::format("{} (and {} more)", begin, count_things(more, "byte"));
}

// What a crash leaves to be said: where, how, in or after which slot, and on what block or with
// which last words.
std::string describe_crash(const Story& story, const ChildOutcome& outcome) {
    std::string text = outcome.reason;
    if (!story.last_place.empty()) {
        text = story.last_place + ": " + text;
    }
    if (!story.slot.empty()) {
        text += " " + story.slot;
    }
    const std::string more = story.fault.empty() ? quote_last_words(story, outcome) : story.fault;
    return more.empty() ? text : text + ": " + more;
}

std::string place_of(const Story& story) {
    return story.last_place.empty() ? "" : story.last_place + ": ";
}

std::string describe_left(std::size_t processes) {
    return processes == 1 ? "leaves a process behind"
                          : fmt::format("leaves {} processes behind", processes);
}

void judge(const Story& story, const ChildOutcome& outcome, CheckResult& result) {
    const auto set = [&](Verdict verdict, const std::string& finding) {
        result.verdict = verdict;
        result.findings.push_back(finding);
    };
    if (outcome.end == ChildOutcome::End::Crashed) {
        set(Verdict::Crash, describe_crash(story, outcome));
    } else if (outcome.end == ChildOutcome::End::TimedOut) {
        set(Verdict::TimeOut, place_of(story) + "does not come back in time");
    } else if (!story.is_done) {
        set(Verdict::Fail, fmt::format("{}ends the process with exit code {}", place_of(story),
                                       outcome.exit_code));
    } else if (outcome.left_processes > 0) {
        set(Verdict::Fail, describe_left(outcome.left_processes));
    } else if (!story.failures.empty()) {
        result.verdict = Verdict::Fail;
    } else if (!story.warnings.empty()) {
        result.verdict = Verdict::Warn;
    } else if (!story.reasons_to_skip.empty()) {
        result.verdict = Verdict::Skipped;
    }
}

void shorten(std::vector<std::string>& findings) {
    if (findings.size() <= MAX_FINDINGS) {
        return;
    }
    const std::size_t more = findings.size() - MAX_FINDINGS;
    findings.resize(MAX_FINDINGS);
    findings.push_back(fmt::format("and {} more", more));
}

ChildOutcome run_in_child(const Check& check, const ValidatorOptions& options,
                          const std::string& folder) {
    std::vector<std::string> command = options.self;
    command.emplace_back(check.id);
    command.push_back(fs::absolute(options.plugin).string());
    std::ranges::move(list_words(options.settings), std::back_inserter(command));
    return run_child(command, options.limit, folder);
}

CheckResult make_result(const Check& check, const ChildOutcome& outcome) {
    const Story story = read_story(outcome.output);
    CheckResult result{&check, Verdict::Pass, {}};
    judge(story, outcome, result);
    for (const auto* findings : {&story.failures, &story.warnings, &story.reasons_to_skip}) {
        std::ranges::copy(*findings, std::back_inserter(result.findings));
    }
    shorten(result.findings);
    return result;
}

std::string_view stage_of(const Check& check) {
    return check.id.substr(0, check.id.find('.'));
}

// The stages that call an operation which another check has called before. Where that one
// did not come back, these would not either.
struct Dependence {
    std::string_view stage;
    std::string_view first;
};
constexpr Dependence DEPENDENCES[] = {
    {"tables", "library.loads"},     {"declare", "library.loads"},
    {"run", "library.loads"},        {"records", "library.loads"},
    {"calls", "library.loads"},      {"process", "library.loads"},
    {"declare", "declare.ordinary"}, {"run", "declare.ordinary"},
    {"records", "declare.ordinary"}, {"calls", "declare.ordinary"},
    {"process", "declare.ordinary"}, {"run", "run.ordinary"},
    {"records", "run.ordinary"},     {"calls", "run.ordinary"},
    {"process", "run.ordinary"}};

const CheckResult* find_obstacle(const Check& check, const std::vector<CheckResult>& results) {
    for (const Dependence& dependence : DEPENDENCES) {
        for (const CheckResult& result : results) {
            if (dependence.stage == stage_of(check) && dependence.first == result.check->id &&
                result.verdict == Verdict::TimeOut) {
                return &result;
            }
        }
    }
    return nullptr;
}

CheckResult skip_after(const Check& check, const CheckResult& obstacle) {
    return {&check, Verdict::Skipped, {fmt::format("{} ran out of time", obstacle.check->id)}};
}

// Without the addresses for the guarded heap no check could begin.
void expect_enough_addresses() {
    constexpr std::size_t GIB = std::size_t{1} << 30;
    constexpr std::size_t NEEDED = GuardedHeap::ADDRESS_COUNT + 5 * GIB;
    const auto limit = read_address_limit();
    if (limit && *limit < NEEDED) {
        throw Failure(ExitCode::Output,
                      fmt::format("the limit of address space (ulimit -v) is {:.1f} GiB (allowed: "
                                  "{} or more: freed memory stays closed, so that its use shows)",
                                  static_cast<double>(*limit) / static_cast<double>(GIB),
                                  NEEDED / GIB),
                      {"start it from a shell without that limit"});
    }
}

} // namespace

std::vector<const Check*> select_checks(std::string_view only) {
    std::vector<const Check*> checks;
    for (const Check& check : all_checks()) {
        if (matches_path(only, check.id)) {
            checks.push_back(&check);
        }
    }
    if (checks.empty()) {
        throw Failure(ExitCode::Usage, fmt::format("no check matches '{}'", only),
                      {"list them: talvora-host validate --list"});
    }
    return checks;
}

std::chrono::milliseconds read_time_limit(std::string_view option, std::string_view seconds) {
    const auto value = parse_number<double>(seconds);
    if (!value || !(*value >= MIN_SECONDS && *value <= MAX_SECONDS)) {
        throw Failure(ExitCode::Usage,
                      fmt::format("{}: '{}' is no number of seconds (allowed: {} to {})", option,
                                  seconds, MIN_SECONDS, MAX_SECONDS));
    }
    return std::chrono::milliseconds(static_cast<std::int64_t>(1000 * *value));
}

std::vector<CheckResult> validate(const ValidatorOptions& options,
                                  const std::function<void(const CheckResult&)>& on_result) {
    const auto checks = select_checks(options.only);
    std::error_code ignored;
    if (!fs::is_regular_file(options.plugin, ignored)) {
        throw Failure(ExitCode::Plugin,
                      fmt::format("{}: no such plug-in library", options.plugin.string()));
    }
    expect_enough_addresses();
    const InterruptionsHeldBack held_back;
    const WorkFolder folder;
    std::vector<CheckResult> results;
    for (const Check* check : checks) {
        if (const CheckResult* obstacle = find_obstacle(*check, results)) {
            results.push_back(skip_after(*check, *obstacle));
        } else {
            const ChildOutcome outcome = run_in_child(*check, options, folder.path());
            if (outcome.end == ChildOutcome::End::Interrupted) {
                break;
            }
            results.push_back(make_result(*check, outcome));
        }
        on_result(results.back());
    }
    return results;
}

std::string summarise(const std::vector<CheckResult>& results) {
    std::map<Verdict, std::size_t> counts;
    for (const CheckResult& result : results) {
        ++counts[result.verdict];
    }
    std::string text = fmt::format("{} checks:", results.size());
    for (const auto& [verdict, count] : counts) {
        text += fmt::format("{} {} {}", text.ends_with(':') ? "" : ",", count, name_of(verdict));
    }
    return text;
}

bool all_good(const std::vector<CheckResult>& results) {
    return std::ranges::all_of(results,
                               [](const CheckResult& result) { return is_good(result.verdict); });
}

} // namespace talvora::host
