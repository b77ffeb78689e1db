#include "dsp/odd_reflection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace talvora::dsp {
namespace {

using testing::ElementsAre;

template <class Sample>
class OddReflection : public testing::Test {
  protected:
    const std::vector<Sample> run_ = {1, 2, 4, 8};
};

using SampleTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(OddReflection, SampleTypes);

TYPED_TEST(OddReflection, TurnsTheRunAboutItsFirstSample) {
    std::vector<double> padding(2);
    reflect_before(this->run_, 2, padding.data(), 1);
    EXPECT_THAT(padding, ElementsAre(2 * 1 - 4, 2 * 1 - 2));
}

TYPED_TEST(OddReflection, TurnsTheRunAboutItsLastSample) {
    std::vector<double> padding(3);
    reflect_after(this->run_, 3, padding.data(), 1);
    EXPECT_THAT(padding, ElementsAre(2 * 8 - 4, 2 * 8 - 2, 2 * 8 - 1));
}

TYPED_TEST(OddReflection, WritesAColumnAlone) {
    std::vector<double> rows(6, -1.0);
    reflect_before(this->run_, 2, rows.data() + 1, 3);
    EXPECT_THAT(rows, ElementsAre(-1, -2, -1, -1, 0, -1));
    reflect_after(this->run_, 2, rows.data() + 2, 3);
    EXPECT_THAT(rows, ElementsAre(-1, -2, 12, -1, 0, 14));
}

} // namespace
} // namespace talvora::dsp
