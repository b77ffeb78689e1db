// The loops that the checks of `run` share: every unit with every plan.
#pragma once

#include "host/validate/check.h"
#include "host/validate/examined_plugin.h"
#include "host/validate/run_plans.h"

#include <fmt/format.h>

#include <functional>

namespace talvora::host {

using MakePlans = std::function<std::vector<RunPlan>(const ExaminedUnit& unit)>;

// All plans; at the level Quick a few of them, the first and others spread over the rest.
std::vector<RunPlan> choose_plans(const Examination& examination, const ExaminedUnit& unit,
                                  const MakePlans& make);

// The units whose declarations can be read, loaded on memory that is guarded at `end` and
// filled with `fill`; a reason to skip when there are none.
struct ExaminedUnits {
    std::optional<PluginLibrary> plugin;
    std::vector<ExaminedUnit> units;
};
ExaminedUnits load_units(Examination& examination, GuardedEnd end = GuardedEnd::Back,
                         unsigned char fill = 0xCD);

// Visits each unit with each plan: visit(unit, plan).
template <typename Visit>
void visit_plans(Examination& examination, const ExaminedUnits& examined,
                 std::initializer_list<MakePlans> makers, Visit visit) {
    for (const ExaminedUnit& unit : examined.units) {
        for (const MakePlans& make : makers) {
            examination.at(fmt::format("'{}'", unit.unit.name));
            for (const RunPlan& plan : choose_plans(examination, unit, make)) {
                examination.at(fmt::format("'{}' {}", unit.unit.name, plan.name));
                visit(unit, plan);
            }
        }
    }
}

// Runs each unit with each plan: judge(unit, plan, outcome).
template <typename Judge>
void visit_runs(Examination& examination, std::initializer_list<MakePlans> makers, Judge judge,
                GuardedEnd end = GuardedEnd::Back) {
    const ExaminedUnits examined = load_units(examination, end);
    visit_plans(examination, examined, makers, [&](const ExaminedUnit& unit, const RunPlan& plan) {
        judge(unit, plan, try_run(unit, plan));
    });
}

} // namespace talvora::host
