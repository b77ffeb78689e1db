// Trees read from files and written to them.
#include "tests/host/cli/program.h"
#include "tests/library/units/library_test.h"
#include "tests/support/special_values.h"

#include <hdf5.h>

#include <filesystem>
#include <fstream>
#include <numeric>
#include <thread>
#include <unistd.h>

namespace talvora::library_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

Outcome write(const Tree& tree, const fs::path& file, bool replace = false) {
    return run_call([&](char* error, std::size_t size) {
        return talvora_tree_write(tree, file.c_str(), replace ? 1 : 0, error, size);
    });
}

Outcome read(const fs::path& file, talvora_tree** tree, Talk* talk = nullptr) {
    return run_call([&](char* error, std::size_t size) {
        return talvora_tree_read(file.c_str(), tree, talk == nullptr ? nullptr : Talk::tell, talk,
                                 error, size);
    });
}

talvora_tree* open(const fs::path& file, Talk* talk = nullptr) {
    talvora_tree* tree = nullptr;
    EXPECT_GOOD(read(file, &tree, talk));
    return tree;
}

class Files : public testing::Test {
  protected:
    void SetUp() override {
        tree_.add_signal("Imu/Rate", {2, 1, 3}, {1, -2, NaN, -4, 5, -6}, 50);
        ASSERT_GOOD(tree_.set("Imu/Rate", "Unit", text("°/s")));
        ASSERT_GOOD(tree_.set("Imu", "Labels", {TALVORA_TEXTS, {2}, Words{"x", "y"}}));
        ASSERT_GOOD(tree_.set("", "Subject", integer(7)));
        ASSERT_GOOD(tree_.add_group("Empty/Deep"));
    }

    void expect_unreadable(const fs::path& file, const std::string& part) const {
        talvora_tree* tree = tree_;
        const Outcome outcome = read(file, &tree);
        EXPECT_EQ(outcome.status, TALVORA_FILE_ERROR);
        EXPECT_THAT(outcome.error, HasSubstr(part));
        EXPECT_EQ(tree, nullptr);
    }

    host::ProgramResult run_host(const host::Program::Words& words) const {
        return host::run_program(folder_.path(), words);
    }

    host::TemporaryFolder folder_;
    Tree tree_;
};

TEST_F(Files, HoldTheWholeTree) {
    ASSERT_GOOD(write(tree_, folder_ / "walk.h5"));
    EXPECT_THAT(folder_.names(), ElementsAre("walk.h5"));
    Talk talk;
    const Tree again(open(folder_ / "walk.h5", &talk));
    EXPECT_TRUE(again.content() == tree_.content());
    EXPECT_THAT(talk.messages, IsEmpty());
}

// Floats are 64 apart at 1e9, so all of these become 1e9; below 20 they are whole numbers.
TEST_F(Files, TellOfSignalsThatFloatsDoNotHold) {
    std::vector<double> counts(20);
    std::iota(counts.begin(), counts.end(), 0);
    ASSERT_GOOD(tree_.add("Small", make_array(counts, {1, 1, 20})));
    for (std::size_t i = 0; i < 20; ++i) {
        counts.push_back(1e9 + counts[i]);
    }
    ASSERT_GOOD(tree_.add("Counts", make_array(counts, {1, 2, 20})));
    Talk talk;
    ASSERT_GOOD(run_call([&](char* error, std::size_t size) {
        return talvora_tree_tell_narrowed(tree_, Talk::tell, &talk, error, size);
    }));
    EXPECT_THAT(talk.messages,
                ElementsAre(Message{TALVORA_WARNING,
                                    "'Counts' is of 64-bit floats, which in its line [0, 1, :] lie "
                                    "between 1e+09 and 1.00000002e+09; as 32-bit floats they "
                                    "change by up to 19, 1.0e+00 of that range"}));
}

TEST_F(Files, AreThoseOfTheProgram) {
    ASSERT_GOOD(write(tree_, folder_ / "walk.h5"));
    const auto result = run_host({"tree", "walk.h5", "--attributes"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(result.output, AllOf(HasSubstr("Imu/Rate"), HasSubstr("[2, 1, 3]"),
                                     HasSubstr("Subject"), HasSubstr("°/s")));
}

// A run in memory, written, told of by the program, run on by it, and read once more.
TEST_F(Files, KeepTheHistoryOfRuns) {
    const Plugin plugin;
    setenv("SOURCE_DATE_EPOCH", "1700000000", 1);
    ASSERT_GOOD(tree_.run(plugin, "apply-set-rectify", {"SourceSets=Imu/Rate"}));
    ASSERT_GOOD(write(tree_, folder_ / "rectified.h5"));
    const auto told = run_host({"history", "rectified.h5"});
    EXPECT_EQ(told.exit_code, 0) << told.errors;
    EXPECT_THAT(told.output,
                AllOf(StartsWith("2023-11-14T22:13:20Z  apply-set-rectify\n"),
                      HasSubstr("libtalvora " + std::string(talvora_version())),
                      HasSubstr("\n  input in memory\n"),
                      HasSubstr("\n  SourceSets = [\"Imu/Rate\"]\n"), HasSubstr("Imu/Rate: ")));
    // By the program, on that file.
    const auto ran = run_host({"--plugin", SIGNAL_PLUGIN, "run", "apply-set-opposite",
                               "SourceSets=Imu/Rate", "rectified.h5", "-o", "turned.h5"});
    ASSERT_EQ(ran.exit_code, 0) << ran.errors;
    // And here, on what it made.
    Tree again(open(folder_ / "turned.h5"));
    EXPECT_EQ(again.read("Imu/Rate"), (SetContent{{2, 1, 3}, {-1, -2, NaN, -4, -5, -6}}));
    ASSERT_GOOD(again.run(plugin, "apply-set-rectify", {"SourceSets=Imu/Rate"}));
    ASSERT_GOOD(write(again, folder_ / "last.h5"));
    const auto history = run_host({"history", "last.h5"});
    EXPECT_THAT(history.output,
                AllOf(HasSubstr("apply-set-opposite\n"), HasSubstr("\n  input rectified.h5, "),
                      HasSubstr("\n  input turned.h5, ")));
    // What the program says of its last run can be made a recipe of.
    EXPECT_EQ(run_host({"history", "last.h5", "--json"}).exit_code, 0);
    unsetenv("SOURCE_DATE_EPOCH");
}

TEST_F(Files, AreNotReplacedUnlessAskedTo) {
    ASSERT_GOOD(write(tree_, folder_ / "walk.h5"));
    const std::string before = host::read_file(folder_ / "walk.h5");
    EXPECT_EQ(write(tree_, folder_ / "walk.h5"),
              (Outcome{TALVORA_FILE_ERROR, (folder_ / "walk.h5").string() + ": exists"}));
    EXPECT_EQ(host::read_file(folder_ / "walk.h5"), before);
    ASSERT_GOOD(tree_.set("", "Subject", integer(8)));
    EXPECT_GOOD(write(tree_, folder_ / "walk.h5", true));
    EXPECT_EQ(Tree(open(folder_ / "walk.h5")).get("", "Subject"), integer(8));
    EXPECT_THAT(folder_.names(), ElementsAre("walk.h5"));
}

TEST_F(Files, AppearWholeOrNotAtAll) {
    EXPECT_EQ(write(tree_, folder_ / "none/walk.h5").status, TALVORA_FILE_ERROR);
    EXPECT_EQ(write(tree_, folder_.path()).status, TALVORA_FILE_ERROR);
    EXPECT_THAT(folder_.names(), IsEmpty());
}

// While it lives, a process of root has no more rights than anybody.
class WithoutPrivileges {
  public:
    WithoutPrivileges() : was_root_(geteuid() == 0) {
        if (was_root_) {
            EXPECT_EQ(setresuid(NOBODY, NOBODY, 0), 0);
        }
    }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;
    ~WithoutPrivileges() {
        if (was_root_) {
            EXPECT_EQ(setresuid(0, 0, 0), 0);
        }
    }

  private:
    static constexpr uid_t NOBODY = 65534;
    bool was_root_;
};

TEST_F(Files, AreRefusedInAFolderThatCannotBeWritten) {
    fs::permissions(folder_.path(), fs::perms(0555));
    Outcome outcome;
    {
        const WithoutPrivileges nobody;
        outcome = write(tree_, folder_ / "walk.h5");
    }
    fs::permissions(folder_.path(), fs::perms(0755));
    EXPECT_EQ(outcome.status, TALVORA_FILE_ERROR);
    EXPECT_THAT(outcome.error, HasSubstr("walk.h5: folder '"));
    EXPECT_THAT(folder_.names(), IsEmpty());
}

TEST_F(Files, ThatCannotBeReadAreNamed) {
    expect_unreadable(folder_ / "none.h5", "none.h5");
    expect_unreadable(folder_ / "\xF6.h5", "\\xF6.h5");
    std::ofstream(folder_ / "text.h5") << "no HDF5 file";
    expect_unreadable(folder_ / "text.h5", "text.h5");
    expect_unreadable(folder_.path(), folder_.path().filename().string());
    ASSERT_GOOD(write(tree_, folder_ / "cut.h5"));
    fs::resize_file(folder_ / "cut.h5", fs::file_size(folder_ / "cut.h5") / 2);
    expect_unreadable(folder_ / "cut.h5", "cut.h5");
}

// ---------------------------------------------------------------------------
// What other programs write

void make_set(hid_t file, const char* name, hid_t type, const std::vector<hsize_t>& extents,
              const void* samples) {
    const hid_t space = extents.empty() ? H5Screate(H5S_SCALAR)
                                        : H5Screate_simple(static_cast<int>(extents.size()),
                                                           extents.data(), nullptr);
    const hid_t set = H5Dcreate2(file, name, type, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
    H5Dwrite(set, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, samples);
    H5Dclose(set);
    H5Sclose(space);
}

void make_reference_attribute(hid_t file, const char* object) {
    const hid_t owner = H5Oopen(file, object, H5P_DEFAULT);
    const hid_t space = H5Screate(H5S_SCALAR);
    const hid_t attribute =
        H5Acreate2(owner, "Link", H5T_STD_REF_OBJ, space, H5P_DEFAULT, H5P_DEFAULT);
    H5Aclose(attribute);
    H5Sclose(space);
    H5Oclose(owner);
}

TEST_F(Files, OfOtherProgramsLeaveOutWhatIsNoSignal) {
    const fs::path path = folder_ / "other.h5";
    const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_EXCL, H5P_DEFAULT, H5P_DEFAULT);
    H5Gclose(H5Gcreate2(file, "A", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    const std::vector<double> doubles = {1, 2.5};
    const std::vector<int> integers = {3, -4, 5};
    make_set(file, "A/Doubles", H5T_NATIVE_DOUBLE, {1, 2}, doubles.data());
    make_set(file, "A/Integers", H5T_NATIVE_INT, {3}, integers.data());
    make_set(file, "A/Scalar", H5T_NATIVE_INT, {}, integers.data());
    make_reference_attribute(file, "A/Doubles");
    H5Lcreate_hard(file, "A/Doubles", file, "Same", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_soft("/A", file, "0", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_soft("/A/Integers", file, "Way", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_external("other_file.h5", "/A", file, "Another", H5P_DEFAULT, H5P_DEFAULT);
    H5Lcreate_soft("/nowhere", file, "Lost", H5P_DEFAULT, H5P_DEFAULT);
    H5Fclose(file);

    Talk talk;
    const Tree tree(open(path, &talk));
    const std::vector<std::pair<std::string, talvora_kind>> expected = {
        {"A", TALVORA_GROUP}, {"A/Integers", TALVORA_SET}, {"Same", TALVORA_SET}};
    EXPECT_EQ(tree.content().objects, expected);
    EXPECT_EQ(tree.read("Same"), (SetContent{{1, 2}, {1, 2.5F}}));
    EXPECT_EQ(tree.read("A/Integers"), (SetContent{{3}, {3, -4, 5}}));
    const auto told = [&](const std::string& part, std::int32_t level = TALVORA_INFO) {
        return testing::Contains(AllOf(testing::Field(&Message::text, HasSubstr(part)),
                                       testing::Field(&Message::level, level)));
    };
    EXPECT_THAT(talk.messages, told("other.h5: left out: 'A/Scalar', data set of 32-bit integers"));
    EXPECT_THAT(talk.messages,
                told("other.h5: left out: 'A/Doubles', another name of 'Same'", TALVORA_WARNING));
    EXPECT_THAT(talk.messages, told("other.h5: left out: '0', a link to an object of the file"));
    EXPECT_THAT(talk.messages, told("other.h5: left out: 'Way', a link to an object of the file"));
    EXPECT_THAT(talk.messages, told("left out: 'Another', ", TALVORA_WARNING));
    EXPECT_THAT(talk.messages, told("left out: 'Lost', "));
    EXPECT_THAT(talk.messages, told("'Link'", TALVORA_WARNING));
    EXPECT_THAT(talk.messages, told("A/Integers: 32-bit integers, 32-bit floats in memory; no "
                                    "sample is changed by that"));
}

// As in an array of doubles.
TEST_F(Files, OfDoublesAreGuarded) {
    const fs::path path = folder_ / "other.h5";
    const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_EXCL, H5P_DEFAULT, H5P_DEFAULT);
    const std::vector<double> doubles = {16777216.0, 16777216.25, 16777216.5};
    make_set(file, "X", H5T_NATIVE_DOUBLE, {1, 1, 3}, doubles.data());
    H5Fclose(file);
    const Plugin plugin;
    Tree tree(open(path));
    EXPECT_EQ(tree.run(plugin, "apply-set-opposite", {"SourceSets=X"}).status, TALVORA_GUARDED);
}

TEST_F(Files, WithNumbersBeyondEveryFloatAreRefused) {
    const fs::path path = folder_ / "far.h5";
    const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_EXCL, H5P_DEFAULT, H5P_DEFAULT);
    const std::vector<double> doubles = {1e300};
    make_set(file, "X", H5T_NATIVE_DOUBLE, {1}, doubles.data());
    H5Fclose(file);
    expect_unreadable(path, "far.h5: ");
}

// ---------------------------------------------------------------------------

// The library that knows the format is used by one of them at a time.
TEST_F(Files, AreReadAndWrittenByThreads) {
    ASSERT_GOOD(write(tree_, folder_ / "walk.h5"));
    const TreeContent expected = tree_.content();
    std::vector<std::thread> threads;
    std::vector<int> good(4, 0);
    for (std::size_t t = 0; t < good.size(); ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 10; ++i) {
                talvora_tree* tree = nullptr;
                const fs::path own = folder_ / ("own" + std::to_string(t) + ".h5");
                const bool is_same =
                    talvora_tree_read((folder_ / "walk.h5").c_str(), &tree, nullptr, nullptr,
                                      nullptr, 0) == TALVORA_OK &&
                    talvora_tree_write(tree, own.c_str(), 1, nullptr, 0) == TALVORA_OK;
                talvora_tree_destroy(tree);
                good[t] += is_same ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(good, testing::Each(10));
    EXPECT_TRUE(Tree(open(folder_ / "own3.h5")).content() == expected);
}

} // namespace
} // namespace talvora::library_test
