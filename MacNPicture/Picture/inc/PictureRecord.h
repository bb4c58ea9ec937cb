/** @file
 * The record of the picture file: three little-endian 32-bit words (item id, store type, size), then size bytes of data.
 */
#pragma once

#include <cstddef>
#include <cstdint>

/** Items above this id (the CGA items) are logged as one byte, the others as a 16-bit value. */
inline constexpr unsigned int kLastWordItemId = 1759;

/** Header of one record. */
struct PicFactoryData {
    std::uint32_t UID = 0;        ///< factory item id
    std::uint32_t StoreType = 0;  ///< what the factory interface gave for the item, handed back unchanged
    std::int32_t Size = 0;        ///< number of data bytes
};

/** Bytes of a header in the file. */
inline constexpr std::size_t kRecordHeaderSize = 12;

/** Reads a 32-bit word of the file. */
inline std::uint32_t LoadLittleEndian32(const unsigned char* bytes)
{
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

/** Writes a 32-bit word of the file. */
inline void StoreLittleEndian32(std::uint32_t value, unsigned char* bytes)
{
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

/** Writes a header as it stands in the file. */
inline void StoreHeader(const PicFactoryData& header, unsigned char* bytes)
{
    StoreLittleEndian32(header.UID, bytes);
    StoreLittleEndian32(header.StoreType, bytes + 4);
    StoreLittleEndian32(static_cast<std::uint32_t>(header.Size), bytes + 8);
}

/** What a record's data shows in the log: the first byte of a CGA item, else the first 16-bit word. */
inline int LoggedValue(std::uint32_t uid, const unsigned char* data, std::size_t available)
{
    const int high = uid <= kLastWordItemId && available > 1 ? data[1] : 0;
    return data[0] | high << 8;
}

/** A run of records in memory: the one place that knows whether a header, and its data, lie in the buffer. */
class PictureRecords {
 public:
    /** @param data    the run, which has to outlive this object
     * @param length  its length in bytes */
    PictureRecords(const unsigned char* data, std::size_t length) : mData(data), mLength(length) {}

    /** Reads the header at an offset. @return false when it does not lie in the buffer */
    bool HeaderAt(std::size_t offset, PicFactoryData& header) const
    {
        if (mLength < kRecordHeaderSize || offset > mLength - kRecordHeaderSize) {
            return false;
        }
        const unsigned char* const bytes = mData + offset;
        header.UID = LoadLittleEndian32(bytes);
        header.StoreType = LoadLittleEndian32(bytes + 4);
        header.Size = static_cast<std::int32_t>(LoadLittleEndian32(bytes + 8));
        return true;
    }

    /** @return whether the data that follow the header at an offset lie in the buffer; HeaderAt() gave it, with a size above 0 */
    bool HasData(std::size_t offset, const PicFactoryData& header) const
    {
        return static_cast<std::size_t>(header.Size) <= mLength - offset - kRecordHeaderSize;
    }

    /** The data after the header at an offset. */
    const unsigned char* DataAt(std::size_t offset) const { return mData + offset + kRecordHeaderSize; }

    /** @return the length of the run in bytes */
    std::size_t Length() const { return mLength; }

 private:
    const unsigned char* mData;
    std::size_t mLength;
};

/** Data have 1 to 255 bytes; the value reader holds no more than 40 of them. */
inline bool IsRecordSize(std::int32_t size)
{
    return size >= 1 && size <= 255;
}
