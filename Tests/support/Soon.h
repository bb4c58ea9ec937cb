/** @file
 * Waiting for what has to happen some time, on a machine under load too.
 */
#pragma once

#include <chrono>
#include <functional>
#include <thread>

/** Looks every few milliseconds, for half a minute.
 * @return whether it was so */
inline bool Soon(const std::function<bool()>& isSo)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!isSo()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}
