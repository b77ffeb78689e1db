#include "dsp/log_gamma.h"
#include "tests/support/special_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace talvora::dsp {
namespace {

struct Sample {
    double x;
    double log_gamma;
};

// Every interval and both sides of each of its ends; made, 40 digits, by
//   /usr/bin/python3 -c "import mpmath; mpmath.mp.dps = 40
//   for x in (2**-60, 2**-52, 2**-51, 0.125, 0.5, 0.5078125, 0.5625, 0.6796875, 0.75, 1.25,
//             1.5, 1.53125, 2.5, 4, 4.125, 7.25, 12, 12.125, 20, 61, 1000, 2.0**40):
//       print(x, mpmath.nstr(mpmath.loggamma(mpmath.mpf(x)), 25))"
constexpr Sample SAMPLES[] = {
    {0x1p-60, 41.58883083359671856453327}, {0x1p-52, 36.04365338911715596152845},
    {0x1p-51, 35.35050620855721052394359}, {0.125, 2.019418357553796345320291},
    {0.5, 0.5723649429247000870717137},    {0.5078125, 0.5571742965606701714938503},
    {0.5625, 0.4586554615222451595463527}, {0.6796875, 0.2862428123190012999763583},
    {0.75, 0.203280951431295371481433},    {1.25, -0.0982718364218131614638538},
    {1.5, -0.1207822376352452223455184},   {1.53125, -0.1191896398956167132837969},
    {2.5, 0.2846828704729191596324947},    {4.0, 1.791759469228055000812477},
    {4.125, 1.950965937095088844555049},   {7.25, 7.052185450738539444925749},
    {12.0, 17.50230784587388583928765},    {12.125, 17.80831703322097306312556},
    {20.0, 39.33988418719949403622465},    {61.0, 188.6281734236715911872884},
    {1000.0, 5905.220423209181211826077},  {0x1p40, 29385423763643.47400703708},
};

TEST(LogGamma, AgreesWithHigherPrecisionInEveryInterval) {
    for (const auto& [x, expected] : SAMPLES) {
        const double tolerance = 7e-16 * std::max(1.0, std::abs(expected));
        EXPECT_NEAR(log_gamma(x), expected, tolerance) << "at " << x;
    }
}

TEST(LogGamma, IsExactlyZeroAtOneAndTwo) {
    EXPECT_EQ(log_gamma(1.0), 0.0);
    EXPECT_EQ(log_gamma(2.0), 0.0);
}

TEST(LogGamma, IsInfiniteAtZero) {
    EXPECT_EQ(log_gamma(0.0), INF_DOUBLE);
    EXPECT_EQ(log_gamma(-0.0), INF_DOUBLE);
}

TEST(LogGamma, IsZeroWhereItHasNoApproximation) {
    EXPECT_EQ(log_gamma(-0.5), 0.0);
    EXPECT_EQ(log_gamma(-INF_DOUBLE), 0.0);
    EXPECT_EQ(log_gamma(NaN_DOUBLE), 0.0);
}

// The formula is rounded, and the filter coefficients keep its last bits.
TEST(Binomial, KeepsTheRoundingOfItsFormula) {
    EXPECT_EQ(binomial(2, 1), 2.0);
    EXPECT_EQ(binomial(4, 2), 5.999999999999997);
    EXPECT_EQ(binomial(6, 3), 19.99999999999999);
    EXPECT_EQ(binomial(8, 4), 69.99999999999984);
}

TEST(Binomial, IsOneAtBothEndsOfARow) {
    for (double n = 0; n <= 60; ++n) {
        EXPECT_EQ(binomial(n, 0), 1.0);
        EXPECT_EQ(binomial(n, n), 1.0);
    }
}

TEST(Binomial, StaysCloseToPascalsTriangle) {
    std::vector<double> row = {1.0};
    for (int n = 1; n <= 50; ++n) { // whole numbers below 2^53 up to here
        row.push_back(0.0);
        for (std::size_t k = row.size() - 1; k > 0; --k) {
            row[k] += row[k - 1];
        }
        for (int k = 0; k <= n; ++k) {
            const double expected = row[static_cast<std::size_t>(k)];
            EXPECT_NEAR(binomial(n, k), expected, 1e-13 * expected) << n << " over " << k;
        }
    }
}

TEST(Binomial, IsZeroOutsideTheTriangle) {
    EXPECT_EQ(binomial(1, 2), 0.0);
    EXPECT_EQ(binomial(3, -1), 0.0);
    EXPECT_EQ(binomial(-1, -2), 0.0);
    EXPECT_EQ(binomial(NaN_DOUBLE, 1), 0.0);
    EXPECT_EQ(binomial(1, NaN_DOUBLE), 0.0);
}

TEST(BinomialTable, HoldsTheValuesOfTheFunction) {
    const BinomialTable table(30);
    for (std::size_t n = 0; n <= 30; ++n) {
        for (std::size_t k = 0; k <= n; ++k) {
            EXPECT_EQ(table(n, k), binomial(static_cast<double>(n), static_cast<double>(k)));
        }
    }
}

} // namespace
} // namespace talvora::dsp
