#include "OutsideCalls.h"

#include <BoardDevices.h>
#include <EepromMap.h>
#include <FactoryInterface.h>
#include <Micom.h>
#include <PlatformLog.h>
#include <PlatformPath.h>
#include <SystemInfo.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <gio/gio.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>

/** The function of this name that comes after this program's. */
#define NEXT(name)                                                                                   \
    ([] {                                                                                            \
        static const auto next = reinterpret_cast<decltype(&::name)>(dlsym(RTLD_NEXT, #name));       \
        return next;                                                                                 \
    }())

namespace bench {

namespace {

// One thread records; GLib has others, which make the same calls.
thread_local OutsideCalls* recording = nullptr;
thread_local bool isPassedOn = false;  // inside an outside function

OutsideCalls::Requests requestsOfReplay = OutsideCalls::Requests::ThroughLibDBus;

/** Descriptors and streams as they were while recording, and what replaces them in a replay. */
std::array<int, 1024> descriptors = [] {
    std::array<int, 1024> none{};
    none.fill(-1);
    return none;
}();
std::map<FILE*, FILE*> streams;

alignas(16) std::array<unsigned char, 1048576> scratch;

int* ScratchNumber()
{
    return reinterpret_cast<int*>(scratch.data());
}

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
    struct Passing {
        const bool before = std::exchange(isPassedOn, true);
        ~Passing() { isPassedOn = before; }
    };
    const Passing passing;
    return next(arguments...);
}

/** Keeps a way to make the call again that had this result, when it is one to be recorded. */
template <typename Result, typename Again>
Result Kept(Result result, Again again)
{
    if (IsRecording()) recording->Add([=] { return again() == result; });
    return result;
}

/** Passes a call on that is made in the same way again. */
template <typename Function>
auto PassAndKeep(Function call)
{
    return Kept(Pass(call), call);
}

/** The same for a call on a descriptor, when it is one that the recording has seen come into being. */
template <typename Again, typename Function, typename... Arguments>
auto PassOnDescriptor(int descriptor, Again again, Function next, Arguments... arguments)
{
    const bool isKept = IsRecording() && IsKnown(descriptor);
    const auto result = Pass(next, descriptor, arguments...);
    if (isKept) recording->Add([=] { return again(Now(descriptor)) == result; });
    return result;
}

bool RunBare(const char* command)
{
    const pid_t child = vfork();
    if (child == 0) {
        NEXT(execl)("/bin/sh", "/bin/sh", "-c", command, static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace

OutsideCalls OutsideCalls::Record(const std::function<void()>& operation)
{
    OutsideCalls calls;
    recording = &calls;
    operation();
    recording = nullptr;
    return calls;
}

std::string OutsideCalls::Told() const
{
    std::string text = " (" + std::to_string(calls_.size()) + " calls, ";
    if (!requests_.empty()) {
        text += std::to_string(requests_.size()) + " of them requests, " + std::to_string(commands_) + " commands, ";
    }
    return text + std::to_string(syncs_) + (syncs_ == 1 ? " sync)" : " syncs)");
}

void OutsideCalls::AddCommand(Call call)
{
    Add(std::move(call));
    ++commands_;
}

void OutsideCalls::AddRequest(const ServiceRequest& request, const std::function<bool(const ServiceRequest&)>& send)
{
    requests_.push_back(request);
    Add([=] { return send(request); });
}

bool OutsideCalls::Replay(Requests requests) const
{
    requestsOfReplay = requests;
    bool isDone = true;
    for (const Call& call : calls_) isDone = call() && isDone;
    return isDone;
}

}  // namespace bench

using namespace bench;

// Seen by the C++ library too, whose streams read and write through them.
#pragma GCC visibility push(default)
extern "C" {

/** The log's sink: messages cost the call and nothing else. */
int __dlog_print(int logId, int priority, const char* tag, const char*, ...)
{
    return Kept(0, [=] { return __dlog_print(logId, priority, tag, "%d %d %d", 0, 0, 0); });
}

int GetMigrationItemSize(unsigned int uid, int* size)
{
    return Kept(Pass(NEXT(GetMigrationItemSize), uid, size),
                [=] { return NEXT(GetMigrationItemSize)(uid, ScratchNumber()); });
}

int GetMigrationItemData(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data)
{
    return Kept(Pass(NEXT(GetMigrationItemData), uid, storeType, length, data), [=] {
        unsigned int type = 0;
        int ignored = 0;
        return NEXT(GetMigrationItemData)(uid, &type, &ignored, scratch.data());
    });
}

int SetMigrationItemData(unsigned int uid, unsigned int storeType, unsigned char* data, unsigned int size)
{
    const int result = Pass(NEXT(SetMigrationItemData), uid, storeType, data, size);
    if (IsRecording()) {
        recording->Add([=, bytes = std::vector<unsigned char>(data, data + size)]() mutable {
            return NEXT(SetMigrationItemData)(uid, storeType, bytes.data(), size) == result;
        });
    }
    return result;
}

int GetData(unsigned int uid, void* buffer)
{
    return Kept(Pass(NEXT(GetData), uid, buffer), [=] { return NEXT(GetData)(uid, scratch.data()); });
}

int DoVornBoxFactoryDatasSync(int mode, int tvYear)
{
    return PassAndKeep([=] { return NEXT(DoVornBoxFactoryDatasSync)(mode, tvYear); });
}

int eeprom_read(unsigned int item, int size, unsigned char* buffer)
{
    return Kept(Pass(NEXT(eeprom_read), item, size, buffer),
                [=] { return NEXT(eeprom_read)(item, size, scratch.data()); });
}

int eeprom_write(unsigned int item, int size, const unsigned char* buffer)
{
    const int result = Pass(NEXT(eeprom_write), item, size, buffer);
    if (IsRecording()) {
        recording->Add([=, bytes = std::vector<unsigned char>(buffer, buffer + size)] {
            return NEXT(eeprom_write)(item, size, bytes.data()) == result;
        });
    }
    return result;
}

int eeprom_write_migrated_mac(const unsigned char* mac, int size)
{
    const int result = Pass(NEXT(eeprom_write_migrated_mac), mac, size);
    if (IsRecording()) {
        recording->Add([=, bytes = std::vector<unsigned char>(mac, mac + size)] {
            return NEXT(eeprom_write_migrated_mac)(bytes.data(), size) == result;
        });
    }
    return result;
}

int micom_check_serdes_lock(int* status)
{
    return Kept(Pass(NEXT(micom_check_serdes_lock), status),
                [] { return NEXT(micom_check_serdes_lock)(ScratchNumber()); });
}

int micom_get_tv_side_mac_addr(unsigned char* mac)
{
    return Kept(Pass(NEXT(micom_get_tv_side_mac_addr), mac),
                [] { return NEXT(micom_get_tv_side_mac_addr)(scratch.data()); });
}

int system_info_get_value_int(int key, int* value)
{
    return Kept(Pass(NEXT(system_info_get_value_int), key, value),
                [=] { return NEXT(system_info_get_value_int)(key, ScratchNumber()); });
}

int system_info_get_value_string(int key, char** value)
{
    return Kept(Pass(NEXT(system_info_get_value_string), key, value), [=] {
        char* text = nullptr;
        const int again = NEXT(system_info_get_value_string)(key, &text);
        if (again == 0) std::free(text);
        return again;
    });
}

const char* tzplatform_mkpath(int variable, const char* path)
{
    const char* const result = Pass(NEXT(tzplatform_mkpath), variable, path);
    if (IsRecording()) {
        recording->Add([=, text = std::string(path)] {
            return (NEXT(tzplatform_mkpath)(variable, text.c_str()) == nullptr) == (result == nullptr);
        });
    }
    return result;
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
        recording->Add([=, text = std::string(path)] {
            const int now = NEXT(open)(text.c_str(), flags, mode);
            if (descriptor >= 0) Now(descriptor) = now;
            return (now >= 0) == (descriptor >= 0);
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
    if (IsRecording() && IsKnown(descriptor)) recording->AddSync();
    return PassOnDescriptor(descriptor, [](int now) { return NEXT(fsync)(now); }, NEXT(fsync));
}

int close(int descriptor)
{
    const int result = PassOnDescriptor(descriptor, [](int now) { return NEXT(close)(now); }, NEXT(close));
    if (IsRecording() && IsKnown(descriptor)) Now(descriptor) = -1;
    return result;
}

int stat(const char* path, struct stat* status) noexcept
{
    const int result = Pass(NEXT(stat), path, status);
    if (IsRecording()) {
        recording->Add([=, text = std::string(path)] {
            return NEXT(stat)(text.c_str(), reinterpret_cast<struct stat*>(scratch.data())) == result;
        });
    }
    return result;
}

int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    va_list list;
    va_start(list, request);
    void* const argument = va_arg(list, void*);
    va_end(list);
    // A request that takes a level has a small number for a pointer; one that writes through its pointer gets a place.
    const bool isNumber = reinterpret_cast<std::uintptr_t>(argument) < 4096;
    FrontendDebugCommand_t command{};
    if (request == FE_SEND_DBG_CMD) std::memcpy(&command, argument, sizeof command);
    const auto again = [=](int now) {
        if (request == FE_SEND_DBG_CMD) return NEXT(ioctl)(now, request, &command);
        return NEXT(ioctl)(now, request, isNumber ? argument : scratch.data());
    };
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
        recording->Add([=, text = std::string(path), how = std::string(mode)] {
            FILE* const now = NEXT(fopen64)(text.c_str(), how.c_str());
            if (now == nullptr) return false;
            streams[stream] = now;
            Now(descriptor) = fileno(now);
            return true;
        });
    }
    return stream;
}

int fclose(FILE* stream)
{
    if (IsRecording() && IsKnown(fileno(stream))) {
        recording->Add([=] { return NEXT(fclose)(streams[stream]) == 0; });
        Now(fileno(stream)) = -1;
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
    if (IsRecording()) recording->AddCommand([text = std::string(command)] { return RunBare(text.c_str()); });
    return NEXT(execl)(path, argument, option, command, static_cast<char*>(nullptr));
}

void g_dbus_proxy_call(GDBusProxy* proxy, const gchar* method, GVariant* parameters, GDBusCallFlags flags, gint timeout,
                       GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data)
{
    if (IsRecording()) {
        const gchar* text = nullptr;
        g_variant_get(parameters, "(&s)", &text);
        recording->AddRequest({method, text, timeout}, [proxy](const ServiceRequest& request) {
            return requestsOfReplay == OutsideCalls::Requests::ThroughGLib ? SendThroughGLib(proxy, request)
                                                                           : SendThroughLibDBus(request);
        });
    }
    Pass(NEXT(g_dbus_proxy_call), proxy, method, parameters, flags, timeout, cancellable, callback, data);
}

}  // extern "C"
#pragma GCC visibility pop
