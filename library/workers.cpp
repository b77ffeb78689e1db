#include "library/workers.h"

#include "host/system/thread_end.h"
#include "library/default_arithmetic.h"
#include "library/guarded_call.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace talvora::library {
namespace {

// How long a caller waits for the other threads to end before he is asked again.
constexpr std::chrono::milliseconds BETWEEN_QUESTIONS{20};

// The blocks that are left, and why no more are begun.
class BlockQueue {
  public:
    explicit BlockQueue(std::size_t count) : count_(count) {}

    // Takes blocks until there are none. What `ask()` throws ends the work, too.
    template <class Ask>
    void work_off(const std::function<BlockWork(const AskToGoOn&)>& make_work, Ask ask) {
        end_by_exceptions([&] {
            const DefaultArithmetic arithmetic;
            const BlockWork work = make_work([&] {
                if (has_ended_) {
                    throw Ended();
                }
                ask();
            });
            for (std::size_t block = next_++; block < count_ && !has_ended_; block = next_++) {
                ask();
                work(block);
            }
        });
        const std::lock_guard lock(mutex_);
        ++left_count_;
        left_.notify_one();
    }

    // Until so many have worked their blocks off; what `ask()` throws ends the work meanwhile.
    template <class Ask>
    void wait_for(std::size_t worker_count, Ask ask) {
        const auto have_left = [&] {
            std::unique_lock lock(mutex_);
            return left_.wait_for(lock, BETWEEN_QUESTIONS,
                                  [&] { return left_count_ == worker_count; });
        };
        end_by_exceptions([&] {
            while (!has_ended_ && !have_left()) {
                ask();
            }
        });
    }

    void rethrow_first() {
        if (first_exception_) {
            std::rethrow_exception(first_exception_);
        }
    }

  private:
    // In another thread.
    struct Ended {};

    template <class Work>
    void end_by_exceptions(Work work) {
        try {
            work();
        } catch (const Ended&) {
        } catch (const host::ThreadEnd&) { // in the caller's thread: it waits for the others
            has_ended_ = true;
            throw;
        } catch (...) {
            end(std::current_exception());
        }
    }

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
    std::condition_variable left_;
    std::size_t left_count_ = 0; // threads that have no more to do
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

void run_blocks(const WorkerPlan& plan,
                const std::function<BlockWork(const AskToGoOn&)>& make_work) {
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
        // They are joined where it ends.
        std::vector<std::jthread> threads;
        const std::size_t worker_count = std::min(plan.worker_count, plan.block_count);
        if (worker_count > 1) {
            start_threads(threads, worker_count - 1, [&] { queue.work_off(make_work, [] {}); });
        }
        queue.work_off(make_work, ask_caller);
        queue.wait_for(threads.size() + 1, ask_caller);
    }
    queue.rethrow_first();
}

} // namespace talvora::library
