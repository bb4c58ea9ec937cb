// Data files and the MAC address: in this process first, then through the service.

#include <BoardDevices.h>
#include <DBusServiceClient.h>
#include <EepromMap.h>
#include <Log.h>
#include <MigrationStrategy.h>
#include <UniqueFd.h>

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

#define LOG_UNIT "MigrationStrategy.cpp"

namespace {

constexpr unsigned char kBlankByte = 0xFF;

std::streamsize StreamSize(int size)
{
    return std::max(size, 0);
}

char* Chars(unsigned char* bytes)
{
    return reinterpret_cast<char*>(bytes);
}

}  // namespace

bool MigrationStrategy::WriteToFile(const std::string& path, const unsigned char* buffer, const int& size)
{
    std::ofstream file(path, std::ios::out | std::ios::trunc);
    if (!file.is_open()) {
        LOG_ERROR("Could not open file ");
        return false;
    }
    LOG_INFO(" File %s opened for write ", path.c_str());
    file.write(reinterpret_cast<const char*>(buffer), StreamSize(size));
    LOG_INFO(" Data written to File %s ", path.c_str());
    file.close();
    LOG_INFO(" File %s Closed ", path.c_str());
    return true;  // an open file is all that is asked for; callers do not learn of a failed write
}

bool MigrationStrategy::ReadFromFileToBuff(const std::string& path, unsigned char* buffer, const int& size)
{
    std::ifstream file(path, std::ios::in);
    if (!file.is_open()) {
        LOG_ERROR("Could not open file ");
        return false;
    }
    LOG_INFO(" File %s opend for read ", path.c_str());
    file.read(Chars(buffer), StreamSize(size));
    LOG_INFO(" Data read from File %s", path.c_str());
    file.close();
    LOG_INFO(" File %s Closed ", path.c_str());
    return true;
}

bool MigrationStrategy::ReadFromFileToBuff(std::fstream& stream, unsigned char* buffer, const int& size)
{
    if (!stream.is_open()) {
        return false;
    }
    LOG_INFO(" File opend for read ");
    stream.read(Chars(buffer), StreamSize(size));
    LOG_INFO(" Data read from File");
    return true;
}

bool MigrationStrategy::WriteEEPROMMigratedMAC(const unsigned char* mac, const int& size)
{
    const int error = eeprom_write_migrated_mac(mac, size);
    if (error != 0) {
        LOG_ERROR("EEPROM eeprom_write_migrated_mac Failed for MAC Address with error = %d ", error);
        return false;
    }
    LOG_INFO("EEPROM Write Success for MAC Address");
    return true;
}

bool MigrationStrategy::ReadRAWBlock(const char* path, const int& size, unsigned char* buffer)
{
    const UniqueFd block(open(path, O_RDONLY | O_CLOEXEC));
    if (!block.IsOpen()) {
        LOG_ERROR("can't open Path [%s], errno : [ %d ] ", path, errno);
        return size == 0;  // nothing was asked for
    }
    int total = 0;
    do {
        const ssize_t got = read(block.Get(), buffer + total, static_cast<std::size_t>(std::max(size - total, 0)));
        if (got <= 0) {
            break;
        }
        total += static_cast<int>(got);
    } while (total < size);
    return total == size;
}

bool MigrationStrategy::ExcuteBlockReadOnServer(const char* path, const int& size, unsigned char* buffer)
try {
    DBusClient* const client = DBusClient::Instance();
    if (client == nullptr || buffer == nullptr) {
        return false;
    }
    return client->ReadOnServer(path, size, buffer);
} catch (...) {
    return false;  // no memory for the request
}

bool MigrationStrategy::WriteToFileServer(const char* path, unsigned char* buffer, const int& size)
try {
    if (buffer == nullptr || path == nullptr) {
        return false;
    }
    DBusClient* const client = DBusClient::Instance();
    return client != nullptr && client->WriteOnServer(path, size, buffer) == size;
} catch (...) {
    return false;  // no memory for the request
}

bool MigrationStrategy::IsExists(const char* path)
try {
    const UniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
    if (file.IsOpen()) {
        return true;
    }
    const int error = errno;
    LOG_ERROR("can't open Path [%s], errno : [ %d ] ", path, error);
    if (error != EACCES) {
        return false;
    }
    // It exists, but not for this process: the service decides.
    DBusClient* const client = DBusClient::Instance();
    return client != nullptr && client->PathExists(path) == 0;
} catch (...) {
    return false;  // no memory for the request
}

bool MigrationStrategy::CheckSPIFlashMAC()
{
    unsigned char mac[kMacSize] = {};
    std::fstream block(RAW_MAC_BKUP_PATH, std::ios::in | std::ios::binary);
    if (block.is_open()) {
        LOG_INFO(" File %s opend for Reading ", RAW_MAC_BKUP_PATH);
        block.seekg(0);
        block.read(Chars(mac), kMacSize);
        LOG_INFO(" Data From device 0x%2x:0x%2x:0x%2x:0x%2x:0x%2x:0x%2x ", mac[0], mac[1], mac[2], mac[3], mac[4],
                 mac[5]);
        block.close();
    } else {
        LOG_ERROR(" Fatal!!!! Could not open file, trying on Server ");
        if (!ExcuteBlockReadOnServer(RAW_MAC_BKUP_PATH, kMacSize, mac)) {
            LOG_ERROR("  Server REad Failure  ");
            LOG_ERROR("  FATAL !!! ABORTED ");
            LOG_ERROR("  FATAL !!! ABORTED ");
            return false;
        }
        LOG_INFO("  Server REad successful  ");
    }
    // True asks for a backup; a block that could not be read gives false, so that nothing is written over it.
    return std::all_of(std::begin(mac), std::end(mac), [](unsigned char byte) { return byte == kBlankByte; });
}

bool MigrationStrategy::ReadMacBlockHereOrOnServer(const char* unit, const char* operation, unsigned char* mac)
{
    if (ReadRAWBlock(RAW_MAC_BKUP_PATH, kMacSize, mac)) {
        LOG_FOR(unit, operation, kLogInfo, " Ulvey %s  File exists & Read ", RAW_MAC_BKUP_PATH);
        return true;
    }
    LOG_FOR(unit, operation, kLogError, "  Cannot Open Ulvey File %s now I trying from server <== ", RAW_MAC_BKUP_PATH);
    if (!ExcuteBlockReadOnServer(RAW_MAC_BKUP_PATH, kMacSize, mac)) {
        LOG_FOR(unit, operation, kLogError, "  Server REad Failure  ");
        LOG_FOR(unit, operation, kLogError, "  FATAL !!! RESTORE ABORTED ");
        LOG_FOR(unit, operation, kLogError, "  FATAL !!! RESTORE ABORTED ");
        return false;
    }
    LOG_FOR(unit, operation, kLogInfo, "  Server REad successful  ");
    return true;
}

void MigrationStrategy::UseBackupFolderOrLegacyFolder()
{
    const std::string candidate = mRestorePath + kBackupFolder;
    if (IsExists(candidate.c_str())) {
        mRestorePath = candidate;
    } else {
        mRestorePath = kLegacyFolder;  // the whole path, relative to the working directory
        mbLegacyRestorePath = true;
    }
}
