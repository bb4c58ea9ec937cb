/** @file
 * What the demonstration shows: progress while it runs, then a table.
 */
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "Workshop.h"

namespace demo {

/** Collects what was done and whether it came out as it has to. */
class Report {
 public:
    /** Begins a part of the table. */
    void Section(const std::string& title);

    /** Shows what is being done: in place on a terminal, else a line. */
    void Progress(const std::string& step) const;

    /** Adds a run and its calls.
     * @param results  what the calls have to result in
     * @param because  why one of them has to fail, when the command itself does not say it */
    void Add(const std::string& set, const Run& run, const std::vector<int>& results, const std::string& because);

    /** Adds something that was found out. @param good  it is as it has to be */
    void Add(const std::string& name, const std::string& text, bool good = true);

    /** Prints the table and the verdict. @return true when all is as it has to be */
    bool Print() const;

 private:
    void Show(const std::string& text) const;

    std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
    std::vector<std::string> lines_;
    int sections_ = 0;
    int calls_ = 0;
    int interactions_ = 0;
    int wrong_ = 0;
};

}  // namespace demo
