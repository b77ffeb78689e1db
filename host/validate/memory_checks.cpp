#include "host/validate/memory_checks.h"

#include "host/validate/child_process.h"
#include "host/validate/foreign_locale.h"
#include "host/validate/protocol.h"
#include "host/validate/run_judgements.h"
#include "host/validate/run_visits.h"
#include "host/validate/watched_imports.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <utility>

namespace talvora::host {

namespace {

void check_records(Examination& examination, std::initializer_list<MakePlans> makers,
                   bool of_successes) {
    bool was_seen = false;
    visit_runs(examination, makers,
               [&](const ExaminedUnit&, const RunPlan&, const RunOutcome& outcome) {
                   if (outcome.report.is_success != of_successes) {
                       return;
                   }
                   was_seen = true;
                   expect_freed_records(examination, outcome.report.heap);
               });
    if (!was_seen) {
        examination.skip(fmt::format("no run {}", of_successes ? "succeeded" : "failed"));
    }
}

// Once for each end of the blocks that is guarded to the byte.
void check_buffers_at(Examination& examination, GuardedEnd end) {
    visit_runs(
        examination, {ordinary_runs, runs_on_odd_trees},
        [&](const ExaminedUnit&, const RunPlan&, const RunOutcome& outcome) {
            expect_whole_blocks(examination, outcome.report.heap);
        },
        end);
}

void expect_nothing_held(Examination& examination, const HeapSettlement& heap) {
    if (heap.held_blocks > 0) {
        examination.fail(fmt::format("holds {} more blocks of memory ({} bytes) after each call",
                                     heap.held_blocks, heap.held_bytes));
    }
}

void expect_no_more_mapped(Examination& examination, const CallReport& earlier,
                           const CallReport& later) {
    if (later.mapped_bytes > earlier.mapped_bytes) {
        examination.fail(fmt::format("holds {} more bytes of mapped memory after each call",
                                     later.mapped_bytes - earlier.mapped_bytes));
    }
}

void expect_no_memory_of_calls(Examination& examination, const CallReport& report) {
    for (const std::string& kept : report.kept) {
        examination.fail(kept);
    }
    for (const std::string& problem : report.problems.interface_breaks) {
        examination.fail("only in a later call: " + problem);
    }
    if (!report.thrown.empty()) {
        examination.fail("only in a later call: throws: " + report.thrown);
    }
}

bool is_clean(const CallReport& report) {
    return report.problems.interface_breaks.empty() && report.thrown.empty();
}

void give_all_digests(Examination& examination, GuardedEnd end, unsigned char fill) {
    const ExaminedUnits examined = load_units(examination, end, fill);
    visit_plans(examination, examined, {ordinary_runs, runs_on_odd_trees},
                [&](const ExaminedUnit& unit, const RunPlan& plan) {
                    for (const auto& [path, digest] : try_run(unit, plan).after) {
                        examination.give(
                            fmt::format("{}: '{}' {:016x}", examination.where(), path, digest));
                    }
                });
}

ChildOutcome run_other(const Examination& examination, const std::string& id) {
    std::vector<std::string> command = examination.self();
    command.push_back(id);
    command.push_back(examination.file().string());
    std::ranges::move(list_words(examination.settings()), std::back_inserter(command));
    return run_child(command, std::chrono::minutes(1),
                     std::filesystem::temp_directory_path().string());
}

// Nothing when the output is not that of a check that came to its end.
std::optional<std::vector<std::string>> read_values(const std::string& output) {
    std::vector<std::string> values;
    bool is_done = false;
    for (const ToldLine& line : parse_lines(output)) {
        if (line.kind == "value") {
            values.push_back(line.text);
        }
        is_done = is_done || line.kind == "done";
    }
    return is_done ? std::optional(std::move(values)) : std::nullopt;
}

// What the runs of a part, a process of its own, leave; nothing, and a finding, when it does not
// come to its end.
std::optional<std::vector<std::string>> read_digests(Examination& examination,
                                                     const std::string& part) {
    const ChildOutcome outcome = run_other(examination, part);
    auto values = read_values(outcome.output);
    if (!values) {
        examination.fail(fmt::format("a process that runs every unit does not come to its end{}{}",
                                     outcome.reason.empty() ? "" : " ", outcome.reason));
    }
    return values;
}

// `what` says what gives other results.
void expect_same_digests(Examination& examination, const std::vector<std::string>& lines,
                         const std::string& part, std::string_view what) {
    const auto others = read_digests(examination, part);
    if (!others) {
        return;
    }
    if (lines.empty() && others->empty()) {
        return examination.skip("there are no results to compare");
    }
    const auto [line, other] = std::ranges::mismatch(lines, *others);
    if (line != lines.end() || other != others->end()) {
        examination.fail(fmt::format("{} other results, first at {}", what,
                                     line != lines.end() ? *line : *other));
    }
}

} // namespace

void check_records_of_successes(Examination& examination) {
    check_records(
        examination,
        {ordinary_runs, runs_on_odd_trees, runs_with_extreme_numbers, runs_with_wrong_texts}, true);
}

void check_records_of_failures(Examination& examination) {
    check_records(examination, {all_requested_runs, runs_with_refusals}, false);
}

void check_buffers(Examination& examination) {
    check_buffers_at(examination, GuardedEnd::Back);
    check_buffers_at(examination, GuardedEnd::Front);
}

// What the first calls keep may be made once for the whole process.
void check_memory(Examination& examination) {
    const ExaminedUnits examined = load_units(examination);
    visit_plans(examination, examined, {all_requested_runs},
                [&](const ExaminedUnit& unit, const RunPlan& plan) {
                    try_run(unit, plan);
                    const CallReport second = try_run(unit, plan).report;
                    const CallReport third = try_run(unit, plan).report;
                    if (second.heap.held_blocks > 0) {
                        expect_nothing_held(examination, third.heap);
                    }
                    expect_no_more_mapped(examination, second, third);
                });
}

// Other calls between two that are alike, which fail or work on other sets, leave nothing
// that shows in the later one.
void check_kept_state(Examination& examination) {
    const ExaminedUnits examined = load_units(examination);
    for (const ExaminedUnit& unit : examined.units) {
        const RunPlan usual = ordinary_runs(unit).front();
        examination.at(fmt::format("'{}' {}", unit.unit.name, usual.name));
        const RunOutcome first = try_run(unit, usual);
        const auto expect_the_same = [&] {
            const RunOutcome later = try_run(unit, usual);
            if (is_clean(first.report)) {
                expect_no_memory_of_calls(examination, later.report);
            }
            examination.expect(first.after == later.after, "gives other results at a later call");
        };
        call_declare(unit.unit);
        expect_the_same();
        for (const RunPlan& plan : choose_plans(examination, unit, all_requested_runs)) {
            examination.at(fmt::format("'{}' after a call {}", unit.unit.name, plan.name));
            try_run(unit, plan);
            expect_the_same();
        }
    }
}

void give_digests(Examination& examination) {
    give_all_digests(examination, GuardedEnd::Back, 0xCD);
}

void give_digests_on_other_memory(Examination& examination) {
    give_all_digests(examination, GuardedEnd::Front, 0x3F);
}

void give_digests_in_other_locale(Examination& examination) {
    take_comma_locale();
    give_digests(examination);
}

void give_digests_at_other_time(Examination& examination) {
    shift_clocks();
    give_digests(examination);
}

void check_same_bits(Examination& examination) {
    if (const auto lines = read_digests(examination, "digests.first")) {
        expect_same_digests(examination, *lines, "digests.second", "two processes give");
    }
}

void check_same_elsewhere(Examination& examination) {
    if (const auto lines = read_digests(examination, "digests.first")) {
        expect_same_digests(examination, *lines, "digests.locale",
                            "a locale with a decimal comma gives");
        expect_same_digests(examination, *lines, "digests.time", "another time gives");
    }
}

} // namespace talvora::host
