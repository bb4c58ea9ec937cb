#include "HostFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

namespace vbset {

namespace {

class Descriptor {
 public:
    Descriptor(const std::filesystem::path& file, int flags) : number_(open(file.c_str(), flags | O_CLOEXEC, 0666)) {}
    ~Descriptor()
    {
        const int kept = errno;
        if (number_ >= 0) close(number_);
        errno = kept;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool IsOpen() const { return number_ >= 0; }
    int Number() const { return number_; }

 private:
    int number_;
};

template <typename Bytes>
std::optional<Bytes> Read(const std::filesystem::path& file)
{
    const Descriptor descriptor(file, O_RDONLY);
    if (!descriptor.IsOpen()) return std::nullopt;
    Bytes bytes;
    char chunk[4096];
    for (;;) {
        const ssize_t count = read(descriptor.Number(), chunk, sizeof chunk);
        if (count == 0) return bytes;
        if (count > 0) {
            bytes.insert(bytes.end(), chunk, chunk + count);
        } else if (errno != EINTR) {
            return std::nullopt;
        }
    }
}

int WriteAll(int descriptor, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = write(descriptor, data, size);
        if (count > 0) {
            data += count;
            size -= static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            return count == 0 ? ENOSPC : errno;
        }
    }
    return 0;
}

/** Puts a finished file in the place of another, or where there is none. Two files change places where the host can do
 * that: some file systems begin to write to the disk when one is renamed onto another, which takes milliseconds. */
int PutInPlace(const char* finished, const char* file)
{
    if (renameat2(AT_FDCWD, finished, AT_FDCWD, file, RENAME_EXCHANGE) == 0) {
        unlink(finished);
        return 0;
    }
    return rename(finished, file) == 0 ? 0 : errno;
}

int Replace(const std::filesystem::path& file, const char* data, std::size_t size)
{
    // The process and the count make the name unique among those that write at the same time; what a killed process
    // left behind is overwritten when its number comes up again. Listings pass over names that begin with a dot.
    static std::atomic<unsigned int> writes{0};
    std::filesystem::path temporary = file;
    temporary.replace_filename("." + file.filename().string() + "." + std::to_string(getpid()) + "." +
                               std::to_string(writes++));
    int error = 0;
    {
        const Descriptor descriptor(temporary, O_WRONLY | O_CREAT | O_TRUNC);
        error = descriptor.IsOpen() ? WriteAll(descriptor.Number(), data, size) : errno;
    }
    if (error == 0) error = PutInPlace(temporary.c_str(), file.c_str());
    if (error != 0) unlink(temporary.c_str());
    return error;
}

}  // namespace

std::optional<std::vector<unsigned char>> ReadHostFile(const std::filesystem::path& file)
{
    return Read<std::vector<unsigned char>>(file);
}

std::optional<std::string> ReadHostText(const std::filesystem::path& file)
{
    return Read<std::string>(file);
}

int WriteHostFile(const std::filesystem::path& file, const std::vector<unsigned char>& bytes)
{
    return Replace(file, reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

int WriteHostText(const std::filesystem::path& file, std::string_view text)
{
    return Replace(file, text.data(), text.size());
}

int AppendHostText(const std::filesystem::path& file, std::string_view text)
{
    const Descriptor descriptor(file, O_WRONLY | O_CREAT | O_APPEND);
    return descriptor.IsOpen() ? WriteAll(descriptor.Number(), text.data(), text.size()) : errno;
}

}  // namespace vbset
