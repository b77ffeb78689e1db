#include "tests/support/host_slots.h"

#include "tests/support/slot_call.h"

#include <deque>
#include <map>
#include <memory>
#include <utility>

namespace talvora::test_support {

namespace {

template <std::size_t SLOT>
std::uint64_t report_unlisted_slot() {
    Call call;
    call.host.add_violation("slot " + std::to_string(SLOT) + " of a table was called");
    return 0;
}

std::uint64_t report_expired_table() {
    Call call;
    call.host.add_violation("a table of an earlier operation was used");
    return 0;
}

template <std::size_t... SLOTS>
void set_unlisted(Table& table, std::index_sequence<SLOTS...>) {
    (table.set(SLOTS, report_unlisted_slot<SLOTS>), ...);
}

using TablesById = std::map<std::int32_t, Table>;

// Old tables stay where they are for a while, so that a pointer kept by mistake is harmless.
constexpr std::size_t KEPT_GENERATION_COUNT = 64;

std::deque<std::unique_ptr<TablesById>>& generations() {
    static std::deque<std::unique_ptr<TablesById>> tables;
    return tables;
}

} // namespace

Table::Table() : slots_() {
    set_unlisted(*this, std::make_index_sequence<TABLE_LENGTH>());
}

void Table::expire() {
    for (std::size_t slot = 0; slot < TABLE_LENGTH; ++slot) {
        set(slot, report_expired_table);
    }
}

void renew_tables() {
    if (!generations().empty()) {
        for (auto& [id, table] : *generations().back()) {
            table.expire();
        }
    }
    if (generations().size() == KEPT_GENERATION_COUNT) {
        generations().pop_front();
    }
    generations().push_back(std::make_unique<TablesById>());
    TablesById& tables = *generations().back();
    lay_out_context_table(tables[4]);
    lay_out_group_table(tables[7]);
    lay_out_dataset_table(tables[8]);
    lay_out_log_table(tables[9]);
}

void* get_interface(std::int32_t table_id) {
    Call call;
    call.host.interface_requests.push_back(table_id);
    TablesById& tables = *generations().back();
    const auto found = tables.find(table_id);
    if (found != tables.end()) {
        return found->second.address();
    }
    call.host.add_violation("table " + std::to_string(table_id) + " was asked for");
    return tables[table_id].address();
}

} // namespace talvora::test_support
