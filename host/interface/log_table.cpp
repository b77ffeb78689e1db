// Table 9: messages that belong to no call's context.
#include "host/interface/host_call.h"
#include "host/interface/interface_tables.h"

namespace talvora::host {

namespace {

void send_message(const char* slot, Message::Level level, const char* message,
                  std::va_list arguments) {
    answer(slot, [&](HostCall& call) { call.send_message(slot, level, message, arguments); });
}

void log_info(const char* message, ...) {
    std::va_list arguments;
    va_start(arguments, message);
    send_message("log_info", Message::Info, message, arguments);
    va_end(arguments);
}

void log_warning(const char* message, ...) {
    std::va_list arguments;
    va_start(arguments, message);
    send_message("log_warning", Message::Warning, message, arguments);
    va_end(arguments);
}

void log_error(const char* message, ...) {
    std::va_list arguments;
    va_start(arguments, message);
    send_message("log_error", Message::Error, message, arguments);
    va_end(arguments);
}

} // namespace

const log_api LOG_TABLE{
    .log_info = log_info, .slots_1_to_2 = {}, .log_warning = log_warning, .log_error = log_error};

} // namespace talvora::host
