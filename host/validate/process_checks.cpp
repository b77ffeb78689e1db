#include "host/validate/process_checks.h"

#include "host/validate/captured_output.h"
#include "host/validate/process_state.h"
#include "host/validate/run_visits.h"
#include "host/validate/watched_imports.h"

namespace talvora::host {

namespace {

constexpr std::size_t MAX_SHOWN = 60; // bytes of what was printed

// Loads the plug-in, declares, and runs every unit well and badly, as a user could make it.
// `after_step` is called after each of these.
template <typename AfterStep>
void tour(Examination& examination, AfterStep after_step) {
    const ExaminedUnits examined = load_units(examination);
    after_step();
    visit_plans(examination, examined, {all_requested_runs},
                [&](const ExaminedUnit& unit, const RunPlan& plan) {
                    call_declare(unit.unit);
                    after_step();
                    try_run(unit, plan);
                    after_step();
                });
}

void expect_no_calls(Examination& examination, Forbidden kind) {
    for (const std::string& name : take_forbidden_calls(kind)) {
        examination.fail(fmt::format("calls '{}'", name));
    }
}

// What there is before the plug-in is loaded is there after each step, and nothing is called
// that is not to be.
void check_aspect(Examination& examination, StateAspect aspect,
                  std::initializer_list<Forbidden> kinds = {}) {
    if (!is_known(aspect) && kinds.size() == 0) {
        return examination.skip("this platform does not tell");
    }
    const Settings before = read_process_state(aspect);
    tour(examination, [&] {
        for (const std::string& change : describe_changes(before, read_process_state(aspect))) {
            examination.fail(change);
        }
        for (const Forbidden kind : kinds) {
            expect_no_calls(examination, kind);
        }
    });
}

} // namespace

void check_silence(Examination& examination) {
    std::string printed;
    {
        const CapturedOutput output;
        std::string where;
        tour(examination, [&] {
            if (printed.empty() && !(printed = output.read()).empty()) {
                where = examination.where();
            }
        });
        examination.at(where);
    }
    examination.expect(printed.empty(), fmt::format("prints '{}'", printed.substr(0, MAX_SHOWN)));
}

void check_threads(Examination& examination) {
    check_aspect(examination, StateAspect::Threads, {Forbidden::Thread});
}

void check_files(Examination& examination) {
    check_aspect(examination, StateAspect::Files, {Forbidden::File, Forbidden::Process});
}

void check_floating_point(Examination& examination) {
    check_aspect(examination, StateAspect::FloatingPoint);
}

void check_locale(Examination& examination) {
    check_aspect(examination, StateAspect::Locale);
}

void check_signals(Examination& examination) {
    check_aspect(examination, StateAspect::Signals, {Forbidden::Signal});
}

void check_surroundings(Examination& examination) {
    check_aspect(examination, StateAspect::Surroundings);
}

void check_handlers(Examination& examination) {
    check_aspect(examination, StateAspect::Handlers);
}

void check_limits(Examination& examination) {
    check_aspect(examination, StateAspect::Limits);
}

} // namespace talvora::host
