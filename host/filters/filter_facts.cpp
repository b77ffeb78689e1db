#include "host/filters/filter_facts.h"

#include "host/filters/filter_fault.h"
#include "host/filters/filter_parameters.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>

namespace talvora::host {
namespace {

using std::numbers::pi;

constexpr double HALF_POWER_GAIN = std::numbers::sqrt2 / 2.0;

struct Sample {
    double frequency = 0.0; // Hz
    double gain = 0.0;
    bool passes() const { return gain >= HALF_POWER_GAIN; }
};

// ---------------------------------------------------------------------------
// The 3 dB points: sample the response, look between the samples for a peak or a notch
// that they miss, and halve each interval in which the gain crosses.

class Response {
  public:
    explicit Response(const FilterDesign& design) : design_(design) {}

    std::vector<double> find_crossings() const {
        const std::vector<Sample> samples = add_hidden_extrema(sample_band());
        std::vector<double> crossings;
        for (std::size_t i = 1; i < samples.size(); ++i) {
            if (samples[i - 1].passes() != samples[i].passes()) {
                crossings.push_back(bisect(samples[i - 1], samples[i]));
            }
        }
        return crossings;
    }

  private:
    // In steps of 1 % in the analogue frequency, in which every edge looks alike.
    static constexpr double LOWEST_TANGENT = 3e-6; // a millionth of the rate
    static constexpr int STEPS_PER_DECADE = 230;

    Sample sample(double frequency) const { return {frequency, two_pass_gain(design_, frequency)}; }

    std::vector<Sample> sample_band() const {
        const double decade_count = -2.0 * std::log10(LOWEST_TANGENT);
        std::vector<Sample> samples;
        for (int i = 0; i <= decade_count * STEPS_PER_DECADE; ++i) {
            const double tangent =
                LOWEST_TANGENT * std::pow(10.0, static_cast<double>(i) / STEPS_PER_DECADE);
            samples.push_back(sample(design_.sample_rate / pi * std::atan(tangent)));
        }
        return samples;
    }

    // A narrow band may lie between two samples; the skirts tell where.
    std::vector<Sample> add_hidden_extrema(const std::vector<Sample>& samples) const {
        std::vector<Sample> all = {samples.front()};
        for (std::size_t i = 1; i + 1 < samples.size(); ++i) {
            const Sample& here = samples[i];
            all.push_back(here);
            if (const auto hidden = find_hidden(samples[i - 1], here, samples[i + 1])) {
                all.push_back(*hidden);
            }
        }
        all.push_back(samples.back());
        std::ranges::sort(all, {}, &Sample::frequency);
        return all;
    }

    // The peak or the notch that lies around a sample, where it reaches the other side of the
    // level.
    std::optional<Sample> find_hidden(const Sample& before, const Sample& here,
                                      const Sample& after) const {
        if (!is_extremum(before, here, after)) {
            return std::nullopt;
        }
        const double sign = here.passes() ? -1.0 : 1.0;
        const Sample found = refine(before.frequency, after.frequency, sign);
        return found.passes() != here.passes() ? std::optional(found) : std::nullopt;
    }

    // One that could reach the other side of the level: a peak below, a notch above it.
    static bool is_extremum(const Sample& before, const Sample& here, const Sample& after) {
        return here.passes() ? here.gain < before.gain && here.gain < after.gain
                             : here.gain > before.gain && here.gain > after.gain;
    }

    // The largest gain times sign between two frequencies, by golden sections.
    Sample refine(double from, double to, double sign) const {
        constexpr double SECTION = 1.0 / std::numbers::phi;
        constexpr int STEPS = 60;
        Sample left = sample(to - SECTION * (to - from));
        Sample right = sample(from + SECTION * (to - from));
        for (int i = 0; i < STEPS; ++i) {
            if (sign * left.gain > sign * right.gain) {
                to = right.frequency;
                right = left;
                left = sample(to - SECTION * (to - from));
            } else {
                from = left.frequency;
                left = right;
                right = sample(from + SECTION * (to - from));
            }
        }
        return left;
    }

    double bisect(Sample low, Sample high) const {
        constexpr int STEPS = 60; // beyond the digits of a double
        for (int i = 0; i < STEPS; ++i) {
            const Sample middle = sample((low.frequency + high.frequency) / 2.0);
            (middle.passes() == low.passes() ? low : high) = middle;
        }
        return (low.frequency + high.frequency) / 2.0;
    }

    const FilterDesign& design_;
};

// ---------------------------------------------------------------------------
// Warnings

// Of the edges that the parameters suggest: a larger one is told.
constexpr double DEVIATION = 0.05;

std::string make_choice_command(const FilterDesign& design) {
    std::string edges;
    for (const double edge : design.suggested_edges) {
        edges += fmt::format(" --edge {}", edge);
    }
    return fmt::format("talvora-host design {}{} --rate {} --order {}",
                       bandform_name(design.parameters.bandform), edges, name_rate(design),
                       design.parameters.order);
}

bool is_as_suggested(const FilterFacts& facts) {
    return std::ranges::equal(facts.three_db_points, facts.design.suggested_edges,
                              [](double found, double suggested) {
                                  return std::abs(found - suggested) <= DEVIATION * suggested;
                              });
}

// ---------------------------------------------------------------------------
// Wanted edges

// What the closed form gives may be off by the digits of the coefficients.
constexpr double CHOICE_TOLERANCE = 1e-3;

void refuse_if(bool wrong, const std::string& text) {
    if (wrong) {
        throw Failure(ExitCode::Usage, text);
    }
}

std::string describe_edge_count(Bandform bandform, std::size_t given_count) {
    return fmt::format("{} has {}, {} given", bandform_name(bandform),
                       count_edges(bandform) == 1 ? "one edge" : "two edges", given_count);
}

std::string describe_order_without_edges(std::int64_t order) {
    return fmt::format("an order of {} has no edges: it must be 2 or more", order);
}

std::string describe_descent(const std::vector<double>& edges) {
    return fmt::format("the edges {:.6g} and {:.6g} Hz are not ascending", edges.front(),
                       edges.back());
}

bool has_edges(std::int64_t order) {
    return order >= 2 && order <= std::numeric_limits<std::int32_t>::max();
}

void check_edges(Bandform bandform, const std::vector<double>& edges, double rate) {
    const std::size_t count = count_edges(bandform);
    refuse_if(edges.size() != count, describe_edge_count(bandform, edges.size()));
    for (const double edge : edges) {
        refuse_if(
            !(edge > 0.0 && edge < rate / 2.0),
            fmt::format("an edge of {:.6g} Hz cannot be had at {:.6g} Hz: it must lie above 0 "
                        "and below half the rate, {:.6g} Hz",
                        edge, rate, rate / 2.0));
    }
    refuse_if(count == 2 && !(edges[0] < edges[1]), describe_descent(edges));
}

bool are_nearly(const std::vector<double>& found, const std::vector<double>& wanted) {
    return std::ranges::equal(found, wanted, [](double one, double other) {
        return std::abs(one - other) <= CHOICE_TOLERANCE * other;
    });
}

} // namespace

FilterState judge(const FilterDesign& design) {
    if (design.pass_order == 0) {
        return FilterState::Neutral;
    }
    if (!has_finite_coefficients(design)) {
        return FilterState::NotFinite;
    }
    return is_stable(design) ? FilterState::Useful : FilterState::Unstable;
}

FilterFacts find_facts(const ButterworthParameters& parameters, float sample_rate) {
    FilterFacts facts;
    facts.design = design_filter(parameters, sample_rate);
    facts.state = judge(facts.design);
    if (facts.state == FilterState::Useful) {
        facts.three_db_points = Response(facts.design).find_crossings();
    }
    return facts;
}

std::vector<FilterWarning> find_warnings(const FilterFacts& facts) {
    const std::string at = fmt::format("at {} Hz ", name_rate(facts.design));
    if (const auto fault = find_fault(facts.design)) {
        return {{at + fault->text}};
    }
    std::vector<FilterWarning> warnings;
    if (const auto inaccuracy = find_inaccuracy(facts.design)) {
        warnings.push_back({at + *inaccuracy});
    }
    if (!is_as_suggested(facts)) {
        warnings.push_back(
            {fmt::format("{}both passes together are 3 dB down at {}; the parameters suggest {}",
                         at, name_edges(facts.three_db_points),
                         name_edges(facts.design.suggested_edges)),
             make_choice_command(facts.design)});
    }
    return warnings;
}

std::string name_edges(const std::vector<double>& edges) {
    std::vector<std::string> texts;
    texts.reserve(edges.size());
    for (const double edge : edges) {
        texts.push_back(fmt::format("{:.6g}", edge));
    }
    return texts.empty() ? "no frequency" : join_texts(texts, " and ") + " Hz";
}

std::string make_design_command(const FilterDesign& design) {
    const ButterworthParameters& parameters = design.parameters;
    return fmt::format("talvora-host design {} {} --rate {}", bandform_name(parameters.bandform),
                       format_numbers(parameters), name_rate(design));
}

std::string name_rate(const FilterDesign& design) {
    return fmt::format("{}", static_cast<float>(design.sample_rate));
}

std::string_view describe_state(FilterState state) {
    switch (state) {
    case FilterState::Useful:
        return "";
    case FilterState::Neutral:
        return "of order 0 in each pass: it changes no value";
    case FilterState::Unstable:
        return "unstable: what it gives grows without bound";
    case FilterState::NotFinite:
        break;
    }
    return "not finite: it makes every run missing";
}

std::string find_edge_problem(Bandform bandform, std::int64_t order,
                              const std::vector<double>& edges) {
    if (!has_edges(order)) {
        return describe_order_without_edges(order);
    }
    if (edges.size() != count_edges(bandform)) {
        return describe_edge_count(bandform, edges.size());
    }
    for (const double edge : edges) {
        if (!(edge > 0.0 && std::isfinite(edge))) {
            return fmt::format("an edge of {:.6g} Hz cannot be had: it must lie above 0 and below "
                               "half the rate",
                               edge);
        }
    }
    return std::ranges::is_sorted(edges, std::less_equal<>()) ? "" : describe_descent(edges);
}

FilterFacts choose_filter(Bandform bandform, std::int64_t order, const std::vector<double>& edges,
                          float sample_rate) {
    refuse_if(!has_edges(order), describe_order_without_edges(order));
    check_edges(bandform, edges, static_cast<double>(sample_rate));
    FilterFacts facts = find_facts(
        choose_parameters(bandform, static_cast<std::int32_t>(order), edges, sample_rate),
        sample_rate);
    refuse_if(!are_nearly(facts.three_db_points, edges),
              fmt::format("order {} asks for more digits than the coefficients have: {}", order,
                          facts.state == FilterState::Useful
                              ? "3 dB down at " + name_edges(facts.three_db_points)
                              : "the filter would be " + std::string(describe_state(facts.state))));
    return facts;
}

} // namespace talvora::host
