// One call of a unit's `run`: the host's context of the call, the tables that the unit
// asked for, and what every unit does with them: read parameters, tell what is wrong.
//
// Hosts know a unit by the sequence of its requests. So a unit asks for its tables and
// for the root itself, at its own place and in its own order, and again where it has
// asked before; nothing is asked for on the way.
#pragma once

#include "plugin/host_interfaces.h"
#include "plugin/host_records.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace talvora {

class UnitCall {
  public:
    // Asks for the tables with these numbers, in this order. The context's is among them.
    UnitCall(call_context* ctx, get_interface_function get_interface,
             std::initializer_list<std::int32_t> table_ids);

    // Asks for the root of the tree that the call works on.
    void fetch_root();

    get_interface_function interface_getter() const { return get_interface_; }
    // Only what was asked for.
    const group_api& groups() const { return table<group_api>(GROUP_API_ID); }
    const dataset_api& sets() const { return table<dataset_api>(DATASET_API_ID); }
    const log_api& log() const { return table<log_api>(LOG_API_ID); }
    group_handle root() const { return root_; }

    // The value given, or the declared default.
    bool read_boolean(const char* key) const;
    std::int64_t read_integer(const char* key) const;
    double read_number(const char* key) const;
    // Without a value when none was given.
    OwnedText read_text(const char* key) const;
    OwnedTextList read_text_list(const char* key) const;
    OwnedIntegerList read_integer_list(const char* key) const;

    // Tells the host of an error in this call. Template and arguments go to it as they
    // are: 64-bit integers, doubles, texts that are never null.
    template <typename... Arguments>
    void report(const char* message, Arguments... arguments) const {
        context().log_error(ctx_, message, arguments...);
    }

    // The same of an error that ends the step; false.
    template <typename... Arguments>
    bool fail(const char* message, Arguments... arguments) const {
        report(message, arguments...);
        return false;
    }

  private:
    template <typename Table>
    const Table& table(std::int32_t id) const {
        return *static_cast<const Table*>(tables_[static_cast<std::size_t>(id)]);
    }
    const context_api& context() const { return table<context_api>(CONTEXT_API_ID); }

    call_context* ctx_;
    get_interface_function get_interface_;
    std::array<const void*, LOG_API_ID + 1> tables_{}; // by their numbers
    group_handle root_ = NULL_GROUP;
};

// All four tables, then the root, whether the unit has a use for each of them or not.
UnitCall begin_full_call(call_context* ctx, get_interface_function get_interface);

} // namespace talvora
