/** @file
 * Threads that meet at one point.
 */
#pragma once

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

/** Runs @p work(0) to @p work(count - 1) in threads of their own, all let loose at once, and waits for them. */
template <class Work>
void Together(std::size_t count, Work work)
{
    std::atomic<std::size_t> missing{count};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) {
        threads.emplace_back([&missing, &work, i] {
            --missing;
            while (missing > 0) {
                std::this_thread::yield();
            }
            work(i);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
