// What the built plug-in says to a filter's parameters.
#include "host/filters/filter_trial.h"
#include "host/interface/unit_run.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

class FilterTrial : public testing::Test {
  protected:
    std::optional<std::string> refusal(double cutoff, double bandwidth) const {
        return find_refusal(
            unit_,
            {declare_unit(unit_),
             {{"CutoffFrequency", cutoff}, {"Order", std::int64_t{4}}, {"BandWidth", bandwidth}}},
            100.0F);
    }

  private:
    PluginLibrary plugin_{SIGNAL_PLUGIN};
    const Unit& unit_ = *plugin_.find_unit("apply-set-butterworth");
};

TEST_F(FilterTrial, RefusesNothingThatTheUnitTakes) {
    EXPECT_EQ(refusal(5.0, 0.0), std::nullopt);
}

TEST_F(FilterTrial, TellsWhatTheUnitReports) {
    EXPECT_EQ(refusal(0.0, 0.0), "Invalid cutoff frequency");
    EXPECT_EQ(refusal(5.0, 1.0), "Bandwidth cannot be defined when using a non-band filter "
                                 "(bandform of type low or high pass).");
}

} // namespace
} // namespace talvora::host
