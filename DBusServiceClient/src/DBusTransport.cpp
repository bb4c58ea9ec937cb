// The connection to the migration service, the blocking call, and the replies.

#include <DBusServiceClient.h>
#include <Log.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#define LOG_UNIT "DBusServiceClient.cpp"

namespace {

constexpr const char* kServiceName = "com.vornbox.migration";
constexpr const char* kObjectPath = "/com/vornbox/migration";
constexpr const char* kInterfaceName = kServiceName;
constexpr const char* kMethod = "ExecuteUserShell";

constexpr int kReplyTokens = 4;
constexpr unsigned int kQuitRetryMs = 1;
constexpr int kMacSize = 6;
constexpr int kMacDigits = 2 * kMacSize;

/** The reply text of a call: null when the call failed or the reply is not one string. */
const char* ReplyText(GVariant* reply)
{
    const char* text = nullptr;
    if (reply != nullptr && g_variant_is_of_type(reply, G_VARIANT_TYPE("(s)"))) {
        g_variant_get(reply, "(&s)", &text);
    }
    return text;
}

/** Splits a reply text; no text gives no tokens. */
char** SplitReply(const char* text)
{
    return text != nullptr ? g_strsplit(text, ":", kReplyTokens) : nullptr;
}

/** The number at the start of a token: 0 without one, the nearest int when it is too large. */
int ToInt(const char* token)
{
    const long long value = std::strtoll(token, nullptr, 10);
    return static_cast<int>(std::clamp<long long>(value, INT_MIN, INT_MAX));
}

/** Only these replies carry a status. The file transfers, 6 and 7, are not among them: a service that answers under its
 * own request's code leaves them at -1. */
bool CarriesStatus(int code)
{
    return code == 0 || code == 2 || code == 3 || code == 8 || code == 9;
}

}  // namespace

std::atomic<DBusClient*> DBusClient::mDBusCInstance{nullptr};
std::mutex DBusClient::mSingletonMutex;

DBusClient* DBusClient::Instance()
{
    if (DBusClient* const instance = mDBusCInstance) {
        return instance;
    }
    const std::lock_guard<std::mutex> lock(mSingletonMutex);
    if (mDBusCInstance == nullptr) {
        DBusClient* const instance = new (std::nothrow) DBusClient;
        if (instance != nullptr) {
            instance->Create();
            mDBusCInstance = instance;
        }
    }
    return mDBusCInstance;
}

DBusClient::DBusClient() noexcept : mDelimiter(":")
{
    LOG_INFO("Instance of DBusClient in Migration Created ");
}

// Lives until the process ends, so connection, proxy and loop are left to it.
DBusClient::~DBusClient() = default;

bool DBusClient::Create()
{
    if (mConnection == nullptr) {
        mConnection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
        if (mConnection != nullptr) {
            g_dbus_connection_set_exit_on_close(mConnection, FALSE);  // a lost bus must not end the caller's process
        }
    }
    if (mProxy == nullptr && mConnection != nullptr) {
        mProxy = g_dbus_proxy_new_sync(mConnection, G_DBUS_PROXY_FLAGS_NONE, nullptr, kServiceName, kObjectPath,
                                       kInterfaceName, nullptr, nullptr);
    }
    LOG_INFO("[VBMD] [Client] : Default Timeout is [%d]ms ",
             mProxy != nullptr ? g_dbus_proxy_get_default_timeout(mProxy) : -1);
    mConnected = true;  // also without a bus: its calls then count as failed calls
    return true;
}

bool DBusClient::Destroy()
{
    const std::lock_guard<std::mutex> lock(mCallMutex);
    if (mLoop == nullptr) {
        return !mConnected;
    }
    mConnected = false;
    QuitLoop();
    return true;
}

/** Sends a request, if there is one, and blocks until its reply has been handled. Without a request, that is on an
 * unconnected client, it blocks until Destroy(). */
void DBusClient::Exchange(const char* operation, const std::optional<std::string>& request, int timeoutMs)
{
    LOG_FOR(LOG_UNIT, operation, kLogInfo, "  [VBMD] [Client] Reached here ");
    BeginCall();
    if (!request) {
        g_main_loop_run(mLoop);
    } else if (!g_utf8_validate(request->c_str(), -1, nullptr)) {
        // A bad argument, which no bus carries: no call is made, and the status stays at -1.
    } else if (mProxy == nullptr) {
        HandleReply(nullptr);  // a failed call, and no callback to wait for
    } else {
        g_dbus_proxy_call(mProxy, kMethod, g_variant_new("(s)", request->c_str()), G_DBUS_CALL_FLAGS_NONE, timeoutMs,
                          nullptr, Callback, GUINT_TO_POINTER(mCall));
        g_main_loop_run(mLoop);
    }
    EndCall();
    LOG_FOR(LOG_UNIT, operation, kLogInfo, "  [VBMD] [Client] Reached here ");
}

void DBusClient::BeginCall()
{
    const std::lock_guard<std::mutex> lock(mCallMutex);
    if (mLoop != nullptr) {
        g_main_loop_unref(mLoop);
    }
    mLoop = g_main_loop_new(nullptr, FALSE);
    mLoopWaits = true;
    ++mCall;
}

void DBusClient::EndCall()
{
    const std::lock_guard<std::mutex> lock(mCallMutex);
    mLoopWaits = false;
    mReadBuff = nullptr;  // after every reply; one that comes after Destroy() must find no buffer either
    mReadSize = 0;
}

/** Ends the call that waits, if one does; the mutex is held. */
void DBusClient::QuitLoop()
{
    if (!mLoopWaits) {
        return;
    }
    if (g_main_loop_is_running(mLoop)) {
        g_main_loop_quit(mLoop);
        return;
    }
    // Made but not running yet: a quit now would be forgotten when it starts to run.
    mCallToQuit = mCall;
    GSource* const source = g_timeout_source_new(kQuitRetryMs);
    g_source_set_priority(source, G_PRIORITY_HIGH);
    g_source_set_callback(source, QuitWaitingLoop, this, nullptr);
    g_source_attach(source, nullptr);
    g_source_unref(source);
}

/** Quits a loop until its call has returned: another thread may iterate the default context before it runs. */
gboolean DBusClient::QuitWaitingLoop(void* data)
{
    DBusClient& client = *static_cast<DBusClient*>(data);
    const std::lock_guard<std::mutex> lock(client.mCallMutex);
    if (!client.mLoopWaits || client.mCallToQuit != client.mCall) {
        return G_SOURCE_REMOVE;
    }
    g_main_loop_quit(client.mLoop);
    return G_SOURCE_CONTINUE;
}

void Callback(GObject*, GAsyncResult* result, void* call)
{
    DBusClient::Instance()->FinishCall(result, GPOINTER_TO_UINT(call));
}

void DBusClient::FinishCall(GAsyncResult* result, unsigned int call)
{
    const std::lock_guard<std::mutex> lock(mCallMutex);
    g_autoptr(GVariant) reply = g_dbus_proxy_call_finish(mProxy, result, nullptr);
    if (call == mCall && mLoopWaits) {
        HandleReply(reply);
        QuitLoop();
    }
}

void DBusClient::HandleReply(GVariant* reply)
{
    if (mReadSize != 0) {
        BuffReadResponse(reply);
    } else {
        ResponseHandeler(reply);
    }
}

void DBusClient::ResponseHandeler(GVariant* reply)
{
    const char* const text = ReplyText(reply);
    LOG_INFO("[VBMD][Client] Client received: %s ", text != nullptr ? text : "(null)");
    g_auto(GStrv) tokens = SplitReply(text);
    if (tokens == nullptr) {
        mStatus = 0;  // a failed call reads as success
    } else if (tokens[0] == nullptr) {
        LOG_ERROR("[VBMD] [Client] Token[0] is null ");
        mStatus = 0;  // and so does an empty reply, while a wrong code below does not
    } else if (CarriesStatus(ToInt(tokens[0]))) {
        if (tokens[1] != nullptr) {
            mStatus = ToInt(tokens[1]);
            if (tokens[2] != nullptr) {
                mValue = ToInt(tokens[2]);
            }
        }
        LOG_INFO("[VBMD] [Client]  status from server : [%d] ", mStatus);
    } else {
        LOG_ERROR("[VBMD] [Client] Wrong Function called");
    }
}

void DBusClient::BuffReadResponse(GVariant* reply)
{
    LOG_INFO("[VBMD] [Client]  Being Called ");
    const char* const text = ReplyText(reply);
    LOG_INFO("[VBMD][Client] Client received: %s ", text != nullptr ? text : "(null)");
    g_auto(GStrv) tokens = SplitReply(text);
    if (tokens == nullptr || tokens[0] == nullptr) {
        LOG_ERROR("[VBMD] [Client] Token[0] is null ");
    } else if (ToInt(tokens[0]) != 1) {
        LOG_ERROR("[VBMD] [Client] Wrong Function called");
    } else if (tokens[1] == nullptr || ToInt(tokens[1]) == 0) {
        LOG_ERROR("[VBMD] [Client] Message from Server: IS NULL");
    } else {
        const char* const hex = tokens[2] != nullptr ? tokens[2] : "";
        LOG_INFO("[VBMD] [Client]  Len %d, Buff %s from server", ToInt(tokens[1]), hex);
        // Always a whole MAC address, whatever count the reply names; digits that are missing read as 0.
        char digits[kMacDigits + 1] = {};
        std::strncpy(digits, hex, kMacDigits);
        unsigned char bytes[kMacSize] = {};
        ConvertStrToUchar(digits, kMacDigits, bytes);
        std::copy_n(bytes, std::clamp(mReadSize, 0, kMacSize), mReadBuff);
    }
}
