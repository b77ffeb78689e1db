#include "host/system/work_state.h"

#include <gtest/gtest.h>

#include <string>

namespace talvora::host {
namespace {

// Told to here from now on.
WorkState& watch() {
    static WorkState state;
    tell_work_state(state);
    return state;
}

TEST(WorkState, TellsWhoseCodeRuns) {
    const WorkState& state = watch();
    EXPECT_EQ(state.code, CodeAtWork::Own);
    {
        const InPlugin in_plugin;
        EXPECT_EQ(state.code, CodeAtWork::Plugin);
        {
            const InFile in_file("walk.h5");
            EXPECT_EQ(state.code, CodeAtWork::File);
        }
        EXPECT_EQ(state.code, CodeAtWork::Plugin);
    }
    EXPECT_EQ(state.code, CodeAtWork::Own);
    EXPECT_TRUE(state.plugin_ran);
}

TEST(WorkState, KeepsTheNameOfTheLastFile) {
    const WorkState& state = watch();
    { const InFile first("a_long_name.h5"); }
    { const InFile second("b.h5"); }
    EXPECT_STREQ(state.file.data(), "b.h5");
    EXPECT_EQ(last_file(), "b.h5");
}

TEST(WorkState, CutsANameThatIsTooLong) {
    const WorkState& state = watch();
    const InFile here(std::string(2 * WorkState::MAX_FILE_BYTES, 'x'));
    EXPECT_EQ(std::string(state.file.data()).size(), WorkState::MAX_FILE_BYTES - 1);
}

TEST(WorkState, CountsCallsAndFilesThatAreLeft) {
    const WorkState& state = watch();
    const std::uint64_t before = state.call_count;
    {
        const InFile here("walk.h5");
        count_call();
    }
    EXPECT_EQ(state.call_count, before + 2);
}

} // namespace
} // namespace talvora::host
