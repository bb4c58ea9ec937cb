#include "PictureOnSet.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

namespace {

void AppendWord(std::string& bytes, std::uint32_t word)
{
    for (int i = 0; i < 4; ++i) {
        bytes += static_cast<char>(static_cast<unsigned char>(word >> (8 * i)));
    }
}

}  // namespace

std::string Raw(std::initializer_list<int> bytes)
{
    std::string raw;
    for (const int byte : bytes) {
        raw += static_cast<char>(static_cast<unsigned char>(byte));
    }
    return raw;
}

std::string HeaderBytes(std::uint32_t uid, std::uint32_t storeType, std::int32_t size)
{
    std::string bytes;
    AppendWord(bytes, uid);
    AppendWord(bytes, storeType);
    AppendWord(bytes, static_cast<std::uint32_t>(size));
    return bytes;
}

std::string RecordBytes(std::uint32_t uid, std::uint32_t storeType, const std::string& data)
{
    return HeaderBytes(uid, storeType, static_cast<std::int32_t>(data.size())) + data;
}

int OpenDescriptors()
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        count += entry.is_symlink() ? 1 : 0;
    }
    return count;
}

void OnPictureSet::PutUnopenable(const std::string& path)
{
    ASSERT_EQ(mknod(Host(path).c_str(), S_IFSOCK | 0600, 0), 0) << std::strerror(errno);
}

void OnPictureSet::PutItem(std::uint32_t uid, std::uint32_t storeType, const std::string& data)
{
    Set().WriteFactoryItem(uid, {storeType, {data.begin(), data.end()}});
}

std::string OnPictureSet::FileOfBox(const std::vector<std::uint32_t>& uids)
{
    const auto items = Set().FactoryItems();
    std::string bytes;
    for (const std::uint32_t uid : uids) {
        const vbset::FactoryItem& item = items.at(uid);
        bytes += RecordBytes(uid, item.storeType, {item.data.begin(), item.data.end()});
    }
    return bytes;
}

int OnPictureSet::Interrupted(const std::string& fault, const std::function<int()>& operation,
                              const std::function<void()>& meanwhile)
{
    Fault(fault, "EINTR");
    std::thread other([&] {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        const auto trace = Set().TvDirectory() / "trace.jsonl";
        while (ReadFile(trace).find("\"result\":\"EINTR\"") == std::string::npos &&
               std::chrono::steady_clock::now() < limit) {
            std::this_thread::yield();
        }
        if (meanwhile) {
            meanwhile();
        }
        NoFault(fault);
    });
    const int result = operation();
    other.join();
    return result;
}

std::size_t OnPictureSet::Count(const std::string& call, const std::string& result) const
{
    const std::vector<Interaction> trace = Trace();
    return static_cast<std::size_t>(std::count_if(trace.begin(), trace.end(), [&](const Interaction& interaction) {
        return interaction.call == call && interaction.result == result;
    }));
}
