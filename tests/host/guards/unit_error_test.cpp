#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"

namespace talvora::host {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class UnitErrors : public GuardedTest {
  protected:
    UnitErrors() { make_step("a.b", {}); }

    std::vector<GuardFinding> find(const std::vector<std::string>& errors) {
        GuardedStep step = after();
        step.unit_errors = errors;
        return find_unit_errors(step);
    }
};

TEST_F(UnitErrors, AreOneFinding) {
    const auto found = find({"no X", "no Y"});
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].text, "the unit told of 2 errors and returned success; the first: no X");
    EXPECT_EQ(found[0].numbers.dump(), R"({"errors":2,"first":"no X"})");
}

TEST_F(UnitErrors, AreNoneWhereNoneWasTold) {
    EXPECT_THAT(find({}), IsEmpty());
}

} // namespace
} // namespace talvora::host
