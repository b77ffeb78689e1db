// The designs that the host tells of, against what the built plug-in does to a signal.
#include "dsp/zero_phase_filter.h"
#include "host/filters/filter_design.h"
#include "host/interface/unit_run.h"
#include "host/tree/memory_tree.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

constexpr float SAMPLE_RATE = 360.0F;
constexpr std::size_t COUNT = 20001;
constexpr std::size_t MIDDLE = COUNT / 2;

const ButterworthParameters PARAMETERS[] = {
    {20.0, 2, 0.0, Bandform::ZeroLagLowPass},   {33.3, 8, 0.0, Bandform::ZeroLagLowPass},
    {12.5, 4, 0.0, Bandform::ZeroLagHighPass},  {100.0, 7, 0.0, Bandform::ZeroLagHighPass},
    {50.0, 4, 20.0, Bandform::ZeroLagBandPass}, {60.0, 8, 70.0, Bandform::ZeroLagBandPass},
    {50.0, 4, 20.0, Bandform::ZeroLagBandStop}, {60.0, 8, 70.0, Bandform::ZeroLagBandStop},
};

std::vector<float> make_impulse() {
    std::vector<float> samples(COUNT);
    samples[MIDDLE] = 1.0F;
    return samples;
}

std::vector<float> filter_by_plugin(const ButterworthParameters& parameters) {
    const PluginLibrary plugin(SIGNAL_PLUGIN);
    const Unit& unit = *plugin.find_unit("apply-set-butterworth");
    MemoryTree tree;
    const ObjectId set = tree.create_dataset(tree.root(), "X", {COUNT});
    tree.write_attribute(set, "SampleRate", SAMPLE_RATE);
    const std::vector<std::uint64_t> starts = {0};
    const std::vector<std::uint64_t> counts = {COUNT};
    std::vector<float> samples = make_impulse();
    tree.write(set, {starts, counts}, samples);
    const ParameterValues values(declare_unit(unit),
                                 {{"SourceSets", std::vector<std::string>{"X"}},
                                  {"CutoffFrequency", parameters.cutoff},
                                  {"Order", std::int64_t{parameters.order}},
                                  {"BandWidth", parameters.bandwidth},
                                  {"Bandform", std::string(bandform_name(parameters.bandform))}});
    EXPECT_TRUE(run_unit(unit, tree, values, [](const Message&) {}).is_good());
    tree.read(set, {starts, counts}, samples);
    return samples;
}

// The gain of a response without phase at one frequency.
double gain_of(const std::vector<float>& response, double frequency_hz) {
    double sum = 0.0;
    for (std::size_t i = 0; i < response.size(); ++i) {
        const double time = (static_cast<double>(i) - static_cast<double>(MIDDLE)) /
                            static_cast<double>(SAMPLE_RATE);
        sum += static_cast<double>(response[i]) *
               std::cos(2.0 * std::numbers::pi * frequency_hz * time);
    }
    return sum;
}

TEST(FilterDesign, HasTheResponseOfThePlugin) {
    for (const ButterworthParameters& parameters : PARAMETERS) {
        const std::vector<float> response = filter_by_plugin(parameters);
        const FilterDesign design = design_filter(parameters, SAMPLE_RATE);
        for (const double frequency : {0.0, 3.0, 12.5, 20.0, 33.0, 50.0, 77.0, 111.0, 180.0}) {
            EXPECT_NEAR(two_pass_gain(design, frequency), gain_of(response, frequency), 1e-6)
                << bandform_name(parameters.bandform) << " at " << frequency;
        }
    }
}

TEST(FilterDesign, HasCoefficientsThatGiveThePluginsBits) {
    const std::vector<float> impulse = make_impulse();
    const std::vector<double> samples(impulse.begin(), impulse.end());
    for (const ButterworthParameters& parameters : PARAMETERS) {
        const auto& [b, a] = design_filter(parameters, SAMPLE_RATE).coefficients;
        std::vector<float> expected;
        for (const double value : dsp::zero_phase_filter(samples, dsp::prepare_filter({b, a}))) {
            expected.push_back(static_cast<float>(value));
        }
        EXPECT_EQ(filter_by_plugin(parameters), expected) << bandform_name(parameters.bandform);
    }
}

} // namespace
} // namespace talvora::host
