#include "host/runs/progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace talvora::host {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const Progress::Clock::time_point START{};

TEST(ProgressBar, StaysAwayFromWorkOfLessThanASecond) {
    Progress progress(true, 10, START);
    EXPECT_THAT(progress.update({5, 1000}, START + 999ms), IsEmpty());
    EXPECT_THAT(progress.clear(), IsEmpty());
}

TEST(ProgressBar, ShowsFilesSamplesAndRate) {
    Progress progress(true, 10, START);
    EXPECT_EQ(progress.update({5, 4'000'000}, START + 2s),
              "\r\x1b[K[###############---------------] 5/10 files  4e+06 samples  "
              "2e+06 samples/s");
    EXPECT_EQ(progress.clear(), "\r\x1b[K");
    EXPECT_THAT(progress.clear(), IsEmpty());
}

TEST(ProgressBar, MovesWithinAFile) {
    Progress progress(true, 1, START);
    EXPECT_THAT(progress.update({0, 1000, 0.5}, START + 2s),
                StartsWith("\r\x1b[K[###############---------------] 0/1 files  "));
}

TEST(ProgressBar, IsRedrawnTenTimesASecondAtMost) {
    Progress progress(true, 1000, START);
    int count = 0;
    for (int ms = 0; ms < 3000; ++ms) {
        count += progress.update({static_cast<std::size_t>(ms) / 10, 0}, START + 1ms * ms).empty()
                     ? 0
                     : 1;
    }
    EXPECT_EQ(count, 20);
}

TEST(ProgressLog, GetsALineForEveryTenth) {
    Progress progress(false, 200, START);
    int count = 0;
    for (std::size_t files = 0; files <= 200; ++files) {
        const std::string text = progress.update({files, files * 10}, START + 2s + 10ms * files);
        EXPECT_THAT(text, Not(HasSubstr("\r")));
        count += text.empty() ? 0 : 1;
    }
    EXPECT_EQ(count, 9); // the last tenth is told by the results
    EXPECT_THAT(progress.clear(), IsEmpty());
}

TEST(ProgressLog, GetsALineForEveryTenthOfALargeFile) {
    Progress progress(false, 1, START);
    EXPECT_THAT(progress.update({0, 5, 0.11}, START + 9s), IsEmpty());
    EXPECT_EQ(progress.update({0, 20, 0.11}, START + 10s),
              "progress: 0 of 1 files, 11 %, 20 samples, 2 samples/s\n");
    EXPECT_THAT(progress.update({0, 30, 0.19}, START + 11s), IsEmpty());
    EXPECT_THAT(progress.update({0, 40, 0.21}, START + 12s), HasSubstr(" 21 %, "));
}

TEST(ProgressLog, GetsALineEveryThirtySecondsOfAFileThatTakesLong) {
    Progress progress(false, 2, START);
    EXPECT_THAT(progress.update({0, 5}, START + 29s), IsEmpty());
    EXPECT_EQ(progress.update({0, 60}, START + 30s),
              "progress: 0 of 2 files, 0 %, 60 samples, 2 samples/s\n");
    EXPECT_THAT(progress.update({0, 60}, START + 59s), IsEmpty());
    EXPECT_THAT(progress.update({0, 60}, START + 60s), StartsWith("progress: "));
}

} // namespace
} // namespace talvora::host
