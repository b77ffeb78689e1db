// The four tables of a recording host, laid out by slot number.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace talvora::test_support {

constexpr std::size_t TABLE_LENGTH = 64;

// An array of pointers. What is not set reports its use as a violation.
class Table {
  public:
    Table();

    template <typename Function>
    void set(std::size_t slot, Function* function) {
        slots_.at(slot) = reinterpret_cast<void*>(function);
    }
    // From now on each slot reports that the table was kept too long.
    void expire();
    void* address() { return slots_.data(); }

  private:
    std::array<void*, TABLE_LENGTH> slots_;
};

void lay_out_context_table(Table& table); // id 4
void lay_out_group_table(Table& table);   // id 7
void lay_out_dataset_table(Table& table); // id 8
void lay_out_log_table(Table& table);     // id 9

// Makes new tables for the operation that starts; those before them expire.
void renew_tables();

// The callback that operations receive.
void* get_interface(std::int32_t table_id);

} // namespace talvora::test_support
