/** @file
 * What fault tests try, counted: for programs that have Try.cpp among their sources.
 */
#pragma once

/** Whether a test tries everything, or a part that stands for it: environment variable FAULTS, "all" or another. */
bool TriesAll();

/** One fault, for as long as it lives. It is survived when no expectation fails meanwhile.
 *
 * With all of them tried, the program prints at its end how many of each kind there were and how many were survived. */
class Try {
 public:
    /** @param kind what is tried, for people; lives as long as the program
     * @param cases how many cases of it this stands for */
    explicit Try(const char* kind, int cases = 1);
    ~Try();

    /** It was none: nothing has met the fault. It is not counted. */
    void Discard() { cases_ = 0; }

    Try(const Try&) = delete;
    Try& operator=(const Try&) = delete;

 private:
    const char* kind_;
    int cases_;
    int failuresBefore_;
};
