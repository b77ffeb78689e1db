#include "host/filters/filter_fault.h"
#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"

#include <limits>

namespace talvora::host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

struct FilterCase {
    Bandform bandform;
    double cutoff;
    std::int32_t order;
    double bandwidth;
    std::string text;   // beginning of it; empty: no fault
    std::string remedy; // part of it
};

// At 100 Hz; 50 / 1.24650470 = 40.1122.
const FilterCase CASES[] = {
    {Bandform::ZeroLagLowPass, 40.1, 4, 0, "", ""},
    {Bandform::ZeroLagHighPass, 0.01, 2, 0, "", ""},
    {Bandform::ZeroLagBandPass, 20, 4, 39, "", ""},
    {Bandform::ZeroLagBandStop, 20, 8, 10, "", ""},
    {Bandform::ZeroLagLowPass, 60, 4, 0, "the edge at 60 Hz is not below half the rate, 50 Hz",
     "CutoffFrequency above 0 and below 40.1122"},
    {Bandform::ZeroLagLowPass, 1000, 4, 0, "the edge at 1000 Hz is not below half the rate", ""},
    {Bandform::ZeroLagHighPass, 40.2, 4, 0, "the edge at 40.2 Hz, moved to 50.1095 Hz", ""},
    {Bandform::ZeroLagBandPass, 10, 4, 20, "the lower edge, 0 Hz, is not above 0",
     "CutoffFrequency - BandWidth / 2 above 0, and CutoffFrequency + BandWidth / 2 below "
     "40.1122"},
    {Bandform::ZeroLagLowPass, std::numeric_limits<double>::quiet_NaN(), 4, 0,
     "the lower edge, nan Hz", ""},
    {Bandform::ZeroLagLowPass, 10, 1, 0, "the filter is of order 0 in each pass",
     "Order from 2 to "},
    {Bandform::ZeroLagLowPass, 0.1, 20, 0, "the filter is unstable", "Order from 2 to "},
    {Bandform::ZeroLagLowPass, 0.14, 14, 0, "order 14 asks for more digits than the coefficients ",
     "Order from 2 to 10"},
    {Bandform::ZeroLagHighPass, 0.14, 14, 0, "order 14 asks for more digits than the coefficients ",
     "Order from 2 to 1"},
    {Bandform::ZeroLagBandStop, 5, 10, 0.2, "order 10 asks for more digits than the coefficients ",
     "Order from 2 to 8"},
    // Its gains in 50 digits, from the coefficients and from the form's own.
    {Bandform::ZeroLagBandPass, 26.96882056759638, 14, 3.4136721869216586,
     "order 14 asks for more digits than the coefficients have: at 33.3 Hz, where the gain should "
     "be 0.707107, it is 0.69781",
     "Order from 2 to "},
    {Bandform::ZeroLagBandPass, 9.058085, 8, 16.593436, "", ""},
    {Bandform::ZeroLagLowPass, 10, 2000, 0, "the filter is not finite", "Order from 2 to "},
};

TEST(FilterFaults, AreFoundInTheDesign) {
    for (const auto& [bandform, cutoff, order, bandwidth, text, remedy] : CASES) {
        const auto fault = find_fault(design_filter({cutoff, order, bandwidth, bandform}, 100.0F));
        EXPECT_EQ(fault.has_value(), !text.empty()) << cutoff << (fault ? fault->text : "");
        if (fault) {
            EXPECT_THAT(fault->text, StartsWith(text));
            EXPECT_THAT(fault->remedy, HasSubstr(remedy));
        }
    }
}

using UnusableFilter = GuardedTest;

TEST_F(UnusableFilter, IsToldForEachRate) {
    for (const float rate : {50.0F, 100.0F, 1000.0F}) {
        filters_.push_back(find_facts({45, 4, 0, Bandform::ZeroLagLowPass}, rate));
    }
    const auto found = find_unusable_filters(before());
    ASSERT_THAT(found, SizeIs(2));
    EXPECT_THAT(found[0].text, StartsWith("at 50 Hz the edge at 45 Hz is not below "));
    EXPECT_THAT(found[1].text, StartsWith("at 100 Hz the edge at 45 Hz, moved to 56.0927 Hz"));
    EXPECT_EQ(found[1].remedy,
              "at this rate CutoffFrequency above 0 and below 40.1122  talvora-host design "
              "ZeroLagLowPass CutoffFrequency=45 Order=4 --rate 100");
    EXPECT_EQ(found[1].numbers["sample_rate"], 100.0);
    EXPECT_THAT(found[1].set, IsEmpty());
}

} // namespace
} // namespace talvora::host
