#include "FactoryInterface.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "Answer.h"
#include "FactoryStore.h"

namespace {

constexpr int success = 1;
constexpr int failure = 0;

// Items of the store have at most this much data; the factory interface moves small values.
constexpr unsigned int maxSize = 4096;

/** A fault of this item, else the one of every item. */
std::optional<int> ItemFault(const char* what, unsigned int uid)
{
    const std::string key = std::string("factory.") + what + '.';
    const auto own = vbset::FaultNumber(key + std::to_string(uid));
    return own ? own : vbset::FaultNumber(key + '*');
}

bool IsValueRefused(unsigned int uid)
{
    return vbset::live::Fault(("factory.value." + std::to_string(uid)).c_str()) != nullptr ||
           vbset::live::Fault("factory.value.*") != nullptr;
}

/** The size that is told of an item, and so the number of bytes that a fetch may store. */
int ToldSize(const vbset::Here& here, unsigned int uid)
{
    const auto fault = ItemFault("size", uid);
    return fault ? *fault : static_cast<int>(vbset::FactoryStore(here.box).Size(uid).value_or(0));
}

std::string TypeAndData(unsigned int storeType, const unsigned char* data, std::size_t size)
{
    char type[16];
    std::snprintf(type, sizeof type, "0x%08X ", storeType);
    return type + vbset::Hex(data, size);
}

int Store(const vbset::Here& here, unsigned int uid, unsigned int storeType, const unsigned char* data,
          unsigned int size)
{
    const vbset::FactoryStore store(here.box);
    const auto fault = ItemFault("set", uid);
    if (fault) return *fault;
    // The store has the items it was made with: it replaces their data and adds none.
    if (data == nullptr || size == 0 || size > maxSize || !store.Size(uid)) return failure;
    return store.Write(uid, {storeType, {data, data + size}}) == 0 ? success : failure;
}

}  // namespace

int GetMigrationItemSize(unsigned int uid, int* size)
{
    return vbset::Answer(failure, [&](const vbset::Here& here) {
        if (size == nullptr) return vbset::Traced("GetMigrationItemSize", std::to_string(uid), failure);
        *size = ToldSize(here, uid);
        return vbset::Traced("GetMigrationItemSize", std::to_string(uid), success, std::to_string(*size));
    });
}

int GetMigrationItemData(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data)
{
    return vbset::Answer(failure, [&](const vbset::Here& here) {
        const auto fault = ItemFault("get", uid);
        auto item = fault ? std::nullopt : vbset::FactoryStore(here.box).Read(uid);
        const auto size = static_cast<std::size_t>(std::max(ToldSize(here, uid), 0));
        if (!item || data == nullptr || size == 0) {
            return vbset::Traced("GetMigrationItemData", std::to_string(uid), fault.value_or(failure));
        }
        item->data.resize(size, 0);
        std::copy(item->data.begin(), item->data.end(), data);
        if (storeType != nullptr) *storeType = item->storeType;
        if (length != nullptr) *length = static_cast<int>(size);
        return vbset::Traced("GetMigrationItemData", std::to_string(uid), success,
                             TypeAndData(item->storeType, data, size));
    });
}

int SetMigrationItemData(unsigned int uid, unsigned int storeType, unsigned char* data, unsigned int size)
{
    return vbset::Answer(failure, [&](const vbset::Here& here) {
        const std::size_t shown = data == nullptr ? 0 : std::min(size, maxSize);
        const std::string args = std::to_string(uid) + ' ' + TypeAndData(storeType, data, shown) + ' ' +
                                 std::to_string(size);
        return vbset::Traced("SetMigrationItemData", args, Store(here, uid, storeType, data, size));
    });
}

int GetData(unsigned int uid, void* buffer)
{
    return vbset::Answer(failure, [&](const vbset::Here& here) {
        const auto word = IsValueRefused(uid) ? std::nullopt : vbset::FactoryStore(here.box).Word(uid);
        if (!word || buffer == nullptr) return vbset::Traced("GetData", std::to_string(uid), failure);
        std::memcpy(buffer, &*word, sizeof *word);
        return vbset::Traced("GetData", std::to_string(uid), success, std::to_string(static_cast<int>(*word)));
    });
}

int DoVornBoxFactoryDatasSync(int mode, int tvYear)
{
    // What is stored is in the files of the store already, so that there is nothing left to write.
    return vbset::Answer(failure, [&](const vbset::Here&) {
        const std::string args = std::to_string(mode) + ' ' + std::to_string(tvYear);
        return vbset::Traced("DoVornBoxFactoryDatasSync", args, success);
    });
}
