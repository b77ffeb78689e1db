#include "host/tree/memory_tree.h"
#include "host/tree/packed_samples.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace talvora::host {
namespace {

class PackedSamples : public testing::Test {
  protected:
    std::string describe(const std::string& name, const AttributeValue& value) {
        tree_.write_attribute(set_, name, value);
        return describe_packing(tree_, set_);
    }

    MemoryTree tree_;
    ObjectId set_ = tree_.create_dataset(tree_.root(), "X", {1, 3});
};

TEST_F(PackedSamples, AreToldByTheirAttributes) {
    EXPECT_EQ(describe_packing(tree_, set_), "");
    EXPECT_EQ(describe("scale_factor", 0.01),
              "its samples are taken as they are stored, and its attributes say otherwise: "
              "scale_factor = 0.01");
    EXPECT_THAT(describe("_FillValue", std::int64_t{-9999}),
                testing::EndsWith(": scale_factor = 0.01, _FillValue = -9999"));
}

TEST_F(PackedSamples, AreNoneWhereTheAttributesChangeNothing) {
    constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(describe("scale_factor", 1.0), "");
    EXPECT_EQ(describe("add_offset", 0.0F), "");
    EXPECT_EQ(describe("_FillValue", NaN), "");
    EXPECT_EQ(describe("missing_value", std::string("none")), "");
}

} // namespace
} // namespace talvora::host
