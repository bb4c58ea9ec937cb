/** @file
 * Does something when a time has passed, unless it is destroyed before.
 */
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace command {

class Watchdog {
 public:
    Watchdog(std::chrono::duration<double> time, std::function<void()> action)
        : thread_([this, time, action = std::move(action)] {
              std::unique_lock<std::mutex> lock(mutex_);
              if (!stopped_.wait_for(lock, time, [this] { return stop_; })) {
                  lock.unlock();
                  action();
              }
          })
    {
    }

    ~Watchdog()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            stop_ = true;
        }
        stopped_.notify_one();
        thread_.join();
    }

    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

 private:
    std::mutex mutex_;
    std::condition_variable stopped_;
    bool stop_ = false;
    std::thread thread_;  // last: it uses the others from its first moment
};

}  // namespace command
