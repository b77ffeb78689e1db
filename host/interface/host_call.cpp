#include "host/interface/host_call.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvora::host {

namespace {

constexpr std::size_t MAX_PROBLEMS = 100;

// Uses the upper half too, so that a plug-in which narrows the answer is noticed.
constexpr std::uint64_t ANSWER_BASE = 0xC0FF'EE00'0000'0000;

thread_local HostCall* active_call = nullptr;
thread_local const char* current_slot = nullptr;
thread_local const char* latest_slot = nullptr;

void note(std::vector<std::string>& problems, std::string problem) {
    if (problems.size() < MAX_PROBLEMS && std::ranges::find(problems, problem) == problems.end()) {
        problems.push_back(std::move(problem));
    }
}

bool is_given_text(const ParameterValues& values, std::string_view text) {
    return std::ranges::any_of(values.given(), [text](const auto& given) {
        const auto* value = std::get_if<std::string>(&given.second);
        return value != nullptr && *value == text;
    });
}

} // namespace

HostCall::HostCall(Operation operation, DataTree& tree, const ParameterValues& values,
                   const MessageSink& sink)
    : operation_(operation), tree_(tree), values_(values), sink_(sink),
      outer_(std::exchange(active_call, this)) {
    latest_slot = nullptr;
}

HostCall::~HostCall() {
    active_call = outer_;
}

HostCall* HostCall::active() {
    return active_call;
}

void HostCall::refuse(std::string_view slot, std::string_view reason) {
    ++problems_.refused_count;
    note(problems_.refused_requests, fmt::format("{}: {}", slot, reason));
}

void HostCall::send_message(const char* slot, Message::Level level, const char* message,
                            std::va_list arguments) {
    const std::string_view text = checked_text(message);
    if (text.find('%') != std::string_view::npos && is_given_text(values_, text)) {
        report_break(slot, "called with a text of the user's as the template of a message");
    }
    FilledMessage filled = fill_message(message, arguments);
    if (filled.has_null_text) {
        report_break(slot, "called with a null text to fill into the message");
    }
    sink_({level, std::move(filled.text), std::move(filled.integers)});
}

void HostCall::report_break(std::string_view slot, std::string_view reason) {
    ++problems_.break_count;
    note(problems_.interface_breaks, fmt::format("{}: {}", slot, reason));
}

void HostCall::report_storage(const StorageError& error) {
    if (!problems_.storage_error) {
        problems_.storage_error = error;
    }
}

void HostCall::report_guard(const GuardFailure& failure) {
    if (!problems_.guard_failure) {
        problems_.guard_failure = failure;
    }
}

std::uint64_t HostCall::declare(const char* signature, bool required) {
    if (operation_ != Operation::Declare) {
        throw InterfaceBreak("called outside the operation 'declare'");
    }
    declared_.push_back({checked_text(signature), required});
    return last_answer();
}

std::uint64_t HostCall::last_answer() const {
    return declared_.empty() ? 0 : ANSWER_BASE + declared_.size();
}

SlotScope::SlotScope(const char* slot) noexcept : outer_(std::exchange(current_slot, slot)) {
    latest_slot = slot;
}

SlotScope::~SlotScope() {
    current_slot = outer_;
}

const char* SlotScope::current() {
    return current_slot;
}

const char* SlotScope::latest() {
    return latest_slot;
}

const char* checked_text(const char* text) {
    if (text == nullptr) {
        throw InterfaceBreak("called with a null text");
    }
    return text;
}

} // namespace talvora::host
