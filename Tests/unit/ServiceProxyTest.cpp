// What the service client asks of GLib: bus, proxy, loops and replies.

#include <AllocationFailure.h>
#include <DBusServiceClient.h>
#include <TestSet.h>

#include <dlfcn.h>

#include <tuple>
#include <type_traits>

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::FieldsAre;
using ::testing::IsEmpty;
using ::testing::IsNull;

static_assert(std::has_virtual_destructor_v<DBusClient>);

namespace {

struct BusCall {
    GBusType type;
    GCancellable* cancellable;
    GError** error;
};

struct ProxyCall {
    GDBusConnection* connection;
    GDBusProxyFlags flags;
    GDBusInterfaceInfo* info;
    std::string name;
    std::string path;
    std::string interface;
    GCancellable* cancellable;
    GError** error;
};

std::vector<BusCall> busCalls;
std::vector<ProxyCall> proxyCalls;
std::vector<std::tuple<GMainContext*, gboolean>> loops;
std::vector<GError**> finishErrors;
int releasedLoops = 0;

GDBusConnection* connection = nullptr;
GDBusProxy* proxy = nullptr;
GMainLoop* lastLoop = nullptr;

int defaultTimeout = 0;           ///< 0: the proxy's own
const char* replySignature = "";  ///< of the false reply, "" for the true one

template <class Function>
Function Next(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

GDBusConnection* g_bus_get_sync(GBusType type, GCancellable* cancellable, GError** error)
{
    busCalls.push_back({type, cancellable, error});
    connection = Next<decltype(&::g_bus_get_sync)>("g_bus_get_sync")(type, cancellable, error);
    return connection;
}

GDBusProxy* g_dbus_proxy_new_sync(GDBusConnection* bus, GDBusProxyFlags flags, GDBusInterfaceInfo* info,
                                  const gchar* name, const gchar* path, const gchar* interface,
                                  GCancellable* cancellable, GError** error)
{
    proxyCalls.push_back({bus, flags, info, name, path, interface, cancellable, error});
    proxy = Next<decltype(&::g_dbus_proxy_new_sync)>("g_dbus_proxy_new_sync")(bus, flags, info, name, path, interface,
                                                                              cancellable, error);
    return proxy;
}

gint g_dbus_proxy_get_default_timeout(GDBusProxy* ofProxy)
{
    const auto next = Next<decltype(&::g_dbus_proxy_get_default_timeout)>("g_dbus_proxy_get_default_timeout");
    return defaultTimeout != 0 ? defaultTimeout : next(ofProxy);
}

GMainLoop* g_main_loop_new(GMainContext* context, gboolean isRunning)
{
    loops.emplace_back(context, isRunning);
    lastLoop = Next<decltype(&::g_main_loop_new)>("g_main_loop_new")(context, isRunning);
    return lastLoop;
}

void g_main_loop_unref(GMainLoop* loop)
{
    ++releasedLoops;
    Next<decltype(&::g_main_loop_unref)>("g_main_loop_unref")(loop);
}

GVariant* g_dbus_proxy_call_finish(GDBusProxy* ofProxy, GAsyncResult* result, GError** error)
{
    finishErrors.push_back(error);
    const auto next = Next<decltype(&::g_dbus_proxy_call_finish)>("g_dbus_proxy_call_finish");
    GVariant* const reply = next(ofProxy, result, error);
    if (*replySignature == '\0') {
        return reply;
    }
    g_variant_unref(reply);
    GVariant* const other = std::string(replySignature) == "(i)" ? g_variant_new("(i)", 7)
                                                                 : g_variant_new("(ss)", "3:5:0", "3:5:0");
    return g_variant_ref_sink(other);
}

}  // extern "C"

namespace {

class ServiceProxy : public OnSet {
 protected:
    ServiceProxy()
    {
        Start();
        StartService();
        busCalls.clear();  // the service's own
    }
};

}  // namespace

TEST_F(ServiceProxy, IsMadeOnceOnTheSystemBusForTheServicesOneObject)
{
    DBusClient& client = *DBusClient::Instance();
    client.PathExists("/dev/mtdblock3");
    EXPECT_TRUE(client.Create());
    client.PathExists("/dev/mtdblock3");
    EXPECT_THAT(busCalls, ElementsAre(FieldsAre(G_BUS_TYPE_SYSTEM, IsNull(), IsNull())));
    ASSERT_NE(connection, nullptr);
    EXPECT_THAT(proxyCalls, ElementsAre(FieldsAre(connection, G_DBUS_PROXY_FLAGS_NONE, IsNull(),
                                                  "com.vornbox.migration", "/com/vornbox/migration",
                                                  "com.vornbox.migration", IsNull(), IsNull())));
}

TEST_F(ServiceProxy, HasItsDefaultTimeoutLogged)
{
    defaultTimeout = 1234;
    DBusClient::Instance();
    EXPECT_EQ(Logged({"Create"}), (Messages{Info("[VBMD] [Client] : Default Timeout is [1234]ms ")}));
}

TEST_F(ServiceProxy, GetsForEveryCallALoopOfItsOwnOnTheDefaultContext)
{
    DBusClient& client = *DBusClient::Instance();
    unsigned char bytes[6] = {};
    int partition = 0;
    client.SendCmdToServer("mkdir -p /opt/tv/x");
    client.ReadOnServer("/dev/mtdblock3", 6, bytes);
    client.WriteOnServer("/dev/mtdblock3", 6, bytes);
    client.PathExists("/dev/mtdblock3");
    client.GetFileFromNUF();
    client.SendFileToNUF();
    client.SetBootPartition(1);
    client.GetBootPartition(&partition);
    EXPECT_EQ(loops.size(), 8U);
    EXPECT_THAT(loops, Each(FieldsAre(IsNull(), FALSE)));
    EXPECT_EQ(finishErrors.size(), 8U);
    EXPECT_THAT(finishErrors, Each(IsNull()));
}

TEST_F(ServiceProxy, GetsNoLoopForARefusedArgument)
{
    DBusClient& client = *DBusClient::Instance();
    const char* const noPath = nullptr;
    unsigned char bytes[6] = {};
    client.SendCmdToServer(nullptr);
    client.ReadOnServer(noPath, 6, bytes);
    client.WriteOnServer(nullptr, 6, bytes);
    client.PathExists(nullptr);
    EXPECT_THAT(loops, IsEmpty());
}

TEST_F(ServiceProxy, AReplyThatIsNotOneTextIsThatOfAFailedCall)
{
    DBusClient& client = *DBusClient::Instance();
    g_log_set_always_fatal(G_LOG_LEVEL_CRITICAL);  // and is not unpacked as if it were
    for (const char* signature : {"(i)", "(ss)"}) {
        replySignature = signature;
        unsigned char bytes[6] = {1, 2, 3, 4, 5, 6};
        Forget();
        EXPECT_EQ(client.PathExists("/opt/tv/nothing"), 0);
        EXPECT_EQ(Logged({"ResponseHandeler"}), (Messages{Info("[VBMD][Client] Client received: (null) ")}));
        EXPECT_TRUE(client.ReadOnServer("/dev/mtdblock3", 6, bytes));
        EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4, 5, 6));
        EXPECT_THAT(Logged({"BuffReadResponse"}), Contains(Error("[VBMD] [Client] Token[0] is null ")));
    }
}

TEST_F(ServiceProxy, OutlivesItsClientAndSoDoTheBusAndTheLastLoop)
{
    gpointer bus = nullptr;
    gpointer service = nullptr;
    {
        DBusClient client;
        const auto destroy = [](gpointer blocked) -> gboolean {
            static_cast<DBusClient*>(blocked)->Destroy();
            return G_SOURCE_REMOVE;
        };
        g_idle_add(destroy, &client);
        EXPECT_EQ(client.PathExists("/dev/mtdblock3"), -1);  // not connected: waits for that
        EXPECT_TRUE(client.Create());
        bus = connection;
        service = proxy;
        g_object_add_weak_pointer(G_OBJECT(bus), &bus);
        g_object_add_weak_pointer(G_OBJECT(service), &service);
    }
    EXPECT_NE(bus, nullptr);
    EXPECT_NE(service, nullptr);
    EXPECT_EQ(loops.size(), 1U);
    EXPECT_EQ(releasedLoops, 0);
    g_main_loop_unref(lastLoop);  // nobody else does
}

TEST_F(ServiceProxy, AClientThatCannotBeAllocatedIsTriedAgain)
{
    allocation_failure::FailNothrow(1);
    EXPECT_EQ(DBusClient::Instance(), nullptr);
    EXPECT_TRUE(allocation_failure::Stop());
    EXPECT_THAT(Log(), IsEmpty());
    EXPECT_THAT(busCalls, IsEmpty());

    DBusClient* const client = DBusClient::Instance();
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(client->PathExists("/dev/mtdblock3"), 0);
    EXPECT_EQ(Logged({"DBusClient"}), (Messages{Info("Instance of DBusClient in Migration Created ")}));
}
