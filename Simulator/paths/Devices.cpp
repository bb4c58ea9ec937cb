/** @file
 * The requests that the board's devices answer.
 */
#include <sys/ioctl.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "BoardDevices.h"
#include "Here.h"
#include "Live.h"
#include "OpenFiles.h"
#include "Shim.h"

namespace vbset::shim {
namespace {

enum class Action { ReadLevel, SetLevel, SetSwitch, MuteTuner };

/** A request, what it does, and the file below the TV's volatile directory in which that shows. */
struct Request {
    unsigned long number;
    const char* name;
    Kind device;
    Action action;
    const char* state;
};

constexpr Request requests[] = {
    {BOARD_READ_GPIO_107, "BOARD_READ_GPIO_107", Kind::System, Action::ReadLevel, "gpio/107"},
    {BOARD_READ_GPIO_153, "BOARD_READ_GPIO_153", Kind::System, Action::ReadLevel, "gpio/153"},
    {BOARD_READ_GPIO_165, "BOARD_READ_GPIO_165", Kind::System, Action::ReadLevel, "gpio/165"},
    {BOARD_READ_GPIO_172, "BOARD_READ_GPIO_172", Kind::System, Action::ReadLevel, "gpio/172"},
    {BOARD_READ_GPIO_173, "BOARD_READ_GPIO_173", Kind::System, Action::ReadLevel, "gpio/173"},
    {BOARD_READ_GPIO_174, "BOARD_READ_GPIO_174", Kind::System, Action::ReadLevel, "gpio/174"},
    {BOARD_READ_GPIO_175, "BOARD_READ_GPIO_175", Kind::System, Action::ReadLevel, "gpio/175"},
    {BOARD_SET_GPIO_172, "BOARD_SET_GPIO_172", Kind::System, Action::SetLevel, "gpio/172"},
    {BOARD_SET_GPIO_173, "BOARD_SET_GPIO_173", Kind::System, Action::SetLevel, "gpio/173"},
    {BOARD_SET_GPIO_174, "BOARD_SET_GPIO_174", Kind::System, Action::SetLevel, "gpio/174"},
    {BOARD_SET_GPIO_175, "BOARD_SET_GPIO_175", Kind::System, Action::SetLevel, "gpio/175"},
    {BOARD_SET_BUFFER_IC, "BOARD_SET_BUFFER_IC", Kind::System, Action::SetSwitch, "buffer_ic"},
    {FE_SEND_DBG_CMD, "FE_SEND_DBG_CMD", Kind::Frontend, Action::MuteTuner, "tuner_mute"},
};

int Fail(int error)
{
    errno = error;
    return -1;
}

/** One byte; four, little-endian, from a driver that takes the size in the request's number at its word. */
int ReadLevel(const Request& request, void* argument, Text& args) noexcept
{
    long long level = 0;
    if (argument == nullptr) return Fail(EFAULT);
    if (!ReadState(request.state, level)) return Fail(EIO);
    const bool isTunerLevel = request.number >= BOARD_READ_GPIO_172 && request.number <= BOARD_READ_GPIO_175;
    const bool four = isTunerLevel && Loaded()->tvDescription.gpioReadsStoreFourBytes;
    const unsigned char stored[4] = {static_cast<unsigned char>(level), 0, 0, 0};
    std::memcpy(argument, stored, four ? 4 : 1);
    args.Add("level ").AddNumber(stored[0]);
    return 0;
}

/** The level is the argument itself. */
int SetLevel(const Request& request, void* argument, Text& args) noexcept
{
    const int value = static_cast<int>(reinterpret_cast<std::intptr_t>(argument));
    args.Add("level ").AddNumber(value);
    if (request.action == Action::SetSwitch && value != 0 && value != 1) return Fail(EINVAL);
    return WriteState(request.state, static_cast<unsigned char>(value)) ? 0 : Fail(EIO);
}

int MuteTuner(const Request& request, const void* argument, Text& args) noexcept
{
    if (argument == nullptr) return Fail(EFAULT);
    FrontendDebugCommand_t record;
    static_assert(sizeof record == 36, "the size in the request's number");
    std::memcpy(&record, argument, sizeof record);
    args.Add("command 0x").AddHex(static_cast<std::uint32_t>(record.command), 1);
    args.Add(" parameter ").AddNumber(record.parameter);
    const auto* end = record.reserved + sizeof record.reserved;
    if (record.command != FE_DBG_CMD_TUNER_MUTE) return Fail(EINVAL);
    if (record.parameter != 0 && record.parameter != 1) return Fail(EINVAL);
    if (std::any_of(static_cast<const std::uint8_t*>(record.reserved), end, [](std::uint8_t b) { return b != 0; })) {
        args.Add(" reserved not zero");
        return Fail(EINVAL);
    }
    return WriteState(request.state, record.parameter) ? 0 : Fail(EIO);
}

int CarryOut(const Request& request, void* argument, Text& args) noexcept
{
    switch (request.action) {
        case Action::ReadLevel:
            return ReadLevel(request, argument, args);
        case Action::SetLevel:
        case Action::SetSwitch:
            return SetLevel(request, argument, args);
        case Action::MuteTuner:
            return MuteTuner(request, argument, args);
    }
    return Fail(ENOTTY);
}

/** A device answers its own requests; all others are none. */
int AnswerRequest(Kind device, unsigned long number, void* argument) noexcept
{
    number &= 0xFFFFFFFFUL;  // a caller may have widened a negative int
    const auto* request = std::find_if(std::begin(requests), std::end(requests), [=](const Request& r) {
        return r.number == number && r.device == device;
    });
    const bool known = request != std::end(requests);
    char key[32];
    std::snprintf(key, sizeof key, "ioctl.%08lX", number);
    Text args;
    int result = -1;
    if (!FailsWith(live::Fault(key))) result = known ? CarryOut(*request, argument, args) : Fail(ENOTTY);
    Text name;
    name.Add("0x").AddHex(number, 8);
    RecordResult("ioctl", known ? request->name : name.Get(), args.Get(), result);
    return result;
}

template <typename Function>
int Ioctl(Function next, int descriptor, unsigned long number, void* argument) noexcept
{
    const OpenFile* file = FindOpenFile(descriptor);
    if (file == nullptr || file->kind == Kind::File || file->kind == Kind::Block) {
        return next(descriptor, number, argument);
    }
    return AnswerRequest(file->kind, number, argument);
}

}  // namespace
}  // namespace vbset::shim

#define IOCTL(name)                                                                                  \
    VBSET_INTERPOSED int name(int descriptor, unsigned long request, ...) noexcept                   \
    {                                                                                                \
        va_list list;                                                                                \
        va_start(list, request);                                                                     \
        void* argument = va_arg(list, void*);                                                        \
        va_end(list);                                                                                \
        return vbset::shim::Ioctl(VBSET_NEXT(name), descriptor, request, argument);                  \
    }
IOCTL(ioctl)
#if __TIMESIZE == 32
extern "C" int __ioctl_time64(int descriptor, unsigned long request, ...) noexcept;
IOCTL(__ioctl_time64)
#endif
#undef IOCTL
