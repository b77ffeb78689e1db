// A host that hands a thousand blocks of 1 MiB over to a plug-in and looks at its heap
// before and after: shared_heap_host LIBRARY. Exit status 0: the plug-in freed them all
// on the host's own heap; 1: the heap grew; 2: the library could not be used.
#include "plugin/host_interfaces.h"
#include "plugin/plugin_api.h"
#include "tests/support/shared_library.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <malloc.h>
#include <span>
#include <stdexcept>
#include <string_view>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace {

using namespace talvora;

constexpr std::uint64_t BLOCK_SIZE = std::uint64_t{1} << 20U;
constexpr int RUN_COUNT = 250; // each hands over four blocks of that size

int block_count = 0;

void* new_block() {
    ++block_count;
    return std::malloc(BLOCK_SIZE);
}

char* new_text(void* memory) {
    return std::strcpy(static_cast<char*>(memory), "Missing");
}

// Small blocks, too: a heap may give large ones back whoever frees them, as wine's does.
void read_string_list(host_list* out, call_context*, const char*) {
    auto** texts = static_cast<char**>(std::malloc(3 * sizeof(char*)));
    texts[0] = new_text(new_block());
    texts[1] = new_text(new_block());
    texts[2] = new_text(std::malloc(16));
    *out = {.count = 3, .unused = 0, .aux = std::malloc(24), .items = texts};
}

void read_string(host_string* out, call_context*, const char*) {
    *out = {.unread_count = 0, .unused = 0, .aux = new_block(), .text = new_text(new_block())};
}

void root_group(group_handle* out, call_context*) {
    *out = group_handle{1};
}

host_flag read_boolean(call_context*, const char*) {
    return 0;
}

void ignore_message(call_context*, const char*, ...) {}

void open_dataset(dataset_handle* out, group_handle, const char*) {
    *out = dataset_handle{};
}

host_flag dataset_is_valid(dataset_handle) {
    return 0;
}

// What a unit asks before it finds that its first source does not exist.
void* get_interface(std::int32_t table_id) {
    static context_api context{};
    static group_api groups{};
    static dataset_api sets{};
    static log_api log{};
    context.root_group = root_group;
    context.read_boolean = read_boolean;
    context.read_string = read_string;
    context.read_string_list = read_string_list;
    context.log_error = ignore_message;
    sets.open_dataset = open_dataset;
    sets.dataset_is_valid = dataset_is_valid;
    switch (table_id) {
    case CONTEXT_API_ID:
        return &context;
    case GROUP_API_ID:
        return &groups;
    case DATASET_API_ID:
        return &sets;
    default:
        return &log;
    }
}

run_operation find_rectify(void* library) {
    void* symbol = test_support::find_symbol(library, PLUGIN_ENTRY_NAME);
    if (symbol == nullptr) {
        throw std::runtime_error("the library has no entry");
    }
    std::uint32_t count = 0;
    const auto* first = static_cast<const unit_descriptor*>(
        reinterpret_cast<plugin_entry>(symbol)(&count, UNIT_TABLE_KIND));
    const std::span<const unit_descriptor> units(first, count);
    const auto found = std::ranges::find_if(units, [](const unit_descriptor& unit) {
        return unit.name() == std::string_view("orvane.signal.apply-set-rectify");
    });
    if (found == units.end()) {
        throw std::runtime_error("the library has no unit to rectify");
    }
    return found->run;
}

// Bytes in use on the heap of this program's run-time.
std::int64_t measure_heap() {
    const auto heap = reinterpret_cast<HANDLE>(_get_heap_handle());
    PROCESS_HEAP_ENTRY entry{};
    std::int64_t bytes = 0;
    while (HeapWalk(heap, &entry) != 0) {
        if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) {
            bytes += entry.cbData;
        }
    }
    return bytes;
}

// What stays in use of all that was handed over.
std::int64_t measure_growth(run_operation run) {
    const std::int64_t before = measure_heap();
    for (int i = 0; i < RUN_COUNT; ++i) {
        run(nullptr, get_interface);
    }
    const std::int64_t after = measure_heap();
    std::printf("%d blocks of 1 MiB handed over; heap in use: %lld bytes before, %lld after\n",
                block_count, static_cast<long long>(before), static_cast<long long>(after));
    return after - before;
}

// A check of the check: the measure has to see a block that nobody frees.
void see_one_block() {
    const std::int64_t before = measure_heap();
    void* volatile block = std::malloc(BLOCK_SIZE); // or the compiler leaves it out
    const std::int64_t seen = measure_heap() - before;
    std::free(block);
    if (seen < static_cast<std::int64_t>(BLOCK_SIZE) || measure_heap() != before) {
        throw std::runtime_error("the heap cannot be measured");
    }
}

} // namespace

int main(int argument_count, char** arguments) try {
    const run_operation run =
        find_rectify(test_support::load_library(argument_count > 1 ? arguments[1] : ""));
    std::puts("measuring"); // the stream takes its buffer now
    see_one_block();
    measure_growth(run); // what a run-time sets up once is not counted
    block_count = 0;
    const std::int64_t growth = measure_growth(run);
    std::printf("the heap %s: %lld bytes\n", growth == 0 ? "stayed flat" : "grew",
                static_cast<long long>(growth));
    return growth == 0 ? 0 : 1;
} catch (const std::exception& problem) {
    std::printf("error: %s\n", problem.what());
    return 2;
}
