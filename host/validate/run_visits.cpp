#include "host/validate/run_visits.h"

namespace talvora::host {

namespace {

std::vector<ParameterSignature> parse_all(const std::vector<DeclaredParameter>& declared) {
    std::vector<ParameterSignature> signatures;
    for (const DeclaredParameter& parameter : declared) {
        auto signature = parse_signature(parameter.signature, parameter.required);
        if (!declares(signatures, signature.key)) {
            signatures.push_back(std::move(signature));
        }
    }
    return signatures;
}

// Of each kind of plan and each unit.
constexpr std::size_t QUICK_PLANS = 6;

std::vector<RunPlan> thin_out(const std::vector<RunPlan>& plans) {
    const std::size_t step = (plans.size() + QUICK_PLANS - 1) / QUICK_PLANS;
    std::vector<RunPlan> some;
    for (std::size_t i = 0; i < plans.size(); i += step) {
        some.push_back(plans[i]);
    }
    return some;
}

} // namespace

std::vector<RunPlan> choose_plans(const Examination& examination, const ExaminedUnit& unit,
                                  const MakePlans& make) {
    std::vector<RunPlan> plans = make(unit);
    return examination.settings().level == Level::Quick ? thin_out(plans) : plans;
}

ExaminedUnits load_units(Examination& examination, GuardedEnd end, unsigned char fill) {
    GuardedHeap::open(end, fill);
    ExaminedUnits examined{load_plugin(examination), {}};
    if (!examined.plugin) {
        return examined;
    }
    for (const Unit& unit : list_distinct_units(*examined.plugin)) {
        try {
            examination.at(fmt::format("declare of '{}'", unit.name));
            examined.units.push_back(examine_unit(unit, parse_all(call_declare(unit).declared)));
        } catch (const std::invalid_argument&) {
            examination.skip(fmt::format("'{}' declares what cannot be read", unit.name));
        }
    }
    return examined;
}

} // namespace talvora::host
