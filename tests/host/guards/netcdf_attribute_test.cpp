#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"

namespace talvora::host {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class NetcdfAttribute : public GuardedTest {
  protected:
    NetcdfAttribute() {
        make_step("a.b", {});
        set_ = add_set("Imu/X", {1, 4}, {1, 2, 3, 4});
    }

    void write_all(ObjectId object) {
        observed_.write_attribute(object, "Single", std::int64_t{7});
        observed_.write_attribute(object, "Row", IntegerArray{{1, 2}, {2}});
        observed_.write_attribute(object, "Texts", TextArray{{"a", "b"}, {1, 2}});
        observed_.write_attribute(object, "Filled", IntegerArray{{}, {0, 2}});
        observed_.write_attribute(object, "Means", NumberArray{{1.5}, {1, 1, 1}});
    }

    ObjectId set_{};
};

TEST_F(NetcdfAttribute, SpeaksOfNumbersOfSeveralDimensionsInAFileOfNetcdf) {
    tree_.write_attribute(tree_.root(), "_NCProperties", "version=2");
    write_all(set_);
    const auto found = find_netcdf_attributes(after());
    ASSERT_THAT(found, SizeIs(2));
    EXPECT_EQ(found[0].set, "Imu/X");
    EXPECT_EQ(found[0].text, "its attribute 'Filled' has 2 dimensions, and the file is netCDF: "
                             "programs of netCDF open none with such an attribute of numbers");
    EXPECT_EQ(found[1].numbers["attribute"], "Means");
    EXPECT_EQ(found[1].numbers["dimensions"], 3);
}

// Older versions of netCDF left no mark on the file.
TEST_F(NetcdfAttribute, KnowsTheVariablesOfNetcdf) {
    for (const char* name : {"_Netcdf4Coordinates", "_Netcdf4Dimid"}) {
        const ObjectId set = add_set(name, {1}, {1});
        tree_.write_attribute(set, name, std::int64_t{0});
        write_all(set);
        EXPECT_THAT(find_netcdf_attributes(after()), SizeIs(2)) << name;
    }
}

TEST_F(NetcdfAttribute, IsSilentOfGroupsAndOfOtherFiles) {
    write_all(set_);
    EXPECT_THAT(find_netcdf_attributes(after()), IsEmpty());
    tree_.write_attribute(tree_.root(), "_NCProperties", "version=2");
    write_all(tree_.root());
    write_all(*tree_.find(tree_.root(), "Imu"));
    EXPECT_THAT(find_netcdf_attributes(after()), IsEmpty());
}

// What was there was readable, or not, before.
TEST_F(NetcdfAttribute, IsSilentOfAttributesThatTheStepLeft) {
    tree_.write_attribute(tree_.root(), "_NCProperties", "version=2");
    tree_.write_attribute(set_, "Old", IntegerArray{{1}, {1, 1}});
    observed_.write_attribute(set_, "Single", std::int64_t{7});
    EXPECT_THAT(find_netcdf_attributes(after()), IsEmpty());
}

} // namespace
} // namespace talvora::host
