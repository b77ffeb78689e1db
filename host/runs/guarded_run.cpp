#include "host/runs/guarded_run.h"

#include "host/filters/filter_report.h"
#include "host/guards/set_lines.h"
#include "host/guards/step_warnings.h"
#include "host/interface/path_patterns.h"
#include "host/runs/job_step.h"
#include "host/text/failure.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace talvora::host {
namespace {

std::vector<FoundParameters> list_found(std::span<const StepCall> calls) {
    std::vector<FoundParameters> found;
    for (const StepCall& call : calls) {
        if (!call.found.values.empty()) {
            found.push_back(call.found);
        }
    }
    return found;
}

// As the history has them.
nlohmann::ordered_json list_accepted(std::span<const GuardFinding> guards,
                                     const std::string& step) {
    auto list = nlohmann::ordered_json::array();
    for (const GuardFinding& finding : guards) {
        if (finding.step == step) {
            list.push_back(make_json(finding));
        }
    }
    return list;
}

} // namespace

GuardedRun::GuardedRun(const RunPlace& place, RunHooks hooks, RunAccount& account)
    : place_(place), hooks_(std::move(hooks)), account_(account),
      tell_typed_([place](const JobMessage& message) {
          if (message.level != MessageLevel::Hint || !place.source.empty()) {
              place.tell(message);
          }
      }) {}

void GuardedRun::run(const Step& step) {
    DataTree& tree = place_.tree;
    // The record keeps the parameters as given; the unit gets the names that they stand for.
    Step expanded = step;
    expanded.values = expand_patterns(step.values, tree, place_.source);
    const std::vector<StepCall> calls = plan(expanded);
    const std::vector<FilterFacts> filters = find_filters(calls, tree);
    GuardedStep guarded{expanded, tree, filters, place_.source, nullptr, {}, &step.values};
    look(guarded, GuardTime::BeforeSamples);
    tell_filters(step, filters, tell_typed_);
    hooks_.begin_unit(expanded);
    std::vector<std::string> unit_errors;
    for (const StepCall& call : calls) {
        std::ranges::move(run_unit_of(call.step), std::back_inserter(unit_errors));
        tell_found(call, place_.tell);
    }
    StepObservations observations = place_.observed.finish_step();
    guarded.done = &observations;
    guarded.unit_errors = unit_errors;
    hooks_.look_up(guarded);
    look(guarded, GuardTime::AfterStep);
    observations.gaps.clear(); // they can take as much memory as the samples
    account_.steps.push_back({step.name, step.unit->name, observations.sets, make_json(filters)});
    account_.found.push_back(list_found(calls));
    account_.observations.push_back(std::move(observations));
}

std::vector<StepCall> GuardedRun::plan(const Step& step) const {
    try {
        return plan_calls(step, place_.tree);
    } catch (const Failure& failure) {
        place_.tell({MessageLevel::Error, failure.what(), step.name});
        for (const std::string& hint : failure.hints()) {
            tell_typed_({MessageLevel::Hint, hint});
        }
        throw StepFailed{failure.code()};
    }
}

// The errors that the unit told of.
std::vector<std::string> GuardedRun::run_unit_of(const Step& step) {
    try {
        return run_step(step, place_.observed, place_.source, place_.tell);
    } catch (const GuardFailure& failure) {
        const auto& hints = failure.hints();
        heed({{.guard = failure.guard(),
               .step = step.name,
               .text = failure.what(),
               .remedy = hints.empty() ? "" : hints.front()}});
        return {};
    }
}

void GuardedRun::look(const GuardedStep& guarded, GuardTime time) {
    heed(find_guarded(guarded, time));
    tell_warnings(guarded.step, find_warnings(guarded, time), tell_typed_);
}

// Ends the work when a guard spoke that is not accepted.
void GuardedRun::heed(std::vector<GuardFinding> findings) {
    std::erase_if(findings, [&](const GuardFinding& finding) { return is_known(finding); });
    hooks_.tell_findings(findings);
    account_.guards.insert(account_.guards.end(), findings.begin(), findings.end());
    if (!std::ranges::all_of(findings, &GuardFinding::accepted)) {
        throw StepFailed{ExitCode::UnitFailed};
    }
}

// What was foreseen and accepted is found once more when it has come.
bool GuardedRun::is_known(const GuardFinding& finding) const {
    return std::ranges::any_of(account_.guards, [&](const GuardFinding& known) {
        return known.guard == finding.guard && known.step == finding.step &&
               known.set == finding.set;
    });
}

std::vector<HistoryRecord> make_records(const RunAccount& account, const RunOrigin& origin,
                                        const Recipe& recipe) {
    std::vector<HistoryRecord> records;
    for (std::size_t i = 0; i < account.steps.size(); ++i) {
        const StepResult& step = account.steps[i];
        records.push_back(make_record(origin, recipe, i, account.observations[i], step.filters,
                                      list_accepted(account.guards, step.name), account.found[i]));
    }
    return records;
}

RoundedSamples make_rounded_samples(SampleType type, const SetRounding& rounding,
                                    const Extents& extents) {
    return {.type = type,
            .change = rounding.worst,
            .leaves_outliers = rounding.leaves_outliers,
            .line =
                rounding.line ? SetLines(extents, extents.size() - 1).name(*rounding.line) : ""};
}

} // namespace talvora::host
