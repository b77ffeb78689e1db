#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"
#include "tests/support/special_values.h"

namespace talvora::host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class NothingDone : public GuardedTest {
  protected:
    NothingDone() { make_step("a.b", {}); }

    std::string find() {
        const auto found = find_nothing_done(after());
        return found.empty() ? "" : found.front().text;
    }
};

TEST_F(NothingDone, SpeaksWhereNoSetWasWritten) {
    const ObjectId set = add_set("X", {2}, {1, 2});
    EXPECT_EQ(find(), "no sample changed, and nothing was made: 0 data sets read, none written");
    read(set);
    EXPECT_EQ(find(), "no sample changed, and nothing was made: 1 data set read, none written");
}

TEST_F(NothingDone, IsSilentWhereSamplesStayedWhatTheyWere) {
    const ObjectId set = add_set("X", {2}, {1, 2});
    write(set, read(set));
    EXPECT_THAT(find(), IsEmpty());
}

TEST_F(NothingDone, TakesSetsThatHoldNothingForNothing) {
    const ObjectId set = add_set("X", {3, 0}, {});
    write(set, {});
    observed_.write_attribute(set, "Filled", std::int64_t{0});
    observed_.create_group(observed_.root(), "New");
    observed_.create_dataset(observed_.root(), "New/Y", {0});
    EXPECT_THAT(find(), HasSubstr("none written"));
}

TEST_F(NothingDone, TakesNewSetsAndAttributesOfSetsForWork) {
    const ObjectId set = add_set("X", {2}, {1, 2});
    observed_.write_attribute(set, "Filled", std::int64_t{0});
    EXPECT_THAT(find(), IsEmpty());
    observed_.create_dataset(observed_.root(), "New/Y", {1});
    EXPECT_THAT(find(), IsEmpty());
    observed_.resize(set, {0});
    EXPECT_THAT(find(), IsEmpty());
}

TEST_F(NothingDone, TakesAttributesOfGroupsForNothing) {
    observed_.write_attribute(observed_.create_group(observed_.root(), "New"), "SampleRate", 5.0F);
    EXPECT_THAT(find(), HasSubstr("none written"));
}

// ---------------------------------------------------------------------------
// The filter: of order 4 it takes runs of 8 and more.

class NothingFiltered : public NothingDone {
  protected:
    NothingFiltered() {
        make_step("a.apply-set-butterworth", {"Axis: integer = -1"});
        filters_ = {find_facts({5, 4, 0, Bandform::ZeroLagLowPass}, 100.0F)};
    }

    void filter(ObjectId set) { write(set, read(set)); }
};

TEST_F(NothingFiltered, SpeaksWhereAllRunsAreTooShort) {
    filter(add_set("X", {2, 7}, std::vector<float>(14)));
    EXPECT_EQ(find(), "no sample changed, and nothing was made: the longest run of valid samples "
                      "has 7, the filter takes those of 8 and more");
    filter(add_set("Y", {9}, {1, 1, 1, 1, NaN, 1, 1, 1, 1}));
    EXPECT_THAT(find(), HasSubstr("has 4, "));
}

TEST_F(NothingFiltered, IsSilentWhereOneRunIsLongEnough) {
    filter(add_set("X", {2, 7}, std::vector<float>(14)));
    filter(add_set("Y", {10}, {NaN, 1, 1, 1, 1, 1, 1, 1, 1, NaN}));
    EXPECT_THAT(find(), IsEmpty());
}

TEST_F(NothingFiltered, TakesLinesAsTheFilterDoes) {
    make_step("a.apply-set-butterworth", {"Axis: integer = -1"}, {{"Axis", std::int64_t{0}}});
    filter(add_set("X", {8, 2}, std::vector<float>(16)));
    EXPECT_THAT(find(), IsEmpty());
    filter(add_set("Y", {2, 8}, std::vector<float>(16)));
    EXPECT_THAT(find(), HasSubstr("has 2, "));
}

TEST_F(NothingFiltered, TakesSetsThatAreMadeMissingForWork) {
    filter(add_set("X", {2}, {1, 2}, NaN));
    EXPECT_THAT(find(), IsEmpty());
}

} // namespace
} // namespace talvora::host
