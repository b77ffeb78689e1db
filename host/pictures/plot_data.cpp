#include "host/pictures/plot_data.h"

#include "host/tree/tree_rules.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <utility>

namespace talvora::host {
namespace {

constexpr float CUT = std::numeric_limits<float>::quiet_NaN();

bool is_chosen(std::size_t line, const PlotChoice& choice) {
    return choice.lines.empty() || std::ranges::find(choice.lines, line) != choice.lines.end();
}

// The unit of all lines; empty where they have several, or none.
std::string shared_unit(const SignalSet& set) {
    return set.names.units.texts.size() == 1 ? set.names.units.texts.front() : "";
}

// A unit of all lines stands beside the axis.
std::string make_label(const SignalSet& set, std::size_t line, const std::string& file) {
    const std::string name = set.line_label(line) + set.line_indices(line);
    const std::string shown = name.empty() && file.empty() ? split_last(set.path).second : name;
    return shared_unit(set).empty() ? name_with_unit(shown, set.line_unit(line)) : shown;
}

std::string make_y_title(const SignalSet& set, const PlotChoice& choice) {
    return choice.y_title.empty() ? name_with_unit(split_last(set.path).second, shared_unit(set))
                                  : choice.y_title;
}

// cppcheck-suppress constParameter; its lines are appended to
void add_lines(PlotPanel& panel, const SignalSet& set, const PlotChoice& choice,
               const std::string& file, bool is_before) {
    for (std::size_t i = 0; i < set.line_count(); ++i) {
        if (is_chosen(i, choice)) {
            const std::span<const float> samples = set.line(i);
            panel.lines.push_back({.label = make_label(set, i, file),
                                   .file = file,
                                   .colour_index = i,
                                   .is_before = is_before,
                                   .start = set.time_of(0),
                                   .step = set.sample_rate ? 1 / *set.sample_rate : 1,
                                   .samples = {samples.begin(), samples.end()}});
        }
    }
}

// One pixel's share of a line.
class Bucket {
  public:
    Bucket(std::span<const float> samples, std::size_t first, std::size_t end)
        : samples_(samples), first_(first), end_(end) {}

    void add_to(std::vector<ThinSample>& thin) {
        measure();
        if (std::isnan(samples_[first_])) {
            add(thin, first_, CUT);
        }
        if (!least_) {
            return;
        }
        const auto [earlier, later] = std::minmax(*least_, *greatest_);
        add(thin, earlier, samples_[earlier]);
        if (later != earlier) {
            add(thin, later, samples_[later]);
        }
        if (cut_after_) {
            add(thin, end_ - 1, CUT);
        }
    }

  private:
    void measure() {
        for (std::size_t i = first_; i < end_; ++i) {
            const float value = samples_[i];
            if (std::isnan(value)) {
                cut_after_ = cut_after_ || least_;
            } else if (!least_) {
                least_ = greatest_ = i;
            } else if (value < samples_[*least_]) {
                least_ = i;
            } else if (value > samples_[*greatest_]) {
                greatest_ = i;
            }
        }
    }

    static void add(std::vector<ThinSample>& thin, std::size_t position, float value) {
        thin.push_back({static_cast<double>(position), value});
    }

    std::span<const float> samples_;
    std::size_t first_;
    std::size_t end_;
    std::optional<std::size_t> least_; // positions
    std::optional<std::size_t> greatest_;
    bool cut_after_ = false;
};

} // namespace

std::size_t count_chosen(const SignalSet& set, const PlotChoice& choice) {
    const std::size_t count = set.line_count();
    if (choice.lines.empty()) {
        return count;
    }
    const std::set<std::size_t> chosen(choice.lines.begin(), choice.lines.end());
    return static_cast<std::size_t>(
        std::ranges::count_if(chosen, [&](std::size_t line) { return line < count; }));
}

std::vector<PlotPanel> stack_lines(const PlotPanel& panel) {
    std::map<std::size_t, PlotPanel> stacked; // by the colour, which a line before and after share
    for (const PlotLine& line : panel.lines) {
        PlotPanel& own = stacked[line.colour_index];
        own.title = panel.title + (line.label.starts_with('[') ? line.label : "");
        own.x_title = panel.x_title;
        own.y_title = panel.y_title;
        own.lines.push_back(line);
    }
    std::vector<PlotPanel> panels;
    for (auto& [colour, own] : stacked) {
        panels.push_back(std::move(own));
    }
    return panels;
}

PlotPanel make_panel(const PlotSource& source, const std::optional<PlotSource>& after,
                     const PlotChoice& choice) {
    const SignalSet& set = source.set;
    PlotPanel panel{.title = set.path,
                    .x_title = set.sample_rate ? "time (s)" : "sample",
                    .y_title = make_y_title(set, choice),
                    .lines = {}};
    add_lines(panel, set, choice, after ? source.file : "", after.has_value());
    if (after) {
        add_lines(panel, after->set, choice, after->file, false);
    }
    return panel;
}

std::string full_label(const PlotLine& line) {
    const bool needs_space = !line.file.empty() && !line.label.empty();
    return line.file + (needs_space ? " " : "") + line.label;
}

std::vector<ThinSample> thin_samples(std::span<const float> samples, std::size_t first,
                                     std::size_t last, std::size_t pixel_count) {
    const std::size_t count = last - first + 1;
    const std::size_t bucket_count = count <= 2 * pixel_count ? count : pixel_count;
    std::vector<ThinSample> thin;
    for (std::size_t i = 0; i < bucket_count; ++i) {
        Bucket(samples, first + i * count / bucket_count, first + (i + 1) * count / bucket_count)
            .add_to(thin);
    }
    return thin;
}

} // namespace talvora::host
