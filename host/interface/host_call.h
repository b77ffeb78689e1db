// One call of a unit's operation, as the function tables see it: the tree, the values,
// where messages go, and what was wrong with the plug-in's requests.
#pragma once

#include "host/interface/messages.h"
#include "host/interface/parameters.h"
#include "host/text/failure.h"
#include "host/tree/data_tree.h"
#include "plugin/host_interfaces.h"

#include <cstdint>
#include <exception>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace talvora::host {

struct DeclaredParameter {
    std::string signature;
    bool required = false;
};

// What a call asked for and did not get. Each sentence is kept once, a hundred of them
// at most, so that a request repeated for every line does not fill the memory.
struct CallProblems {
    // Requests that do not fit the tree: outside the extents, objects that do not exist.
    std::vector<std::string> refused_requests;
    // Uses of the interface that it does not allow: unused slots, foreign contexts.
    std::vector<std::string> interface_breaks;
    // The first time that the file could not be read or written.
    std::optional<StorageError> storage_error;
    // The first guard that spoke.
    std::optional<GuardFailure> guard_failure;
    // The host had no memory left to answer with.
    bool out_of_memory = false;
    // How many there were in all, those repeated or left out included.
    std::uint64_t refused_count = 0;
    std::uint64_t break_count = 0;
};

// Thrown inside a slot for a use that the interface does not allow.
class InterfaceBreak : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

enum class Operation { Declare, Run };

// While it lives, the function tables of its thread answer for it. One is active per
// thread at a time, the one made last.
class HostCall {
  public:
    // All but `operation` is borrowed for the life of the call.
    HostCall(Operation operation, DataTree& tree, const ParameterValues& values,
             const MessageSink& sink);
    HostCall(const HostCall&) = delete;
    HostCall& operator=(const HostCall&) = delete;
    ~HostCall();

    // Null on a thread without a call.
    static HostCall* active();

    call_context* context() { return reinterpret_cast<call_context*>(this); }
    DataTree& tree() { return tree_; }
    const ParameterValues& values() const { return values_; }

    void send(Message::Level level, std::string text) const { sink_({level, std::move(text)}); }
    // A template filled in, sent by a slot. One that is a text of the user's is a break.
    void send_message(const char* slot, Message::Level level, const char* message,
                      std::va_list arguments);
    void refuse(std::string_view slot, std::string_view reason);
    void report_break(std::string_view slot, std::string_view reason);
    void report_storage(const StorageError& error);
    void report_guard(const GuardFailure& failure);
    void report_no_memory() noexcept { problems_.out_of_memory = true; }
    const CallProblems& problems() const { return problems_; }

    // Keeps the signature; the answer is different for each.
    std::uint64_t declare(const char* signature, bool required);
    const std::vector<DeclaredParameter>& declared() const { return declared_; }
    // The answer to the last declaration; 0 before the first.
    std::uint64_t last_answer() const;

  private:
    Operation operation_;
    DataTree& tree_;
    const ParameterValues& values_;
    const MessageSink& sink_;
    CallProblems problems_;
    std::vector<DeclaredParameter> declared_;
    HostCall* outer_; // active before this one
};

// While it lives, its thread is at work for the plug-in in code of the host's.
class SlotScope {
  public:
    // The slot's name is a literal.
    explicit SlotScope(const char* slot) noexcept;
    SlotScope(const SlotScope&) = delete;
    SlotScope& operator=(const SlotScope&) = delete;
    ~SlotScope();

    static bool is_active() { return current() != nullptr; }
    // The slot at work on this thread, and the last one that was since a call was made;
    // null for none.
    static const char* current();
    static const char* latest();

  private:
    const char* outer_;
};

// Runs the work of a slot for the active call and gives its result. When the work
// throws, the reason is noted in the call and the result is zero, for no slot may throw
// into the plug-in. A thread without a call gets zero as well. One that ends in the work unwinds
// the plug-in, too.
template <typename Work>
auto answer(const char* slot, Work work) {
    using Result = std::invoke_result_t<Work, HostCall&>;
    const SlotScope scope(slot);
    HostCall* call = HostCall::active();
    if (call == nullptr) {
        return Result();
    }
    try {
        return work(*call);
    } catch (const InterfaceBreak& error) {
        call->report_break(slot, error.what());
    } catch (const StorageError& error) {
        call->report_storage(error);
    } catch (const GuardFailure& failure) {
        call->report_guard(failure);
    } catch (const std::bad_alloc&) {
        call->report_no_memory();
    } catch (const std::exception& error) {
        call->refuse(slot, error.what());
    }
    return Result();
}

// The text behind a pointer that the plug-in passed; null is a break.
const char* checked_text(const char* text);

} // namespace talvora::host
