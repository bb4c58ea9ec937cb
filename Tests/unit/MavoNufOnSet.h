/** @file
 * A TV joined to a box of year 13, and the strategy of that pairing.
 */
#pragma once

#include "StrategyOnSet.h"

#include <MavoNufStratgegy.h>

#include <optional>

class MavoNufOnSet : public StrategyOnSet {
 protected:
    void StartStrategy()
    {
        StartSet("tv13", "box13");
        MakeStrategy();
    }
    void MakeStrategy()
    {
        strategy_.emplace();
        strategy_->SetObserver(&migrator_);
        Forget();
    }
    MavoNufStratgegy& Strategy() { return *strategy_; }
    SteeredMigrator& Migrator() { return migrator_; }

    /** Has the service answer the transfer of the archive with a status that the client takes. Its own answers name
     * codes 6 and 7, which the client does not take as a status. */
    void LetTransfersReport(int status)
    {
        const std::string reply = "0:" + std::to_string(status) + ":0";
        Fault("service.reply.6", reply);
        Fault("service.reply.7", reply);
    }

    std::filesystem::path ArchiveOnTv() { return Set().Map("/opt/korvane_vbmg_Tavix.tar.gz").value(); }
    std::filesystem::path ArchiveOnBox() { return Set().BoxDirectory() / "nonvolatile/archive.tar.gz"; }

 private:
    SteeredMigrator migrator_;
    std::optional<MavoNufStratgegy> strategy_;
};
