// Reads through the service: what a reply puts into the caller's buffer, and never more than that.

#include <CaseName.h>
#include <DBusServiceClient.h>
#include <TestSet.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <memory>

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr unsigned char kUntouched = 0xEE;

const char* const kTokenIsNull = "[VBMD] [Client] Token[0] is null ";
const char* const kWrongFunction = "[VBMD] [Client] Wrong Function called";
const char* const kNoMessage = "[VBMD] [Client] Message from Server: IS NULL";

class ServiceRead : public OnSet {
 protected:
    ServiceRead()
    {
        Start();
        StartService();
        client_ = DBusClient::Instance();
        Forget();
        std::fill(std::begin(buffer_), std::end(buffer_), kUntouched);
    }

    DBusClient& Client() { return *client_; }
    unsigned char* Buffer() { return buffer_; }

    bool Read(int size) { return Client().ReadOnServer("/dev/mtdblock3", size, buffer_); }

    /** The bytes of the buffer that were written, from its start; what lies behind has to be untouched. */
    std::vector<unsigned char> Written(std::size_t count) const
    {
        EXPECT_THAT(std::vector<unsigned char>(buffer_ + count, std::end(buffer_)), Each(kUntouched));
        return {buffer_, buffer_ + count};
    }

    void Answer(const std::string& reply) { Fault("service.reply.1", reply); }

    std::vector<std::string> Errors() const
    {
        std::vector<std::string> errors;
        for (const LogLine& line : Log()) {
            if (line.priority == 6) {
                errors.push_back(line.text);
            }
        }
        return errors;
    }

 private:
    DBusClient* client_;
    unsigned char buffer_[16];
};

}  // namespace

TEST_F(ServiceRead, FillsTheBufferWithTheBytesOfTheFile)
{
    Set().WriteMacBlock({0x00, 0x11, 0x22, 0x33, 0x44, 0x55});
    EXPECT_TRUE(Read(6));
    EXPECT_THAT(Written(6), ElementsAre(0x00, 0x11, 0x22, 0x33, 0x44, 0x55));
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(ServiceRead, LogsWhatItReceived)
{
    Answer("1:6:001122334455");
    Read(6);
    EXPECT_THAT(Logged({"BuffReadResponse"}),
                ElementsAre(Info("[VBMD] [Client]  Being Called "),
                            Info("[VBMD][Client] Client received: 1:6:001122334455 "),
                            Info("[VBMD] [Client]  Len 6, Buff 001122334455 from server")));
}

struct ReadCase {
    std::string reply;
    int size;
    std::vector<unsigned char> bytes;
};

std::ostream& operator<<(std::ostream& out, const ReadCase& reply)
{
    return out << '"' << reply.reply << "\" for " << reply.size << " bytes";
}

class ReadReply : public ServiceRead, public ::testing::WithParamInterface<ReadCase> {};

TEST_P(ReadReply, FillsAsManyBytesAsWereAskedFor)
{
    Answer(GetParam().reply);
    EXPECT_TRUE(Read(GetParam().size));
    EXPECT_EQ(Written(GetParam().bytes.size()), GetParam().bytes);
    EXPECT_THAT(Errors(), IsEmpty());
}

const ReadCase kReadReplies[] = {
    {"1:6:001122334455", 6, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
    {"1:6:001122334455", 1, {0x00}},
    {"1:6:001122334455", 3, {0x00, 0x11, 0x22}},
    // The count of the reply opens the gate and decides nothing else.
    {"1:1:001122334455", 6, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
    {"1:-1:001122334455", 6, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
    {"1:99:001122334455", 6, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
    // Always six bytes are decoded: what is missing is 0, what is too much is left out.
    {"1:6:", 6, {0, 0, 0, 0, 0, 0}},
    {"1:6", 6, {0, 0, 0, 0, 0, 0}},
    {"1:6:A", 6, {0xA0, 0, 0, 0, 0, 0}},
    {"1:6:ab12", 6, {0xAB, 0x12, 0, 0, 0, 0}},
    {"1:8:0011223344556677", 6, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
    {"1:6:0g1!22 3-4:55", 6, {0x00, 0x10, 0x22, 0x03, 0x04, 0x00}},
    // What follows a third colon is none of the data.
    {"1:6:0011:2233:44", 6, {0x00, 0x11, 0, 0, 0, 0}},
    // Never more than six are copied, and none into a buffer of less than nothing.
    {"1:8:0011223344556677", 7, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
    {"1:8:0011223344556677", INT_MAX, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
    {"1:6:001122334455", -1, {}},
    {"1:6:001122334455", INT_MIN, {}},
};

INSTANTIATE_TEST_SUITE_P(Texts, ReadReply, ::testing::ValuesIn(kReadReplies), CaseName<ReadCase>);

struct RefusedCase {
    std::string reply;
    const char* error;
};

std::ostream& operator<<(std::ostream& out, const RefusedCase& reply)
{
    return out << '"' << reply.reply << '"';
}

class RefusedReadReply : public ServiceRead, public ::testing::WithParamInterface<RefusedCase> {};

TEST_P(RefusedReadReply, SucceedsAndLeavesTheBufferAlone)
{
    Answer(GetParam().reply);
    EXPECT_TRUE(Read(6));
    EXPECT_THAT(Written(0), IsEmpty());
    EXPECT_THAT(Errors(), ElementsAre(GetParam().error));
}

const RefusedCase kRefusedReadReplies[] = {
    {"", kTokenIsNull},          {"1:0:", kNoMessage},          {"1:0:001122334455", kNoMessage},
    {"1", kNoMessage},           {"1:", kNoMessage},            {"1:word:001122334455", kNoMessage},
    {"0:0:0", kWrongFunction},   {"2:6:001122334455", kWrongFunction}, {"word", kWrongFunction},
    {"11:6:001122334455", kWrongFunction},
};

INSTANTIATE_TEST_SUITE_P(Texts, RefusedReadReply, ::testing::ValuesIn(kRefusedReadReplies), CaseName<RefusedCase>);

TEST_F(ServiceRead, AFailedCallSucceedsAndLeavesTheBufferAlone)
{
    Fault("service.state", "error");
    EXPECT_TRUE(Read(6));
    EXPECT_THAT(Written(0), IsEmpty());
    EXPECT_THAT(Errors(), ElementsAre(kTokenIsNull));
}

TEST_F(ServiceRead, LogsARefusedReplyAfterWhatItReceived)
{
    const Message called = Info("[VBMD] [Client]  Being Called ");
    const Message null = Info("[VBMD][Client] Client received: (null) ");
    Answer("7:0:0");
    Read(6);
    Answer("1:0:");
    Read(6);
    Answer("");
    Read(6);
    Fault("service.state", "error");
    Read(6);
    EXPECT_THAT(Logged({"BuffReadResponse"}),
                ElementsAre(called, Info("[VBMD][Client] Client received: 7:0:0 "), Error(kWrongFunction),  //
                            called, Info("[VBMD][Client] Client received: 1:0: "), Error(kNoMessage),       //
                            called, Info("[VBMD][Client] Client received:  "), Error(kTokenIsNull),         //
                            called, null, Error(kTokenIsNull)));
}

TEST_F(ServiceRead, AFileThatCannotBeReadLeavesTheBufferAlone)
{
    EXPECT_TRUE(Client().ReadOnServer(std::string("/opt/tv/nothing/there"), 6, Buffer()));
    EXPECT_THAT(Written(0), IsEmpty());
    EXPECT_THAT(Errors(), ElementsAre(kNoMessage));
}

TEST_F(ServiceRead, AReadOfNothingGoesToTheStatusHandlerWhichRefusesIt)
{
    EXPECT_TRUE(Read(0));
    EXPECT_THAT(Written(0), IsEmpty());
    EXPECT_THAT(Errors(), ElementsAre(kWrongFunction));
    EXPECT_THAT(Logged({"BuffReadResponse"}), IsEmpty());
}

TEST_F(ServiceRead, TheReplyAfterAReadGoesToTheStatusHandlerAgain)
{
    for (const char* reply : {"1:6:001122334455", "", "1:0:", "7:1:1"}) {
        Answer(reply);
        Read(6);
        Forget();
        EXPECT_EQ(Client().PathExists("/dev/mtdblock3"), 0);
        EXPECT_THAT(Logged({"ResponseHandeler"}), Contains(Info("[VBMD] [Client]  status from server : [0] ")));
    }
}

TEST_F(ServiceRead, LeavesTheStatusOfTheLastCall)
{
    Fault("service.reply.3", "3:42:0");
    EXPECT_EQ(Client().PathExists("/dev/mtdblock3"), 42);
    Answer("1:6:001122334455");
    Read(6);
    Answer("8");  // a status reply without a status, which is taken for a read of nothing alone
    Read(0);
    EXPECT_EQ(Logged({"ResponseHandeler"}).back(), Info("[VBMD] [Client]  status from server : [42] "));
}
