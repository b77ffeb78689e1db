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

// Four sets: the first two are scaled by the first's rate, the others by the second's.
TEST_F(LeftSets, AreForeseenWhereAnotherRateScalesThem) {
    const auto foresee = [&](float first, float second, float third, bool set_by_set = false) {
        for (const auto& [path, rate] : {std::pair("A/W", first), std::pair("A/X", second),
                                         std::pair("A/Y", third), std::pair("A/Z", 100.0F)}) {
            const auto set = tree_.find(tree_.root(), path);
            tree_.write_attribute(set ? *set : add_set(path, {600}, std::vector<float>(600)),
                                  "SampleRate", rate);
        }
        make_step(
            "a.apply-set-downsample",
            {"SourceGroup: string", "HintGroup: string", "HintSet: string", "Axis: integer = -1"},
            {{"SourceGroup", "A"s}, {"HintSet", "A/W"s}});
        step_.aims.set_by_set = set_by_set;
        return foresee_left_sets(before());
    };
    const auto found = foresee(20.0F, 100.0F, 100.0F);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "A/X");
    EXPECT_EQ(found[0].text,
              "is at 100 Hz, and the unit leaves it there, above the 20 Hz that sets "
              "are to come down to");
    EXPECT_EQ(found[0].numbers.dump(), R"({"rate":100.0,"rate_wanted":20.0})");
    EXPECT_THAT(foresee(20.0F, 20.0F, 100.0F), SizeIs(2));
    EXPECT_THAT(foresee(20.0F, 10.0F, 5.0F), SizeIs(1));
    EXPECT_THAT(foresee(20.0F, 100.0F, 100.0F, true), IsEmpty());
    EXPECT_THAT(foresee(100.0F, 100.0F, 100.0F), IsEmpty());
    EXPECT_THAT(foresee(0.0F, 100.0F, 100.0F), IsEmpty());
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
