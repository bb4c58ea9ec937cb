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
 * timeout) reads as status 0, which is success to every caller. The client does not reconnect to a lost bus.
 */
class DBusClient {
 public:
    /** @return the one client, made and connected by the first call; null when it cannot be allocated */
    static DBusClient* Instance();

    DBusClient();
    virtual ~DBusClient();
    DBusClient(const DBusClient&) = delete;
    DBusClient& operator=(const DBusClient&) = delete;

    /** Connects to the bus and makes the proxy; what fails is found out by the first call.
     * @return always true */
    bool Create();

    /** Ends a blocked call, from any thread, and disconnects: every later operation blocks until the next Destroy().
     * @return false only while connected and before the first call */
    bool Destroy();

    /** Runs a command line on the service; waits without limit.
     * @return its status; -1 for null */
    int SendCmdToServer(const char* cmd);

    /** Reads the first bytes of a file on the service; waits for the proxy's default timeout.
     * @param size  number of bytes, at most 6 (a MAC address)
     * @param buf   receives them; left alone when the service gave none
     * @return true whenever both pointers are given, whatever the service answered */
    bool ReadOnServer(const char* path, const int& size, unsigned char* buf);
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

    /** Selects the boot partition of the box; waits without limit. @return status */
    int SetBootPartition(int partition);

    /** Reads the boot partition of the box; waits without limit.
     * @param partition  not null; receives the number, -1 without an accepted reply
     * @return status */
    int GetBootPartition(int* partition);

    // Encoding.
    void CreateESParam(const char* cmd, std::string& out);
    void CreateReadBuffParam(const char* path, const int& size, std::string& out);
    void CreateWiteBuffParam(const char* path, const int& size, unsigned char* buf, std::string& out);
    int ConvertHexToint(char c);
    void ConvertStrToUchar(char* text, const int& length, unsigned char* out);

    // Reply handlers; without a result the call counts as one that failed.
    void ResponseHandeler(GObject* source, GAsyncResult* result, void* data);
    void BuffReadResponse(GObject* source, GAsyncResult* result, void* data);

    /** True while a buffer read is pending, so that its reply goes to BuffReadResponse(). */
    bool IsReadPending() const { return mReadSize != 0; }

 private:
    std::string RequestText(int code, const std::string& first, const std::string& second, const std::string& third);
    int StatusOf(const char* operation, int code, const std::string& first, int timeoutMs);
    void Exchange(const char* operation, const std::optional<std::string>& request, int timeoutMs);
    bool Send(const std::string& request, int timeoutMs);
    GVariant* FinishCall(GAsyncResult* result);
    void QuitLoop();
    static gboolean QuitWaitingLoop(void* loop);

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

    std::mutex mLoopMutex;      // guards mLoop and mLoopWaits against Destroy() in another thread
    bool mLoopWaits = false;    // from the making of a call's loop until it has returned
};

/** Completion callback of every call. */
void Callback(GObject* source, GAsyncResult* result, void* data);
