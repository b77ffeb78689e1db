#include "host/system/shared_library.h"
#include "tests/host/temporary_folder.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace talvora::host {
namespace {

// The mathematics of the C library, which is loaded already and under this name everywhere.
TEST(SharedLibrary, FindsExportedNames) {
    std::filesystem::path file;
    for (const char* place : {"/lib/x86_64-linux-gnu/libm.so.6", "/lib/aarch64-linux-gnu/libm.so.6",
                              "/lib64/libm.so.6", "/usr/lib/libm.so.6"}) {
        file = std::filesystem::exists(place) ? place : file;
    }
    if (file.empty()) {
        GTEST_SKIP() << "no libm.so.6 where it is looked for";
    }
    const SharedLibrary library(file);
    const auto square_root = reinterpret_cast<double (*)(double)>(library.find("sqrt"));
    ASSERT_NE(square_root, nullptr);
    EXPECT_EQ(square_root(6.25), 2.5);
    EXPECT_EQ(library.find("no_such_name_at_all"), nullptr);
}

TEST(SharedLibrary, TellsWhyItCannotBeLoaded) {
    const TemporaryFolder folder;
    write_file(folder / "text.so", "no library");
    for (const char* name : {"text.so", "missing.so", "."}) {
        try {
            const SharedLibrary library(folder / name);
            ADD_FAILURE() << name;
        } catch (const std::runtime_error& error) {
            const std::string text = error.what();
            EXPECT_NE(text, "") << name;
            // The caller names it.
            EXPECT_EQ(text.find((folder / name).string()), std::string::npos) << text;
        }
    }
}

} // namespace
} // namespace talvora::host
