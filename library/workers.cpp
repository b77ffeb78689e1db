#include "library/workers.h"

#include "library/default_arithmetic.h"
#include "library/guarded_call.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace talvora::library {
namespace {

// The blocks that are left, and why no more are begun.
class BlockQueue {
  public:
    explicit BlockQueue(std::size_t count) : count_(count) {}

    // Takes blocks until there are none. What `before_block()` throws ends the work, too.
    template <class BeforeBlock>
    void work_off(const std::function<BlockWork()>& make_work, BeforeBlock before_block) noexcept {
        try {
            const DefaultArithmetic arithmetic;
            const BlockWork work = make_work();
            for (std::size_t block = next_++; block < count_ && !has_ended_; block = next_++) {
                before_block();
                work(block);
            }
        } catch (...) {
            end(std::current_exception());
        }
    }

    void rethrow_first() {
        if (first_exception_) {
            std::rethrow_exception(first_exception_);
        }
    }

  private:
    void end(std::exception_ptr exception) {
        has_ended_ = true;
        const std::lock_guard lock(mutex_);
        if (!first_exception_) {
            first_exception_ = std::move(exception);
        }
    }

    const std::size_t count_;
    std::atomic<std::size_t> next_ = 0;
    std::atomic<bool> has_ended_ = false;
    std::mutex mutex_;
    std::exception_ptr first_exception_;
};

// As many as the system gives.
template <class Work>
void start_threads(std::vector<std::jthread>& threads, std::size_t count, Work work) {
    threads.reserve(count);
    try {
        while (threads.size() < count) {
            threads.emplace_back(work);
        }
    } catch (const std::system_error&) {
    }
}

} // namespace

void run_blocks(const WorkerPlan& plan, const std::function<BlockWork()>& make_work) {
    if (plan.block_count == 0) {
        return;
    }
    const auto ask_caller = [&] {
        if (plan.should_stop != nullptr && plan.should_stop(plan.context) != 0) {
            throw CallError(TALVORA_STOPPED, "stopped, as the caller's function said");
        }
    };
    // The other threads may leave this one no block to ask before.
    ask_caller();
    BlockQueue queue(plan.block_count);
    {
        // cppcheck-suppress variableScope; they are joined where it ends
        std::vector<std::jthread> threads;
        const std::size_t worker_count = std::min(plan.worker_count, plan.block_count);
        if (worker_count > 1) {
            start_threads(threads, worker_count - 1, [&] { queue.work_off(make_work, [] {}); });
        }
        queue.work_off(make_work, ask_caller);
    }
    queue.rethrow_first();
}

} // namespace talvora::library
