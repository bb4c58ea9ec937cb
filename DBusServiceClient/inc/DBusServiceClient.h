/** @file
 * The client of the privileged migration service.
 */
#pragma once

#include <gio/gio.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <string>

/** The process-wide client of the migration service (system bus, "com.vornbox.migration").
 *
 * An operation sends one request text, blocks the calling thread in a main loop on the default context until the reply
 * has come, and returns what the reply says. Calls must not overlap. A call that fails (no bus, no service, error reply,
 * timeout) reads as status 0: success, except to a write, whose status is a count. A request that is not UTF-8 is not sent.
 * The client does not reconnect to a lost bus.
 */
class DBusClient {
 public:
    /** @return the one client, made and connected by the first call; null when it cannot be allocated */
    static DBusClient* Instance();

    DBusClient() noexcept;
    virtual ~DBusClient();
    DBusClient(const DBusClient&) = delete;
    DBusClient& operator=(const DBusClient&) = delete;

    /** Connects to the bus and makes the proxy; what fails is not found out: calls then count as failed calls.
     * @return always true */
    bool Create();

    /** Ends a blocked call, from any thread, and disconnects: every later operation blocks until the next Destroy(), or
     * until Create() connects again.
     * @return false only while connected and before the first call */
    bool Destroy();

    /** Runs a command line on the service; waits without limit.
     * @return its status; -1 for null */
    int SendCmdToServer(const char* cmd);

    /** Reads the first bytes of a file on the service; waits for the proxy's default timeout.
     * @param path  the file
     * @param size  number of bytes, at most 6 (a MAC address)
     * @param buf   receives them; left alone when the service gave none
     * @return true whenever both pointers are given, whatever the service answered */
    bool ReadOnServer(const char* path, const int& size, unsigned char* buf);
    /** The same for a path that is a string. */
    bool ReadOnServer(const std::string& path, const int& size, unsigned char* buf);

    /** Writes a file on the service; waits for the proxy's default timeout.
     * @return the number of bytes the service wrote; -1 for a null pointer */
    int WriteOnServer(const char* path, const int& size, unsigned char* buf);

    /** @return 0 when the path exists on the service side; -1 for null; waits for the proxy's default timeout */
    int PathExists(const char* path);

    /** Has the service fetch the backup archive from a box of year 13; waits without limit.
     * @return status; -1 for a reply that names this request's own code */
    int GetFileFromNUF();

    /** Has the service send the backup archive to a box of year 13; waits without limit.
     * @return status; -1 for a reply that names this request's own code */
    int SendFileToNUF();

    /** Selects the boot partition; waits without limit. @return status */
    int SetBootPartition(int partition);

    /** Reads the boot partition; waits without limit.
     * @param partition  not null; receives the number, -1 without an accepted reply
     * @return status */
    int GetBootPartition(int* partition);

    // Encoding.

    /** Appends the request that runs a command line. */
    void CreateESParam(const char* cmd, std::string& out);
    /** Appends the request that reads a file. */
    void CreateReadBuffParam(const char* path, const int& size, std::string& out);
    /** Appends the request that writes a file. */
    void CreateWiteBuffParam(const char* path, const int& size, unsigned char* buf, std::string& out);
    /** @return the value of a hexadecimal digit, 0 for every other character */
    int ConvertHexToint(char c);
    /** Turns pairs of hexadecimal digits into bytes.
     * @param text    the digits, with a terminator: of an odd number the last one is paired with that
     * @param length  number of digits
     * @param out     receives a byte for each pair */
    void ConvertStrToUchar(char* text, const int& length, unsigned char* out);

    /** Takes the reply of a call by the number that the call was given, and ends it. A reply to a call that Destroy() has
     * ended is dropped. */
    void FinishCall(GAsyncResult* result, unsigned int call);

 private:
    // Null is the reply of a failed call.
    void HandleReply(GVariant* reply);
    void ResponseHandeler(GVariant* reply);
    void BuffReadResponse(GVariant* reply);

    std::string RequestText(int code, const std::string& first, const std::string& second, const std::string& third);
    int StatusOf(const char* operation, int code, const std::string& first, int timeoutMs);
    void Exchange(const char* operation, const std::optional<std::string>& request, int timeoutMs);
    void BeginCall();
    void EndCall();
    void QuitLoop();
    static gboolean QuitWaitingLoop(void* client);

    static std::atomic<DBusClient*> mDBusCInstance;
    static std::mutex mSingletonMutex;

    GDBusConnection* mConnection = nullptr;
    GDBusProxy* mProxy = nullptr;
    GMainLoop* mLoop = nullptr;  // of the most recent call
    std::atomic<bool> mConnected{false};
    int mStatus = 0;
    int mValue = 0;
    unsigned char* mReadBuff = nullptr;
    int mReadSize = 0;
    std::string mDelimiter;

    // What follows, and the reply members above, are guarded against Destroy() and a host's own main loop in other threads.
    std::mutex mCallMutex;
    bool mLoopWaits = false;       // from the making of a call's loop until it has returned
    unsigned int mCall = 0;        // number of the most recent call
    unsigned int mCallToQuit = 0;  // the one that a waiting quit is meant for
};

/** Completion callback of every call. */
void Callback(GObject* source, GAsyncResult* result, void* data);
