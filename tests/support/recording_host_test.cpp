// The recording host against small plug-ins that break the interface, one way each.

#include "tests/support/recording_host.h"
#include "tests/support/tracked_heap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace talvora::test_support {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Record = std::array<std::uint64_t, 4>;

// A slot as the function type under which a test wants to call it.
template <typename Function>
Function* slot(GetInterface get_interface, std::int32_t table, std::size_t number) {
    return reinterpret_cast<Function*>(static_cast<void**>(get_interface(table))[number]);
}

void* pointer(std::uint64_t word) {
    return reinterpret_cast<void*>(word);
}

Record read_source_group(void* ctx, GetInterface get_interface) {
    Record record{};
    slot<void(std::uint64_t*, void*, const char*)>(get_interface, 4, 5)(record.data(), ctx,
                                                                        "SourceGroup");
    return record;
}

std::uint64_t open_rate(void* ctx, GetInterface get_interface) {
    std::uint64_t root = 0;
    std::uint64_t set = 0;
    slot<void(std::uint64_t*, void*)>(get_interface, 4, 1)(&root, ctx);
    slot<void(std::uint64_t*, std::uint64_t, const char*)>(get_interface, 8, 10)(&set, root,
                                                                                 "Imu/Rate");
    return set;
}

std::uint8_t read_rate(void* ctx, GetInterface get_interface, std::uint64_t count,
                       std::uint64_t word_count) {
    const std::array<std::uint64_t, 2> selection{0, count};
    std::array<float, 8> samples{};
    slot<void(std::uint64_t, float*, const std::uint64_t*, std::uint64_t)>(get_interface, 8, 7)(
        open_rate(ctx, get_interface), samples.data(), selection.data(), word_count);
    return 1;
}

// Runs the plug-in on a host with one group and one set of three samples.
std::vector<std::string> violations_of(RunFunction plugin) {
    RecordingHost host;
    host.dataset("Imu/Rate", {3}, {1, 2, 3});
    host.set_parameter("SourceGroup", "Imu");
    host.run(plugin);
    return host.take_violations();
}

TEST(RecordingHost, FindsNothingWrongWithAPluginThatKeepsToTheInterface) {
    EXPECT_THAT(violations_of([](void* ctx, GetInterface get_interface) -> std::uint8_t {
                    const Record record = read_source_group(ctx, get_interface);
                    std::free(pointer(record[2]));
                    std::free(pointer(record[3]));
                    return read_rate(ctx, get_interface, 3, 2);
                }),
                IsEmpty());
}

TEST(RecordingHost, TellsWhichBuffersWereNotFreed) {
    EXPECT_THAT(violations_of([](void* ctx, GetInterface get_interface) -> std::uint8_t {
                    read_source_group(ctx, get_interface);
                    return 1;
                }),
                ElementsAre("text of SourceGroup (4 bytes) was never freed",
                            "aux of SourceGroup (24 bytes) was never freed"));
}

// The sanitizer ends the program at these, so they are for the other builds.
TEST(RecordingHost, TellsWhatWasFreedTwiceOrWrittenAfterwards) {
    if (!can_refuse_allocations()) {
        GTEST_SKIP() << "the sanitizer watches over this itself";
    }
    EXPECT_THAT(violations_of([](void* ctx, GetInterface get_interface) -> std::uint8_t {
                    const Record record = read_source_group(ctx, get_interface);
                    // Volatile, because the compiler sees the mistakes coming.
                    const volatile std::uint64_t aux = record[2];
                    const volatile std::uint64_t text = record[3];
                    std::free(pointer(aux));
                    std::free(pointer(aux));
                    std::free(pointer(text));
                    *static_cast<volatile char*>(pointer(text)) = 'x';
                    return 1;
                }),
                ElementsAre("text of SourceGroup (4 bytes) was written after it was freed",
                            "aux of SourceGroup (24 bytes) was freed 2 times"));
}

TEST(RecordingHost, TellsWhatWasWrittenOutsideItsBounds) {
    if (!can_refuse_allocations()) {
        GTEST_SKIP() << "the sanitizer watches over this itself";
    }
    EXPECT_THAT(violations_of([](void* ctx, GetInterface get_interface) -> std::uint8_t {
                    const Record record = read_source_group(ctx, get_interface);
                    *(static_cast<volatile char*>(pointer(record[3])) + 4) = 'x';
                    *(static_cast<volatile char*>(pointer(record[2])) - 1) = 'x';
                    std::free(pointer(record[2]));
                    std::free(pointer(record[3]));
                    return 1;
                }),
                ElementsAre("text of SourceGroup (4 bytes) was written outside its bounds",
                            "aux of SourceGroup (24 bytes) was written outside its bounds"));
}

TEST(RecordingHost, CountsThePluginsOwnMemory) {
    static std::vector<void*> kept; // made here: a run-time may allocate for its end
    EXPECT_THAT(violations_of([](void*, GetInterface) -> std::uint8_t {
                    kept.clear();
                    kept.shrink_to_fit();
                    kept.push_back(nullptr);
                    return 1;
                }),
                ElementsAre("allocations less releases of the plug-in's own: 1"));
}

TEST(RecordingHost, RefusesTheAllocationThatATestNames) {
    if (!can_refuse_allocations()) {
        GTEST_SKIP() << "the sanitizer's allocator refuses nothing";
    }
    const auto plugin = [](void*, GetInterface) -> std::uint8_t {
        const std::vector<int> first(10);
        const std::vector<int> second(10);
        return second.data() != first.data();
    };
    // A run-time may prepare for exceptions when it sees the first one.
    EXPECT_THROW(throw std::bad_alloc(), std::bad_alloc);
    RecordingHost host;
    for (const std::uint64_t n : {1U, 2U}) {
        host.refuse_allocation(n);
        EXPECT_THROW(host.run(plugin), std::bad_alloc);
        EXPECT_EQ(host.allocation_count(), n + 1) << "the exception itself is the last one";
    }
    host.refuse_allocation(3);
    EXPECT_TRUE(host.run(plugin));
}

TEST(RecordingHost, ReportsASlotThatIsNobodysBusiness) {
    EXPECT_THAT(violations_of([](void*, GetInterface get_interface) -> std::uint8_t {
                    slot<void()>(get_interface, 8, 12)();
                    return 1;
                }),
                ElementsAre("slot 12 of a table was called"));
}

TEST(RecordingHost, ReportsAnotherTableAnotherContextAndAnotherResult) {
    EXPECT_THAT(violations_of([](void*, GetInterface get_interface) -> std::uint8_t {
                    get_interface(5);
                    std::uint64_t root = 0;
                    slot<void(std::uint64_t*, void*)>(get_interface, 4, 1)(&root, &root);
                    return 2;
                }),
                ElementsAre("table 5 was asked for", "a slot received another call context",
                            "run returned 2"));
}

TEST(RecordingHost, ReportsASelectionOfTheWrongLengthOrBeyondTheSet) {
    EXPECT_THAT(violations_of([](void* ctx, GetInterface get_interface) {
                    return read_rate(ctx, get_interface, 3, 1);
                }),
                ElementsAre("read_samples of Imu/Rate has a selection of 1 words"));
    EXPECT_THAT(violations_of([](void* ctx, GetInterface get_interface) {
                    return read_rate(ctx, get_interface, 4, 2);
                }),
                ElementsAre("read_samples of Imu/Rate goes beyond it: [0|4]"));
}

TEST(RecordingHost, ReportsTablesAndHandlesOfAnEarlierOperation) {
    static std::uint64_t set;
    static void** table;
    static constexpr auto is_valid = [](void** datasets) {
        return (reinterpret_cast<std::uint64_t (*)(std::uint64_t)>(datasets[4])(set) & 0xFF) != 0;
    };
    RecordingHost host;
    host.dataset("Imu/Rate", {3}, {1, 2, 3});
    EXPECT_TRUE(host.run([](void* ctx, GetInterface get_interface) -> std::uint8_t {
        set = open_rate(ctx, get_interface);
        table = static_cast<void**>(get_interface(8));
        return is_valid(table);
    }));
    EXPECT_THAT(host.take_violations(), IsEmpty());
    EXPECT_FALSE(host.run([](void*, GetInterface get_interface) -> std::uint8_t {
        return is_valid(static_cast<void**>(get_interface(8)));
    }));
    EXPECT_THAT(host.take_violations(), IsEmpty());
    EXPECT_THAT(host.calls(),
                ElementsAre("root_group", "open_dataset / Imu/Rate", "dataset_is_valid Imu/Rate",
                            HasSubstr("dataset_is_valid 0x")));
    EXPECT_FALSE(host.run([](void*, GetInterface) -> std::uint8_t { return is_valid(table); }));
    EXPECT_THAT(host.take_violations(), ElementsAre("a table of an earlier operation was used"));
}

TEST(RecordingHost, GivesHandlesThatDifferInTheirUpperHalvesOnly) {
    static std::uint64_t first;
    static std::uint64_t second;
    RecordingHost host;
    host.dataset("Imu/Rate", {1}, {0});
    host.dataset("Imu/Force", {1}, {0});
    host.run([](void* ctx, GetInterface get_interface) -> std::uint8_t {
        std::uint64_t root = 0;
        slot<void(std::uint64_t*, void*)>(get_interface, 4, 1)(&root, ctx);
        const auto open =
            slot<void(std::uint64_t*, std::uint64_t, const char*)>(get_interface, 8, 10);
        open(&first, root, "Imu/Rate");
        open(&second, root, "Imu/Force");
        return 1;
    });
    EXPECT_NE(first, second);
    EXPECT_EQ(first & 0xFFFF'FFFF, second & 0xFFFF'FFFF);
}

TEST(RecordingHost, RendersAMessageFromItsTemplateAndArguments) {
    RecordingHost host;
    host.run([](void* ctx, GetInterface get_interface) -> std::uint8_t {
        slot<void(void*, const char*, ...)>(get_interface, 4, 10)(
            ctx, "axis %i of %s has %lu", std::int64_t{-1}, "Imu", std::uint64_t{7});
        slot<void(const char*, ...)>(get_interface, 9, 3)("{} exceeds {}", ~std::uint64_t{0},
                                                          std::uint64_t{3});
        slot<void(const char*, ...)>(get_interface, 9, 0)("Computed SNR: %f", 2.5);
        return 1;
    });
    EXPECT_THAT(host.message_texts(), ElementsAre("context error: axis -1 of Imu has 7",
                                                  "warning: 18446744073709551615 exceeds 3",
                                                  "info: Computed SNR: 2.500000"));
    EXPECT_EQ(host.messages().at(2).text_template, "Computed SNR: %f");
    EXPECT_EQ(std::get<double>(host.messages().at(2).arguments.at(0)), 2.5);
}

TEST(RecordedTree, ReadsAndWritesHyperslabsInRowMajorOrder) {
    RecordedTree tree;
    DataSet& set = tree.make_dataset("x", {2, 3}, {0, 1, 2, 10, 11, 12});
    std::array<float, 4> samples{};
    set.read({{0, 1}, {2, 2}}, samples.data());
    EXPECT_THAT(samples, ElementsAre(1, 2, 11, 12));
    const std::array<float, 2> column{7, 8};
    set.write({{0, 2}, {2, 1}}, column.data());
    EXPECT_THAT(set.samples(), ElementsAre(0, 1, 7, 10, 11, 8));
}

TEST(RecordedTree, KeepsTheSamplesInsideTheNewExtentsOfASet) {
    RecordedTree tree;
    DataSet& set = tree.make_dataset("x", {2, 3}, {0, 1, 2, 10, 11, 12});
    set.resize({3, 2});
    EXPECT_THAT(set.extents(), ElementsAre(3, 2));
    EXPECT_THAT(set.samples(), ElementsAre(0, 1, 10, 11, 0, 0));
}

} // namespace
} // namespace talvora::test_support
