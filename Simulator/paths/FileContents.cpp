/** @file
 * The functions on open descriptors: reading, writing and closing the set's files, with the faults of each.
 *
 * libstdc++'s streams call read, write and writev on the descriptor and close through fclose.
 */
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

#include "Flash.h"
#include "OpenFiles.h"
#include "PowerSwitch.h"
#include "Shim.h"

namespace vbset::shim {
namespace {

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

void Lower(std::size_t& limit, unsigned long long other)
{
    if (other < limit) limit = static_cast<std::size_t>(other);
}

/** How many bytes one read may give. @return false, with errno, when it fails */
bool MayRead(const OpenFile& file, std::size_t& limit) noexcept
{
    limit = unlimited;
    if (file.kind == Kind::System || file.kind == Kind::Frontend) {
        errno = EINVAL;  // the devices answer requests only
        return false;
    }
    const char* fault = FaultOf("read", file.path);
    unsigned long long most = 0;
    if (FaultNumber(fault, "short:", most)) Lower(limit, most);
    return !FailsWith(fault);
}

/** The bytes from the place of the next write to the end of the file: they take no room. */
unsigned long long BytesToEnd(int descriptor) noexcept
{
    const KeepErrno keep;
    struct stat64 status = {};
    const off64_t place = lseek64(descriptor, 0, SEEK_CUR);
    if (fstat64(descriptor, &status) != 0 || place < 0 || place >= status.st_size) return 0;
    return static_cast<unsigned long long>(status.st_size - place);
}

/** How many bytes one write may take. @return false, with errno, when it fails */
bool MayWrite(const OpenFile& file, int descriptor, std::size_t& limit) noexcept
{
    limit = unlimited;
    if (file.kind == Kind::System || file.kind == Kind::Frontend) {
        errno = EINVAL;
        return false;
    }
    const char* fault = FaultOf("write", file.path);
    if (FailsWith(fault)) return false;
    unsigned long long number = 0;
    if (FaultNumber(fault, "short:", number)) Lower(limit, number);
    if (FaultNumber(fault, "full:", number)) Lower(limit, number - std::min<unsigned long long>(number, file.written));
    if (file.kind == Kind::Block) Lower(limit, BytesToEnd(descriptor));
    if (file.partition != nullptr && RoomLeft(file.partition, number)) Lower(limit, number + BytesToEnd(descriptor));
    Lower(limit, power::BytesBeforeCut());
    if (limit == 0) errno = ENOSPC;
    return limit > 0;
}

void RecordTransfer(const char* call, const OpenFile& file, std::size_t asked, const void* bytes,
                    ssize_t result) noexcept
{
    Text args;
    args.Add(file.path).Add(" ").AddNumber(static_cast<long long>(asked));
    if (result > 0) args.AddBytes(bytes, static_cast<std::size_t>(result));
    RecordResult("file", call, args.Get(), result);
}

template <typename Function>
ssize_t ReadBytes(Function next, int descriptor, void* buffer, std::size_t size) noexcept
{
    const OpenFile* file = FindOpenFile(descriptor);
    if (file == nullptr) return next(descriptor, buffer, size);
    std::size_t limit = 0;
    const ssize_t result = MayRead(*file, limit) ? next(descriptor, buffer, std::min(size, limit)) : -1;
    RecordTransfer("read", *file, size, buffer, result);
    return result;
}

ssize_t WriteBytes(int descriptor, const void* buffer, std::size_t size) noexcept
{
    OpenFile* file = FindOpenFile(descriptor);
    if (file == nullptr) return VBSET_NEXT(write)(descriptor, buffer, size);
    std::size_t limit = 0;
    ssize_t result = -1;
    if (size == 0 || MayWrite(*file, descriptor, limit)) {
        result = VBSET_NEXT(write)(descriptor, buffer, std::min(size, limit));
    }
    if (result > 0) file->written += static_cast<std::uint64_t>(result);
    RecordTransfer("write", *file, size, buffer, result);
    return result;
}

/** The pieces of a gathering write, as many as a limit leaves. */
class Pieces {
 public:
    Pieces(const iovec* pieces, int count, std::size_t limit) noexcept
    {
        for (int i = 0; i < count && count_ < most && limit > 0; ++i) {
            pieces_[count_] = {pieces[i].iov_base, std::min(pieces[i].iov_len, limit)};
            limit -= pieces_[count_++].iov_len;
        }
    }
    const iovec* Get() const { return pieces_; }
    int Count() const { return count_; }

 private:
    static constexpr int most = 16;
    iovec pieces_[most];
    int count_ = 0;
};

ssize_t WritePieces(OpenFile& file, int descriptor, const iovec* pieces, int count) noexcept
{
    std::size_t size = 0;
    for (int i = 0; i < count; ++i) size += pieces[i].iov_len;
    std::size_t limit = 0;
    ssize_t result = -1;
    if (size == 0 || MayWrite(file, descriptor, limit)) {
        const Pieces left(pieces, count, limit);
        result = VBSET_NEXT(writev)(descriptor, left.Get(), left.Count());
    }
    if (result > 0) file.written += static_cast<std::uint64_t>(result);
    Text args;
    RecordResult("file", "writev", args.Add(file.path).Add(" ").AddNumber(static_cast<long long>(size)).Get(), result);
    return result;
}

template <typename Function>
int Sync(Function next, const char* call, int descriptor) noexcept
{
    const OpenFile* file = FindOpenFile(descriptor);
    if (file == nullptr) return next(descriptor);
    const int result = FailsWith(FaultOf("fsync", file->path)) ? -1 : next(descriptor);
    if (result == 0) {
        const Within within;
        power::Synced(descriptor);
    }
    RecordResult("file", call, file->path, result);
    return result;
}

template <typename Close>
int CloseFile(int descriptor, Close next) noexcept
{
    OpenFile* file = FindOpenFile(descriptor);
    if (file == nullptr) return next();
    char path[sizeof file->path];
    std::memcpy(path, file->path, sizeof path);
    ForgetOpenFile(*file);
    const int result = next();
    RecordResult("file", "close", path, result);
    return result;
}

}  // namespace
}  // namespace vbset::shim

namespace shim = vbset::shim;

VBSET_INTERPOSED ssize_t read(int descriptor, void* buffer, size_t size)
{
    return shim::ReadBytes(VBSET_NEXT(read), descriptor, buffer, size);
}

// What read() becomes with _FORTIFY_SOURCE when the size is no constant; the C library's would not come back to read().
extern "C" ssize_t __read_chk(int descriptor, void* buffer, size_t size, size_t bufferSize);

VBSET_INTERPOSED ssize_t __read_chk(int descriptor, void* buffer, size_t size, size_t bufferSize)
{
    const auto next = VBSET_NEXT(__read_chk);
    return shim::ReadBytes(
        [=](int d, void* b, size_t s) { return next(d, b, size > bufferSize ? size : s, bufferSize); }, descriptor,
        buffer, size);
}

VBSET_INTERPOSED ssize_t write(int descriptor, const void* buffer, size_t size)
{
    return shim::WriteBytes(descriptor, buffer, size);
}

VBSET_INTERPOSED ssize_t writev(int descriptor, const iovec* pieces, int count)
{
    shim::OpenFile* file = shim::FindOpenFile(descriptor);
    if (file == nullptr) return VBSET_NEXT(writev)(descriptor, pieces, count);
    return shim::WritePieces(*file, descriptor, pieces, count);
}

VBSET_INTERPOSED int fsync(int descriptor)
{
    return shim::Sync(VBSET_NEXT(fsync), "fsync", descriptor);
}

VBSET_INTERPOSED int fdatasync(int descriptor)
{
    return shim::Sync(VBSET_NEXT(fdatasync), "fdatasync", descriptor);
}

VBSET_INTERPOSED int close(int descriptor)
{
    return shim::CloseFile(descriptor, [=]() { return VBSET_NEXT(close)(descriptor); });
}

VBSET_INTERPOSED int fclose(FILE* stream)
{
    return shim::CloseFile(fileno(stream), [=]() { return VBSET_NEXT(fclose)(stream); });
}
