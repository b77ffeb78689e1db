#include "library/guarded_call.h"
#include "library/workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace talvora::library {
namespace {

TEST(Workers, DoEachBlockOnce) {
    for (const std::size_t worker_count : {1U, 2U, 7U}) {
        for (const std::size_t block_count : {0U, 1U, 5U, 1000U}) {
            std::vector<std::atomic<int>> done(block_count);
            run_blocks({block_count, worker_count}, [&](const AskToGoOn&) -> BlockWork {
                return [&](std::size_t block) { ++done[block]; };
            });
            for (const std::atomic<int>& times : done) {
                EXPECT_EQ(times, 1);
            }
        }
    }
}

// All threads wait until the others are there.
TEST(Workers, AreAsManyThreadsAsAsked) {
    std::atomic<int> arrived = 0;
    run_blocks({3, 3}, [&](const AskToGoOn&) -> BlockWork {
        return [&](std::size_t) {
            for (++arrived; arrived < 3;) {
                std::this_thread::yield();
            }
        };
    });
    EXPECT_EQ(arrived, 3);
}

TEST(Workers, MakeTheirOwnWork) {
    std::atomic<int> made = 0;
    run_blocks({1, 5}, [&](const AskToGoOn&) -> BlockWork {
        ++made;
        return [](std::size_t) {};
    });
    EXPECT_EQ(made, 1); // one block takes no second thread
}

TEST(Workers, EndWithTheFirstException) {
    for (const std::size_t worker_count : {1U, 4U}) {
        std::atomic<int> begun = 0;
        EXPECT_THROW(run_blocks({1'000'000, worker_count},
                                [&](const AskToGoOn&) -> BlockWork {
                                    return [&](std::size_t block) {
                                        ++begun;
                                        if (block == 10) {
                                            throw std::out_of_range("ten");
                                        }
                                    };
                                }),
                     std::out_of_range);
        EXPECT_LT(begun, 1'000'000);
    }
}

TEST(Workers, EndWhenTheirWorkCannotBeMade) {
    EXPECT_THROW(
        run_blocks({100, 4}, [](const AskToGoOn&) -> BlockWork { throw std::bad_alloc(); }),
        std::bad_alloc);
}

TEST(Workers, StopWhenTheCallerSaysSo) {
    int questions_left = 4; // the first one before any block
    std::size_t done = 0;
    const auto should_stop = [](void* context) -> std::int32_t {
        return --*static_cast<int*>(context) < 0 ? 1 : 0;
    };
    try {
        run_blocks({100, 1, should_stop, &questions_left},
                   [&](const AskToGoOn&) -> BlockWork { return [&](std::size_t) { ++done; }; });
        FAIL() << "not stopped";
    } catch (const CallError& error) {
        EXPECT_EQ(error.status(), TALVORA_STOPPED);
    }
    EXPECT_EQ(done, 3U);
}

TEST(Workers, StopWithinABlockThatAsks) {
    int questions_left = 4; // the first two before the block
    std::size_t asked = 0;
    const auto should_stop = [](void* context) -> std::int32_t {
        return --*static_cast<int*>(context) < 0 ? 1 : 0;
    };
    EXPECT_THROW(run_blocks({1, 1, should_stop, &questions_left},
                            [&](const AskToGoOn& ask) -> BlockWork {
                                return [&asked, ask](std::size_t) {
                                    for (;; ++asked) {
                                        ask();
                                    }
                                };
                            }),
                 CallError);
    EXPECT_EQ(asked, 2U);
}

// The other thread never comes to its end by itself.
TEST(Workers, StopWhileTheCallerWaitsForTheOthers) {
    const auto caller = std::this_thread::get_id();
    struct Progress {
        std::atomic<bool> other_is_at_work = false;
        bool caller_is_done = false;
    } progress;
    const auto should_stop = [](void* context) -> std::int32_t {
        return static_cast<Progress*>(context)->caller_is_done ? 1 : 0;
    };
    EXPECT_THROW(run_blocks({2, 2, should_stop, &progress},
                            [&](const AskToGoOn& ask) -> BlockWork {
                                return [&, ask](std::size_t) {
                                    if (std::this_thread::get_id() != caller) {
                                        for (progress.other_is_at_work = true;;) {
                                            ask();
                                        }
                                    }
                                    while (!progress.other_is_at_work) {
                                        std::this_thread::yield();
                                    }
                                    progress.caller_is_done = true;
                                };
                            }),
                 CallError);
}

} // namespace
} // namespace talvora::library
