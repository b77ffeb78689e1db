#include "host/maps/mapped_import.h"

#include "host/tables/grid_samples.h"
#include "host/tables/row_placement.h"
#include "host/tables/signal_attributes.h"
#include "host/tables/time_column.h"
#include "host/text/failure.h"
#include "host/text/plural.h"
#include "host/tree/gaps.h"
#include "host/tree/line_roundings.h"
#include "host/tree/packed_samples.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <variant>

namespace talvora::host {
namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

// As long as a chunk of a new set is at most (host/hdf5/hdf5_sets.cpp), which is then written once.
constexpr std::uint64_t PIECE_SAMPLES = std::uint64_t{64} * 1024;
// Of all components together: they take some 28 bytes each, as they are stored, read and written.
constexpr std::uint64_t PIECE_VALUES = std::uint64_t{2} * 1024 * 1024;

// Which components go through memory together.
struct ComponentRange {
    std::uint64_t first = 0;
    std::uint64_t count = 0;
};

// ---------------------------------------------------------------------------
// Samples as they are stored, calibrated

class RowReader {
  public:
    RowReader(Hdf5Tree& source, const SetPlan& plan, const std::string& file)
        : source_(source), plan_(plan), file_(file), starts_(plan.extents.size(), 0),
          counts_(plan.extents.size(), 1) {}

    // Component after component, each with all of the rows.
    const std::vector<double>& read(const ComponentRange& components, std::size_t first_row,
                                    std::size_t row_count) {
        starts_[plan_.time_dimension] = first_row;
        counts_[plan_.time_dimension] = row_count;
        if (plan_.component_dimension) {
            starts_[*plan_.component_dimension] = components.first;
            counts_[*plan_.component_dimension] = components.count;
        }
        const StoredSamples stored = source_.read_stored(plan_.id, {starts_, counts_});
        lines_.resize(components.count * row_count);
        std::visit(
            [&](const auto& samples) { calibrate_all(samples, components, first_row, row_count); },
            stored);
        return lines_;
    }

  private:
    template <typename Stored>
    void calibrate_all(const std::vector<Stored>& samples, const ComponentRange& components,
                       std::size_t first_row, std::size_t row_count) {
        const bool time_is_last =
            !plan_.component_dimension || plan_.time_dimension > *plan_.component_dimension;
        const std::size_t row_step = time_is_last ? 1 : components.count;
        const std::size_t component_step = time_is_last ? row_count : 1;
        for (std::size_t c = 0; c < components.count; ++c) {
            const double scale = plan_.calibration.scale_of(components.first + c);
            const double offset = plan_.calibration.offset_of(components.first + c);
            const std::span<double> line = std::span(lines_).subspan(c * row_count, row_count);
            bool is_beyond = false;
            for (std::size_t row = 0; row < row_count; ++row) {
                const auto sample =
                    static_cast<double>(samples[c * component_step + row * row_step]);
                line[row] = offset == 0 ? sample * scale : sample * scale + offset;
                is_beyond |= !std::isfinite(static_cast<float>(line[row])) && std::isfinite(sample);
            }
            if (is_beyond) {
                refuse_beyond(line, samples.data() + c * component_step, row_step,
                              components.first + c, first_row);
            }
        }
    }

    template <typename Stored>
    [[noreturn]] void refuse_beyond(std::span<const double> line, const Stored* samples,
                                    std::size_t row_step, std::uint64_t component,
                                    std::size_t first_row) const {
        std::size_t row = 0;
        while (std::isfinite(static_cast<float>(line[row])) ||
               !std::isfinite(static_cast<double>(samples[row * row_step]))) {
            ++row;
        }
        throw Failure(
            ExitCode::Input,
            fmt::format("{}: row {}, component {} of '{}' becomes {}, which no 32-bit float can "
                        "hold (allowed: {} to {})",
                        file_, first_row + row, component, plan_.path, line[row],
                        std::numeric_limits<float>::lowest(), std::numeric_limits<float>::max()));
    }

    Hdf5Tree& source_;
    const SetPlan& plan_;
    const std::string& file_;
    Extents starts_;
    Extents counts_;
    std::vector<double> lines_;
};

// ---------------------------------------------------------------------------
// One data set

class SetImport {
  public:
    SetImport(Hdf5Tree& source, const SetPlan& plan, DataTree& result, const std::string& file,
              MappedReport& report)
        : source_(source), plan_(plan), result_(result), file_(file), report_(report),
          rows_(source, plan, file) {}

    void run(const MapChoices& choices) {
        place(choices);
        const Extents extents = {plan_.component_count, 1, sample_count_};
        report_.infos.push_back(describe(extents));
        const ObjectId set = result_.create_dataset(result_.root(), plan_.result, extents);
        roundings_.emplace(extents);
        write_samples(set);
        write_signal_attributes(result_, set,
                                {.sample_rate = sample_rate_,
                                 .start_time = start_time_,
                                 .labels = plan_.labels,
                                 .units = plan_.units});
        const SetRounding rounding = roundings_->sum_up();
        if (rounding.change.largest_change > 0) {
            const bool is_large = rounding.worst.part_of_range() > LARGE_PART_OF_RANGE;
            (is_large ? report_.warnings : report_.infos)
                .push_back(fmt::format("{}: {} rounded to 32-bit floats; {}", file_, plan_.result,
                                       describe_rounding(rounding)));
        }
        if (never_written_count_ > 0) {
            report_.warnings.push_back(
                fmt::format("{}: {}: {}", file_, plan_.result,
                            describe_never_written(never_written_count_, count_samples(extents))));
        }
        report_.sets.push_back({plan_.result, sample_count_, sample_rate_});
    }

  private:
    void place(const MapChoices& choices) {
        if (!plan_.times) {
            sample_count_ = plan_.row_count;
            sample_rate_ = plan_.sample_rate;
            start_time_ = plan_.start_time;
            return;
        }
        PlacedRows placed = place_rows(read_times(), plan_.times->path,
                                       {.placement = choices.placement,
                                        .sample_rate = choices.sample_rate,
                                        .max_gap_samples = choices.max_gap_samples,
                                        .first_row = 0},
                                       fmt::format("{}: {}", file_, plan_.path));
        std::ranges::move(placed.infos, std::back_inserter(report_.infos));
        std::ranges::move(placed.warnings, std::back_inserter(report_.warnings));
        grid_ = std::move(placed.grid);
        sample_count_ = grid_->sample_count;
        sample_rate_ = grid_->sample_rate;
        start_time_ = grid_->start_time;
    }

    std::vector<double> read_times() {
        try {
            std::vector<double> times = SourceValues(source_, plan_.id, plan_.path)
                                            .read_numbers(*plan_.times, plan_.row_count);
            if (times.size() != plan_.row_count) {
                throw TreeError(fmt::format("{} holds {} for the {} of '{}'",
                                            plan_.times->description,
                                            count_things(times.size(), "time"),
                                            count_things(plan_.row_count, "row"), plan_.path));
            }
            if (const auto beyond = find_no_second(times)) {
                throw TreeError(
                    fmt::format("{} holds {}, beyond the year 5000 in seconds (allowed: "
                                "times in seconds)",
                                plan_.times->description, *beyond));
            }
            return times;
        } catch (const TreeError& error) {
            throw Failure(ExitCode::Input, fmt::format("{}: {}", file_, error.what()));
        }
    }

    std::string describe(const Extents& extents) const {
        std::string text =
            fmt::format("{}: {} ({} {}) becomes {} {} at {:.6g} Hz", file_, plan_.path,
                        describe_sample_type(plan_.type), describe_extents(plan_.extents),
                        plan_.result, describe_extents(extents), sample_rate_);
        text += describe_factors("times", plan_.calibration.scale, 1);
        text += describe_factors("plus", plan_.calibration.offset, 0);
        const bool has_unit = plan_.units.size() == 1 && !plan_.units.front().empty();
        return has_unit ? fmt::format("{}, in {}", text, plan_.units.front()) : text;
    }

    static std::string describe_factors(std::string_view word, const std::vector<double>& factors,
                                        double nothing) {
        const auto [least, greatest] = std::ranges::minmax(factors);
        if (least == nothing && greatest == nothing) {
            return "";
        }
        return least == greatest ? fmt::format(", {} {}", word, least)
                                 : fmt::format(", {} {} to {}", word, least, greatest);
    }

    // ---------------------------------------------------------------------
    // Samples

    void write_samples(ObjectId set) {
        std::optional<GridWalk> walk;
        if (grid_) {
            walk.emplace(*grid_, PIECE_SAMPLES);
        }
        for (std::uint64_t first = 0; first < sample_count_; first += PIECE_SAMPLES) {
            const std::uint64_t count = std::min(PIECE_SAMPLES, sample_count_ - first);
            const auto parts = walk ? walk->next(count)
                                    : std::vector{GridPart{.first_row = first,
                                                           .row_count = count,
                                                           .first_sample = first,
                                                           .sample_count = count}};
            const std::uint64_t at_once =
                std::max<std::uint64_t>(1, PIECE_VALUES / std::max(count, find_longest(parts)));
            for (std::uint64_t c = 0; c < plan_.component_count; c += at_once) {
                const ComponentRange components{c, std::min(at_once, plan_.component_count - c)};
                write_piece(set, components, first, count, parts);
            }
        }
    }

    static std::uint64_t find_longest(std::span<const GridPart> parts) {
        std::uint64_t longest = 0;
        for (const GridPart& part : parts) {
            longest = std::max<std::uint64_t>(longest, part.row_count);
        }
        return longest;
    }

    void write_piece(ObjectId set, const ComponentRange& components, std::uint64_t first,
                     std::uint64_t count, std::span<const GridPart> parts) {
        piece_.assign(components.count * count, NaN);
        for (const GridPart& part : parts) {
            const std::span<const double> lines =
                rows_.read(components, part.first_row, part.row_count);
            for (std::uint64_t c = 0; c < components.count; ++c) {
                fill(part, lines.subspan(c * part.row_count, part.row_count),
                     std::span(piece_).subspan(c * count + (part.first_sample - first),
                                               part.sample_count));
            }
        }
        rounded_.resize(piece_.size());
        const Extents starts = {components.first, 0, first};
        const Extents counts = {components.count, 1, count};
        const Hyperslab place{starts, counts};
        roundings_->round<double>(place, piece_, rounded_);
        never_written_count_ +=
            static_cast<std::uint64_t>(std::ranges::count(rounded_, NEVER_WRITTEN));
        result_.write(set, place, rounded_);
    }

    void fill(const GridPart& part, std::span<const double> values,
              std::span<double> samples) const {
        if (!grid_) {
            std::ranges::copy(values, samples.begin());
        } else if (grid_->between_rows.empty()) {
            place_rows_of_part(*grid_, part, values, samples);
        } else {
            interpolate_part(*grid_, part, values, samples);
        }
    }

    Hdf5Tree& source_;
    const SetPlan& plan_;
    DataTree& result_;
    const std::string& file_;
    MappedReport& report_;
    RowReader rows_;
    std::optional<TimeGrid> grid_; // nothing where rows are equally spaced
    std::uint64_t sample_count_ = 0;
    double sample_rate_ = 0;
    double start_time_ = 0;
    std::optional<LineRoundings> roundings_; // of the result
    std::uint64_t never_written_count_ = 0;
    std::vector<double> piece_;
    std::vector<float> rounded_;
};

// ---------------------------------------------------------------------------
// Groups

// A group tells a rate and a count that all sets in it have.
void describe_groups(DataTree& result, std::span<const MappedSet> sets) {
    std::map<std::string, std::vector<const MappedSet*>> groups;
    for (const MappedSet& set : sets) {
        groups[split_last(set.path).first].push_back(&set);
    }
    for (const auto& [path, members] : groups) {
        const MappedSet& first = *members.front();
        const bool are_alike = std::ranges::all_of(members, [&](const MappedSet* set) {
            return set->sample_count == first.sample_count && set->sample_rate == first.sample_rate;
        });
        if (are_alike && !path.empty()) {
            write_group_attributes(result, result.find(result.root(), path).value(),
                                   first.sample_rate, first.sample_count);
        }
    }
}

} // namespace

MappedReport import_mapped(Hdf5Tree& source, const ImportMap& map, const MapChoices& choices,
                           DataTree& result, const std::string& file) {
    const ImportPlan plan = plan_import(source, map, choices, file);
    MappedReport report;
    if (!choices.group.empty()) {
        result.create_group(result.root(), choices.group);
    }
    for (const SetPlan& set : plan.sets) {
        SetImport(source, set, result, file, report).run(choices);
    }
    describe_groups(result, report.sets);
    std::ranges::copy(plan.infos, std::back_inserter(report.infos));
    std::ranges::copy(plan.warnings, std::back_inserter(report.warnings));
    return report;
}

} // namespace talvora::host
