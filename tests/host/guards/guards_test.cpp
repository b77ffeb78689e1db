#include "host/guards/guards.h"
#include "tests/host/guards/guarded_test.h"

#include <set>

namespace talvora::host {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

using Guards = GuardedTest;

TEST_F(Guards, HaveNamesOfTheirOwnAndASentence) {
    const std::vector<std::string> names = list_guards();
    EXPECT_THAT(std::set(names.begin(), names.end()), SizeIs(names.size()));
    for (const std::string& name : names) {
        EXPECT_EQ(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz-"), name.npos) << name;
        EXPECT_FALSE(describe_guard(name).empty()) << name;
    }
    EXPECT_THAT(describe_guard("nothing"), IsEmpty());
}

TEST_F(Guards, TellTheirNamesTheStepAndWhetherItAcceptsThem) {
    make_step("a.rectify", {});
    const auto refused = find_guarded(after(), GuardTime::AfterStep);
    ASSERT_THAT(refused, SizeIs(1));
    EXPECT_EQ(refused[0].guard, "nothing-done");
    EXPECT_EQ(refused[0].step, "step");
    EXPECT_FALSE(refused[0].accepted);
    step_.accept = {"nothing-done"};
    EXPECT_TRUE(find_guarded(after(), GuardTime::AfterStep).at(0).accepted);
    EXPECT_THAT(find_guarded(before(), GuardTime::BeforeSamples), IsEmpty());
}

TEST(GuardFindings, StayWhatTheyAreAsJson) {
    const GuardFinding sent{.guard = "a",
                            .step = "b",
                            .set = "c/d",
                            .text = "e",
                            .remedy = "f",
                            .numbers = {{"rate", 0.1}},
                            .accepted = true};
    EXPECT_EQ(make_json(sent).dump(),
              R"({"name":"a","step":"b","set":"c/d","text":"e","numbers":{"rate":0.1},)"
              R"("accepted":true})");
    const GuardFinding came = parse_finding(make_json(sent));
    EXPECT_EQ(make_json(came), make_json(sent));
    EXPECT_EQ(parse_finding(make_json(GuardFinding{.text = "e", .remedy = ""})).set, "");
}

} // namespace
} // namespace talvora::host
