// The picture file on the TV: writing it and reading its values back.

#include <Log.h>
#include <PictureMigration.h>
#include <UniqueFd.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#define LOG_UNIT "PictureMigration.cpp"

namespace {

/** Turns the records of a picture file into one 32-bit value each. */
class ValueReader {
 public:
    /** The value of a record: the first word of a buffer into which its data was laid. Only as many bytes as the record
     * has are cleared before, so a short record keeps the upper bytes of the longer one before it. */
    int Next(const unsigned char* data, std::size_t size)
    {
        std::copy_n(data, size, mBuffer);
        return static_cast<int>(LoadLittleEndian32(mBuffer));
    }

    static constexpr int kCapacity = 40;

 private:
    unsigned char mBuffer[kCapacity] = {};
};

/** Makes room at once for as many values as a file can have; without memory for that many, they may yet fit. */
void ReserveValues(std::size_t fileSize, std::vector<int>& values)
{
    try {
        values.reserve(values.size() + fileSize / kRecordHeaderSize);
    } catch (...) {
    }
}

int ParseValues(const PictureRecords& records, std::vector<int>& values)
{
    ReserveValues(records.Length(), values);
    ValueReader reader;
    std::size_t cursor = 0;
    do {
        PicFactoryData header;
        if (!records.HeaderAt(cursor, header)) {
            return kPictureFailure;
        }
        if (!IsRecordSize(header.Size)) {
            values.push_back(0);  // and its data, if it has any, is read as the next header
            cursor += kRecordHeaderSize;
            continue;
        }
        if (header.Size > ValueReader::kCapacity) {
            std::abort();  // such files must not occur, and going on would overrun the value buffer
        }
        if (!records.HasData(cursor, header)) {
            return kPictureFailure;
        }
        const std::size_t size = static_cast<std::size_t>(header.Size);
        values.push_back(reader.Next(records.DataAt(cursor), size));
        cursor += kRecordHeaderSize + size;
    } while (cursor < records.Length());
    return kPictureOk;
}

}  // namespace

int PictureDataMigration::t_WriteToFlash(unsigned char* data, unsigned int size, const char* path)
{
    LOG_INFO("In t_WriteToFlash function\n ");
    if (data == nullptr || path == nullptr || size == 0) {
        LOG_ERROR("[PICMIGRATE] %s:(Error) Param is NULL : %s, %s, %s\n", "t_WriteToFlash",
                  data == nullptr ? "MigData_NULL" : ".", path == nullptr ? "SPIPath_NULL" : ".",
                  size == 0 ? "MigBuffSz_0" : ".");
        return kPictureFailure;
    }
    const UniqueFd file(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0777));
    if (!file.IsOpen()) {
        LOG_ERROR("[PICMIGRATE] %s:(Error:%d) File Open Failed \n", "t_WriteToFlash", errno);
        return kPictureFailure;
    }
    LOG_INFO("PictureDataMigration::t_WriteToFlash :: file created");
    const int result = m_WriteToFile(file.Get(), data, size);
    if (result == kPictureOk) {
        LOG_INFO("\t>>[PICMIGRATE] %s: File write %s \n", "t_WriteToFlash", "SUCCESS");
    } else {
        LOG_ERROR("\t>>[PICMIGRATE] %s: File write %s \n", "t_WriteToFlash", "FAIL");
    }
    fsync(file.Get());
    return result;
}

int PictureDataMigration::m_WriteToFile(int fd, unsigned char* data, unsigned int size)
{
    while (size > 0) {
        const ssize_t written = write(fd, data, size);
        if (written >= 0) {
            data += written;
            size -= static_cast<unsigned int>(written);
        } else if (errno != EINTR) {
            return kPictureFailure;
        }
    }
    return kPictureOk;
}

int PictureDataMigration::m_ReadFromFile(int fd, unsigned char* data, unsigned int size)
{
    while (size > 0) {
        errno = 0;  // so that an end of file is not taken for an interruption
        const ssize_t got = read(fd, data, size);
        const int error = errno;
        LOG_INFO("\n ==> reading againg from m_ReadFromFile \n");
        if (got > 0) {
            data += got;
            size -= static_cast<unsigned int>(got);
        } else if (error != EINTR) {
            errno = error;  // for the caller's message
            return kPictureFailure;
        }
    }
    return kPictureOk;
}

int PictureDataMigration::t_ReadMigrationSPIData(int* values, const char* path)
{
    std::vector<int> read;
    const int result = ReadValues(path, read);
    std::copy(read.begin(), read.end(), values);
    return result;
}

int PictureDataMigration::ReadValues(const char* path, std::vector<int>& values)
{
    constexpr const char* kOperation = "t_ReadMigrationSPIData";
    LOG_FOR(LOG_UNIT, kOperation, kLogInfo, "t_ReadMigrationTestData: Read data from pSPIPath(%s)\n", path);
    struct stat status = {};
    if (stat(path, &status) != 0) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError, "stat() failed \n");
        return kPictureNoFile;
    }
    LOG_FOR(LOG_UNIT, kOperation, kLogInfo, "stat() success  verify\n");
    LOG_FOR(LOG_UNIT, kOperation, kLogInfo, "stat() success Size is %ld \n", static_cast<long>(status.st_size));
    UniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen()) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError,
                "\t PictureDataMigration::t_ReadMigrationSPIData - > File Open Failed \n");
        return kPictureNoFile;
    }
    if (status.st_size < 1) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError,
                "PictureDataMigration::t_ReadMigrationSPIData - >Filesize less than one\n");
        return kPictureNoFile;
    }
    LOG_FOR(LOG_UNIT, kOperation, kLogInfo, "File Size is %d\n", static_cast<int>(status.st_size));
    const PictureBuffer buffer = NewPictureBuffer(status.st_size);
    if (buffer == nullptr) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError,
                "PictureDataMigration::t_ReadMigrationSPIData -> pMigrationBuffer creation Failed() \n");
        return kPictureFailure;
    }
    const unsigned int size = static_cast<unsigned int>(status.st_size);
    if (m_ReadFromFile(file.Get(), buffer.get(), size) != kPictureOk) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError, " File read %s \n", "FAIL");
        return kPictureFailure;
    }
    LOG_FOR(LOG_UNIT, kOperation, kLogInfo, " File read %s \n", "SUCCESS");
    file.Close();
    try {
        return ParseValues(PictureRecords(buffer.get(), size), values);
    } catch (...) {  // of the values, without memory for them
        return kPictureFailure;
    }
}
