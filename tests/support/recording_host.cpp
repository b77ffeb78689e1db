#include "tests/support/recording_host.h"

#include "tests/support/host_slots.h"
#include "tests/support/plugin_memory.h"
#include "tests/support/plugin_under_test.h"
#include "tests/support/tracked_heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

namespace talvora::test_support {

namespace {

// How many blocks of its own the plug-in may still hold at the end of an operation. What an
// exception holds is given back later: one that tells of an allocation is a block and, when
// it was kept and thrown again, another; of others nothing is known.
constexpr std::int64_t NOTHING = 0;
constexpr std::int64_t ANYTHING = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t THE_EXCEPTION = 2;

// With the first exception of a process the C++ runtime of the library for Windows sets up what
// it keeps for a thread, some fourteen blocks, and holds it until the process ends.
std::int64_t most_left_by_exception() {
#ifdef _WIN32
    static bool is_first = true;
    return std::exchange(is_first, false) ? ANYTHING : THE_EXCEPTION;
#else
    return THE_EXCEPTION;
#endif
}

using DeclareFunction = std::uint64_t (*)(void* ctx, GetInterface get_interface);

// Calls f as plug-in code. The section is left before the exception goes on.
template <typename Function>
auto call_plugin(Function function, void* ctx) {
    const PluginSection section;
    return function(ctx, get_interface);
}

template <typename Number>
Number parse_number(const std::string& text) {
    Number number{};
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::optional<ParameterValue> declared_default(const Declaration& one) {
    const std::string text = one.default_text();
    if (text.empty()) {
        return std::nullopt;
    }
    if (one.type() == "boolean") {
        return ParameterValue(text == "true");
    }
    if (one.type() == "integer") {
        return ParameterValue(parse_number<std::int64_t>(text));
    }
    if (one.type() == "number") {
        return ParameterValue(parse_number<double>(text));
    }
    return ParameterValue(text.substr(1, text.size() - 2)); // between the quotes
}

bool names_slot(const std::string& line, const std::string& slot) {
    return line == slot || line.starts_with(slot + " ");
}

} // namespace

RecordingHost::~RecordingHost() {
    for (const std::string& violation : take_violations()) {
        ADD_FAILURE() << violation;
    }
}

DataSet& RecordingHost::dataset(const std::string& path, std::vector<std::uint64_t> extents,
                                std::vector<float> samples) {
    return state_.tree.make_dataset(path, std::move(extents), std::move(samples));
}

DataSet& RecordingHost::dataset(const std::string& path) {
    if (DataSet* set = state_.tree.find_dataset(path)) {
        return *set;
    }
    throw std::runtime_error("the host holds no data set " + path);
}

const std::vector<float>& RecordingHost::samples(const std::string& path) {
    return dataset(path).samples();
}

bool RecordingHost::has_dataset(const std::string& path) const {
    return state_.tree.find_dataset(path) != nullptr;
}

bool RecordingHost::has_group(const std::string& path) const {
    return state_.tree.find_group(path) != nullptr;
}

void RecordingHost::set_parameter(const std::string& key, ParameterValue value) {
    state_.parameters[key] = std::move(value);
}

void RecordingHost::set_parameter(const std::string& key, const char* text) {
    state_.parameters[key] = std::string(text);
}

std::uint64_t RecordingHost::perform_declare(const std::string& identifier) {
    const auto declare =
        reinterpret_cast<DeclareFunction>(find_unit(identifier).operation_at(DECLARE_OFFSET));
    state_.declarations.clear();
    renew_tables();
    state_.start_operation();
    const std::uint64_t result = call_plugin(declare, state_.context());
    finish_operation(NOTHING);
    return result;
}

DeclareOutcome RecordingHost::declare(const std::string& identifier, std::uint64_t first_result) {
    state_.first_declare_result = first_result;
    const std::uint64_t result = perform_declare(identifier);
    return {state_.declarations, result};
}

bool RecordingHost::run(const std::string& identifier) {
    perform_declare(identifier);
    state_.defaults.clear();
    for (const Declaration& one : state_.declarations) {
        if (const auto value = declared_default(one)) {
            state_.defaults[one.key()] = *value;
        }
    }
    return perform_run(
        reinterpret_cast<RunFunction>(find_unit(identifier).operation_at(RUN_OFFSET)));
}

bool RecordingHost::run(RunFunction function) {
    state_.declarations.clear();
    state_.defaults.clear();
    return perform_run(function);
}

bool RecordingHost::perform_run(RunFunction function) {
    renew_tables();
    state_.start_operation();
    refuse_plugin_allocation(std::exchange(refused_allocation_, 0));
    std::uint8_t result = 0;
    try {
        result = call_plugin(function, state_.context());
    } catch (const std::bad_alloc&) {
        finish_operation(most_left_by_exception());
        throw;
    } catch (...) {
        finish_operation(ANYTHING);
        throw;
    }
    finish_operation(NOTHING);
    if (result > 1) {
        state_.add_violation("run returned " + std::to_string(result));
    }
    return result != 0;
}

void RecordingHost::finish_operation(std::int64_t most_left) {
    state_.end_operation();
    allocation_count_ = plugin_allocation_count();
    if (const auto left = unreleased_plugin_allocation_count(); left < 0 || left > most_left) {
        state_.add_violation("allocations less releases of the plug-in's own: " +
                             std::to_string(left));
    }
    for (const std::string& problem : settle_tracked_blocks()) {
        state_.add_violation(problem);
    }
}

std::vector<std::string> RecordingHost::calls_of(const std::vector<std::string>& slots) const {
    std::vector<std::string> lines;
    for (const std::string& line : state_.calls) {
        if (std::any_of(slots.begin(), slots.end(),
                        [&](const std::string& slot) { return names_slot(line, slot); })) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::vector<std::string> RecordingHost::message_texts() const {
    std::vector<std::string> texts;
    for (const Message& message : state_.messages) {
        texts.push_back(message.text());
    }
    return texts;
}

void RecordingHost::forget_calls() {
    state_.calls.clear();
    state_.interface_requests.clear();
    state_.messages.clear();
}

std::vector<std::string> RecordingHost::take_violations() {
    return std::exchange(state_.violations, {});
}

} // namespace talvora::test_support
