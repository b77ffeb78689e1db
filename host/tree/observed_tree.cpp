#include "host/tree/observed_tree.h"

#include "host/tree/attached_scale.h"
#include "host/tree/history_attribute.h"
#include "host/tree/netcdf_attributes.h"
#include "host/tree/number_attribute.h"
#include "host/tree/slabs.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <variant>

namespace talvora::host {
namespace {

// Samples of a set that are read at once to be counted.
constexpr std::uint64_t BUFFER_SAMPLES = std::uint64_t{1024} * 1024;

std::uint64_t line_length(const Extents& extents) {
    return extents.empty() ? 1 : extents.back();
}

std::shared_ptr<const GapList> gaps_of(const Extents& extents, std::span<const float> samples) {
    GapList gaps(line_length(extents));
    gaps.append(samples);
    return std::make_shared<const GapList>(std::move(gaps));
}

} // namespace

// ---------------------------------------------------------------------------
// What is noted

bool ObservedTree::is_withheld(ObjectId object, std::string_view name) const {
    return (is_history_part(name) && object == tree_.root()) || numbers_netcdf_dimensions(name) ||
           attaches_scales(name) || makes_a_scale(object, name);
}

// What is made of a scale is none.
bool ObservedTree::makes_a_scale(ObjectId object, std::string_view name) const {
    if (name != CLASS_ATTRIBUTE && name != SCALE_NAME_ATTRIBUTE) {
        return false;
    }
    const auto value = tree_.read_attribute(object, std::string(CLASS_ATTRIBUTE));
    const auto* text = value ? std::get_if<std::string>(&*value) : nullptr;
    return text != nullptr && *text == DIMENSION_SCALE;
}

ObservedTree::Gaps ObservedTree::count_gaps(ObjectId set) const {
    const Extents extents = tree_.extents(set);
    GapList gaps(line_length(extents));
    std::vector<float> samples;
    visit_slabs(extents, BUFFER_SAMPLES, [&](const Hyperslab& slab, std::uint64_t count) {
        samples.resize(count);
        tree_.read(set, slab, samples);
        gaps.append(samples);
    });
    return std::make_shared<const GapList>(std::move(gaps));
}

ObservedTree::Gaps ObservedTree::known_gaps(ObjectId set, Watched& watched) {
    if (!watched.gaps) {
        watched.gaps = count_gaps(set);
    }
    return watched.gaps;
}

// Before the first change of a step, for the samples are gone after it.
ObservedTree::Watched& ObservedTree::watch_samples(ObjectId set) {
    Watched& watched = watched_[set];
    if (!watched.before && !watched.made) {
        watched.before = {tree_.extents(set), known_gaps(set, watched)};
    }
    return watched;
}

SetObservation ObservedTree::conclude(ObjectId set, Watched& watched) {
    if (!watched.rate) {
        watched.rate = read_number_attribute(tree_, set, SAMPLE_RATE_ATTRIBUTE);
    }
    const auto make_state = [](const Content& content, const Rate& rate) {
        return SetState{content.extents, rate, content.gaps->missing_count(),
                        content.gaps->gaps().size()};
    };
    const Content after{tree_.extents(set), known_gaps(set, watched)};
    SetObservation seen{.path = tree_.path(set),
                        .read = watched.read,
                        .written = watched.written,
                        .before = {},
                        .after = make_state(after, *watched.rate),
                        .filled_gap_count = {}};
    if (watched.before) {
        seen.before = make_state(*watched.before, watched.rate_before.value_or(*watched.rate));
        if (watched.before->extents == after.extents) {
            seen.filled_gap_count = count_filled_gaps(*watched.before->gaps, *after.gaps);
        }
    }
    return seen;
}

StepObservations ObservedTree::finish_step() {
    std::vector<std::pair<SetObservation, SetGaps>> seen;
    for (auto& [set, watched] : watched_) {
        if (watched.read || watched.written) {
            const SetObservation observation = conclude(set, watched);
            seen.push_back(
                {observation, {watched.before ? watched.before->gaps : nullptr, watched.gaps}});
        }
        watched = {.gaps = watched.gaps, .rate = watched.rate};
    }
    std::ranges::sort(seen, {}, [](const auto& set) { return set.first.path; });
    StepObservations step;
    for (auto& [observation, gaps] : seen) {
        step.sets.push_back(std::move(observation));
        step.gaps.push_back(std::move(gaps));
    }
    step.attributes = std::exchange(attributes_, {});
    return step;
}

// ---------------------------------------------------------------------------
// Requests that are noted

ObjectId ObservedTree::create_dataset(ObjectId group, std::string_view path,
                                      const Extents& extents) {
    const ObjectId set = tree_.create_dataset(group, path, extents);
    Watched& watched = watched_[set];
    watched.made = true;
    watched.written = true;
    return set;
}

void ObservedTree::resize(ObjectId set, const Extents& extents) {
    Watched& watched = watch_samples(set);
    tree_.resize(set, extents);
    watched.written = true;
    watched.gaps.reset();
}

void ObservedTree::read(ObjectId set, const Hyperslab& slab, std::span<float> samples) {
    tree_.read(set, slab, samples);
    const Extents extents = tree_.extents(set);
    on_samples_({.set = set, .count = samples.size(), .set_count = count_samples(extents)});
    last_read_ = set;
    Watched& watched = watched_[set];
    if (watched.read) {
        return;
    }
    if (!watched.gaps && is_whole(slab, extents)) {
        watched.gaps = gaps_of(extents, samples);
    }
    watch_samples(set).read = true;
}

void ObservedTree::write(ObjectId set, const Hyperslab& slab, std::span<const float> samples) {
    Watched& watched = watch_samples(set);
    tree_.write(set, slab, samples);
    const Extents extents = tree_.extents(set);
    on_samples_(
        {.set = set, .writes = true, .count = samples.size(), .set_count = count_samples(extents)});
    watched.written = true;
    watched.gaps.reset();
    if (is_whole(slab, extents)) {
        watched.gaps = gaps_of(extents, samples);
    }
}

std::vector<std::string> ObservedTree::list_attributes(ObjectId object) {
    std::vector<std::string> names = tree_.list_attributes(object);
    std::erase_if(names, [&](const std::string& name) { return is_withheld(object, name); });
    return names;
}

std::optional<AttributeValue> ObservedTree::read_attribute(ObjectId object,
                                                           const std::string& name) {
    if (is_withheld(object, name)) {
        return std::nullopt;
    }
    auto value = tree_.read_attribute(object, name);
    if (name == SAMPLE_RATE_ATTRIBUTE) {
        watched_[object].rate = as_number(value);
    }
    return value;
}

void ObservedTree::write_attribute(ObjectId object, const std::string& name,
                                   const AttributeValue& value) {
    if (is_withheld(object, name)) {
        throw TreeError(fmt::format("the attribute '{}' is kept by the host", name));
    }
    if (name == SAMPLE_RATE_ATTRIBUTE) {
        Watched& watched = watched_[object];
        if (!watched.rate_before) {
            watched.rate_before = watched.rate
                                      ? *watched.rate
                                      : read_number_attribute(tree_, object, SAMPLE_RATE_ATTRIBUTE);
        }
        watched.rate.reset();
    }
    tree_.write_attribute(object, name, value);
    attributes_[tree_.path(object)].insert(name);
    if (name == SAMPLE_RATE_ATTRIBUTE) {
        watched_[object].rate = as_number(value);
    }
}

} // namespace talvora::host
