#include "host/interface/plugin_library.h"
#include "host/runs/exceptions.h"
#include "host/tree/data_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::StartsWith;
using Access = StorageError::Access;

template <typename Exception>
Failure explain(const Exception& exception, const WorkPlace& place) {
    try {
        throw exception;
    } catch (const std::exception&) {
        return explain_exception(place);
    }
}

template <typename Exception>
void expect(const Exception& exception, const WorkPlace& place, ExitCode code, const char* text) {
    const Failure failure = explain(exception, place);
    EXPECT_EQ(failure.code(), code) << text;
    EXPECT_STREQ(failure.what(), text);
}

const WorkPlace READING{.input = "in.h5"};
const WorkPlace WRITING{.input = "in.h5", .output = "out.h5"};

TEST(ExplainException, LeavesAFailureAsItIs) {
    const Failure failure =
        explain(Failure(ExitCode::Usage, "not so", {"but so", "or so"}), WRITING);
    EXPECT_EQ(failure.code(), ExitCode::Usage);
    EXPECT_STREQ(failure.what(), "not so");
    EXPECT_THAT(failure.hints(), ElementsAre("but so", "or so"));
}

TEST(ExplainException, NamesTheFileThatWasReadOrMade) {
    expect(TreeError("no such set"), {}, ExitCode::Input, "no such set");
    expect(TreeError("no such set"), READING, ExitCode::Input, "in.h5: no such set");
    expect(TreeError("no such set"), WRITING, ExitCode::Output, "out.h5: no such set");
    expect(StorageError(Access::Writing, "full"), WRITING, ExitCode::Output, "out.h5: full");
}

TEST(ExplainException, BlamesTheInputForWhatCannotBeReadOfItsCopy) {
    expect(StorageError(Access::Reading, "damaged"), READING, ExitCode::Input, "in.h5: damaged");
    expect(StorageError(Access::Reading, "damaged"), WRITING, ExitCode::Input, "in.h5: damaged");
    expect(StorageError(Access::Reading, "damaged"), {.output = "out.h5"}, ExitCode::Input,
           "out.h5: damaged");
}

TEST(ExplainException, BlamesAFileForWhatTheSystemRefuses) {
    const std::filesystem::filesystem_error error(
        "cannot copy", std::make_error_code(std::errc::no_space_on_device));
    expect(error, WRITING, ExitCode::Output, "out.h5: No space left on device");
    EXPECT_EQ(explain(error, READING).code(), ExitCode::Input);
    EXPECT_THAT(explain(error, READING).what(), StartsWith("in.h5: "));
}

TEST(ExplainException, BlamesThePluginForItsFaults) {
    expect(PluginError("p.so: no entry"), READING, ExitCode::Plugin, "p.so: no entry");
    expect(PluginError("p.so: no entry"), WRITING, ExitCode::Plugin, "p.so: no entry");
}

TEST(ExplainException, NamesTheInputWhereTheExceptionNamesNoFile) {
    expect(std::bad_alloc(), READING, ExitCode::Input, "in.h5: not enough memory");
    expect(std::bad_alloc(), WRITING, ExitCode::Output, "in.h5: not enough memory");
    expect(std::bad_alloc(), {}, ExitCode::Output, "not enough memory");
    const std::system_error no_thread(
        std::make_error_code(std::errc::resource_unavailable_try_again));
    expect(no_thread, WRITING, ExitCode::Output, "in.h5: Resource temporarily unavailable");
    expect(std::logic_error("odd"), READING, ExitCode::Input, "in.h5: odd");
    expect(std::logic_error("odd"), {}, ExitCode::Input, "odd");
}

} // namespace
} // namespace talvora::host
