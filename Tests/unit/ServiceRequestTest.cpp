// What the service client asks: request texts, timeouts, refused arguments, and the encoders.

#include <CaseName.h>
#include <DBusServiceClient.h>
#include <TestSet.h>
#include <VBMigration.h>

#include <dlfcn.h>

#include <cctype>
#include <climits>
#include <functional>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

/** How the last call of the proxy was made. */
struct ProxyCall {
    std::string method;
    std::string type;
    int flags = -1;
    int timeout = 0;
    bool canBeCancelled = true;
    const void* data = nullptr;
};

ProxyCall lastCall;

}  // namespace

extern "C" void g_dbus_proxy_call(GDBusProxy* proxy, const gchar* method, GVariant* parameters, GDBusCallFlags flags,
                                  gint timeout, GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data)
{
    static const auto next = reinterpret_cast<decltype(&::g_dbus_proxy_call)>(dlsym(RTLD_NEXT, "g_dbus_proxy_call"));
    lastCall = {method, g_variant_get_type_string(parameters), flags, timeout, cancellable != nullptr, data};
    next(proxy, method, parameters, flags, timeout, cancellable, callback, data);
}

namespace {

class ServiceRequest : public OnSet {
 protected:
    ServiceRequest() { Start(); }

    /** The client, connected to the set's service. */
    DBusClient& Client()
    {
        if (client_ == nullptr) {
            StartService();
            client_ = DBusClient::Instance();
            Forget();
        }
        return *client_;
    }

    std::vector<std::string> Requests() const { return Calls({"request"}); }

 private:
    DBusClient* client_ = nullptr;
};

using Operation = std::function<void(DBusClient&)>;

unsigned char threeBytes[] = {0x00, 0x1A, 0xFF};
unsigned char mac[6] = {};
int partition = 0;

struct RequestCase {
    const char* name;
    const char* function;
    Operation operation;
    std::string text;
    int timeout;
};

std::ostream& operator<<(std::ostream& out, const RequestCase& request)
{
    return out << request.name;
}

constexpr int kNoTimeout = 2147483647;
constexpr int kProxyTimeout = -1;

const RequestCase kRequests[] = {
    {"Command", "SendCmdToServer",
     [](DBusClient& client) { client.SendCmdToServer("/bin/spi_init.sh mount migration"); },
     "0:/bin/spi_init.sh mount migration:EMPTY:EMPTY", kNoTimeout},
    {"Read", "ReadOnServer", [](DBusClient& client) { client.ReadOnServer("/some/path", 6, mac); },
     "1:/some/path:6:EMPTY", kProxyTimeout},
    {"ReadByString", "ReadOnServer", [](DBusClient& client) { client.ReadOnServer(std::string("/a path"), 3, mac); },
     "1:/a path:3:EMPTY", kProxyTimeout},
    {"Write", "WriteOnServer", [](DBusClient& client) { client.WriteOnServer("/some/path", 3, threeBytes); },
     "2:/some/path:3:001AFF", kProxyTimeout},
    {"WriteNothing", "WriteOnServer", [](DBusClient& client) { client.WriteOnServer("/p", 0, threeBytes); },
     "2:/p:0:", kProxyTimeout},
    {"WriteLessThanNothing", "WriteOnServer", [](DBusClient& client) { client.WriteOnServer("/p", -2, threeBytes); },
     "2:/p:-2:", kProxyTimeout},
    {"PathExists", "PathExists", [](DBusClient& client) { client.PathExists("/some/path"); },
     "3:/some/path:EMPTY:EMPTY", kProxyTimeout},
    {"FetchArchive", "GetFileFromNUF", [](DBusClient& client) { client.GetFileFromNUF(); }, "6:EMPTY:EMPTY:EMPTY",
     kNoTimeout},
    {"SendArchive", "SendFileToNUF", [](DBusClient& client) { client.SendFileToNUF(); }, "7:EMPTY:EMPTY:EMPTY",
     kNoTimeout},
    {"GetBootPartition", "GetBootPartition", [](DBusClient& client) { client.GetBootPartition(&partition); },
     "8:EMPTY:EMPTY:EMPTY", kNoTimeout},
    {"SetBootPartition", "SetBootPartition", [](DBusClient& client) { client.SetBootPartition(2); },
     "9:2:EMPTY:EMPTY", kNoTimeout},
    {"PathWithColonsAndBlanks", "PathExists", [](DBusClient& client) { client.PathExists(" /a:b /c:"); },
     "3: /a:b /c::EMPTY:EMPTY", kProxyTimeout},
    {"EmptyCommand", "SendCmdToServer", [](DBusClient& client) { client.SendCmdToServer(""); }, "0::EMPTY:EMPTY",
     kNoTimeout},
};

class ServiceRequestOf : public ServiceRequest, public ::testing::WithParamInterface<RequestCase> {};

}  // namespace

TEST_P(ServiceRequestOf, IsOneTextWithItsTimeoutForTheOneMethod)
{
    GetParam().operation(Client());

    EXPECT_THAT(Requests(), ElementsAre(GetParam().text));
    EXPECT_EQ(lastCall.method, "ExecuteUserShell");
    EXPECT_EQ(lastCall.type, "(s)");
    EXPECT_EQ(lastCall.flags, G_DBUS_CALL_FLAGS_NONE);
    EXPECT_EQ(lastCall.timeout, GetParam().timeout);
    EXPECT_FALSE(lastCall.canBeCancelled);
}

TEST_P(ServiceRequestOf, IsTracedAroundTheCall)
{
    GetParam().operation(Client());
    const Message here = Info("  [VBMD] [Client] Reached here ");
    EXPECT_THAT(Logged({GetParam().function}), ElementsAre(here, here));
    const Messages call = Logged({GetParam().function, "ResponseHandeler", "BuffReadResponse"});
    EXPECT_EQ(call.front(), here);
    EXPECT_EQ(call.back(), here);
    EXPECT_GE(call.size(), 4U);
    for (const LogLine& line : Log()) {
        EXPECT_EQ(line.unit, "DBusServiceClient.cpp");
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, ServiceRequestOf, ::testing::ValuesIn(kRequests), CaseName<RequestCase>);

// Numbers.

class NumberInRequest : public ServiceRequest, public ::testing::WithParamInterface<const char*> {};

TEST_P(NumberInRequest, IsWrittenInDecimal)
{
    const std::string text = GetParam();
    const int number = std::stoi(text);
    Client().SetBootPartition(number);
    EXPECT_THAT(Requests(), ElementsAre("9:" + text + ":EMPTY:EMPTY"));
    EXPECT_EQ(Set().BootPartition(), number);
    EXPECT_THAT(Logged({"IntToGstring"}),
                Contains(Info("[VBMD][Client] value for conversion  =  [" + text + "] of conversion ")));
    EXPECT_THAT(Logged({"IntToGstring"}), Contains(Info("[VBMD][Client] converted value [" + text + "] ")));
}

INSTANTIATE_TEST_SUITE_P(Values, NumberInRequest,
                         ::testing::Values("0", "-5", "99999", "-9999", "100000", "-10000", "2147483647",
                                           "-2147483648"),
                         CaseName<const char*>);

TEST_F(ServiceRequest, TheExportedFunctionSendsEveryPartitionNumber)
{
    Fault("system_info.254", "13");
    StartService();
    EXPECT_EQ(migration_api_SetBootPartition(INT_MIN), 0);
    EXPECT_EQ(migration_api_SetBootPartition(INT_MAX), 0);
    EXPECT_THAT(Requests(), ElementsAre("9:-2147483648:EMPTY:EMPTY", "9:2147483647:EMPTY:EMPTY"));
    int read = 0;
    EXPECT_EQ(migration_api_GetBootPartition(&read), 0);
    EXPECT_EQ(read, INT_MAX);
}

// Refused arguments.

TEST_F(ServiceRequest, ANullCommandFailsWithoutAMessageOrARequest)
{
    EXPECT_EQ(Client().SendCmdToServer(nullptr), -1);
    EXPECT_THAT(Logged(), IsEmpty());
    EXPECT_THAT(Requests(), IsEmpty());
}

TEST_F(ServiceRequest, ATextThatIsNotUtf8IsNotSentAndFails)
{
    StartService();
    EXPECT_EQ(Client().SendCmdToServer("mkdir -p /opt/tv/\xFF"), -1);
    EXPECT_EQ(Client().PathExists("/opt/tv/\xFF"), -1);
    EXPECT_TRUE(Client().ReadOnServer("/opt/tv/\xFF", 6, mac));
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_EQ(Client().PathExists("/dev/mtdblock3"), 0);
}

TEST_F(ServiceRequest, AReadWithoutPathOrBufferFails)
{
    const Message error = Error("[VBMD] Client : Buff send by Caller is NULL");
    const char* const noPath = nullptr;
    EXPECT_FALSE(Client().ReadOnServer(noPath, 6, mac));
    EXPECT_FALSE(Client().ReadOnServer("/some/path", 6, nullptr));
    EXPECT_FALSE(Client().ReadOnServer(std::string("/some/path"), 6, nullptr));
    EXPECT_THAT(Logged(), ElementsAre(error, error, error));
    EXPECT_THAT(Requests(), IsEmpty());
}

TEST_F(ServiceRequest, AWriteWithoutPathOrBufferFails)
{
    const Message error = Error("[VBMD] Client : Buff  / PATH send by Caller is NULL");
    EXPECT_EQ(Client().WriteOnServer(nullptr, 3, threeBytes), -1);
    EXPECT_EQ(Client().WriteOnServer("/some/path", 3, nullptr), -1);
    EXPECT_THAT(Logged(), ElementsAre(error, error));
    EXPECT_THAT(Requests(), IsEmpty());
}

TEST_F(ServiceRequest, ANullPathDoesNotExist)
{
    EXPECT_EQ(Client().PathExists(nullptr), -1);
    EXPECT_THAT(Logged(), ElementsAre(Error("[VBMD] Client : Buff  / PATH send by Caller is NULL")));
    EXPECT_THAT(Requests(), IsEmpty());
}

// What a write logs of its bytes.

TEST_F(ServiceRequest, AWriteLogsItsSizeItsHexTextAndTheFinishedRequest)
{
    Client().WriteOnServer("/some/path", 3, threeBytes);
    EXPECT_THAT(Logged({"CovertHexBuffToString", "CreateWiteBuffParam"}),
                ElementsAre(Info("[VBMD][Client] size =  [3] of conversion"),
                            Info("[VBMD][Client] Final String 001AFF  "),
                            Info("[VBMD] [Client] : Buff sending : 2:/some/path:3:001AFF ")));
}

// The encoders and decoders by themselves.

TEST_F(ServiceRequest, RequestTextsAreAppended)
{
    DBusClient client;
    std::string text = "before ";
    client.CreateESParam("ls", text);
    EXPECT_EQ(text, "before 0:ls:EMPTY:EMPTY");
    client.CreateReadBuffParam("/p", 6, text);
    EXPECT_EQ(text, "before 0:ls:EMPTY:EMPTY1:/p:6:EMPTY");
    unsigned char bytes[] = {0x00, 0x0F, 0xA0, 0xFF};
    text.clear();
    client.CreateWiteBuffParam("/p", 4, bytes, text);
    EXPECT_EQ(text, "2:/p:4:000FA0FF");
}

TEST_F(ServiceRequest, AHexDigitHasItsValueAndEveryOtherCharacterZero)
{
    DBusClient client;
    const std::string digits = "0123456789abcdef";
    for (int c = CHAR_MIN; c <= CHAR_MAX; ++c) {
        const std::size_t value = c > 0 ? digits.find(static_cast<char>(std::tolower(c))) : std::string::npos;
        const int expected = value == std::string::npos ? 0 : static_cast<int>(value);
        EXPECT_EQ(client.ConvertHexToint(static_cast<char>(c)), expected) << "character " << c;
    }
}

TEST_F(ServiceRequest, HexTextIsDecodedInPairs)
{
    DBusClient client;
    char text[] = "001aFf9";
    unsigned char bytes[5] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    client.ConvertStrToUchar(text, 6, bytes);
    EXPECT_THAT(bytes, ElementsAre(0x00, 0x1A, 0xFF, 0xEE, 0xEE));
    client.ConvertStrToUchar(text, 7, bytes);  // an odd length takes the terminator along
    EXPECT_THAT(bytes, ElementsAre(0x00, 0x1A, 0xFF, 0x90, 0xEE));
    client.ConvertStrToUchar(text, 0, bytes);
    client.ConvertStrToUchar(text, -2, bytes);
    EXPECT_THAT(bytes, ElementsAre(0x00, 0x1A, 0xFF, 0x90, 0xEE));
}
