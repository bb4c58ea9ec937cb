// Runs of exported functions with any arguments, while the service answers anything. migration_final() is not among them:
// it leaves the process without a migrator, as is documented.

#include <VBMigration.h>

#include <array>
#include <cstring>

#include "AnsweringBus.h"
#include "Fuzz.h"

namespace {

constexpr std::size_t kLongestValue = 12;

void ConvertValue(fuzz::Bytes& bytes)
{
    std::array<char, 2 * kLongestValue> text;
    text.fill('!');
    const int item = bytes.Word();
    migration_api_convert_factory_value_to_str(item, bytes.Word(), text.data());
    fuzz::Require(text[kLongestValue] == '!', "a value is no longer than a number");
}

void Notify(fuzz::Bytes& bytes)
{
    const auto type = static_cast<VB_VornBoxMigrationType_k>(bytes.Word());
    const auto progress = static_cast<VB_VornBoxMigrationProgress_k>(bytes.Word());
    VB_VornBoxMigrationStatus_k status{};
    const int result = migration_api_notify_migration_status(type, progress, &status);
    fuzz::Require((result == 0) == (status == VB_MIGRATION_STATUS_SUCCESS), "result and status agree");
}

void BootPartition(fuzz::Bytes& bytes)
{
    int partition = bytes.Word();
    migration_api_SetBootPartition(partition);
    migration_api_GetBootPartition(&partition);
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
    switch (which % 8) {
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
        default:
            kWithoutArguments[which / 8 % kWithoutArguments.size()]();
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr int kMostCalls = 16;
    fuzz::TheSet();
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
