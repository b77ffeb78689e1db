#include "tests/support/host_slots.h"
#include "tests/support/slot_call.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <stdexcept>

namespace talvora::test_support {

namespace {

std::uint64_t declare_parameter(void* ctx, const char* signature, std::uint64_t required) {
    Call call;
    call.check_context(ctx);
    const auto result = call.host.first_declare_result + call.host.declarations.size();
    call.host.declarations.push_back(
        {call.text(signature), static_cast<std::uint8_t>(required & 0xFF)});
    return result;
}

void root_group(Handle* out, void* ctx) {
    Call call;
    call.check_context(ctx);
    call.record("root_group");
    *out = call.host.group_handle("");
}

const char* type_name(std::size_t variant_index) {
    static constexpr std::array NAMES{"boolean", "integer",      "number",
                                      "string",  "list(string)", "list(integer)"};
    return NAMES[variant_index];
}

// The value of the parameter, or of its declared default, or null.
template <typename T>
const T* parameter(Call& call, const std::string& key) {
    const std::size_t type = ParameterValue(std::in_place_type<T>).index();
    for (const Declaration& one : call.host.declarations) {
        if (one.key() == key && one.type() != type_name(type)) {
            call.host.add_violation(key + " was read as another type than it was declared");
        }
    }
    if (const auto given = call.host.parameters.find(key); given != call.host.parameters.end()) {
        return &std::get<T>(given->second);
    }
    const auto found = call.host.defaults.find(key);
    const bool has_default = call.host.habits.gives_defaults && found != call.host.defaults.end();
    return has_default ? &std::get<T>(found->second) : nullptr;
}

template <typename T>
const T* read_parameter(Call& call, const char* slot, void* ctx, const char* key) {
    call.check_context(ctx);
    call.record(slot, call.text(key));
    const auto is_declared = [&](const Declaration& one) { return one.key() == call.text(key); };
    const auto& declared = call.host.declarations;
    if (!declared.empty() && std::none_of(declared.begin(), declared.end(), is_declared)) {
        call.host.add_violation(call.text(key) + " was read but not declared");
    }
    return parameter<T>(call, call.text(key));
}

std::uint64_t read_boolean(void* ctx, const char* key) {
    Call call;
    const bool* value = read_parameter<bool>(call, "read_boolean", ctx, key);
    return flag(value != nullptr && *value);
}

std::int64_t read_integer(void* ctx, const char* key) {
    Call call;
    const auto* value = read_parameter<std::int64_t>(call, "read_integer", ctx, key);
    return value == nullptr ? 0 : *value;
}

double read_number(void* ctx, const char* key) {
    Call call;
    const double* value = read_parameter<double>(call, "read_number", ctx, key);
    return value == nullptr ? 0.0 : *value;
}

void read_string(Words* out, void* ctx, const char* key) {
    Call call;
    const auto* value = read_parameter<std::string>(call, "read_string", ctx, key);
    fill_text(out, value, call.text(key));
}

void read_integer_list(Words* out, void* ctx, const char* key) {
    Call call;
    const auto* value = read_parameter<Integers>(call, "read_integer_list", ctx, key);
    if (value == nullptr) {
        fill_absent_list(out, call.text(key));
    } else {
        fill_integers(out, *value, call.text(key));
    }
}

void read_string_list(Words* out, void* ctx, const char* key) {
    Call call;
    const auto* value = read_parameter<Texts>(call, "read_string_list", ctx, key);
    if (value == nullptr) {
        fill_absent_list(out, call.text(key));
    } else {
        fill_texts(out, *value, call.text(key));
    }
}

void add_message(Call& call, Channel channel, const char* text_template, std::va_list arguments) {
    Message message{channel, call.text(text_template), {}};
    try {
        message.arguments = read_arguments(message.text_template, arguments);
        call.record(message.text());
    } catch (const std::runtime_error& error) {
        call.host.add_violation(error.what());
    }
    call.host.messages.push_back(std::move(message));
}

void log_context_error(void* ctx, const char* text_template, ...) {
    Call call;
    call.check_context(ctx);
    std::va_list arguments;
    va_start(arguments, text_template);
    add_message(call, Channel::CONTEXT_ERROR, text_template, arguments);
    va_end(arguments);
}

template <Channel CHANNEL>
void log_message(const char* text_template, ...) {
    Call call;
    std::va_list arguments;
    va_start(arguments, text_template);
    add_message(call, CHANNEL, text_template, arguments);
    va_end(arguments);
}

} // namespace

void lay_out_context_table(Table& table) {
    table.set(0, declare_parameter);
    table.set(1, root_group);
    table.set(2, read_boolean);
    table.set(3, read_integer);
    table.set(4, read_number);
    table.set(5, read_string);
    table.set(7, read_integer_list);
    table.set(9, read_string_list);
    table.set(10, log_context_error);
}

void lay_out_log_table(Table& table) {
    table.set(0, log_message<Channel::INFO>);
    table.set(3, log_message<Channel::WARNING>);
    table.set(4, log_message<Channel::ERROR>);
}

} // namespace talvora::test_support
