#include "host/validate/watched_call.h"

#include "host/interface/interface_tables.h"
#include "host/tree/memory_tree.h"
#include "host/validate/held_mappings.h"
#include "host/validate/static_data.h"
#include "host/validate/untidy_flags.h"
#include "host/validate/watched_imports.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <map>
#include <new>
#include <optional>

namespace talvora::host {

namespace {

// What the callbacks of the call under way have to know.
struct CallInterface {
    std::size_t turn = 0;
    std::map<std::int32_t, void*> tables;
    std::vector<std::string> kept;
};
CallInterface current;

using TableSlots = std::array<void*, TABLE_SIZE>;

TableSlots slots_of(std::int32_t table_id) {
    TableSlots slots;
    std::memcpy(slots.data(), get_interface(table_id), sizeof slots);
    make_flags_untidy(table_id, slots);
    return slots;
}

void* copy_table(std::int32_t table_id) {
    void* copy = GuardedHeap::allocate(sizeof(TableSlots), BlockOwner::Table);
    return copy == nullptr ? get_interface(table_id)
                           : std::memcpy(copy, slots_of(table_id).data(), sizeof(TableSlots));
}

// A host has one table for all calls: what a plug-in writes there stays.
void expect_unchanged(std::int32_t table_id, const void* table, CallReport& report) {
    const TableSlots expected = slots_of(table_id);
    TableSlots slots;
    std::memcpy(slots.data(), table, sizeof slots);
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (slots[i] != expected[i]) {
            report.problems.interface_breaks.push_back(
                fmt::format("slot {} of the host's table {} was written", i, table_id));
        }
    }
}

// Callbacks and contexts are used in turn, so that those of the last few calls are told by
// their addresses.
constexpr std::size_t TURN_COUNT = 5;

template <std::size_t TURN>
void* give_table(std::int32_t table_id) {
    const SlotScope scope("get_interface");
    if (current.turn % TURN_COUNT != TURN) {
        current.kept.emplace_back("the callback get_interface of an earlier call was used");
    }
    void*& table = current.tables[table_id];
    return table = table != nullptr ? table : copy_table(table_id);
}

constexpr get_interface_function CALLBACKS[TURN_COUNT] = {
    give_table<0>, give_table<1>, give_table<2>, give_table<3>, give_table<4>};
std::optional<HostCall> latest_calls[TURN_COUNT];

void retire_tables(CallReport& report) {
    for (const auto& [id, table] : current.tables) {
        if (GuardedHeap::contains(table)) {
            expect_unchanged(id, table, report);
            GuardedHeap::retire(table);
        }
    }
    current.tables.clear();
}

template <typename Result>
Result call_operation(Result (*operation)(call_context*, get_interface_function), HostCall& call,
                      CallReport& report) {
    try {
        const PluginAtWork at_work;
        return operation(call.context(), CALLBACKS[current.turn % TURN_COUNT]);
    } catch (const std::bad_alloc& error) {
        report.is_out_of_memory = true;
        report.thrown = error.what();
    } catch (const std::exception& error) {
        report.thrown = error.what();
    } catch (...) {
        report.thrown = "something that is no std::exception";
    }
    return Result();
}

bool is_given(const ParameterValues& values, std::uint64_t integer) {
    return std::ranges::any_of(values.given(), [integer](const auto& given) {
        const auto* single = std::get_if<std::int64_t>(&given.second);
        const auto* list = std::get_if<std::vector<std::int64_t>>(&given.second);
        const auto value = static_cast<std::int64_t>(integer);
        return (single != nullptr && *single == value) ||
               (list != nullptr && std::ranges::count(*list, value) > 0);
    });
}

// Nothing in the trees counts so far, but a negative number of 32 bits looks so where one of 64
// is taken. Others of 32 bits are in a register what they are with 64.
bool is_narrow(const ParameterValues& values, std::uint64_t integer) {
    return integer >> 31U == 1 && !is_given(values, integer);
}

void expect_wide_integers(const Message& message, const ParameterValues& values,
                          std::vector<std::string>& problems) {
    for (const std::uint64_t integer : message.integers) {
        if (is_narrow(values, integer)) {
            problems.push_back(fmt::format("{}: called with an integer of 32 bits, {} (allowed: 64 "
                                           "bits)",
                                           SlotScope::current(),
                                           static_cast<std::int32_t>(integer)));
        }
    }
}

template <typename Result>
CallReport watch(Operation operation, Result (*function)(call_context*, get_interface_function),
                 InjectingTree& tree, const ParameterValues& values) {
    CallReport report;
    std::vector<std::string> narrow;
    const MessageSink sink = [&](const Message& message) {
        report.messages.push_back(message);
        expect_wide_integers(message, values, narrow);
    };
    std::optional<HostCall>& call = latest_calls[++current.turn % TURN_COUNT];
    call.emplace(operation, tree, values, sink);
    const Result result = call_operation(function, *call, report);
    report.is_success = result != Result();
    report.answer = static_cast<std::uint64_t>(result);
    report.last_answer = call->last_answer();
    report.problems = call->problems();
    std::ranges::move(narrow, std::back_inserter(report.problems.interface_breaks));
    report.declared = call->declared();
    call.reset();
    retire_tables(report);
    report.kept = std::exchange(current.kept, {});
    for (const std::string& slot : tree.slots_of_foreign_handles()) {
        report.kept.push_back(slot + ": a handle was used that this call did not give");
    }
    report.heap = GuardedHeap::settle();
    report.mapped_bytes = HeldMappings::byte_count();
    std::ranges::move(take_overruns_of_static_data(),
                      std::back_inserter(report.heap.block_problems));
    return report;
}

} // namespace

CallReport call_declare(const Unit& unit) {
    MemoryTree nothing;
    InjectingTree tree(nothing);
    const ParameterValues none;
    return watch(Operation::Declare, unit.declare, tree, none);
}

CallReport call_run(const Unit& unit, InjectingTree& tree, const ParameterValues& values) {
    return watch(Operation::Run, unit.run, tree, values);
}

} // namespace talvora::host
