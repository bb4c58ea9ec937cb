/** @file
 * What must not grow with use.
 */
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace bench {

/** After how many operations the first sample is taken. */
inline constexpr long kFirstMemorySample = 100;

/** What a process has after so many operations. */
struct MemorySample {
    long operations = 0;
    long heap = 0;      ///< bytes in use
    long resident = 0;  ///< bytes
};

/** The memory of a process while it does the same again and again; the first sample is what the others are held to. */
struct MemoryOverTime {
    std::string what;
    std::vector<MemorySample> samples;
    std::string rest;  ///< where what is added comes from, when that is known

    bool IsFlat() const;  ///< nothing has been added since the first sample
};

/** Each in a process of its own. */
MemoryOverTime ServiceCallMemory(const std::filesystem::path& place, long operations);
MemoryOverTime StoreMemory(const std::filesystem::path& place, long operations);

/** Service calls in a process whose malloc keeps nothing back: no caches of threads, one arena. Otherwise what malloc
 * itself keeps counts as in use.
 * @param program  writes the samples when it is called with "--sample CALLS DESCRIPTOR" */
MemoryOverTime ServiceCallMemoryWithPlainMalloc(const std::string& program, long operations);

/** Samples service calls in this process, and writes them for the other one. */
void WriteServiceCallSamples(const std::filesystem::path& place, long operations, int descriptor);

}  // namespace bench
