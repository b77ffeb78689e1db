// Every design of the golden file against its 60-digit reference; see
// tests/golden/make_design_golden.py for what the file holds and how it was made.
#include "dsp/butterworth_design.h"
#include "dsp/log_gamma.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace talvora::dsp {
namespace {

struct GoldenDesign {
    std::string description;
    float sample_rate = 0.0F;
    ButterworthParameters parameters;
    std::vector<long double> b;
    std::vector<long double> a;
    std::vector<long double> scipy_errors; // b, a by roots; b, a by polynomials
};

std::vector<long double> parse_numbers(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<long double>(stream), {}};
}

GoldenDesign parse_parameters(const std::string& line) {
    GoldenDesign design;
    design.description = line;
    std::int32_t form = -1;
    std::istringstream(line) >> form >> design.sample_rate >> design.parameters.cutoff >>
        design.parameters.order >> design.parameters.bandwidth;
    design.parameters.bandform = static_cast<Bandform>(form);
    return design;
}

std::vector<GoldenDesign> read_designs() {
    std::ifstream file(TALVORA_GOLDEN_DIR "/butterworth_designs.txt");
    std::string line;
    std::getline(file, line); // the head line
    std::vector<GoldenDesign> designs;
    while (std::getline(file, line)) {
        GoldenDesign design = parse_parameters(line);
        for (auto* const numbers : {&design.b, &design.a, &design.scipy_errors}) {
            std::getline(file, line);
            *numbers = parse_numbers(line);
        }
        designs.push_back(std::move(design));
    }
    return designs;
}

// The largest relative error of the rounded binomials of a degree. Their formula fixes
// it, and every coefficient takes it over: 3e-15 at degree 8.
long double binomial_error(std::size_t degree) {
    long double largest = 0.0L;
    for (std::size_t n = 1; n <= degree; ++n) {
        long double exact = 1.0L;
        for (std::size_t k = 1; k <= n; ++k) {
            exact = exact * static_cast<long double>(n - k + 1) / static_cast<long double>(k);
            const double ours = binomial(static_cast<double>(n), static_cast<double>(k));
            largest = std::max(largest, std::abs(static_cast<long double>(ours) / exact - 1.0L));
        }
    }
    return largest;
}

// Four units in the last place, for a coefficient that SciPy happens to hit, and what
// the binomials bring.
long double error_floor(std::size_t degree) {
    return 4.0L * static_cast<long double>(std::numeric_limits<double>::epsilon()) +
           binomial_error(degree);
}

// The largest deviation of a coefficient over the largest coefficient.
long double relative_error(const std::vector<double>& values,
                           const std::vector<long double>& reference) {
    long double deviation = 0.0L;
    long double largest = 0.0L;
    for (std::size_t j = 0; j < reference.size(); ++j) {
        deviation =
            std::max(deviation, std::abs(static_cast<long double>(values.at(j)) - reference[j]));
        largest = std::max(largest, std::abs(reference[j]));
    }
    return deviation / largest;
}

void expect_as_good_as_scipy(const std::vector<double>& values,
                             const std::vector<long double>& reference, long double scipy_error) {
    ASSERT_EQ(values.size(), reference.size());
    EXPECT_LE(relative_error(values, reference),
              2.0L * std::max(scipy_error, error_floor(reference.size() - 1)));
}

TEST(ButterworthGolden, IsWithinTwiceTheErrorOfSciPy) {
    const std::vector<GoldenDesign> designs = read_designs();
    ASSERT_GE(designs.size(), 700U);
    for (const GoldenDesign& golden : designs) {
        SCOPED_TRACE(golden.description);
        ASSERT_EQ(golden.scipy_errors.size(), 4U);
        const FilterCoefficients filter =
            build_design_cache({&golden.sample_rate, 1}, golden.parameters).at(golden.sample_rate);
        expect_as_good_as_scipy(filter.b, golden.b, golden.scipy_errors[0]);
        expect_as_good_as_scipy(filter.a, golden.a, golden.scipy_errors[1]);
    }
}

} // namespace
} // namespace talvora::dsp
