#include "host/filters/filter_facts.h"
#include "host/filters/filter_fault.h"
#include "library/guarded_call.h"
#include "library/versioned_structure.h"
#include "library/zero_phase.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace talvora::library {
namespace {

using host::Bandform;

// The band forms of the unit, by number.
static_assert(TALVORA_LOW_PASS == static_cast<int>(Bandform::ZeroLagLowPass));
static_assert(TALVORA_HIGH_PASS == static_cast<int>(Bandform::ZeroLagHighPass));
static_assert(TALVORA_BAND_PASS == static_cast<int>(Bandform::ZeroLagBandPass));
static_assert(TALVORA_BAND_STOP == static_cast<int>(Bandform::ZeroLagBandStop));

Bandform read_form(talvora_form form) {
    if (form < TALVORA_LOW_PASS || form > TALVORA_BAND_STOP) {
        throw InvalidArgument(
            fmt::format("form is {}; allowed are TALVORA_LOW_PASS (0), TALVORA_HIGH_PASS (1), "
                        "TALVORA_BAND_PASS (2) and TALVORA_BAND_STOP (3)",
                        form));
    }
    return static_cast<Bandform>(form);
}

void check_order(std::int32_t order) {
    if (order < 2) {
        throw InvalidArgument(
            fmt::format("order is {}; allowed are 2, one for each pass, and more", order));
    }
}

float read_rate(double rate) {
    constexpr auto MOST = static_cast<double>(std::numeric_limits<float>::max());
    const float rounded = std::abs(rate) <= MOST ? static_cast<float>(rate) : 0.0F;
    if (!(rounded > 0.0F)) {
        throw InvalidArgument(fmt::format("rate is {} Hz; allowed are numbers above 0 that a float "
                                          "can hold",
                                          rate));
    }
    return rounded;
}

double read_frequency(const char* member, double frequency) {
    if (!(frequency > 0.0 && std::isfinite(frequency))) {
        throw InvalidArgument(
            fmt::format("{} is {} Hz; allowed are numbers above 0", member, frequency));
    }
    return frequency;
}

double read_bandwidth(Bandform bandform, double bandwidth) {
    if (dsp::has_band(bandform)) {
        return read_frequency("bandwidth", bandwidth);
    }
    if (bandwidth != 0.0) {
        throw InvalidArgument(
            fmt::format("bandwidth is {} Hz; a low or high pass has none: 0", bandwidth));
    }
    return bandwidth;
}

// What messages call the members of the design.
constexpr host::FilterWords MEMBERS{"cutoff", "bandwidth", "order", ""};

// The filter of the unit; throws InvalidArgument for one that would not be what it is asked to be.
dsp::FilterCoefficients design_filter(const talvora_butterworth_design* design) {
    const auto asked = read_structure(design, "the design");
    const Bandform bandform = read_form(asked.form);
    check_order(asked.order);
    const float rate = read_rate(asked.rate);
    const host::FilterDesign made =
        host::design_filter({read_frequency("cutoff", asked.cutoff), asked.order,
                             read_bandwidth(bandform, asked.bandwidth), bandform},
                            rate);
    if (const auto fault = host::find_fault(made, MEMBERS)) {
        throw InvalidArgument(fmt::format("at a rate of {} Hz {} (allowed here: {})", rate,
                                          fault->text, fault->remedy));
    }
    return made.coefficients;
}

std::vector<double> read_edges(const double* edges, std::size_t count) {
    constexpr std::size_t MOST_EDGES = 2;
    if (edges == nullptr || count < 1 || count > MOST_EDGES) {
        throw InvalidArgument(edges == nullptr
                                  ? std::string("edges are NULL; one or two are needed")
                                  : fmt::format("{} edges given; allowed are 1 and 2", count));
    }
    return {edges, edges + count};
}

void check_capacity(std::size_t capacity, std::size_t count) {
    if (capacity < count) {
        throw InvalidArgument(
            fmt::format("the capacity is {}; the filter has {} coefficients", capacity, count));
    }
}

} // namespace
} // namespace talvora::library

talvora_status talvora_find_cutoff(talvora_butterworth_design* design, const double* edges,
                                   size_t edge_count, char* error, size_t error_size) {
    using namespace talvora::library;
    return guard_call(error, error_size, [&] {
        talvora_butterworth_design found = read_structure(design, "the design");
        check_order(found.order);
        const auto facts =
            talvora::host::choose_filter(read_form(found.form), found.order,
                                         read_edges(edges, edge_count), read_rate(found.rate));
        found.cutoff = facts.design.parameters.cutoff;
        found.bandwidth = facts.design.parameters.bandwidth;
        write_structure(found, design, "the design");
    });
}

talvora_status talvora_design_butterworth(const talvora_butterworth_design* design, double* b,
                                          double* a, size_t capacity, size_t* count, char* error,
                                          size_t error_size) {
    using namespace talvora::library;
    return guard_call(error, error_size, [&] {
        if (b == nullptr || a == nullptr || count == nullptr) {
            throw InvalidArgument("b, a or count is NULL; all three are written to");
        }
        const talvora::dsp::FilterCoefficients filter = design_filter(design);
        *count = filter.a.size();
        check_capacity(capacity, filter.a.size());
        std::ranges::copy(filter.b, b);
        std::ranges::copy(filter.a, a);
    });
}

talvora_status talvora_butterworth(const talvora_butterworth_design* design,
                                   const talvora_array* in, const talvora_array* out,
                                   const talvora_filter_options* options, char* error,
                                   size_t error_size) {
    using namespace talvora::library;
    return guard_call(error, error_size,
                      [&] { filter_array(design_filter(design), in, out, options); });
}
