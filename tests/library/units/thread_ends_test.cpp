// Threads that end in a function of the caller's, in the midst of a call: they unwind it, leave
// everything as it was, and the process goes on.
#include "tests/host/temporary_folder.h"
#include "tests/library/units/library_test.h"

#include <hdf5.h>

#include <filesystem>
#include <functional>
#include <pthread.h>

namespace talvora::library_test {
namespace {

std::int32_t end_asked(void*) {
    pthread_exit(nullptr);
}
void end_told(void*, std::int32_t, const char*) {
    pthread_exit(nullptr);
}
std::int32_t end_at_object(void*, const char*, talvora_kind) {
    pthread_exit(nullptr);
}
std::int32_t end_at_name(void*, const char*) {
    pthread_exit(nullptr);
}

// A call in a thread of its own, and whether it came back.
struct Ending {
    std::function<void()> call;
    bool came_back = false;

    static void* run(void* context) {
        auto& ending = *static_cast<Ending*>(context);
        ending.call();
        ending.came_back = true;
        return nullptr;
    }
};

bool comes_back(const std::function<void()>& call) {
    Ending ending{call};
    pthread_t thread{};
    EXPECT_EQ(pthread_create(&thread, nullptr, Ending::run, &ending), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    return ending.came_back;
}

void expect_ended(const std::function<void()>& call) {
    EXPECT_FALSE(comes_back(call));
}

class ThreadEnds : public testing::Test {
  protected:
    void SetUp() override {
        tree_.add_signal("Imu/A", {3, 1, 100}, Floats(300, -1.5F));
        ASSERT_GOOD(tree_.set("", "Subject", integer(7)));
        before_ = tree_.content();
    }

    void expect_as_before() { EXPECT_TRUE(tree_.content() == before_); }

    Plugin plugin_;
    Tree tree_;
    TreeContent before_;
};

TEST_F(ThreadEnds, InARunThatAsks) {
    expect_ended([&] {
        tree_.run(plugin_, "apply-set-rectify", {"SourceGroup=Imu"}, {.should_stop = end_asked});
    });
    expect_as_before();
    EXPECT_GOOD(tree_.run(plugin_, "apply-set-rectify", {"SourceGroup=Imu"}));
}

// An error of the unit's own, told in the midst of it.
TEST_F(ThreadEnds, InARunThatTells) {
    expect_ended([&] {
        tree_.run(plugin_, "apply-set-butterworth",
                  {"SourceGroup=Imu", "CutoffFrequency=5", "Order=1"}, {.tell = end_told});
    });
    expect_as_before();
}

TEST_F(ThreadEnds, InAWalk) {
    expect_ended([&] { talvora_tree_visit(tree_, end_at_object, nullptr, nullptr, 0); });
    expect_ended(
        [&] { talvora_tree_visit_attributes(tree_, "", end_at_name, nullptr, nullptr, 0); });
    expect_as_before();
}

// Left out of what is read, which is told of.
void add_second_name(const std::filesystem::path& file) {
    const hid_t opened = H5Fopen(file.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
    ASSERT_GE(opened, 0);
    EXPECT_GE(H5Lcreate_hard(opened, "Imu/A", opened, "Imu/B", H5P_DEFAULT, H5P_DEFAULT), 0);
    EXPECT_GE(H5Fclose(opened), 0);
}

// One call at a time uses the library for files; the next one has it.
TEST_F(ThreadEnds, WhileAFileIsRead) {
    const host::TemporaryFolder folder;
    const std::filesystem::path file = folder / "twice.h5";
    ASSERT_EQ(talvora_tree_write(tree_, file.c_str(), 0, nullptr, 0), TALVORA_OK);
    add_second_name(file);
    talvora_tree* tree = nullptr;
    expect_ended([&] { talvora_tree_read(file.c_str(), &tree, end_told, nullptr, nullptr, 0); });
    EXPECT_EQ(tree, nullptr);
    ASSERT_EQ(talvora_tree_read(file.c_str(), &tree, nullptr, nullptr, nullptr, 0), TALVORA_OK);
    talvora_tree_destroy(tree);
}

TEST_F(ThreadEnds, InAFilterAndItsWorkers) {
    const Extents extents = {400, 1000};
    Floats samples(400'000, 1.0F);
    const talvora_array array = make_array(samples, extents);
    const double b[] = {0.5, 0.5};
    const double a[] = {1.0};
    for (const std::int32_t workers : {1, 4}) {
        // The first question comes before any work, the third in the midst of it: not where other
        // threads have left nothing to wait for.
        int questions_left = 3;
        talvora_filter_options options{};
        options.struct_size = sizeof options;
        options.axis = -1;
        options.workers = workers;
        options.context = &questions_left;
        options.should_stop = [](void* context) -> std::int32_t {
            return --*static_cast<int*>(context) == 0 ? end_asked(nullptr) : 0;
        };
        const bool came_back =
            comes_back([&] { talvora_filtfilt(b, 2, a, 1, &array, &array, &options, nullptr, 0); });
        EXPECT_EQ(came_back, questions_left > 0);
        EXPECT_TRUE(!came_back || workers > 1);
    }
}

} // namespace
} // namespace talvora::library_test
