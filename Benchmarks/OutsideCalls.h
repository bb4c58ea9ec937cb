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
#include <utility>
#include <vector>

#include "ServiceRequest.h"

namespace bench {

/** The calls of one operation. */
class OutsideCalls {
 public:
    using Call = std::function<bool()>;  ///< makes it again; true when it ends as it did in the recording

    /** How a replay makes the requests to the migration service. */
    enum class Requests { ThroughLibDBus, ThroughGLib };

    /** Carries out an operation and records its calls; on one thread, and only one recording at a time. */
    static OutsideCalls Record(const std::function<void()>& operation);

    /** Makes the calls again: descriptors are those that the calls give now, what is read goes to a buffer that is
     * this program's. @return whether each of them succeeds or fails as it did in the recording */
    bool Replay(Requests requests = Requests::ThroughLibDBus) const;

    int Syncs() const { return syncs_; }  ///< how many of them wait for a file to be on its medium
    const std::vector<ServiceRequest>& ServiceRequests() const { return requests_; }

    /** The number of calls for a line of the table. */
    std::string Told() const;

    // For the functions that stand before those of the outside.
    void Add(Call call) { calls_.push_back(std::move(call)); }
    void AddSync() { ++syncs_; }
    void AddCommand(Call call);
    void AddRequest(const ServiceRequest& request, const std::function<bool(const ServiceRequest&)>& send);

 private:
    std::vector<Call> calls_;
    std::vector<ServiceRequest> requests_;
    int commands_ = 0;
    int syncs_ = 0;
};

}  // namespace bench
