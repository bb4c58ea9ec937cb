#include "Micom.h"

#include <algorithm>

#include "Answer.h"

namespace {

constexpr int failure = -1;

/** Polls of this process since it began or the link last locked. */
std::atomic<int> pollsWithoutLock{0};

bool PollLink()
{
    const char* fault = vbset::live::Fault("serdes.polls");
    const int earlier = pollsWithoutLock++;
    const auto needed = vbset::FaultNumber("serdes.polls");
    const bool locked = fault == nullptr || (needed && earlier >= *needed);
    if (locked) pollsWithoutLock = 0;
    return locked;
}

}  // namespace

int micom_check_serdes_lock(int* status)
{
    return vbset::Answer(failure, [&](const vbset::Here&) {
        if (status == nullptr) return vbset::Traced("micom_check_serdes_lock", "", failure);
        *status = PollLink() ? 1 : 0;
        return vbset::Traced("micom_check_serdes_lock", "", 0, std::to_string(*status));
    });
}

int micom_get_tv_side_mac_addr(unsigned char* mac)
{
    return vbset::Answer(failure, [&](const vbset::Here& here) {
        const auto& kept = here.tvDescription.micomMac;
        const auto fault = vbset::FaultNumber("micom.mac");
        if (fault || !kept || mac == nullptr) {
            return vbset::Traced("micom_get_tv_side_mac_addr", "", fault.value_or(failure));
        }
        std::copy(kept->begin(), kept->end(), mac);
        return vbset::Traced("micom_get_tv_side_mac_addr", "", 0, vbset::Hex(kept->data(), kept->size()));
    });
}
