/** @file
 * What is demonstrated, each on sets of its own.
 */
#pragma once

#include "Report.h"
#include "Workshop.h"

namespace demo {

/** Descriptions of the two sides of a set, as vbset new takes them. */
struct Sides {
    std::string tv;
    std::string box;
};

/** A backup on one TV; the box moves to a TV with code 14, which restores it; then picture sync and verification.
 * @param backupByService  the caller may not open the MAC block itself, so that the service writes it */
void MoveToCode14(const Workshop& workshop, Report& report, const Sides& from, const std::string& to,
                  bool backupByService);

/** A box that carries a backup of the previous platform, on a TV with code 14. */
void RestoreLegacyBackup(const Workshop& workshop, Report& report, const Sides& sides);

/** A TV and a box of the same generation: nothing to restore, and the MAC block is written once. */
void StayInGeneration(const Workshop& workshop, Report& report, const Sides& sides);

/** A box of year 13, whose backup travels as an archive to another TV with code 13. */
void MoveYear13(const Workshop& workshop, Report& report, const Sides& sides);

/** A backup on a main board with hardware that is held still meanwhile, or without.
 * @param board  what there is, in words
 * @param asBefore  the board ends as it began; not so on a new board without CI slots, whose buffer IC stays off */
void HoldBoardStill(const Workshop& workshop, Report& report, const Sides& sides, const std::string& board,
                    bool asBefore);

/** The calls that no flow makes. */
void CallTheRest(const Workshop& workshop, Report& report, const Sides& sides);

}  // namespace demo
