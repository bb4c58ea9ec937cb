// Replies of the service: to each operation, of every type and text.

#include <DBusServiceClient.h>

#include <algorithm>
#include <array>

#include "AnsweringBus.h"
#include "Fuzz.h"

namespace {

/** A reply as a bus could bring it; a text that is not UTF-8 cannot come. */
GVariant* Reply(int kind, const std::string& text)
{
    switch (kind) {
        case 0:
            return nullptr;  // the call failed
        case 1:
            return g_variant_new("(i)", static_cast<int>(text.size()));
        case 2:
            return g_variant_new("()");
        default: {
            g_autofree char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
            return g_variant_new("(s)", valid);
        }
    }
}

void Read(DBusClient& client, int size)
{
    constexpr unsigned char kGuard = 0xA5;
    std::array<unsigned char, 16> buffer;
    buffer.fill(kGuard);
    fuzz::Require(client.ReadOnServer("/opt/tv/x", size, buffer.data()), "a read succeeds whatever is answered");
    const auto end = buffer.begin() + std::clamp(size, 0, 6);
    fuzz::Require(std::all_of(end, buffer.end(), [](unsigned char byte) { return byte == kGuard; }),
                  "nothing is written beyond the size asked for");
}

void Call(DBusClient& client, int operation, int number)
{
    unsigned char mac[6] = {2, 0, 0x5E, 0x20, 0, 1};
    int partition = number;
    switch (operation) {
        case 0:
            client.SendCmdToServer("true");
            break;
        case 1:
            client.WriteOnServer("/opt/tv/x", 6, mac);
            break;
        case 2:
            client.PathExists("/opt/tv/x");
            break;
        case 3:
            client.GetBootPartition(&partition);
            break;
        case 4:
            client.SetBootPartition(number);
            break;
        default:
            Read(client, number);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Bytes bytes(data, size);
    const int operation = bytes.Byte() % 8;
    const int number = bytes.Byte() % 9 - 1;
    const int kind = bytes.Byte() % 8;
    const std::string text = bytes.Rest();
    AnswerRequests([&](const char*) { return Reply(kind, text); });
    Call(*DBusClient::Instance(), operation, number);
    return 0;
}
