// libVBMigration.so as the dynamic linker and its callers see it.

#include <BuiltLibrary.h>
#include <ElfFile.h>
#include <TestSet.h>

#include <optional>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::UnorderedElementsAre;

namespace {

bool IsOfASanitizer(const std::string& name)
{
    return name.rfind("libasan.", 0) == 0 || name.rfind("libubsan.", 0) == 0 || name.rfind("libtsan.", 0) == 0;
}

}  // namespace

TEST(Library, ExportsWhatIsDocumentedAndNothingElse)
{
    std::set<std::string> names;
    for (const auto& [name, version] : ReadElfFile(BuiltLibrary::Path()).exported) {
        names.insert(name);
    }
    EXPECT_THAT(names,
                UnorderedElementsAre(
                    // plain names
                    "migration_api_get_migration_free_memory", "migration_api_notify_migration_status",
                    "migration_api_restore_non_volatile_data", "migration_api_dump_non_volatile_data",
                    "migration_api_do_vornBox_store_data_sync", "migration_api_do_vornBox_picture_data_sync",
                    "migration_api_mountpartition", "migration_api_set_factory_item",
                    "migration_api_convert_factory_value_to_str", "migration_api_get_vornBox_migration_test_data",
                    "migration_api_assign_callback_getsize", "migration_api_assign_callback_getdata",
                    "migration_api_SetResetTunerGPIO", "migration_api_SetBootPartition",
                    "migration_api_GetBootPartition", "funptrretSize", "funptrretData", "get_Startegy",
                    "get_vemigration_instance", "migration_callback_fac_get_size", "migration_callback_fac_get_data",
                    // type-qualified names
                    "_Z20GetMigrationStrategyi", "_Z15migration_finalv",
                    "_ZN15MigrationCommon22SetVornBoxSystemConfigEv", "_ZN15MigrationCommon16ExecuteUserShellEPKcb",
                    "_ZN15MigrationCommon8miTVYearE", "_ZN15MigrationCommon8miVBYearE",
                    "_ZN15MigrationCommon12miTVMainChipE", "_ZN15MigrationCommon12miVBMainChipE",
                    "_ZN15MigrationCommon12bDLSupportedE"));
}

TEST(Library, HasAVersionedName)
{
    EXPECT_EQ(ReadElfFile(BuiltLibrary::Path()).name, "libVBMigration.so.1");
}

TEST(Library, ExportsEverythingUnderOneVersion)
{
    for (const auto& [name, version] : ReadElfFile(BuiltLibrary::Path()).exported) {
        EXPECT_EQ(version, "VBMIGRATION_1") << name;
    }
}

TEST(Library, TakesThePlatformsFunctionsFromThePlatform)
{
    EXPECT_THAT(ReadElfFile(BuiltLibrary::Path()).undefined,
                IsSupersetOf({"__dlog_print", "system_info_get_value_int", "system_info_get_value_string",
                              "tzplatform_mkpath", "GetMigrationItemSize", "GetMigrationItemData",
                              "SetMigrationItemData", "GetData", "DoVornBoxFactoryDatasSync", "eeprom_read",
                              "eeprom_write", "eeprom_write_migrated_mac", "micom_check_serdes_lock",
                              "micom_get_tv_side_mac_addr", "vb_get_file_size", "vb_import_buf", "vb_free_buffer"}));
}

TEST(Library, StartsCommandsInVforkChildrenAloneAndNoThread)
{
    const std::set<std::string> taken = ReadElfFile(BuiltLibrary::Path()).undefined;
    EXPECT_THAT(taken, IsSupersetOf({"vfork", "execl", "waitpid", "_exit"}));
    for (const char* other : {"fork", "clone", "system", "popen", "posix_spawn", "g_spawn_sync", "execv", "execve",
                              "pthread_create", "g_thread_new"}) {
        EXPECT_EQ(taken.count(other), 0U) << other;
    }
}

TEST(Library, ReadsNoEnvironmentOfItsOwn)
{
    const std::set<std::string> taken = ReadElfFile(BuiltLibrary::Path()).undefined;
    for (const char* reader : {"getenv", "secure_getenv", "g_getenv", "environ", "__environ"}) {
        EXPECT_EQ(taken.count(reader), 0U) << reader;
    }
}

TEST(Library, NeedsNothingButGLibThePlatformAndTheRuntime)
{
    std::set<std::string> others = ReadElfFile(BuiltLibrary::Path()).needed;
    for (const char* known : {"libgio-2.0.so.0", "libgobject-2.0.so.0", "libglib-2.0.so.0", "libvbset.so",
                              "libstdc++.so.6", "libgcc_s.so.1", "libm.so.6", "libc.so.6"}) {
        others.erase(known);
    }
    for (auto name = others.begin(); name != others.end();) {
        name = IsOfASanitizer(*name) ? others.erase(name) : std::next(name);
    }
    EXPECT_THAT(others, IsEmpty());
}

class LoadedLibrary : public OnSet {
 protected:
    LoadedLibrary()
    {
        Start();
        library_.emplace();
    }

    template <class Type>
    Type* Symbol(const char* name)
    {
        return library_->Exported<Type>(name);
    }

 private:
    std::optional<BuiltLibrary> library_;
};

TEST_F(LoadedLibrary, DoesNothingByBeingLoaded)
{
    EXPECT_THAT(Log(), IsEmpty());
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(*Symbol<int>("_ZN15MigrationCommon8miTVYearE"), -1);
    EXPECT_FALSE(*Symbol<bool>("_ZN15MigrationCommon12bDLSupportedE"));
    EXPECT_EQ(*Symbol<void*>("migration_callback_fac_get_size"), nullptr);
    EXPECT_EQ(*Symbol<void*>("migration_callback_fac_get_data"), nullptr);
}

TEST_F(LoadedLibrary, AnswersUnderItsSymbols)
{
    Fault("system_info.254", "17");
    Fault("system_info.253", "4");
    EXPECT_EQ(Symbol<int()>("_ZN15MigrationCommon22SetVornBoxSystemConfigEv")(), 0);
    EXPECT_EQ(*Symbol<int>("_ZN15MigrationCommon8miTVYearE"), 17);
    EXPECT_EQ(*Symbol<int>("_ZN15MigrationCommon12miTVMainChipE"), 4);
    void* const strategy = Symbol<void*()>("get_Startegy")();
    EXPECT_NE(strategy, nullptr);
    EXPECT_EQ(Symbol<void*(int)>("_Z20GetMigrationStrategyi")(13), strategy);
    EXPECT_NE(Symbol<void*()>("get_vemigration_instance")(), nullptr);
    Symbol<void()>("_Z15migration_finalv")();
    EXPECT_EQ(Symbol<void*()>("get_vemigration_instance")(), nullptr);
}
