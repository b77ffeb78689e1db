#include "host/validate/guard_pages.h"
#include "host/validate/small_stack.h"

#include <cerrno>
#include <exception>
#include <pthread.h>
#include <system_error>

namespace talvora::host {

namespace {

constexpr std::size_t STACK_SIZE = std::size_t{256} << 10;
constexpr char TOO_MUCH[] = "takes more stack than the 256 KiB of its thread";
// Below it, so that a large array on the stack does not reach beyond.
constexpr std::size_t CLOSED_BELOW_SIZE = std::size_t{64} << 20;

unsigned char* closed_pages = nullptr;

void check(int error) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "no thread with a small stack");
    }
}

unsigned char* make_stack() {
    if (closed_pages == nullptr) {
        closed_pages = reserve_pages(CLOSED_BELOW_SIZE + STACK_SIZE);
    }
    if (closed_pages == nullptr || !open_pages(closed_pages + CLOSED_BELOW_SIZE, STACK_SIZE)) {
        check(ENOMEM);
    }
    return closed_pages + CLOSED_BELOW_SIZE;
}

struct Task {
    const std::function<void()>& work;
    std::exception_ptr thrown;
};

void* run_task(void* given) {
    auto& task = *static_cast<Task*>(given);
    take_fault_stack();
    try {
        task.work();
    } catch (...) {
        task.thrown = std::current_exception();
    }
    return nullptr;
}

} // namespace

bool has_small_stack() {
#if defined(TALVORA_ADDRESS_SANITIZER)
    return false; // its frames are much larger, and it does not know this stack
#else
    return true;
#endif
}

void run_on_small_stack(const std::function<void()>& work) {
    Task task{work, nullptr};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    check(pthread_attr_setstack(&attributes, make_stack(), STACK_SIZE));
    pthread_t thread{};
    check(pthread_create(&thread, &attributes, run_task, &task));
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    if (task.thrown) {
        std::rethrow_exception(task.thrown);
    }
}

const char* explain_small_stack(const void* address) {
    const auto* byte = static_cast<const unsigned char*>(address);
    const bool is_beyond =
        closed_pages != nullptr && byte >= closed_pages && byte < closed_pages + CLOSED_BELOW_SIZE;
    return is_beyond ? TOO_MUCH : "";
}

} // namespace talvora::host
