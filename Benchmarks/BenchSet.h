/** @file
 * A simulated set to measure on: it keeps no trace and every command of it ends at once.
 */
#pragma once

#include <Bus.h>
#include <Set.h>

#include <filesystem>
#include <memory>
#include <string>

namespace bench {

/** @throw vbset::Error unless something is done */
void Demand(bool isDone, const char* what);

class BenchSet {
 public:
    /** Makes a set of two packaged descriptions below a directory, switches it on and puts this process on it. */
    BenchSet(const std::filesystem::path& parent, const std::string& tv, const std::string& box);
    ~BenchSet();
    BenchSet(const BenchSet&) = delete;
    BenchSet& operator=(const BenchSet&) = delete;

    /** Starts the private bus and, in place of the migration service, one that only answers. */
    void StartAnsweringService();

    /** Every command that is run in this process succeeds at once: nothing but its shell is started. */
    void EndCommandsAtOnce();

    vbset::Set& Sides() { return *set_; }

 private:
    std::filesystem::path directory_;
    std::unique_ptr<vbset::Set> set_;
    std::unique_ptr<vbset::Bus> bus_;
    pid_t answering_ = -1;
};

}  // namespace bench
