/** Replies of the service that are garbled in every way: what each operation makes of them is what the reply's format
 * says, and nothing is written beside the buffer. */
#include <AnsweringBus.h>
#include <DBusServiceClient.h>
#include <Resources.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "Try.h"

namespace {

using Text = std::string;

/** A reply: none (the call failed), one that holds no text, or a text. */
struct Reply {
    bool isThere = true;
    bool isText = true;
    Text text;
};

class Garbler {
 public:
    explicit Garbler(unsigned int seed) : random_(seed) {}

    unsigned int Below(unsigned int end) { return std::uniform_int_distribution<unsigned int>(0, end - 1)(random_); }

    Reply Next()
    {
        Reply reply;
        reply.isThere = Below(50) != 0;
        reply.isText = Below(50) != 0;
        const unsigned int tokens = Below(6);
        for (unsigned int i = 0; i < tokens; ++i) reply.text += (i == 0 ? "" : ":") + Token(i);
        if (Below(4) == 0) Disturb(reply.text);
        if (Below(5000) == 0) reply.text.insert(PlaceIn(reply.text), 10'000'000, '7');
        return reply;
    }

 private:
    unsigned int PlaceIn(const Text& text) { return Below(static_cast<unsigned int>(text.size()) + 1); }

    Text Token(unsigned int place)
    {
        static const Text numbers[] = {"", "0", "-0", "-1", "+1", "6", "12", "255", " 3", "4 ", "1e3", "0x10", "word",
                                       "2147483647", "2147483648", "-2147483648", "-2147483649",
                                       "99999999999999999999"};
        switch (Below(place == 0 ? 2 : 4)) {
            case 0:
                return std::to_string(Below(12));
            case 1:
                return numbers[Below(std::size(numbers))];
            case 2:
                return Text(Below(40), static_cast<char>('0' + Below(10)));
            default:
                return "02005E2000" + std::to_string(10 + Below(90));
        }
    }

    /** Puts bytes of all kinds into it, a few or many; none of them ends it. */
    void Disturb(Text& text)
    {
        for (unsigned int i = 1 + Below(6); i > 0; --i) {
            text.insert(PlaceIn(text), 1 + Below(3), static_cast<char>(1 + Below(255)));
        }
    }

    std::mt19937 random_;
};

/** What a bus would bring: text is UTF-8. */
Text AsUtf8(const Text& text)
{
    g_autofree char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    return valid;
}

GVariant* OnTheBus(const Reply& reply)
{
    if (!reply.isThere) return nullptr;
    return reply.isText ? g_variant_new("(s)", AsUtf8(reply.text).c_str()) : g_variant_new("(u)", 7U);
}

// The format of a reply, told once more: at most four tokens, the last one keeping what colons it has.

std::vector<Text> Tokens(const Text& text)
{
    std::vector<Text> tokens;
    std::size_t begin = 0;
    while (!text.empty()) {
        const std::size_t end = tokens.size() < 3 ? text.find(':', begin) : Text::npos;
        tokens.push_back(text.substr(begin, end == Text::npos ? end : end - begin));
        if (end == Text::npos) break;
        begin = end + 1;
    }
    return tokens;
}

int Decimal(const Text& text)
{
    std::size_t at = 0;
    while (at < text.size() && std::strchr(" \t\n\v\f\r", text[at]) != nullptr) ++at;
    const bool isNegative = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
    long long value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        value = std::min(value * 10 + (text[at] - '0'), 10'000'000'000LL);
    }
    value = isNegative ? -value : value;
    return static_cast<int>(std::clamp(value, -2147483648LL, 2147483647LL));
}

struct Outcome {
    int status = -1;
    int value = -1;
};

Outcome OfStatusReply(const Reply& reply)
{
    Outcome outcome;
    if (!reply.isThere || !reply.isText) return {0, -1};
    const std::vector<Text> tokens = Tokens(AsUtf8(reply.text));
    if (tokens.empty()) return {0, -1};
    const int accepted[] = {0, 2, 3, 8, 9};
    if (std::find(std::begin(accepted), std::end(accepted), Decimal(tokens[0])) == std::end(accepted)) return outcome;
    if (tokens.size() > 1) outcome.status = Decimal(tokens[1]);
    if (tokens.size() > 2) outcome.value = Decimal(tokens[2]);
    return outcome;
}

using Mac = std::array<unsigned char, 6>;

unsigned char Digit(const Text& hex, std::size_t at)
{
    static const Text digits = "0123456789ABCDEF";
    const char c = at < hex.size() ? hex[at] : '0';
    const char upper = c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
    const std::size_t value = digits.find(upper);
    return static_cast<unsigned char>(value == Text::npos ? 0 : value);
}

std::optional<Mac> OfReadReply(const Reply& reply)
{
    if (!reply.isThere || !reply.isText) return std::nullopt;
    const std::vector<Text> tokens = Tokens(AsUtf8(reply.text));
    if (tokens.size() < 2 || Decimal(tokens[0]) != 1 || Decimal(tokens[1]) == 0) return std::nullopt;
    const Text hex = tokens.size() > 2 ? tokens[2] : "";
    Mac mac;
    for (std::size_t i = 0; i < mac.size(); ++i) {
        mac[i] = static_cast<unsigned char>(Digit(hex, 2 * i) * 16 + Digit(hex, 2 * i + 1));
    }
    return mac;
}

void ExpectStatus(DBusClient& client, unsigned int operation, const Reply& reply)
{
    const Outcome expected = OfStatusReply(reply);
    Mac mac = {2, 0, 0x5E, 0x20, 0, 1};
    const std::function<int()> operations[] = {
        [&] { return client.SendCmdToServer("true"); },
        [&] { return client.WriteOnServer("/opt/tv/x", 6, mac.data()); },
        [&] { return client.PathExists("/opt/tv/x"); },
        [&] { return client.GetFileFromNUF(); },
        [&] { return client.SendFileToNUF(); },
        [&] { return client.SetBootPartition(1); },
    };
    EXPECT_EQ(operations[operation](), expected.status);
}

void ExpectBootPartition(DBusClient& client, const Reply& reply)
{
    const Outcome expected = OfStatusReply(reply);
    int partition = 1234;
    EXPECT_EQ(client.GetBootPartition(&partition), expected.status);
    EXPECT_EQ(partition, expected.value);
}

void ExpectRead(DBusClient& client, int size, const Reply& reply)
{
    constexpr unsigned char kUntouched = 0xA5;
    std::array<unsigned char, 16> buffer;
    buffer.fill(kUntouched);
    std::array<unsigned char, 16> expected = buffer;
    if (const auto mac = OfReadReply(reply)) std::copy_n(mac->begin(), size, expected.begin());
    EXPECT_TRUE(client.ReadOnServer("/opt/tv/x", size, buffer.data()));
    EXPECT_EQ(buffer, expected);
}

}  // namespace

TEST(GarbledReplies, GiveWhatTheFormatOfRepliesSays)
{
    Reply reply;
    AnswerRequests([&](const char*) { return OnTheBus(reply); });
    DBusClient& client = *DBusClient::Instance();
    Garbler garbler(1);
    const OwnTemporaryFiles temporaryFiles;
    Resources before;
    const int cases = TriesAll() ? 1'000'000 : 20'000;
    for (int i = 0; i < cases; ++i) {
        const Try garbled("garbled replies, seed 1");
        reply = garbler.Next();
        const unsigned int operation = garbler.Below(8);
        if (operation < 6) {
            ExpectStatus(client, operation, reply);
        } else if (operation == 6) {
            ExpectBootPartition(client, reply);
        } else {
            ExpectRead(client, static_cast<int>(1 + garbler.Below(6)), reply);
        }
        ASSERT_FALSE(HasFailure()) << "reply " << i << ": " << reply.text.substr(0, 200);
        if (i == 0) before = Resources::Now();  // what the client makes once, is made
    }
    const Resources now = Resources::NowOrSoon(before);
    EXPECT_TRUE(now.AreNoMoreThan(before)) << "now " << now << "\nbefore " << before;
}
