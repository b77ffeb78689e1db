#include "host/tables/signal_attributes.h"

#include "host/tree/line_names.h"
#include "host/tree/number_attribute.h"

#include <algorithm>
#include <span>

namespace talvora::host {
namespace {

constexpr char NUM_SAMPLES_ATTRIBUTE[] = "NumSamples";

bool are_alike(std::span<const std::string> texts) {
    return std::ranges::all_of(texts, [&](const auto& text) { return text == texts.front(); });
}

TextArray make_list(const std::vector<std::string>& texts) {
    return {texts, {texts.size()}};
}

} // namespace

void write_signal_attributes(DataTree& tree, ObjectId set, const SignalAttributes& attributes) {
    tree.write_attribute(set, SAMPLE_RATE_ATTRIBUTE, static_cast<float>(attributes.sample_rate));
    tree.write_attribute(set, START_TIME_ATTRIBUTE, attributes.start_time);
    if (!attributes.labels.empty()) {
        tree.write_attribute(set, LABELS_ATTRIBUTE, make_list(attributes.labels));
    }
    if (!are_alike(attributes.units)) {
        tree.write_attribute(set, UNIT_ATTRIBUTE, make_list(attributes.units));
    } else if (!attributes.units.empty() && !attributes.units.front().empty()) {
        tree.write_attribute(set, UNIT_ATTRIBUTE, attributes.units.front());
    }
}

void write_group_attributes(DataTree& tree, ObjectId group, double sample_rate,
                            std::uint64_t sample_count) {
    tree.write_attribute(group, SAMPLE_RATE_ATTRIBUTE, static_cast<float>(sample_rate));
    tree.write_attribute(group, NUM_SAMPLES_ATTRIBUTE, static_cast<float>(sample_count));
}

} // namespace talvora::host
