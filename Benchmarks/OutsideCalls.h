/** @file
 * What an operation of the library asks of the outside, recorded to be made again bare: the floor beside the operation.
 *
 * This program defines the functions of the outside that the library calls. Each passes the call on to the function
 * that it stands before; while a recording is on it also keeps a way to make the same call again, with the same bytes,
 * in the same order. What an outside function does itself is its own and not recorded.
 */
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/** The calls of one operation. */
class OutsideCalls {
 public:
    /** Carries out an operation and records its calls; on one thread, and only one recording at a time. */
    static OutsideCalls Record(const std::function<void()>& operation);

    /** Makes the calls again: descriptors are those that the calls give now, what is read goes to a buffer that is
     * this program's. */
    void Replay() const;

    std::size_t Count() const { return calls_.size(); }
    int Syncs() const { return syncs_; }  ///< how many of them wait for a file to be on its medium

    /** The number of calls for a line of the table. */
    std::string Told() const;

 private:
    std::vector<std::function<void()>> calls_;
    int syncs_ = 0;
};

}  // namespace bench
