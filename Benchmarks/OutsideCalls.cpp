#include "OutsideCalls.h"

#include <EepromMap.h>
#include <FactoryInterface.h>
#include <Micom.h>
#include <PlatformLog.h>
#include <PlatformPath.h>
#include <SystemInfo.h>
#include <VornBoxEncrypt.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <gio/gio.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

/** The function of this name that comes after this program's. */
#define NEXT(name)                                                                                   \
    ([] {                                                                                            \
        static const auto next = reinterpret_cast<decltype(&::name)>(dlsym(RTLD_NEXT, #name));       \
        return next;                                                                                 \
    }())

namespace bench {

namespace {

using Call = std::function<void()>;

// One thread records; GLib has others, which make the same calls.
thread_local std::vector<Call>* recording = nullptr;
thread_local bool isPassedOn = false;  // inside an outside function
thread_local int syncs = 0;            // of the recording

/** Descriptors and streams as they were while recording, and what replaces them in a replay. */
std::array<int, 1024> descriptors = [] {
    std::array<int, 1024> none{};
    none.fill(-1);
    return none;
}();
std::map<FILE*, FILE*> streams;

alignas(16) std::array<unsigned char, 1048576> scratch;

bool IsRecording()
{
    return recording != nullptr && !isPassedOn;
}

/** What replaces a descriptor. */
int& Now(int descriptor)
{
    return descriptors.at(static_cast<std::size_t>(descriptor));
}

bool IsKnown(int descriptor)
{
    return descriptor >= 0 && Now(descriptor) >= 0;
}

/** Passes a call on; what it does in turn is not recorded. */
template <typename Function, typename... Arguments>
auto Pass(Function next, Arguments... arguments)
{
    const bool before = isPassedOn;
    isPassedOn = true;
    const auto result = next(arguments...);
    isPassedOn = before;
    return result;
}

/** Passes a call on that is made in the same way again. */
template <typename Function>
auto PassAndKeep(Function call)
{
    if (IsRecording()) recording->push_back([call] { call(); });
    return Pass(call);
}

/** The same for a call on a descriptor, when it is one that the recording has seen come into being. */
template <typename Again, typename Function, typename... Arguments>
auto PassOnDescriptor(int descriptor, Again again, Function next, Arguments... arguments)
{
    if (IsRecording() && IsKnown(descriptor)) {
        recording->push_back([descriptor, again] { again(Now(descriptor)); });
    }
    return Pass(next, descriptor, arguments...);
}

void RunBare(const char* command)
{
    const pid_t child = vfork();
    if (child == 0) {
        NEXT(execl)("/bin/sh", "/bin/sh", "-c", command, static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
}

/** A request to the migration service, made with the plain library call. */
void RequestBare(GDBusProxy* proxy, const char* method, const std::string& text, int timeout)
{
    GVariant* const reply = g_dbus_proxy_call_sync(proxy, method, g_variant_new("(s)", text.c_str()),
                                                   G_DBUS_CALL_FLAGS_NONE, timeout, nullptr, nullptr);
    if (reply != nullptr) g_variant_unref(reply);
}

}  // namespace

OutsideCalls OutsideCalls::Record(const std::function<void()>& operation)
{
    OutsideCalls calls;
    recording = &calls.calls_;
    syncs = 0;
    operation();
    recording = nullptr;
    calls.syncs_ = syncs;
    return calls;
}

std::string OutsideCalls::Told() const
{
    return " (" + std::to_string(Count()) + " calls, " + std::to_string(syncs_) + (syncs_ == 1 ? " sync)" : " syncs)");
}

void OutsideCalls::Replay() const
{
    for (const Call& call : calls_) call();
}

}  // namespace bench

using namespace bench;

// Seen by the C++ library too, whose streams read and write through them.
#pragma GCC visibility push(default)
extern "C" {

/** The log's sink: messages cost the call and nothing else. */
int __dlog_print(int logId, int priority, const char* tag, const char*, ...)
{
    if (IsRecording()) recording->push_back([=] { __dlog_print(logId, priority, tag, "%d %d %d", 0, 0, 0); });
    return 0;
}

int GetMigrationItemSize(unsigned int uid, int* size)
{
    if (IsRecording()) {
        recording->push_back([=] { NEXT(GetMigrationItemSize)(uid, reinterpret_cast<int*>(scratch.data())); });
    }
    return Pass(NEXT(GetMigrationItemSize), uid, size);
}

int GetMigrationItemData(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data)
{
    if (IsRecording()) {
        recording->push_back([=] {
            unsigned int type = 0;
            int ignored = 0;
            NEXT(GetMigrationItemData)(uid, &type, &ignored, scratch.data());
        });
    }
    return Pass(NEXT(GetMigrationItemData), uid, storeType, length, data);
}

int SetMigrationItemData(unsigned int uid, unsigned int storeType, unsigned char* data, unsigned int size)
{
    if (IsRecording()) {
        recording->push_back([=, bytes = std::vector<unsigned char>(data, data + size)]() mutable {
            NEXT(SetMigrationItemData)(uid, storeType, bytes.data(), size);
        });
    }
    return Pass(NEXT(SetMigrationItemData), uid, storeType, data, size);
}

int GetData(unsigned int uid, void* buffer)
{
    if (IsRecording()) recording->push_back([=] { NEXT(GetData)(uid, scratch.data()); });
    return Pass(NEXT(GetData), uid, buffer);
}

int DoVornBoxFactoryDatasSync(int mode, int tvYear)
{
    return PassAndKeep([=] { return NEXT(DoVornBoxFactoryDatasSync)(mode, tvYear); });
}

int eeprom_read(unsigned int item, int size, unsigned char* buffer)
{
    if (IsRecording()) recording->push_back([=] { NEXT(eeprom_read)(item, size, scratch.data()); });
    return Pass(NEXT(eeprom_read), item, size, buffer);
}

int eeprom_write(unsigned int item, int size, const unsigned char* buffer)
{
    if (IsRecording()) {
        recording->push_back([=, bytes = std::vector<unsigned char>(buffer, buffer + size)] {
            NEXT(eeprom_write)(item, size, bytes.data());
        });
    }
    return Pass(NEXT(eeprom_write), item, size, buffer);
}

int eeprom_write_migrated_mac(const unsigned char* mac, int size)
{
    if (IsRecording()) {
        recording->push_back([=, bytes = std::vector<unsigned char>(mac, mac + size)] {
            NEXT(eeprom_write_migrated_mac)(bytes.data(), size);
        });
    }
    return Pass(NEXT(eeprom_write_migrated_mac), mac, size);
}

int micom_check_serdes_lock(int* status)
{
    if (IsRecording()) {
        recording->push_back([] { NEXT(micom_check_serdes_lock)(reinterpret_cast<int*>(scratch.data())); });
    }
    return Pass(NEXT(micom_check_serdes_lock), status);
}

int micom_get_tv_side_mac_addr(unsigned char* mac)
{
    if (IsRecording()) recording->push_back([] { NEXT(micom_get_tv_side_mac_addr)(scratch.data()); });
    return Pass(NEXT(micom_get_tv_side_mac_addr), mac);
}

int system_info_get_value_int(int key, int* value)
{
    if (IsRecording()) {
        recording->push_back([=] { NEXT(system_info_get_value_int)(key, reinterpret_cast<int*>(scratch.data())); });
    }
    return Pass(NEXT(system_info_get_value_int), key, value);
}

int system_info_get_value_string(int key, char** value)
{
    if (IsRecording()) {
        recording->push_back([=] {
            char* text = nullptr;
            if (NEXT(system_info_get_value_string)(key, &text) == 0) std::free(text);
        });
    }
    return Pass(NEXT(system_info_get_value_string), key, value);
}

const char* tzplatform_mkpath(int variable, const char* path)
{
    if (IsRecording()) {
        recording->push_back([=, text = std::string(path)] { NEXT(tzplatform_mkpath)(variable, text.c_str()); });
    }
    return Pass(NEXT(tzplatform_mkpath), variable, path);
}

int open(const char* path, int flags, ...)
{
    va_list list;
    va_start(list, flags);
    const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(list, int) : 0);
    va_end(list);
    const int descriptor = Pass(NEXT(open), path, flags, mode);
    if (IsRecording()) {
        if (descriptor >= 0) Now(descriptor) = descriptor;
        recording->push_back([=, text = std::string(path)] {
            const int now = NEXT(open)(text.c_str(), flags, mode);
            if (descriptor >= 0) Now(descriptor) = now;
        });
    }
    return descriptor;
}

ssize_t read(int descriptor, void* buffer, size_t size)
{
    const auto again = [=](int now) { return NEXT(read)(now, scratch.data(), std::min(size, scratch.size())); };
    return PassOnDescriptor(descriptor, again, NEXT(read), buffer, size);
}

ssize_t write(int descriptor, const void* buffer, size_t size)
{
    if (!IsRecording() || !IsKnown(descriptor)) return Pass(NEXT(write), descriptor, buffer, size);
    const auto* const begin = static_cast<const unsigned char*>(buffer);
    const auto again = [bytes = std::vector<unsigned char>(begin, begin + size)](int now) {
        return NEXT(write)(now, bytes.data(), bytes.size());
    };
    return PassOnDescriptor(descriptor, again, NEXT(write), buffer, size);
}

int fsync(int descriptor)
{
    if (IsRecording() && IsKnown(descriptor)) ++syncs;
    return PassOnDescriptor(descriptor, [](int now) { return NEXT(fsync)(now); }, NEXT(fsync));
}

int close(int descriptor)
{
    return PassOnDescriptor(descriptor, [](int now) { return NEXT(close)(now); }, NEXT(close));
}

int stat(const char* path, struct stat* status) noexcept
{
    if (IsRecording()) {
        recording->push_back([text = std::string(path)] {
            NEXT(stat)(text.c_str(), reinterpret_cast<struct stat*>(scratch.data()));
        });
    }
    return Pass(NEXT(stat), path, status);
}

int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    va_list list;
    va_start(list, request);
    void* const argument = va_arg(list, void*);
    va_end(list);
    // A request that takes a level has a small number for a pointer; one that writes through its pointer gets a place.
    const bool isNumber = reinterpret_cast<std::uintptr_t>(argument) < 4096;
    const auto again = [=](int now) { return NEXT(ioctl)(now, request, isNumber ? argument : scratch.data()); };
    return PassOnDescriptor(descriptor, again, NEXT(ioctl), request, argument);
}

int usleep(useconds_t time)
{
    return PassAndKeep([=] { return NEXT(usleep)(time); });
}

/** C++ streams open, and are closed, through these; what goes through them comes by read() and write(). */
FILE* fopen64(const char* path, const char* mode)
{
    FILE* const stream = Pass(NEXT(fopen64), path, mode);
    if (IsRecording() && stream != nullptr) {
        const int descriptor = fileno(stream);
        Now(descriptor) = descriptor;
        recording->push_back([=, text = std::string(path), how = std::string(mode)] {
            streams[stream] = NEXT(fopen64)(text.c_str(), how.c_str());
            Now(descriptor) = fileno(streams[stream]);
        });
    }
    return stream;
}

int fclose(FILE* stream)
{
    if (IsRecording() && IsKnown(fileno(stream))) {
        recording->push_back([=] { NEXT(fclose)(streams[stream]); });
    }
    return Pass(NEXT(fclose), stream);
}

/** Runs in the child that a command has been forked for, in this program's memory. */
int execl(const char* path, const char* argument, ...) noexcept
{
    va_list list;
    va_start(list, argument);
    const char* const option = va_arg(list, const char*);
    const char* const command = va_arg(list, const char*);
    va_end(list);
    if (IsRecording()) recording->push_back([text = std::string(command)] { RunBare(text.c_str()); });
    return NEXT(execl)(path, argument, option, command, static_cast<char*>(nullptr));
}

void g_dbus_proxy_call(GDBusProxy* proxy, const gchar* method, GVariant* parameters, GDBusCallFlags flags, gint timeout,
                       GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data)
{
    if (IsRecording()) {
        const gchar* text = nullptr;
        g_variant_get(parameters, "(&s)", &text);
        recording->push_back([=, name = std::string(method), request = std::string(text)] {
            RequestBare(proxy, name.c_str(), request, timeout);
        });
    }
    NEXT(g_dbus_proxy_call)(proxy, method, parameters, flags, timeout, cancellable, callback, data);
}

}  // extern "C"
#pragma GCC visibility pop
