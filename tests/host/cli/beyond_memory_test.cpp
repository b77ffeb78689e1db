// Files that hold more than a process can take in: the file is to blame, and is named.
#include "host/hdf5/hdf5_tree.h"
#include "host/tree/history_attribute.h"
#include "tests/host/cli/cli_test.h"

#include <hdf5.h>

#include <array>
#include <string>

namespace talvora::host {
namespace {

class BeyondMemory : public CommandLine {
  protected:
    void SetUp() override { import_walk(); }

    // Signals/Huge of 2^62 samples, none of which is written.
    void add_huge_set() const {
        constexpr std::array<hsize_t, 3> EXTENTS = {hsize_t{1} << 31, hsize_t{1} << 31, 1};
        constexpr std::array<hsize_t, 3> CHUNK = {1024, 1024, 1};
        const hid_t file = H5Fopen((folder_ / "walk.h5").c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
        const hid_t properties = H5Pcreate(H5P_DATASET_CREATE);
        H5Pset_chunk(properties, 3, CHUNK.data());
        const hid_t space = H5Screate_simple(3, EXTENTS.data(), nullptr);
        const hid_t set = H5Dcreate2(file, "Signals/Huge", H5T_IEEE_F32LE, space, H5P_DEFAULT,
                                     properties, H5P_DEFAULT);
        ASSERT_GE(set, 0);
        H5Dclose(set);
        H5Sclose(space);
        H5Pclose(properties);
        H5Fclose(file);
    }

    // As the only record.
    void write_history(const std::string& record) const {
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        tree.write_attribute(tree.root(), HISTORY_ATTRIBUTE, TextArray{{record}, {1}});
        tree.close();
    }

    void expect_input_error(const Program::Words& words, const std::string& line) const {
        const auto result = run(words);
        EXPECT_EQ(result.exit_code, 3) << words.front();
        EXPECT_EQ(result.errors, "error: " + line + "\n") << words.front();
        const bool as_json = words.back() == "--json";
        EXPECT_EQ(result.output,
                  as_json ? R"({"error":")" + line + R"(","hints":[],"exit_code":3})" + "\n" : "");
    }
};

TEST_F(BeyondMemory, ASetIsRefusedByItsName) {
    add_huge_set();
    const std::string line = "walk.h5: 'Signals/Huge' has the extents [2147483648, 2147483648, 1]: "
                             "more samples than memory can hold";
    expect_input_error({"tree", "walk.h5", "--statistics"}, line);
    expect_input_error({"export", "walk.h5::Signals/Huge", "-o", "huge.csv"}, line);
    expect_input_error({"plot", "walk.h5::Signals/Huge", "--line", "0", "-o", "huge.svg"}, line);
    EXPECT_EQ(run({"tree", "walk.h5"}).exit_code, 0) << "its samples are not asked for";
}

TEST_F(BeyondMemory, AHistoryOfTooManyLevelsIsRefused) {
    constexpr std::size_t DEPTH = 200'000;
    write_history(std::string(DEPTH, '[') + std::string(DEPTH, ']'));
    const std::string line =
        "walk.h5: the history in the file cannot be read: a record is nested more than 100 deep";
    expect_input_error({"history", "walk.h5"}, line);
    expect_input_error({"history", "walk.h5", "--json"}, line);
    expect_input_error({"recipe", "extract", "walk.h5"}, line);
}

TEST_F(BeyondMemory, AHistoryOfAHundredLevelsIsShown) {
    write_history(std::string(100, '[') + std::string(100, ']'));
    EXPECT_EQ(run({"history", "walk.h5", "--json"}).exit_code, 0);
}

} // namespace
} // namespace talvora::host
