// Against SciPy and against the same definition in 60 digits; the data and how they
// are made: tests/golden/make_filter_golden.py.
#include "dsp/filter_set.h"
#include "dsp/zero_phase_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace talvora::dsp {
namespace {

using Samples = std::vector<double>;

struct GoldenResult {
    std::string design;
    std::string signal;
    double scale = 0.0;
    Samples scipy;
    Samples exact;
};

struct GoldenData {
    std::map<std::string, Samples> signals;
    std::map<std::string, FilterCoefficients> designs;
    std::vector<GoldenResult> results;
};

// Numbers up to a '/' or the end of the line.
Samples read_words(std::istream& line) {
    Samples values;
    for (std::string word; line >> word && word != "/";) {
        values.push_back(std::bit_cast<double>(std::stoull(word, nullptr, 16)));
    }
    return values;
}

GoldenResult read_result(std::istream& line, const std::string& design) {
    GoldenResult result{.design = design, .signal = {}, .scale = 0.0, .scipy = {}, .exact = {}};
    line >> result.signal;
    result.scipy = read_words(line);
    result.exact = read_words(line);
    result.scale = result.scipy.front();
    result.scipy.erase(result.scipy.begin());
    return result;
}

GoldenData read_golden_data() {
    GoldenData data;
    std::ifstream file(TALVORA_GOLDEN_DIR "/filter_golden.txt");
    for (std::string text; std::getline(file, text);) {
        std::istringstream line(text);
        std::string kind;
        std::string name;
        line >> kind >> name;
        if (kind == "signal") {
            data.signals[name] = read_words(line);
        } else if (kind == "design") {
            auto b = read_words(line);
            data.designs[name] = {std::move(b), read_words(line)};
        } else if (kind == "result") {
            data.results.push_back(read_result(line, name));
        }
    }
    return data;
}

double largest_difference(const Samples& left, const Samples& right) {
    double largest = 0.0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        largest = std::max(largest, std::abs(left[i] - right[i]));
    }
    return largest;
}

class FilterGolden : public testing::Test {
  protected:
    static const GoldenData& data() {
        static const GoldenData golden = read_golden_data();
        return golden;
    }
    static Samples filter(const GoldenResult& result) {
        return zero_phase_filter(data().signals.at(result.signal),
                                 prepare_filter(data().designs.at(result.design)));
    }
    void SetUp() override { ASSERT_EQ(data().results.size(), 180U) << "golden data are missing"; }
};

TEST_F(FilterGolden, AgreesWithAnIndependentToolToFourPartsInABillion) {
    double worst = 0.0;
    for (const GoldenResult& result : data().results) {
        const Samples y = filter(result);
        ASSERT_EQ(y.size(), result.scipy.size());
        const double difference = largest_difference(y, result.scipy) / result.scale;
        EXPECT_LT(difference, 4e-9) << result.design << ' ' << result.signal;
        worst = std::max(worst, difference);
    }
    RecordProperty("largest_difference", std::to_string(worst * 1e12) + "e-12");
}

TEST_F(FilterGolden, GivesTheSameFloatsAsAnIndependentTool) {
    std::map<std::string, std::pair<int, int>> same_of_all;
    for (const GoldenResult& result : data().results) {
        const Samples y = filter(result);
        auto& [same, all] = same_of_all[result.signal];
        for (std::size_t i = 0; i < y.size(); ++i) {
            same += static_cast<float>(y[i]) == static_cast<float>(result.scipy[i]);
            ++all;
        }
    }
    for (const auto& [signal, counts] : same_of_all) {
        const double percent = 100.0 * counts.first / counts.second;
        EXPECT_GE(percent, 97.0) << signal;
        RecordProperty("same_floats_" + signal, std::to_string(percent));
    }
}

// Rounding errors of one signal differ by chance; the largest over the signals of a
// design, each by its scale, is what the filter does to it. The tool sums the
// steady state up where it is solved for here: the narrowest band, with poles near 1, comes
// to more than twice the tool's error.
TEST_F(FilterGolden, IsNotThreeTimesAsFarFromTheTruthAsAnIndependentTool) {
    std::map<std::string, std::pair<double, double>> errors;
    for (const GoldenResult& result : data().results) {
        auto& [ours, theirs] = errors[result.design];
        ours = std::max(ours, largest_difference(filter(result), result.exact) / result.scale);
        theirs = std::max(theirs, largest_difference(result.scipy, result.exact) / result.scale);
    }
    for (const auto& [design, error] : errors) {
        EXPECT_LE(error.first, 3.0 * error.second) << design;
    }
}

} // namespace
} // namespace talvora::dsp
