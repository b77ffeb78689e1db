#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"
#include "tests/support/special_values.h"

namespace talvora::host {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class NotFinite : public GuardedTest {
  protected:
    NotFinite() { make_step("a.b", {}); }

    std::vector<GuardFinding> find() { return find_infinities(after()); }
};

TEST_F(NotFinite, SpeaksWhereTheSetHadNone) {
    const ObjectId set = add_set("A/X", {2, 2}, {1, 2, NaN, 4});
    write(set, {INF, 2, NaN, -INF});
    const auto found = find();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "A/X");
    EXPECT_EQ(found[0].text, "infinite samples: 2 of 4, none before");
    EXPECT_EQ(found[0].numbers.dump(), R"({"infinite_before":0,"infinite_after":2,"samples":4})");
}

TEST_F(NotFinite, IsSilentWhereNoneOfThoseThatWereThereSpread) {
    const ObjectId set = add_set("X", {3}, {INF, 2, -INF});
    write(set, {INF, 4, NaN});
    EXPECT_THAT(find(), IsEmpty());
}

// As where the median of a line is infinite, and taken off each sample.
TEST_F(NotFinite, SpeaksWhereOthersBecomeInfinite) {
    const ObjectId set = add_set("X", {4}, {INF, 2, 3, 4});
    write(set, {NaN, -INF, -INF, -INF});
    const auto found = find();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].text, "infinite samples: 3 of 4, 1 before; 1 more are missing");
    EXPECT_EQ(found[0].remedy, "what is infinite is to be missing, NaN, where the file is made");
}

// As where a filter takes one into its state.
TEST_F(NotFinite, SpeaksWhereOthersBecomeMissing) {
    const ObjectId set = add_set("X", {4}, {INF, 2, 3, 4});
    write(set, {NaN, NaN, NaN, 4});
    const auto found = find();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].text, "infinite samples: 0 of 4, 1 before; 3 more are missing");
}

TEST_F(NotFinite, AsksTheSourcesOfANewSet) {
    read(add_set("X", {2}, {1, 2}));
    write(observed_.create_dataset(observed_.root(), "New", {1}), {INF});
    EXPECT_THAT(find(), SizeIs(1));
    read(add_set("Y", {1}, {INF}));
    write(observed_.create_dataset(observed_.root(), "Newer", {1}), {INF});
    EXPECT_THAT(find(), IsEmpty());
}

} // namespace
} // namespace talvora::host
