// A plug-in library whose units change the first sample of Signals/X and then get into
// trouble, each in its own way.
#include "plugin/plugin_api.h"

#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <iterator>
#include <new>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace {

using namespace talvora;

const char* vendor() {
    return "Test";
}
const char* version() {
    return "1.0.0";
}
const char* description() {
    return "Gets into trouble";
}
const char* web_address() {
    return "";
}

std::uint64_t declare(call_context* ctx, get_interface_function get_interface) {
    const auto* context = static_cast<const context_api*>(get_interface(CONTEXT_API_ID));
    return context->declare_parameter(ctx, "Count: integer = 1", 0);
}

dataset_handle change_a_sample(call_context* ctx, get_interface_function get_interface) {
    const auto* context = static_cast<const context_api*>(get_interface(CONTEXT_API_ID));
    const auto* datasets = static_cast<const dataset_api*>(get_interface(DATASET_API_ID));
    group_handle root{};
    context->root_group(&root, ctx);
    dataset_handle set{};
    const auto* groups = static_cast<const group_api*>(get_interface(GROUP_API_ID));
    group_handle group{};
    groups->open_group(&group, root, "Signals");
    datasets->open_dataset(&set, group, "X");
    const float sample = 99;
    const std::uint64_t selection[] = {0, 0, 0, 1, 1, 1};
    datasets->write_samples(set, &sample, selection, std::size(selection));
    return set;
}

void log(get_interface_function get_interface, const char* message) {
    static_cast<const log_api*>(get_interface(LOG_API_ID))->log_info(message);
}

bool succeed(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    return true;
}

bool fail(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    static_cast<const context_api*>(get_interface(CONTEXT_API_ID))
        ->log_error(ctx, "%lu is too many", std::uint64_t{7});
    return false;
}

bool complain(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    static_cast<const context_api*>(get_interface(CONTEXT_API_ID))
        ->log_error(ctx, "%lu is too many", std::uint64_t{7});
    return true;
}

bool fail_silently(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    return false;
}

bool read_outside(call_context* ctx, get_interface_function get_interface) {
    const dataset_handle set = change_a_sample(ctx, get_interface);
    float sample = 0;
    const std::uint64_t selection[] = {0, 0, 1'000'000, 1, 1, 1};
    static_cast<const dataset_api*>(get_interface(DATASET_API_ID))
        ->read_samples(set, &sample, selection, std::size(selection));
    return true;
}

bool read_everywhere(call_context* ctx, get_interface_function get_interface) {
    const dataset_handle set = change_a_sample(ctx, get_interface);
    float sample = 0;
    for (std::uint64_t i = 0; i < 200; ++i) {
        const std::uint64_t selection[] = {0, 0, 1'000'000 + i, 1, 1, 1};
        static_cast<const dataset_api*>(get_interface(DATASET_API_ID))
            ->read_samples(set, &sample, selection, std::size(selection));
    }
    return true;
}

bool crash(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    std::raise(SIGSEGV);
    return true;
}

// A group "Marked".
bool is_marked(call_context* ctx, get_interface_function get_interface) {
    group_handle root{};
    static_cast<const context_api*>(get_interface(CONTEXT_API_ID))->root_group(&root, ctx);
    const auto* groups = static_cast<const group_api*>(get_interface(GROUP_API_ID));
    return groups->group_exists(root, "Marked") != 0;
}

bool crash_if_marked(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    if (is_marked(ctx, get_interface)) {
        std::raise(SIGSEGV);
    }
    return true;
}

bool stop_itself(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    log(get_interface, "stopping");
    std::raise(SIGSTOP);
    return true;
}

// All of Signals/Y, to where no memory is.
bool read_into_nothing(call_context* ctx, get_interface_function get_interface) {
    const auto* datasets = static_cast<const dataset_api*>(get_interface(DATASET_API_ID));
    const auto* groups = static_cast<const group_api*>(get_interface(GROUP_API_ID));
    group_handle root{};
    static_cast<const context_api*>(get_interface(CONTEXT_API_ID))->root_group(&root, ctx);
    group_handle group{};
    groups->open_group(&group, root, "Signals");
    dataset_handle set{};
    datasets->open_dataset(&set, group, "Y");
    const std::uint64_t selection[] = {0, 0, 0, 1, 1, 5};
    datasets->read_samples(set, reinterpret_cast<float*>(4096), selection, std::size(selection));
    return true;
}

bool kill_itself(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    std::raise(SIGKILL);
    return true;
}

// More than the host keeps in memory of a set.
bool grow(call_context* ctx, get_interface_function get_interface) {
    constexpr std::uint64_t SAMPLE_COUNT = 24'000'000;
    const dataset_handle set = change_a_sample(ctx, get_interface);
    const auto* datasets = static_cast<const dataset_api*>(get_interface(DATASET_API_ID));
    const std::uint64_t extents[] = {1, 1, SAMPLE_COUNT};
    datasets->resize_dataset(set, extents, std::size(extents));
    const std::vector<float> samples(SAMPLE_COUNT, 1.0F);
    const std::uint64_t selection[] = {0, 0, 0, 1, 1, SAMPLE_COUNT};
    datasets->write_samples(set, samples.data(), selection, std::size(selection));
    return true;
}

bool throw_up(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    throw std::runtime_error("out of luck");
}

bool run_out_of_memory(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    throw std::bad_alloc();
}

// As another program may, which runs in the same folder.
bool change_input(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    const int file = open("walk.h5", O_WRONLY | O_APPEND | O_CLOEXEC);
    const bool written = write(file, "x", 1) == 1;
    close(file);
    return written;
}

// Long enough for a test to come in between, short enough to end by itself.
bool wait(call_context* ctx, get_interface_function get_interface) {
    change_a_sample(ctx, get_interface);
    log(get_interface, "waiting");
    sleep(30);
    return true;
}

bool wait_if_marked(call_context* ctx, get_interface_function get_interface) {
    return is_marked(ctx, get_interface) ? wait(ctx, get_interface) : succeed(ctx, get_interface);
}

template <const char* NAME>
const char* name() {
    return NAME;
}
constexpr char PLUGIN[] = "trouble";
constexpr char SUCCEED[] = "test.trouble.succeed";
constexpr char FAIL[] = "test.trouble.fail";
constexpr char COMPLAIN[] = "test.trouble.complain";
constexpr char FAIL_SILENTLY[] = "test.trouble.fail-silently";
constexpr char READ_OUTSIDE[] = "test.trouble.read-outside";
constexpr char READ_EVERYWHERE[] = "test.trouble.read-everywhere";
constexpr char CRASH[] = "test.trouble.crash";
constexpr char CRASH_IF_MARKED[] = "test.trouble.crash-if-marked";
constexpr char STOP[] = "test.trouble.stop";
constexpr char READ_INTO_NOTHING[] = "test.trouble.read-into-nothing";
constexpr char KILL[] = "test.trouble.kill";
constexpr char GROW[] = "test.trouble.grow";
constexpr char THROW[] = "test.trouble.throw";
constexpr char RUN_OUT_OF_MEMORY[] = "test.trouble.run-out-of-memory";
constexpr char CHANGE_INPUT[] = "test.trouble.change-input";
constexpr char WAIT[] = "test.trouble.wait";
constexpr char WAIT_IF_MARKED[] = "test.trouble.wait-if-marked";

unit_descriptor make_unit(text_getter unit_name, run_operation run) {
    return {unit_name, vendor, vendor, declare, run, version, description, nullptr, {}};
}

plugin_descriptor plugin = {name<PLUGIN>, vendor, version, description, web_address, {}};
unit_descriptor units[] = {
    make_unit(name<SUCCEED>, succeed),
    make_unit(name<FAIL>, fail),
    make_unit(name<COMPLAIN>, complain),
    make_unit(name<FAIL_SILENTLY>, fail_silently),
    make_unit(name<READ_OUTSIDE>, read_outside),
    make_unit(name<READ_EVERYWHERE>, read_everywhere),
    make_unit(name<CRASH>, crash),
    make_unit(name<CRASH_IF_MARKED>, crash_if_marked),
    make_unit(name<STOP>, stop_itself),
    make_unit(name<READ_INTO_NOTHING>, read_into_nothing),
    make_unit(name<KILL>, kill_itself),
    make_unit(name<GROW>, grow),
    make_unit(name<THROW>, throw_up),
    make_unit(name<RUN_OUT_OF_MEMORY>, run_out_of_memory),
    make_unit(name<CHANGE_INPUT>, change_input),
    make_unit(name<WAIT>, wait),
    make_unit(name<WAIT_IF_MARKED>, wait_if_marked),
};

} // namespace

extern "C" TALVORA_EXPORT const void* talvora_plugin_api(std::uint32_t* count_out,
                                                         std::int32_t kind) {
    if (kind == PLUGIN_DESCRIPTOR_KIND) {
        *count_out = 1;
        return &plugin;
    }
    if (kind == UNIT_TABLE_KIND) {
        *count_out = std::size(units);
        return units;
    }
    return nullptr;
}
