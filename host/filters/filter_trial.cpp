#include "host/filters/filter_trial.h"

#include "host/filters/known_units.h"
#include "host/interface/unit_run.h"
#include "host/tree/memory_tree.h"
#include "host/tree/number_attribute.h"

namespace talvora::host {
namespace {

constexpr const char* TRIAL_SET = "Trial";

void add_trial_set(MemoryTree& tree, float sample_rate) {
    const ObjectId set = tree.create_dataset(tree.root(), TRIAL_SET, {1});
    tree.write_attribute(set, SAMPLE_RATE_ATTRIBUTE, sample_rate);
}

ParameterValues choose_trial_set(const Unit& unit, const ParameterValues& values) {
    ParameterValues::Given given = {
        {std::string(SOURCE_SETS_KEY), std::vector<std::string>{TRIAL_SET}}};
    for (const std::string_view key : FILTER_KEYS) {
        if (const ParameterValue* value = values.find(key)) {
            given.emplace(key, *value);
        }
    }
    return {declare_unit(unit), given};
}

} // namespace

std::optional<std::string> find_refusal(const Unit& unit, const ParameterValues& values,
                                        float sample_rate) {
    MemoryTree tree;
    add_trial_set(tree, sample_rate);
    std::string refusal = "refused by the unit";
    const UnitOutcome outcome = run_unit(unit, tree, choose_trial_set(unit, values),
                                         [&](const Message& message) { refusal = message.text; });
    return outcome.is_good() ? std::nullopt : std::optional(refusal);
}

} // namespace talvora::host
