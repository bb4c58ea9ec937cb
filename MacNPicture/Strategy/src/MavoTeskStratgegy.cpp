#include <Log.h>
#include <MavoTeskStratgegy.h>

#define LOG_UNIT "MavoTeskStratgegy.cpp"

MavoTeskStratgegy::MavoTeskStratgegy()
{
    LOG_INFO(" MavoTeskStratgegy constructore ");
}

bool MavoTeskStratgegy::BackupMACAddress()
{
    LOG_ERROR("RQ141202-01250 : No Backup in NON 15 + 15 case");
    return false;
}

bool MavoTeskStratgegy::RestoreMACAddress()
{
    unsigned char mac[kMacSize] = {};
    return ReadMacBlockHereOrOnServer(LOG_UNIT, __func__, mac) && WriteEEPROMMigratedMAC(mac, kMacSize);
}

bool MavoTeskStratgegy::SetBootPartition(int)
{
    LOG_ERROR(" 15~14 Not Supported\t");
    return false;
}

bool MavoTeskStratgegy::GetBootPartition(int*)
{
    LOG_ERROR(" 15~14 Not Supported\t");
    return false;
}

bool MavoTeskStratgegy::SetRestorePath()
{
    UseBackupFolderOrLegacyFolder();
    return true;
}
