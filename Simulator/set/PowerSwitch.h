/** @file
 * The power of a set that is to go away in a run: what the processes of the run do for it.
 *
 * `vbset run --cut` says where in the environment (VBSET_CUT, see PowerCut.h) and whom to tell (VBSET_POWER_SWITCH, the
 * number of a process and that of a signal). Who comes to the place tells, and stands still until everything on the set
 * is ended. Without that environment nothing here does anything.
 *
 * TV/volatile/durable holds, meanwhile, what a cut would leave of what is not written through: a copy of the partitions
 * and of the TV's own files that those who sync something bring up to date.
 */
#pragma once

#include <cstddef>
#include <filesystem>

namespace vbset::power {

inline constexpr const char* cutVariable = "VBSET_CUT";
inline constexpr const char* switchVariable = "VBSET_POWER_SWITCH";

/** The interaction of this number is over. */
void Over(unsigned long number) noexcept;

/** How many bytes the next write may write before the power goes away. */
std::size_t BytesBeforeCut() noexcept;

/** A step of what the set does for an interaction is over, or about to be done by half.
 * @return whether the power goes away here */
bool GoesAwayAtStep() noexcept;

/** The power goes away. */
[[noreturn]] void GoAway() noexcept;

/** A file was synced: it survives as it is. */
void Synced(const std::filesystem::path& file) noexcept;
void Synced(int descriptor) noexcept;

}  // namespace vbset::power
