#include "host/validate/run_checks.h"

#include "host/validate/run_judgements.h"
#include "host/validate/run_visits.h"
#include "host/validate/small_stack.h"

#include <algorithm>

namespace talvora::host {

namespace {

void run_all(Examination& examination, const MakePlans& plans) {
    visit_runs(examination, {plans},
               [&](const ExaminedUnit&, const RunPlan&, const RunOutcome& outcome) {
                   expect_kept_interface(examination, outcome.report);
               });
}

bool changed_the_tree(const RunOutcome& outcome) {
    return outcome.report.is_success && outcome.before != outcome.after;
}

// A key of its own says that a unit writes somewhere else than it reads.
const std::string* find_destination(const ExaminedUnit& unit) {
    for (const auto& [key, value] : unit.usual) {
        if (key.starts_with("Destination")) {
            return std::get_if<std::string>(&value);
        }
    }
    return nullptr;
}

bool is_at_or_below(const std::string& path, const std::string& place) {
    return path == place || path.starts_with(place + "/");
}

bool is_on_the_way(const std::string& path, const std::string& place) {
    return is_at_or_below(path, place) || is_at_or_below(place, path);
}

void expect_untouched_sources(Examination& examination, const RunOutcome& outcome,
                              const std::string& destination) {
    for (const auto& [path, digest] : outcome.before) {
        if (is_at_or_below(path, destination)) {
            continue;
        }
        const auto after = outcome.after.find(path);
        examination.expect(after != outcome.after.end() && after->second == digest,
                           fmt::format("changes '{}', which it only reads", path));
    }
    for (const auto& [path, digest] : outcome.after) {
        examination.expect(outcome.before.contains(path) || is_on_the_way(path, destination),
                           fmt::format("makes '{}', which is not in its destination", path));
    }
}

// An attribute of another type is the tree's matter: to ask for it is no fault.
bool is_about_an_attribute(std::string_view problem) {
    const std::string_view slot = problem.substr(0, problem.find(':'));
    return slot.starts_with("read_") && slot.ends_with("_attribute");
}

} // namespace

void check_ordinary_runs(Examination& examination) {
    std::vector<std::string> idle;
    std::string last;
    visit_runs(examination, {ordinary_runs},
               [&](const ExaminedUnit& unit, const RunPlan&, const RunOutcome& outcome) {
                   expect_kept_interface(examination, outcome.report);
                   if (std::exchange(last, unit.unit.name) != unit.unit.name) {
                       idle.push_back(unit.unit.name);
                   }
                   if (!idle.empty() && idle.back() == last && changed_the_tree(outcome)) {
                       idle.pop_back();
                   }
               });
    examination.at("");
    for (const std::string& name : idle) {
        examination.warn(fmt::format("'{}' changes nothing with the values that were guessed for "
                                     "it: its work is not examined",
                                     name));
    }
}

void check_runs_without_values(Examination& examination) {
    run_all(examination, runs_without_values);
}

void check_runs_with_wrong_texts(Examination& examination) {
    run_all(examination, runs_with_wrong_texts);
}

void check_runs_with_extreme_numbers(Examination& examination) {
    run_all(examination, runs_with_extreme_numbers);
}

void check_runs_on_odd_trees(Examination& examination) {
    run_all(examination, runs_on_odd_trees);
}

void check_runs_with_refusals(Examination& examination) {
    run_all(examination, runs_with_refusals);
}

void check_reported_failures(Examination& examination) {
    visit_runs(examination,
               {ordinary_runs, runs_without_values, runs_with_wrong_texts, runs_on_odd_trees},
               [&](const ExaminedUnit&, const RunPlan&, const RunOutcome& outcome) {
                   expect_reported_failure(examination, outcome.report);
               });
}

// With values at every limit the user may have asked for what cannot be done; the host has
// refused it, and nothing came to harm.
void check_extents(Examination& examination) {
    const auto judge = [&](void (Examination::*tell)(std::string_view)) {
        return
            [&examination, tell](const ExaminedUnit&, const RunPlan&, const RunOutcome& outcome) {
                for (const std::string& problem : outcome.report.problems.refused_requests) {
                    if (!is_about_an_attribute(problem)) {
                        (examination.*tell)(problem);
                    }
                }
            };
    };
    visit_runs(examination, {ordinary_runs, runs_on_odd_trees}, judge(&Examination::fail));
    visit_runs(examination, {runs_with_extreme_numbers}, judge(&Examination::warn));
}

void check_small_stack(Examination& examination) {
    if (!has_small_stack()) {
        return examination.skip("this platform does not tell");
    }
    run_on_small_stack([&] {
        visit_runs(examination, {ordinary_runs, runs_on_odd_trees},
                   [&](const ExaminedUnit&, const RunPlan&, const RunOutcome& outcome) {
                       expect_kept_interface(examination, outcome.report);
                   });
    });
}

// What was made up may ask for more memory than there is.
void check_made_up_inputs(Examination& examination) {
    const std::uint64_t seed = examination.settings().seed;
    visit_runs(examination,
               {[seed](const ExaminedUnit& unit) { return runs_with_made_up_inputs(unit, seed); }},
               [&](const ExaminedUnit&, const RunPlan&, const RunOutcome& outcome) {
                   if (!outcome.report.is_out_of_memory) {
                       expect_kept_interface(examination, outcome.report);
                   }
                   expect_reported_failure(examination, outcome.report);
                   expect_freed_records(examination, outcome.report.heap);
                   expect_whole_blocks(examination, outcome.report.heap);
               });
}

void check_sources(Examination& examination) {
    bool has_destinations = false;
    visit_runs(examination, {ordinary_runs, runs_on_odd_trees},
               [&](const ExaminedUnit& unit, const RunPlan&, const RunOutcome& outcome) {
                   const std::string* destination = find_destination(unit);
                   if (destination == nullptr) {
                       return;
                   }
                   has_destinations = true;
                   expect_untouched_sources(examination, outcome, *destination);
               });
    if (!has_destinations) {
        examination.skip("no unit has a key 'Destination...'");
    }
}

} // namespace talvora::host
