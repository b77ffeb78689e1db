#include "host/guards/step_warnings.h"

#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"
#include "host/guards/filtered_runs.h"
#include "host/guards/mean_columns.h"
#include "host/guards/set_lines.h"
#include "host/text/join_texts.h"
#include "host/text/plural.h"
#include "host/text/quote_word.h"
#include "host/tree/packed_samples.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <map>

namespace talvora::host {
namespace {

// ---------------------------------------------------------------------------
// Parameters that want each other

// The unit takes them one after the other, each from what the one before left.
void warn_of_repeated(std::vector<std::int64_t> components, std::vector<StepWarning>& warnings) {
    std::ranges::sort(components);
    const auto repeated = std::ranges::adjacent_find(components);
    if (repeated != components.end()) {
        warnings.push_back({fmt::format("{0} names {1} more than once: named twice, a component is "
                                        "what it was before",
                                        COMPONENTS_KEY, *repeated),
                            fmt::format("{}={} once", COMPONENTS_KEY, *repeated)});
    }
}

void warn_of_parameters(const GuardedStep& step, std::vector<StepWarning>& warnings) {
    const ParameterValues& values = step.step.values;
    if (!declares(values.signatures(), AXIS_KEY) ||
        !declares(values.signatures(), COMPONENTS_KEY)) {
        return;
    }
    const auto* axis = find_value<std::int64_t>(values, AXIS_KEY);
    const auto* components = find_value<std::vector<std::int64_t>>(values, COMPONENTS_KEY);
    const bool has_axis = axis != nullptr && *axis >= 0;
    const bool has_components = components != nullptr && !components->empty();
    if (has_components && !has_axis) {
        warnings.push_back(
            {fmt::format("{} counts only along an {}, and none is given: whole sets are taken",
                         COMPONENTS_KEY, AXIS_KEY),
             fmt::format("{}=0, where the components lie along the first dimension", AXIS_KEY)});
    }
    if (has_axis && has_components) {
        warn_of_repeated(*components, warnings);
    }
    if (has_axis && !has_components) {
        warnings.push_back({fmt::format("{}={} without {} takes nothing of any set", AXIS_KEY,
                                        *axis, COMPONENTS_KEY),
                            fmt::format("{}=0 for the first component, or no {} for whole sets",
                                        COMPONENTS_KEY, AXIS_KEY)});
    }
}

// ---------------------------------------------------------------------------
// Columns with one label

void warn_of_labels(const GuardedStep& step, std::vector<StepWarning>& warnings) {
    const auto columns = list_mean_columns(step);
    std::map<std::string, std::vector<std::string>> sources;
    for (const MeanColumn& column : columns) {
        sources[column.label].push_back(step.tree.path(column.source));
    }
    const auto* set = find_value<std::string>(step.step.values, DESTINATION_SET_KEY);
    for (const auto& [label, paths] : sources) {
        if (paths.size() > 1) {
            warnings.push_back(
                {fmt::format("{}: of {} columns {} have the label '{}', the means of {}; none can "
                             "be named by its label",
                             set == nullptr ? "" : *set, columns.size(), paths.size(), label,
                             join_texts(paths)),
                 fmt::format("a label of its own for each source: {0}=LABEL {0}=SOURCE",
                             TRANSLATION_KEY)});
        }
    }
}

// ---------------------------------------------------------------------------
// Sets whose samples are meant otherwise than they are stored

void warn_of_packing(const GuardedStep& step, std::vector<StepWarning>& warnings) {
    for (const ObjectId set : find_source_sets(step.step.values, step.tree)) {
        const std::string packing = describe_packing(step.tree, set);
        if (!packing.empty()) {
            warnings.push_back(
                {fmt::format("{}: {}", step.tree.path(set), packing),
                 "a map brings in scale and offset: talvora-host import --map FILE.yaml; what is "
                 "missing has to be NaN"});
        }
    }
}

// ---------------------------------------------------------------------------
// Sets, by their missing samples before the step

void warn_of_baseline(const SetObservation& set, const GapList& gaps, const SetLines& lines,
                      std::vector<StepWarning>& warnings) {
    if (lines.length() <= BASELINE_SAMPLES) {
        warnings.push_back(
            {fmt::format("{}: of {} each has {}, {} its own baseline: {}", set.path,
                         count_things(lines.count(), "line"),
                         count_things(lines.length(), "sample"),
                         lines.length() == 1 ? "which is" : "all of which are",
                         lines.length() == 1 ? "what was valid is 0 now"
                                             : "its median is 0 now, whatever it was"),
             fmt::format("leave the set out, or name the dimension of time: {}", AXIS_KEY)});
        return;
    }
    const auto holed = lines.list_with_missing(gaps, BASELINE_SAMPLES);
    if (!holed.empty()) {
        warnings.push_back(
            {fmt::format("{}: of {} {} begin with missing samples among the first {}, which the "
                         "baseline is taken from, the first is {}",
                         set.path, count_things(lines.count(), "line"), holed.size(),
                         std::min(BASELINE_SAMPLES, lines.length()), lines.name(holed.front())),
             "fill gaps first: talvora-host describe apply-set-fill-gap"});
    }
}

void warn_of_short_runs(const GuardedStep& step, const SetObservation& set, const GapList& gaps,
                        const SetLines& lines, std::vector<StepWarning>& warnings) {
    const std::uint64_t shortest = find_shortest_run(step.filters.front().design);
    const FilteredRuns runs =
        count_filtered_runs(gaps, count_samples(set.before->extents), lines.length(), shortest);
    if (runs.filtered_count == 0) {
        warnings.push_back({fmt::format("{}: nothing was filtered: {}", set.path,
                                        describe_unfiltered(runs, shortest)),
                            fmt::format("fill gaps first, or take a lower {}", ORDER_KEY)});
    } else if (runs.left_samples + runs.erased_samples > 0) {
        warnings.push_back(
            {fmt::format("{}: runs of fewer than {} valid samples are too short to be filtered: {} "
                         "stayed as they were, {} at the ends of lines became missing",
                         set.path, shortest, count_things(runs.left_samples, "sample"),
                         runs.erased_samples),
             fmt::format("fill gaps first, or take a lower {}", ORDER_KEY)});
    }
}

// Of a set that the step made.
void warn_of_missing(const GuardedStep& step, const SetObservation& set,
                     std::vector<StepWarning>& warnings) {
    const std::uint64_t count = count_samples(set.after.extents);
    if (set.after.missing_count > 0) {
        warnings.push_back(
            {fmt::format("{}: {} of {} missing, as are samples that the set is made of", set.path,
                         set.after.missing_count, count_things(count, "sample")),
             fmt::format("which sets lack samples: talvora-host tree {} --statistics",
                         quote_word(step.source))});
    }
}

// Of a set that the step made means of; infinities that its sources did not have are a guard's.
void warn_of_infinities(const GuardedStep& step, const SetObservation& set, const GapList& gaps,
                        std::vector<StepWarning>& warnings) {
    if (gaps.infinite_count() > 0) {
        const std::uint64_t count = count_samples(set.before->extents);
        warnings.push_back(
            {fmt::format("{}: {} of {} infinite, and so are the means of their lines, or missing",
                         set.path, gaps.infinite_count(), count_things(count, "sample")),
             fmt::format("which sets hold infinities: talvora-host tree {} --statistics",
                         quote_word(step.source))});
    }
}

void warn_of_never_written(const SetObservation& set, const GapList& gaps,
                           std::vector<StepWarning>& warnings) {
    if (gaps.never_written_count() > 0) {
        warnings.push_back({fmt::format("{}: {}", set.path,
                                        describe_never_written(gaps.never_written_count(),
                                                               count_samples(set.before->extents))),
                            "what is missing has to be NaN"});
    }
}

void warn_of_set(const GuardedStep& step, std::size_t index, std::vector<StepWarning>& warnings) {
    const SetObservation& set = step.done->sets[index];
    if (set.before) {
        warn_of_never_written(set, *step.done->gaps[index].before, warnings);
    }
    if (set.read && set.before && takes_means(*step.step.unit)) {
        warn_of_infinities(step, set, *step.done->gaps[index].before, warnings);
    }
    if (set.written && !set.before) {
        warn_of_missing(step, set, warnings);
    }
    if (!set.written || !set.before || count_samples(set.before->extents) == 0) {
        return;
    }
    const GapList& gaps = *step.done->gaps[index].before;
    const Extents& extents = set.before->extents;
    const SetLines lines(extents, find_axis(step.step.values, extents));
    if (takes_baseline(*step.step.unit)) {
        warn_of_baseline(set, gaps, lines, warnings);
    }
    if (!step.filters.empty()) {
        warn_of_short_runs(step, set, gaps, lines, warnings);
    }
}

} // namespace

std::vector<StepWarning> find_warnings(const GuardedStep& step, GuardTime time) {
    std::vector<StepWarning> warnings;
    if (time == GuardTime::BeforeSamples) {
        warn_of_parameters(step, warnings);
        warn_of_labels(step, warnings);
        warn_of_packing(step, warnings);
        return warnings;
    }
    for (std::size_t i = 0; i < step.done->sets.size(); ++i) {
        warn_of_set(step, i, warnings);
    }
    return warnings;
}

} // namespace talvora::host
