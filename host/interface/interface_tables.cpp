#include "host/interface/interface_tables.h"

#include "host/interface/host_call.h"

#include <fmt/format.h>

#include <array>
#include <cstring>
#include <utility>

namespace talvora::host {

namespace {

using SlotTable = std::array<unused_slot, TABLE_SIZE>;

constexpr int UNKNOWN_TABLE = -1;

std::uint64_t report_unused_slot(int table, std::size_t slot) {
    return answer("get_interface", [=](HostCall& call) {
        call.report_break(
            fmt::format("table {}", table),
            fmt::format("slot {} was called, which is no part of the interface", slot));
        return std::uint64_t{0};
    });
}

// One function a slot, and thousands of them: each is only a call.
template <int Table, std::size_t Slot>
std::uint64_t answer_unused_slot() {
    return report_unused_slot(Table, Slot);
}

template <int Table, std::size_t... Slots>
SlotTable make_unused_slots(std::index_sequence<Slots...>) {
    return {reinterpret_cast<unused_slot>(&answer_unused_slot<Table, Slots>)...};
}

// Lays the functions of a table over one that is all unused slots.
template <int Table, typename Api>
SlotTable make_table(const Api& api) {
    static_assert(sizeof(Api) % sizeof(unused_slot) == 0 && sizeof(Api) <= sizeof(SlotTable));
    std::array<unused_slot, sizeof(Api) / sizeof(unused_slot)> functions;
    std::memcpy(functions.data(), &api, sizeof(Api));
    SlotTable table = make_unused_slots<Table>(std::make_index_sequence<TABLE_SIZE>());
    for (std::size_t slot = 0; slot < functions.size(); ++slot) {
        if (functions[slot] != nullptr) {
            table[slot] = functions[slot];
        }
    }
    return table;
}

} // namespace

void* get_interface(std::int32_t table_id) {
    static SlotTable context = make_table<CONTEXT_API_ID>(CONTEXT_TABLE);
    static SlotTable group = make_table<GROUP_API_ID>(GROUP_TABLE);
    static SlotTable dataset = make_table<DATASET_API_ID>(DATASET_TABLE);
    static SlotTable log = make_table<LOG_API_ID>(LOG_TABLE);
    static SlotTable unknown =
        make_unused_slots<UNKNOWN_TABLE>(std::make_index_sequence<TABLE_SIZE>());
    switch (table_id) {
    case CONTEXT_API_ID:
        return context.data();
    case GROUP_API_ID:
        return group.data();
    case DATASET_API_ID:
        return dataset.data();
    case LOG_API_ID:
        return log.data();
    default:
        answer("get_interface", [&](HostCall& call) {
            call.report_break("get_interface", fmt::format("there is no table {}", table_id));
        });
        return unknown.data();
    }
}

} // namespace talvora::host
