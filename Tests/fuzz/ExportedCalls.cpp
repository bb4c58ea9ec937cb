// Runs of exported functions with any arguments, while the service, and a caller's callbacks, answer anything.
// migration_final() is not among them: it leaves the process without a migrator, as is documented.

#include <FactoryInterface.h>
#include <VBMigration.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "AnsweringBus.h"
#include "Fuzz.h"

namespace {

constexpr std::size_t kLongestValue = 10;  // with its end

/** What the callbacks answer; nothing for what the factory interface does. They stay registered for ever. */
struct Answers {
    int size;
    int result;
    unsigned int storeType;
};
std::optional<Answers> answers;

/** The largest item that a load takes: data of more bytes, as records or in their place, may end the process. */
constexpr int kLargestItem = 40;

int OwnSize(unsigned int uid, int* size)
{
    if (!answers) return GetMigrationItemSize(uid, size);
    *size = answers->size;
    return answers->result;
}

int OwnData(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data)
{
    if (!answers) return GetMigrationItemData(uid, storeType, length, data);
    *storeType = answers->storeType;
    std::fill_n(data, std::max(answers->size, 0), static_cast<unsigned char>(uid));
    return answers->size > kLargestItem ? 0 : answers->result;
}

void RegisterCallbacks(fuzz::Bytes& bytes)
{
    const std::uint8_t which = bytes.Byte();
    constexpr int kLargest = 1 << 20;
    const int size = bytes.Word() % kLargest;
    if (which % 4 == 0) {
        fuzz::Require(migration_api_assign_callback_getsize(nullptr) == -1, "a null callback is refused");
        fuzz::Require(migration_api_assign_callback_getdata(nullptr) == -1, "a null callback is refused");
    } else {
        migration_api_assign_callback_getsize(OwnSize);
        migration_api_assign_callback_getdata(OwnData);
        answers = Answers{size, which / 4 % 4 == 0 ? 1 : which - 128, which};
    }
}

void RunCommand(fuzz::Bytes& bytes)
{
    const std::uint8_t which = bytes.Byte();
    const std::string command = bytes.Text();
    MigrationCommon::ExecuteUserShell(which % 8 == 0 ? nullptr : command.c_str(), which % 16 > 1);
}

void ConvertValue(fuzz::Bytes& bytes)
{
    std::array<char, 2 * kLongestValue> text;
    text.fill('!');
    const int item = bytes.Word();
    const int value = bytes.Word();
    migration_api_convert_factory_value_to_str(item, value, text.data());
    fuzz::Require(std::all_of(text.begin() + kLongestValue, text.end(), [](char c) { return c == '!'; }),
                  "a value has 9 characters and an end at most");
    fuzz::Require(migration_api_convert_factory_value_to_str(item, value, nullptr) == -1, "null is refused");
}

void Notify(fuzz::Bytes& bytes)
{
    const auto type = static_cast<VB_VornBoxMigrationType_k>(bytes.Word());
    const auto progress = static_cast<VB_VornBoxMigrationProgress_k>(bytes.Word());
    VB_VornBoxMigrationStatus_k status = VB_MIGRATION_STATUS_UNKNOWN_ERROR;
    const int result = migration_api_notify_migration_status(type, progress, &status);
    fuzz::Require((result == 0) == (status == VB_MIGRATION_STATUS_SUCCESS), "result and status agree");
    fuzz::Require(migration_api_notify_migration_status(type, progress, nullptr) == -1, "null is refused");
}

void BootPartition(fuzz::Bytes& bytes)
{
    int partition = bytes.Word();
    migration_api_SetBootPartition(partition);
    migration_api_GetBootPartition(&partition);
    fuzz::Require(migration_api_GetBootPartition(nullptr) == -1, "null is refused");
}

/** One call, with what it takes. */
void Call(fuzz::Bytes& bytes)
{
    constexpr std::array<int (*)(), 7> kWithoutArguments = {
        migration_api_get_migration_free_memory, migration_api_restore_non_volatile_data,
        migration_api_dump_non_volatile_data,    migration_api_do_vornBox_store_data_sync,
        migration_api_mountpartition,            migration_api_SetResetTunerGPIO,
        MigrationCommon::SetVornBoxSystemConfig};
    const std::uint8_t which = bytes.Byte();
    switch (which % 10) {
        case 0:
            Notify(bytes);
            break;
        case 1:
            migration_api_do_vornBox_picture_data_sync(static_cast<VB_VornBoxInfo_k>(bytes.Word()));
            break;
        case 2: {
            const int item = bytes.Word();
            migration_api_set_factory_item(item, bytes.Word());
            break;
        }
        case 3:
            ConvertValue(bytes);
            break;
        case 4:
            migration_api_get_vornBox_migration_test_data(bytes.Word());
            break;
        case 5:
            BootPartition(bytes);
            break;
        case 6:
            GetMigrationStrategy(bytes.Word());
            break;
        case 7:
            RegisterCallbacks(bytes);
            break;
        case 8:
            RunCommand(bytes);
            break;
        default:
            kWithoutArguments[which / 10 % kWithoutArguments.size()]();
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr int kMostCalls = 16;
    fuzz::TheSet();
    answers.reset();
    fuzz::Bytes bytes(data, size);
    const std::string reply = bytes.Text();
    AnswerRequests([&](const char*) -> GVariant* {
        if (reply.empty()) return nullptr;
        g_autofree char* valid = g_utf8_make_valid(reply.data(), static_cast<gssize>(reply.size()));
        return g_variant_new("(s)", valid);
    });
    for (int calls = 0; calls < kMostCalls && !bytes.IsEmpty(); ++calls) Call(bytes);
    return 0;
}
