#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"
#include "host/guards/guard_functions.h"
#include "host/guards/line_summaries.h"
#include "host/guards/mean_columns.h"
#include "host/text/plural.h"
#include "host/tree/line_names.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace talvora::host {
namespace {

// Of the spread of the samples.
constexpr double LARGEST_ERROR = 1e-3;
// Most samples lie within a range of so many deviations: of ten thousand that are distributed
// normally all do.
constexpr double DEVIATIONS_IN_RANGE = 8;
// Of the largest sample: what the last digits of single precision are good for. The means of few
// samples are within it: five additions in pairs and a division make 32 samples a mean, each of
// them half of an epsilon off at most.
constexpr double LEAST_ERROR = 3 * static_cast<double>(std::numeric_limits<float>::epsilon());
constexpr std::uint64_t FEW_SAMPLES = 32;

// The means of a set's lines: that of the first one stands at `first`, the others `stride` apart.
struct Means {
    ObjectId source;
    ObjectId result;
    std::uint64_t first = 0;
    std::uint64_t stride = 1;
};

class MadeMeans {
  public:
    explicit MadeMeans(const GuardedStep& step) : step_(step), values_(step.step.values) {}

    std::vector<Means> list() {
        if (const auto* group = find_value<std::string>(values_, DESTINATION_GROUP_KEY)) {
            list_of_group(*group);
        } else if (const auto* set = find_value<std::string>(values_, DESTINATION_SET_KEY)) {
            list_of_set(*set);
        }
        return std::move(means_);
    }

  private:
    DataTree& tree() const { return step_.tree; }

    bool is_written(ObjectId set) const {
        const auto& sets = step_.done->sets;
        const auto found = std::ranges::find(sets, tree().path(set), &SetObservation::path);
        return found != sets.end() && found->written;
    }

    // Sets of the names of their sources.
    void list_of_group(const std::string& path) {
        const auto group = look_up(tree(), tree().root(), path, ObjectKind::Group);
        if (!group) {
            return;
        }
        for (const ObjectId source : find_source_sets(values_, tree())) {
            const auto name = split_last(tree().path(source)).second;
            const auto result = look_up(tree(), *group, name, ObjectKind::DataSet);
            if (result && is_written(*result)) {
                means_.push_back({source, *result});
            }
        }
    }

    // A set of a labelled column for each source. Labels that are not those of the columns tell
    // that these are not what the sources would make of them.
    void list_of_set(const std::string& path) {
        const auto result = look_up(tree(), tree().root(), path, ObjectKind::DataSet);
        if (!result || !is_written(*result)) {
            return;
        }
        const auto columns = list_mean_columns(step_);
        if (!std::ranges::equal(read_labels(tree(), *result), columns, {}, {},
                                &MeanColumn::label)) {
            return;
        }
        for (std::size_t column = 0; column < columns.size(); ++column) {
            means_.push_back({columns[column].source, *result, column, columns.size()});
        }
    }

    const GuardedStep& step_;
    const ParameterValues& values_;
    std::vector<Means> means_;
};

// Of all samples but the least and the greatest, so that it is not that of one outlier. Of an
// offset so large that it has no digits the least error is larger anyway.
double deviation_between(const LineSummary& line, std::uint64_t sample_count) {
    const auto least = static_cast<double>(line.least);
    const auto greatest = static_cast<double>(line.greatest);
    const auto count = static_cast<double>(sample_count - 2);
    const double mean = (line.sum - least - greatest) / count;
    const double square = (line.squares - least * least - greatest * greatest) / count;
    return std::sqrt(std::max(square - mean * mean, 0.0));
}

// The range, unless that is one of a few samples far from the others.
double spread_of(const LineSummary& line, std::uint64_t sample_count) {
    return std::min(static_cast<double>(line.greatest) - static_cast<double>(line.least),
                    DEVIATIONS_IN_RANGE * deviation_between(line, sample_count));
}

bool is_off(double mean, double exact, const LineSummary& line, std::uint64_t sample_count) {
    const double largest = std::max(std::abs(static_cast<double>(line.least)),
                                    std::abs(static_cast<double>(line.greatest)));
    return std::abs(mean - exact) >
           std::max(LARGEST_ERROR * spread_of(line, sample_count), LEAST_ERROR * largest);
}

std::vector<float> read_all(DataTree& tree, ObjectId set) {
    const Extents extents = tree.extents(set);
    const Extents starts(extents.size(), 0);
    std::vector<float> samples(count_samples(extents));
    tree.read(set, {starts, extents}, samples);
    return samples;
}

GuardFinding make_finding(const GuardedStep& step, const Means& means, const SetLines& lines,
                          std::uint64_t off_count, std::uint64_t line, const LineSummary& summary,
                          double mean) {
    const double exact = summary.sum / static_cast<double>(lines.length());
    const double deviation = deviation_between(summary, lines.length());
    return {
        .set = step.tree.path(means.result),
        .text = fmt::format(
            "of {} of {} {} not that of the samples, the first is {}: {} for {}, which lie "
            "between {} and {} with a deviation of {:.3g} but for these two; in double precision "
            "it is {:.9g}",
            count_things(lines.count(), "mean"), step.tree.path(means.source),
            off_count == 1 ? "1 is" : fmt::format("{} are", off_count), lines.name(line),
            static_cast<float>(mean), count_things(lines.length(), "sample"), summary.least,
            summary.greatest, deviation, exact),
        .remedy = "take the offset off before (apply-set-baseline-offset), or some of the "
                  "samples (apply-set-downsample)",
        .numbers = {{"means_off", off_count},
                    {"means", lines.count()},
                    {"samples", lines.length()},
                    {"mean", mean},
                    {"exact", exact},
                    {"least", summary.least},
                    {"greatest", summary.greatest},
                    {"deviation", deviation}}};
}

std::optional<GuardFinding> find_in_means(const GuardedStep& step, const Means& means) {
    const Extents extents = step.tree.extents(means.source);
    const SetLines lines(extents, find_axis(step.step.values, extents));
    const std::vector<float> made = read_all(step.tree, means.result);
    if (lines.length() <= FEW_SAMPLES || lines.count() == 0 ||
        means.first + (lines.count() - 1) * means.stride >= made.size()) {
        return std::nullopt;
    }
    const auto summaries = summarise_lines(step.tree, means.source, lines);
    const auto mean_of = [&](std::uint64_t line) {
        return static_cast<double>(made[means.first + line * means.stride]);
    };
    std::vector<std::uint64_t> off;
    for (std::uint64_t line = 0; line < lines.count(); ++line) {
        const double exact = summaries[line].sum / static_cast<double>(lines.length());
        if (is_off(mean_of(line), exact, summaries[line], lines.length())) {
            off.push_back(line);
        }
    }
    if (off.empty()) {
        return std::nullopt;
    }
    return make_finding(step, means, lines, off.size(), off.front(), summaries[off.front()],
                        mean_of(off.front()));
}

} // namespace

std::vector<GuardFinding> find_means_off(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    if (!takes_means(*step.step.unit)) {
        return found;
    }
    for (const Means& means : MadeMeans(step).list()) {
        if (auto finding = find_in_means(step, means)) {
            found.push_back(std::move(*finding));
        }
    }
    return found;
}

} // namespace talvora::host
