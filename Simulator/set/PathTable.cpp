#include "PathTable.h"

#include <climits>
#include <cstring>

#include "Layout.h"

namespace vbset {

namespace {

/** Resolves ".", ".." and doubled slashes by the letter; a slash at the end stays.
 * @return the length, 0 when the path is not absolute or does not fit */
std::size_t Normalise(const char* path, char (&out)[PATH_MAX]) noexcept
{
    if (path[0] != '/') return 0;
    std::size_t length = 0;
    bool directory = true;
    while (*path != '\0') {
        while (*path == '/') ++path;
        const std::size_t word = std::strcspn(path, "/");
        directory = word == 0 || (word <= 2 && std::strncmp(path, "..", word) == 0);
        if (word == 2 && directory) {
            while (length > 0 && out[--length] != '/') {
            }
        } else if (!directory) {
            if (length + 1 + word + 1 >= sizeof out) return 0;
            out[length] = '/';
            std::memcpy(out + length + 1, path, word);
            length += 1 + word;
        }
        path += word;
    }
    if (directory) out[length++] = '/';
    out[length] = '\0';
    return length;
}

bool BeginsWith(const char* path, const std::string& prefix) noexcept
{
    const char next = std::strncmp(path, prefix.c_str(), prefix.size()) == 0 ? path[prefix.size()] : 'x';
    return next == '\0' || next == '/';
}

}  // namespace

PathTable PathTable::Of(const std::filesystem::path& tv, const std::filesystem::path& box)
{
    const std::filesystem::path opt = layout::Root(tv) / "opt";
    PathTable table;
    table.rows_ = {
        {"/dev/mtdblock3", layout::MacBlock(box)},
        {"/dev/system", layout::Devices(tv) / "system"},
        {"/dev/dvb/adapter0/frontend0", layout::Devices(tv) / "frontend0"},
        {"/opt/korvane_vbmg_Tavix.tar.gz", opt / "korvane_vbmg_Tavix.tar.gz"},
        {"/opt/korvane_vbmg", layout::Mounts(tv) / "migration"},
        {"/opt/tv/migration/service", layout::Mounts(tv) / "data_sync"},
        {"/opt/tv", opt / "tv"},
    };
    return table;
}

PathTable PathTable::Parse(std::string_view text)
{
    PathTable table;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const std::size_t tab = line.find('\t');
        if (tab != std::string_view::npos) {
            table.rows_.push_back({std::string(line.substr(0, tab)), std::string(line.substr(tab + 1))});
        }
    }
    return table;
}

std::string PathTable::Text() const
{
    std::string text;
    for (const Row& row : rows_) text += row.prefix + '\t' + row.target + '\n';
    return text;
}

bool PathTable::Map(const char* path, char* out, std::size_t size) const noexcept
{
    char normal[PATH_MAX];
    const std::size_t length = path == nullptr ? 0 : Normalise(path, normal);
    if (length == 0) return false;
    for (const Row& row : rows_) {
        if (!BeginsWith(normal, row.prefix)) continue;
        const std::size_t rest = length - row.prefix.size();
        if (row.target.size() + rest < size) {
            std::memcpy(out, row.target.c_str(), row.target.size());
            std::memcpy(out + row.target.size(), normal + row.prefix.size(), rest + 1);
        } else if (size > 0) {
            out[0] = '\0';
        }
        return true;
    }
    return false;
}

bool IsPathOfASet(const std::string& path)
{
    char ignored[1];
    static const PathTable table = PathTable::Of("", "");
    return table.Map(path.c_str(), ignored, sizeof ignored);
}

}  // namespace vbset
