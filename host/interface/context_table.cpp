// Table 4: declarations, parameter values, the root of the tree, the call's errors.
#include "host/interface/host_call.h"
#include "host/interface/interface_tables.h"
#include "host/interface/record_makers.h"
#include "host/interface/table_objects.h"

#include <fmt/format.h>

namespace talvora::host {

namespace {

// A foreign context is noted, and the active call is meant all the same.
void check_context(HostCall& call, const call_context* ctx) {
    if (ctx != call.context()) {
        call.report_break(SlotScope::current(), "called with a context that is not the call's");
    }
}

// The value of a parameter, null when it has none. Reading what was not declared, or not
// with this type, is a break.
template <typename Value>
const Value* find_value(HostCall& call, const call_context* ctx, const char* key) {
    check_context(call, ctx);
    const ParameterSignature* signature = call.values().signature(checked_text(key));
    if (signature == nullptr) {
        throw InterfaceBreak(fmt::format("the parameter '{}' was not declared", key));
    }
    if (ParameterValue(Value{}).index() != static_cast<std::size_t>(signature->type)) {
        throw InterfaceBreak(
            fmt::format("the parameter '{}' was declared as {}", key, type_name(signature->type)));
    }
    const ParameterValue* value = call.values().find(key);
    return value == nullptr ? nullptr : &std::get<Value>(*value);
}

template <typename Value>
Value read_scalar(const char* slot, call_context* ctx, const char* key) {
    return answer(slot, [&](HostCall& call) {
        const Value* value = find_value<Value>(call, ctx, key);
        return value == nullptr ? Value{} : *value;
    });
}

template <typename Value, typename Record, typename Make>
void read_record(const char* slot, Record* out, call_context* ctx, const char* key, Make make,
                 Record (*make_absent)()) {
    fill_record(slot, out, [&](HostCall& call) {
        const Value* value = find_value<Value>(call, ctx, key);
        return value == nullptr ? make_absent() : make(*value);
    });
}

std::uint64_t declare_parameter(call_context* ctx, const char* signature, host_flag required) {
    return answer("declare_parameter", [&](HostCall& call) {
        check_context(call, ctx);
        return call.declare(signature, required != 0);
    });
}

void root_group(group_handle* out, call_context* ctx) {
    *out = answer("root_group", [&](HostCall& call) {
        check_context(call, ctx);
        return group_handle{static_cast<std::uint64_t>(call.tree().root())};
    });
}

host_flag read_boolean(call_context* ctx, const char* key) {
    return read_scalar<bool>("read_boolean", ctx, key) ? 1 : 0;
}

std::int64_t read_integer(call_context* ctx, const char* key) {
    return read_scalar<std::int64_t>("read_integer", ctx, key);
}

double read_number(call_context* ctx, const char* key) {
    return read_scalar<double>("read_number", ctx, key);
}

void read_string(host_string* out, call_context* ctx, const char* key) {
    read_record<std::string>("read_string", out, ctx, key, make_string, make_absent_string);
}

void read_integer_list(host_list* out, call_context* ctx, const char* key) {
    read_record<std::vector<std::int64_t>>("read_integer_list", out, ctx, key, make_integer_list,
                                           make_absent_list);
}

void read_string_list(host_list* out, call_context* ctx, const char* key) {
    read_record<std::vector<std::string>>("read_string_list", out, ctx, key, make_text_list,
                                          make_absent_list);
}

void log_error(call_context* ctx, const char* message, ...) {
    std::va_list arguments;
    va_start(arguments, message);
    answer("log_error", [&](HostCall& call) {
        check_context(call, ctx);
        call.send_message("log_error", Message::Error, message, arguments);
    });
    va_end(arguments);
}

} // namespace

const context_api CONTEXT_TABLE{.declare_parameter = declare_parameter,
                                .root_group = root_group,
                                .read_boolean = read_boolean,
                                .read_integer = read_integer,
                                .read_number = read_number,
                                .read_string = read_string,
                                .slot_6 = nullptr,
                                .read_integer_list = read_integer_list,
                                .slot_8 = nullptr,
                                .read_string_list = read_string_list,
                                .log_error = log_error};

} // namespace talvora::host
