#include "host/system/standard_streams.h"
#include "tests/host/system/child_process.h"
#include "tests/host/temporary_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace talvora::host {
namespace {

bool fails_as_closed(ssize_t result) {
    return result == -1 && errno == EBADF;
}

TEST(StandardStreams, KeepTheirPlacesWhenTheyAreClosed) {
    const TemporaryFolder folder;
    EXPECT_EQ(exit_code_of([&] {
                  for (const int stream : {0, 1, 2}) {
                      close(stream);
                  }
                  hold_standard_streams();
                  const int file =
                      open((folder / "file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
                  char byte = 0;
                  const bool closed = fails_as_closed(read(0, &byte, 1)) &&
                                      fails_as_closed(write(1, "x", 1)) &&
                                      fails_as_closed(write(2, "x", 1));
                  _exit(file > 2 && closed ? 0 : 1);
              }),
              0);
}

TEST(StandardStreams, StayAsTheyAreWhenTheyAreOpen) {
    const TemporaryFolder folder;
    const std::string file = (folder / "file").string();
    EXPECT_EQ(exit_code_of([&] {
                  dup2(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600), 1);
                  close(2);
                  hold_standard_streams();
                  _exit(write(1, "kept", 4) == 4 ? 0 : 1);
              }),
              0);
    EXPECT_EQ(read_file(file), "kept");
}

TEST(StandardError, LosesWhatNobodyReads) {
    EXPECT_EQ(exit_code_of([] {
                  std::array<int, 2> ends{};
                  [[maybe_unused]] const int made = pipe2(ends.data(), O_CLOEXEC);
                  dup2(ends[1], 2);
                  close(ends[0]);
                  write_to_standard_error("nobody reads this\n");
                  _exit(7);
              }),
              7);
}

// What is held back is the signal of the message alone.
TEST(StandardError, LeavesTheSignalOfOtherPipes) {
    EXPECT_EQ(exit_code_of([] {
                  write_to_standard_error("told\n");
                  std::raise(SIGPIPE);
                  _exit(7);
              }),
              -1);
}

} // namespace
} // namespace talvora::host
