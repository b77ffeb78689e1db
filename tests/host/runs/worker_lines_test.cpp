#include "host/runs/worker_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <variant>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

template <typename News>
News send(const News& news) {
    return std::get<News>(decode_line(encode_line(news)));
}

JobResult make_result(const SetObservation& set) {
    return {.exit_code = ExitCode::UnitFailed,
            .written = true,
            .skipped = false,
            .steps = {{"smooth", "a.b.smooth", {set}, Json::array({{{"pass_order", 2}}})}}};
}

// A text of each level, as `--json` prints it.
const std::pair<MessageLevel, const char*> LEVELS[] = {{MessageLevel::Error, "error"},
                                                       {MessageLevel::Warning, "warning"},
                                                       {MessageLevel::Info, "info"},
                                                       {MessageLevel::Hint, "hint"},
                                                       {MessageLevel::Detail, "detail"}};

TEST(WorkerLines, CarryMessagesOfEveryLevel) {
    for (const auto& [level, name] : LEVELS) {
        const JobMessage sent{level, "a \"text\"\nof two lines", "smooth"};
        EXPECT_EQ(encode_line(sent),
                  std::string(R"({"message":{"level":")") + name +
                      R"(","step":"smooth","text":"a \"text\"\nof two lines"}})");
        const JobMessage came = send(sent);
        EXPECT_EQ(came.level, level);
        EXPECT_EQ(came.text, "a \"text\"\nof two lines");
        EXPECT_EQ(came.step, "smooth");
    }
}

TEST(WorkerLines, TellAMessageAboutNoStepFromOneAboutAStepWithoutAName) {
    EXPECT_EQ(encode_line(JobMessage{MessageLevel::Hint, "try"}),
              R"({"message":{"level":"hint","text":"try"}})");
    EXPECT_FALSE(send(JobMessage{MessageLevel::Hint, "try"}).step);
    EXPECT_EQ(send(JobMessage{MessageLevel::Hint, "try", ""}).step, "");
}

TEST(WorkerLines, StayOneLineOfUtf8WhateverATextHolds) {
    const std::string line = encode_line(JobMessage{MessageLevel::Info, "a\n\xff\r"});
    EXPECT_THAT(line, Not(HasSubstr("\n")));
    EXPECT_EQ(send(JobMessage{MessageLevel::Info, "a\n\xff\r"}).text, "a\n\\xFF\r");
}

TEST(WorkerLines, CarryCountsOfAllBits) {
    constexpr auto MOST = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(encode_line(SampleCount{MOST, 0.25}),
              R"({"samples":18446744073709551615,"share":0.25})");
    EXPECT_EQ(send(SampleCount{MOST, 0.25}).count, MOST);
    EXPECT_EQ(send(SampleCount{MOST, 0.25}).share, 0.25);
}

TEST(WorkerLines, CarryAResultWithWhatItsStepsDid) {
    const JobResult came = send(make_result({.path = "Imu/Rate",
                                             .read = true,
                                             .written = true,
                                             .before = SetState{{3, 1, 70}, 0.1, 30, 4},
                                             .after = {{3, 1, 80}, 1000.0 / 3.0, 2, 1},
                                             .filled_gap_count = 3}));
    EXPECT_EQ(came.exit_code, ExitCode::UnitFailed);
    EXPECT_TRUE(came.written);
    EXPECT_FALSE(came.skipped);
    ASSERT_EQ(came.steps.size(), 1U);
    EXPECT_EQ(came.steps[0].name, "smooth");
    EXPECT_EQ(came.steps[0].unit, "a.b.smooth");
    EXPECT_EQ(came.steps[0].filters.dump(), R"([{"pass_order":2}])");
    ASSERT_EQ(came.steps[0].sets.size(), 1U);
    const SetObservation& set = came.steps[0].sets[0];
    EXPECT_EQ(set.path, "Imu/Rate");
    EXPECT_TRUE(set.read);
    EXPECT_TRUE(set.written);
    ASSERT_TRUE(set.before);
    EXPECT_EQ(set.before->extents, Extents({3, 1, 70}));
    EXPECT_EQ(set.before->sample_rate, 0.1);
    EXPECT_EQ(set.before->missing_count, 30U);
    EXPECT_EQ(set.before->gap_count, 4U);
    EXPECT_EQ(set.after.extents, Extents({3, 1, 80}));
    EXPECT_EQ(set.after.sample_rate, 1000.0 / 3.0);
    EXPECT_EQ(set.after.missing_count, 2U);
    EXPECT_EQ(set.after.gap_count, 1U);
    EXPECT_EQ(set.filled_gap_count, 3U);
}

TEST(WorkerLines, CarryASetThatTheStepMade) {
    const JobResult came = send(make_result(
        {.path = "New", .before = {}, .after = {{5}, {}, 0, 0}, .filled_gap_count = {}}));
    const SetObservation& set = came.steps.at(0).sets.at(0);
    EXPECT_FALSE(set.before);
    EXPECT_FALSE(set.after.sample_rate);
    EXPECT_FALSE(set.filled_gap_count);
}

TEST(WorkerLines, LeaveAwayARateThatIsNoNumber) {
    const double rate = std::numeric_limits<double>::quiet_NaN();
    const JobResult came = send(make_result(
        {.path = "New", .before = {}, .after = {{5}, rate, 0, 0}, .filled_gap_count = {}}));
    EXPECT_FALSE(came.steps.at(0).sets.at(0).after.sample_rate);
}

TEST(WorkerLines, CarryTheGuardsThatSpoke) {
    const JobResult sent{.exit_code = ExitCode::UnitFailed,
                         .steps = {},
                         .guards = {{.guard = "nothing-done",
                                     .step = "smooth",
                                     .set = "A/X",
                                     .text = "no sample changed",
                                     .remedy = "",
                                     .numbers = {{"sets_read", 3}},
                                     .accepted = true}}};
    const JobResult came = send(sent);
    ASSERT_EQ(came.guards.size(), 1U);
    EXPECT_EQ(make_json(came.guards[0]), make_json(sent.guards[0]));
}

TEST(WorkerLines, CarryAResultWithoutSteps) {
    const JobResult sent{.exit_code = ExitCode::Done, .skipped = true, .steps = {}};
    EXPECT_EQ(
        encode_line(sent),
        R"({"result":{"exit_code":0,"written":false,"skipped":true,"steps":[],"guards":[]}})");
    EXPECT_TRUE(send(sent).skipped);
    EXPECT_THAT(send(sent).steps, IsEmpty());
}

TEST(WorkerLines, RefuseWhatNoWorkerSends) {
    for (const char* line :
         {"", "{}", "[]", "{\"message\":{\"level\":\"loud\",\"text\":\"\"}}", "{\"result\":{}}"}) {
        EXPECT_THROW(decode_line(line), std::exception) << line;
    }
}

} // namespace
} // namespace talvora::host
