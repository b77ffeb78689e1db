#include "host/interface/plugin_library.h"
#include "host/text/failure.h"
#include "host/tree/data_tree.h"
#include "library/guarded_call.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace talvora::library {
namespace {

using Outcome = std::pair<talvora_status, std::string>;

template <class Exception>
Outcome outcome_of(const Exception& exception) {
    char error[64] = "untouched";
    const talvora_status status = guard_call(error, sizeof error, [&] { throw exception; });
    return {status, error};
}

TEST(GuardedCall, WritesNothingWhenAllIsWell) {
    char error[] = "untouched";
    EXPECT_EQ(guard_call(error, sizeof error, [] {}), TALVORA_OK);
    EXPECT_STREQ(error, "untouched");
}

TEST(GuardedCall, GivesEveryExceptionAStatus) {
    using host::ExitCode;
    using host::Failure;
    EXPECT_EQ(outcome_of(CallError(TALVORA_NOT_FOUND, "a")), Outcome(TALVORA_NOT_FOUND, "a"));
    EXPECT_EQ(outcome_of(InvalidArgument("a")), Outcome(TALVORA_INVALID_ARGUMENT, "a"));
    EXPECT_EQ(outcome_of(host::GuardFailure("narrowing", "a")), Outcome(TALVORA_GUARDED, "a"));
    EXPECT_EQ(outcome_of(Failure(ExitCode::Usage, "a")), Outcome(TALVORA_INVALID_ARGUMENT, "a"));
    EXPECT_EQ(outcome_of(Failure(ExitCode::Input, "a")), Outcome(TALVORA_FILE_ERROR, "a"));
    EXPECT_EQ(outcome_of(Failure(ExitCode::Output, "a")), Outcome(TALVORA_FILE_ERROR, "a"));
    EXPECT_EQ(outcome_of(Failure(ExitCode::Plugin, "a")), Outcome(TALVORA_PLUGIN_ERROR, "a"));
    EXPECT_EQ(outcome_of(Failure(ExitCode::UnitFailed, "a")), Outcome(TALVORA_UNIT_FAILED, "a"));
    EXPECT_EQ(outcome_of(host::PluginError("a")), Outcome(TALVORA_PLUGIN_ERROR, "a"));
    EXPECT_EQ(outcome_of(host::StorageError(host::StorageError::Access::Reading, "a")),
              Outcome(TALVORA_FILE_ERROR, "a"));
    EXPECT_EQ(outcome_of(host::TreeError("a")), Outcome(TALVORA_INVALID_ARGUMENT, "a"));
    EXPECT_EQ(outcome_of(std::bad_alloc()), Outcome(TALVORA_OUT_OF_MEMORY, "not enough memory"));
    EXPECT_EQ(outcome_of(std::logic_error("a")), Outcome(TALVORA_INTERNAL_ERROR, "a"));
    EXPECT_EQ(outcome_of(7),
              Outcome(TALVORA_INTERNAL_ERROR, "an exception that is none of the standard's"));
}

} // namespace
} // namespace talvora::library
