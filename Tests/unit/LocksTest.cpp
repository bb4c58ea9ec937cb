// Which locks the library holds, as seen from inside it: at each of its messages and at its calls of the caller.

#include "ExportedCalls.h"

#include <DBusServiceClient.h>
#include <FactoryInterface.h>
#include <PlatformLog.h>
#include <TestSet.h>
#include <VBMigration.h>

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <tuple>
#include <utility>

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::FieldsAre;
using ::testing::IsEmpty;

namespace {

thread_local int held = 0;   ///< mutexes that this thread holds
thread_local int taken = 0;  ///< and how often it has taken one, the platform log's own left out

/** Whether the mutexes of this thread refuse, the platform log's own left out. */
thread_local bool refuse = false;

/** Function, text, and the number of locks held. */
using MessageUnderLocks = std::tuple<std::string, std::string, int>;
std::vector<MessageUnderLocks> messages;

int heldInCallback = -1;

template <class Function>
Function Next(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex)
{
    static const auto next = Next<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
    const int error = refuse ? EINVAL : next(mutex);
    held += error == 0 ? 1 : 0;
    taken += error == 0 ? 1 : 0;
    return error;
}

extern "C" int pthread_mutex_unlock(pthread_mutex_t* mutex)
{
    static const auto next = Next<int (*)(pthread_mutex_t*)>("pthread_mutex_unlock");
    held -= 1;
    return next(mutex);
}

int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
{
    char text[1024];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::string message = text;
    const std::size_t function = message.find(": ") + 2;
    messages.emplace_back(message.substr(function, message.find('(') - function),
                          message.substr(message.find(") > ") + 4), held);
    const int takenBefore = taken;
    const bool refused = std::exchange(refuse, false);
    static const auto next = Next<decltype(&::__dlog_print)>("__dlog_print");
    const int result = next(log_id, priority, tag, "%s", text);
    taken = takenBefore;
    refuse = refused;
    return result;
}

namespace {

class Locks : public OnSet {
 protected:
    Locks()
    {
        Start();
        messages.clear();
        taken = 0;
    }
};

int SizeOfAnItem(unsigned int uid, int* size)
{
    heldInCallback = held;
    return GetMigrationItemSize(uid, size);
}

}  // namespace

TEST_F(Locks, TheStartUpHoldsOneFromItsFirstMessageToItsLast)
{
    ASSERT_NE(get_Startegy(), nullptr);

    ASSERT_GT(messages.size(), 10U);
    EXPECT_THAT(messages.front(), FieldsAre("get_Startegy", "get_Startegy VBMigration ", 0));
    for (std::size_t i = 1; i < messages.size(); ++i) {
        EXPECT_EQ(std::get<int>(messages[i]), 1) << std::get<0>(messages[i]) << ": " << std::get<1>(messages[i]);
    }
    EXPECT_EQ(held, 0);
}

TEST_F(Locks, TheTeardownHoldsOneBetweenItsFirstMessageAndItsLast)
{
    get_vemigration_instance();
    messages.clear();

    migration_final();

    EXPECT_THAT(messages,
                ElementsAre(FieldsAre("migration_final", "migration_final  ", 0),
                            FieldsAre("migration_final", "migration_final lock achieved", 1),
                            FieldsAre("migration_final", "pMigrationService Deleted VBMigration ", 1),
                            FieldsAre("~PictureDataMigration", " PictureDataMigration Destructor called \n", 1),
                            FieldsAre("~VEMigrationImpl", "Destructor called ", 1),
                            FieldsAre("migration_final", "pVEMigration destructed VBMigration ", 1),
                            FieldsAre("migration_final", "migration_final lock over", 0)));
    EXPECT_EQ(held, 0);
}

TEST_F(Locks, ObjectsThatExistAreGivenWithoutOne)
{
    get_Startegy();
    DBusClient::Instance();
    taken = 0;
    get_Startegy();
    get_vemigration_instance();
    GetMigrationStrategy(15);
    DBusClient::Instance();
    EXPECT_EQ(taken, 0);
}

TEST_F(Locks, ARefusedYearGivesTheLockBack)
{
    EXPECT_EQ(GetMigrationStrategy(16), nullptr);
    EXPECT_EQ(taken, 1);
    EXPECT_EQ(held, 0);
    EXPECT_THAT(messages, Each(FieldsAre("GetMigrationStrategy", ::testing::_, 1)));
}

TEST_F(Locks, ThatCannotBeTakenGiveNoObjectAndNoException)
{
    refuse = true;
    EXPECT_EQ(get_Startegy(), nullptr);
    EXPECT_EQ(get_vemigration_instance(), nullptr);
    EXPECT_EQ(GetMigrationStrategy(15), nullptr);
    EXPECT_NO_THROW(migration_final());
    refuse = false;
    EXPECT_NE(get_Startegy(), nullptr);
    EXPECT_NE(get_vemigration_instance(), nullptr);
}

TEST_F(Locks, OperationsHoldNone)
{
    StartService();
    get_Startegy();
    DBusClient::Instance();
    migration_api_assign_callback_getsize(SizeOfAnItem);
    messages.clear();

    Notify();
    migration_api_dump_non_volatile_data();
    migration_api_restore_non_volatile_data();
    migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI);
    migration_api_set_factory_item(1713, 1);
    migration_api_get_vornBox_migration_test_data(20);

    std::vector<MessageUnderLocks> underALock;
    for (const MessageUnderLocks& message : messages) {
        // A reply is handled under the lock that keeps it from a call that was ended meanwhile.
        if (std::get<int>(message) != 0 && std::get<0>(message) != "ResponseHandeler") {
            underALock.push_back(message);
        }
    }
    EXPECT_GT(messages.size(), 100U);
    EXPECT_THAT(underALock, IsEmpty());
    EXPECT_EQ(heldInCallback, 0);
}

TEST_F(Locks, TheServiceClientIsMadeUnderOne)
{
    DBusClient::Instance();
    EXPECT_THAT(messages,
                ElementsAre(FieldsAre("DBusClient", "Instance of DBusClient in Migration Created ", 1),
                            FieldsAre("Create", "[VBMD] [Client] : Default Timeout is [-1]ms ", 1)));
    EXPECT_EQ(held, 0);
}
