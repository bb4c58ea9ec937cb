/** @file
 * What the tests of the picture migrator share: records spelt out byte by byte, items of the box, files of the set.
 */
#pragma once

#include "TestSet.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

inline constexpr int kGeneralFailure = static_cast<int>(0x80000000U);
inline constexpr int kFileFailure = static_cast<int>(0x80000010U);
inline constexpr int kIndexFailure = static_cast<int>(0x80000200U);

/** Bytes as file contents. */
std::string Raw(std::initializer_list<int> bytes);

/** The three words at the beginning of a record, lowest byte first. */
std::string HeaderBytes(std::uint32_t uid, std::uint32_t storeType, std::int32_t size);

/** A whole record. */
std::string RecordBytes(std::uint32_t uid, std::uint32_t storeType, const std::string& data);

/** File contents that a test goes by the name of. */
struct NamedBytes {
    const char* name;
    std::string bytes;
};
inline void PrintTo(const NamedBytes& named, std::ostream* out) { *out << named.name; }

/** The open descriptors of this process. */
int OpenDescriptors();

class OnPictureSet : public OnSet {
 protected:
    /** A file of the set that is no part of a partition, and the service file. */
    static constexpr const char* kFile = "/opt/tv/picture.dat";
    static constexpr const char* kServiceFile = "/opt/tv/migration/service/PictureData.dat";

    std::filesystem::path Host(const std::string& path) { return Set().Map(path).value(); }
    void PutFile(const std::string& path, const std::string& bytes) { WriteFile(Host(path), bytes); }
    std::string FileBytes(const std::string& path) { return ReadFile(Host(path)); }
    bool FileExists(const std::string& path) { return std::filesystem::exists(Host(path)); }

    /** Puts something at a path that can be looked at but not opened, by nobody. */
    void PutUnopenable(const std::string& path);

    void PutItem(std::uint32_t uid, std::uint32_t storeType, const std::string& data);
    vbset::FactoryItem Item(std::uint32_t uid) { return Set().FactoryItems().at(uid); }

    /** The picture file of what the box holds now, in the order of some ids. */
    std::string FileOfBox(const std::vector<std::uint32_t>& uids);

    /** Runs an operation while a kind of file call is interrupted (EINTR) again and again; once that has been seen,
     * does something and lets the calls through. @return what the operation returns */
    int Interrupted(const std::string& fault, const std::function<int()>& operation,
                    const std::function<void()>& meanwhile = {});

    /** How often a call gave a result. */
    std::size_t Count(const std::string& call, const std::string& result) const;
};
