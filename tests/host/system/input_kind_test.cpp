#include "host/system/input_kind.h"
#include "host/text/failure.h"
#include "tests/host/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace talvora::host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using testing::ThrowsMessage;

TEST(InputKind, RefusesWhatMayNeverEnd) {
    const TemporaryFolder folder;
    const std::string pipe = folder / "pipe.csv";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_THAT([&] { refuse_endless_file(pipe); },
                ThrowsMessage<Failure>(StartsWith(pipe + ": is a named pipe, ")));
    EXPECT_THAT([] { refuse_endless_file("/dev/zero"); },
                ThrowsMessage<Failure>(StartsWith("/dev/zero: is a device, ")));
}

TEST(InputKind, RefusesASocket) {
    const TemporaryFolder folder;
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    const std::string name = folder / "socket";
    ASSERT_LT(name.size(), sizeof address.sun_path);
    name.copy(address.sun_path, name.size());
    const int socket_file = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(socket_file, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_THAT([&] { refuse_endless_file(name); },
                ThrowsMessage<Failure>(HasSubstr(": is a socket, ")));
    close(socket_file);
}

TEST(InputKind, LetsFilesAndPipesOfTheShellThrough) {
    const TemporaryFolder folder;
    write_file(folder / "table.csv", "");
    EXPECT_NO_THROW(refuse_endless_file(folder / "table.csv"));
    EXPECT_NO_THROW(refuse_endless_file(folder / "missing.csv"));
    EXPECT_NO_THROW(refuse_endless_file(folder.path())); // told by who opens it
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    EXPECT_NO_THROW(refuse_endless_file("/dev/fd/" + std::to_string(ends[0])));
    close(ends[0]);
    close(ends[1]);
}

} // namespace
} // namespace talvora::host
