#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"

namespace talvora::host {
namespace {

using namespace std::string_literals;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
// ---------------------------------------------------------------------------
// Sets that the unit left

class LeftSets : public GuardedTest {
  protected:
    LeftSets() { choose("a.fill", {{"SourceGroup", "A"s}}); }

    void choose(const char* unit, const ParameterValues::Given& given) {
        make_step(unit, {"SourceSets: list(string)", "SourceGroup: string"}, given);
    }

    std::vector<GuardFinding> find() { return find_left_sets(after()); }
};

TEST_F(LeftSets, AreToldBesideOnesThatWereTaken) {
    read(add_set("A/X", {2}, {1, 2}));
    add_set("A/Y", {3}, {1, 2, 3});
    const auto found = find();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "A/Y");
    EXPECT_EQ(found[0].text,
              "was chosen, and the unit neither read nor wrote any of its 3 samples");
    EXPECT_EQ(found[0].numbers.dump(), R"({"samples":3,"sets_chosen":2})");
}

TEST_F(LeftSets, MayBeNamedToo) {
    choose("a.fill", {{"SourceSets", Texts{"X", "Y"}}});
    read(add_set("X", {2}, {1, 2}));
    add_set("Y", {3}, {1, 2, 3});
    EXPECT_THAT(find(), SizeIs(1));
}

TEST_F(LeftSets, AreNoneWhereAllWereLeft) {
    add_set("A/X", {2}, {1, 2});
    EXPECT_THAT(find(), IsEmpty()); // nothing was done
}

TEST_F(LeftSets, AreNoneThatHoldNothingOrGotAttributes) {
    read(add_set("A/X", {2}, {1, 2}));
    add_set("A/Empty", {0}, {});
    observed_.write_attribute(add_set("A/Z", {1}, {1}), "Filled", std::int64_t{0});
    EXPECT_THAT(find(), IsEmpty());
}

TEST_F(LeftSets, AreRightInUnitsThatBringRatesDown) {
    choose("a.apply-set-downsample", {{"SourceGroup", "A"s}});
    read(add_set("A/X", {2}, {1, 2}));
    add_set("A/Y", {3}, {1, 2, 3});
    EXPECT_THAT(find(), IsEmpty());
}

TEST_F(LeftSets, AreRightInUnitsThatChooseByFilters) {
    make_step("a.average", {"SourceGroup: string", "NamesFilter: list(string)"},
              {{"SourceGroup", "A"s}, {"NamesFilter", Texts{"X"}}});
    read(add_set("A/X", {2}, {1, 2}));
    add_set("A/Y", {3}, {1, 2, 3});
    EXPECT_THAT(find(), IsEmpty());
}

} // namespace
} // namespace talvora::host
