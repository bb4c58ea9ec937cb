/** @file
 * A test on a simulated set of its own: what it holds, what the library logged, what the set was asked to do.
 *
 * Every test runs in a process of its own (gtest_discover_tests), so the library's single objects are fresh in each.
 */
#pragma once

#include <Bus.h>
#include <Live.h>
#include <Set.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

/** One line of the platform log. */
struct LogLine {
    int priority;
    std::string unit;      ///< source file name
    std::string function;
    std::string text;
};

/** Priority and text of a message, as most tests compare them. */
using Message = std::pair<int, std::string>;
using Messages = std::vector<Message>;

inline Message Info(std::string text) { return {4, std::move(text)}; }
inline Message Error(std::string text) { return {6, std::move(text)}; }

/** One interaction of library and set. */
struct Interaction {
    std::string kind;    ///< platform, command, request, ioctl, file, sleep
    std::string call;
    std::string args;
    std::string result;
};

class OnSet : public ::testing::Test {
 protected:
    OnSet();
    ~OnSet() override;

    /** Makes a set of two packaged descriptions, switches it on and puts this process on it. There is no bus. */
    void Start(const std::string& tv = "tv15", const std::string& box = "box15");

    /** Starts the private bus and the migration service of the set. */
    void StartService();

    /** Switches faults on or off. */
    void Fault(const std::string& key, const std::string& value) { vbset::live::SetFault(key, value.c_str()); }
    void NoFault(const std::string& key) { vbset::live::SetFault(key, nullptr); }

    vbset::Set& Set() { return *set_; }
    vbset::Bus& Bus() { return *bus_; }

    /** A directory of this test alone, removed at its end. */
    const std::filesystem::path& Temporary() const { return temporary_; }

    /** Everything logged with the library's tag since Start() or Forget(). */
    std::vector<LogLine> Log() const;
    /** Priority and text of what some functions logged, in order; of all functions when none is named. */
    Messages Logged(const std::vector<std::string>& functions = {}) const;

    /** The numbered interactions since Start() or Forget(), of some kinds or all. */
    std::vector<Interaction> Trace(const std::vector<std::string>& kinds = {}) const;
    /** The calls of those interactions alone: function names, command lines, requests. */
    std::vector<std::string> Calls(const std::vector<std::string>& kinds = {}) const;

    /** Leaves what was logged and traced so far out of what follows. */
    void Forget();

    static std::string ReadFile(const std::filesystem::path& file);
    static void WriteFile(const std::filesystem::path& file, const std::string& bytes);

 private:
    std::filesystem::path temporary_;
    std::unique_ptr<vbset::Set> set_;
    std::unique_ptr<vbset::Bus> bus_;
    std::size_t logOffset_ = 0;
    std::size_t traceOffset_ = 0;
};

std::ostream& operator<<(std::ostream& out, const Interaction& interaction);
