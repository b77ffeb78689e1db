#include "host/system/file_limit.h"
#include "tests/host/system/child_process.h"
#include "tests/host/temporary_folder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace talvora::host {
namespace {

void limit_files(rlim_t byte_count) {
    const rlimit limit{byte_count, byte_count};
    setrlimit(RLIMIT_FSIZE, &limit);
}

// 0 when the write beyond the limit failed as it should, and the limit was told then alone.
int write_beyond(const std::string& file, rlim_t limit) {
    outlive_file_limit();
    limit_files(limit);
    const int stream = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string bytes(limit, 'x');
    const bool within = write(stream, bytes.data(), limit) == static_cast<ssize_t>(limit);
    const bool told_early = find_met_file_limit().has_value();
    const bool beyond = write(stream, "x", 1) == 1 || errno != EFBIG;
    return within && !told_early && !beyond && find_met_file_limit() == limit ? 0 : 1;
}

TEST(FileLimit, IsAnErrorOfTheWriteThatMeetsIt) {
    const TemporaryFolder folder;
    EXPECT_EQ(exit_code_of([&] { _exit(write_beyond((folder / "file").string(), 1000)); }), 0);
}

TEST(FileLimit, HoldsForForkedProcesses) {
    const TemporaryFolder folder;
    EXPECT_EQ(exit_code_of([&] {
                  outlive_file_limit();
                  _exit(exit_code_of([&] { _exit(write_beyond((folder / "file").string(), 1)); }));
              }),
              0);
}

TEST(FileLimit, EndsProgramsThatAreStartedAsBefore) {
    const std::string line = "ulimit -c 0; kill -XFSZ $$; exit 7";
    EXPECT_EQ(exit_code_of([&] {
                  outlive_file_limit();
                  execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
              }),
              -1);
}

} // namespace
} // namespace talvora::host
