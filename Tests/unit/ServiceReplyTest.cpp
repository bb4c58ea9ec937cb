// What the service client makes of a reply, of whatever reply.

#include <CaseName.h>
#include <DBusServiceClient.h>
#include <TestSet.h>

#include <climits>
#include <functional>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const char* const kTokenIsNull = "[VBMD] [Client] Token[0] is null ";
const char* const kWrongFunction = "[VBMD] [Client] Wrong Function called";

class ServiceReply : public OnSet {
 protected:
    ServiceReply()
    {
        Start();
        StartService();
        client_ = DBusClient::Instance();
        Forget();
    }

    DBusClient& Client() { return *client_; }

    /** Has the service answer a request code with a text. */
    void Answer(int code, const std::string& reply) { Fault("service.reply." + std::to_string(code), reply); }

    /** The errors that were logged since the last Forget(). */
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
};

struct StatusCase {
    std::string reply;
    int status;
    int value;          ///< of the boot partition, -1 at first
    const char* error;  ///< null: none
};

std::ostream& operator<<(std::ostream& out, const StatusCase& reply)
{
    return out << '"' << reply.reply << '"';
}

const StatusCase kStatusReplies[] = {
    {"0:-1:0", -1, 0, nullptr},
    {"3:0:0", 0, 0, nullptr},
    {"8:0:1", 0, 1, nullptr},
    {"8:5:-7", 5, -7, nullptr},
    {"2:6:2", 6, 2, nullptr},
    {"9:1:3:and:more", 1, 3, nullptr},
    {"1:0:4", -1, -1, kWrongFunction},
    {"6:0:4", -1, -1, kWrongFunction},
    {"7:0:0", -1, -1, kWrongFunction},
    {"4:0:0", -1, -1, kWrongFunction},
    {"5:0:0", -1, -1, kWrongFunction},
    {"10:0:0", -1, -1, kWrongFunction},
    {"-8:0:0", -1, -1, kWrongFunction},
    {"", 0, -1, kTokenIsNull},
    // A token that is missing leaves what there was, one that is no number reads as 0.
    {"8", -1, -1, nullptr},
    {"8:3", 3, -1, nullptr},
    {"8:", 0, -1, nullptr},
    {"8::", 0, 0, nullptr},
    {"word", -1, -1, nullptr},
    {"word:7:word", 7, 0, nullptr},
    {":7:1", 7, 1, nullptr},
    {"8word:12word:34 word", 12, 34, nullptr},
    {" 8: 12:\t34", 12, 34, nullptr},
    {"8:+5:+6", 5, 6, nullptr},
    {"8:0x10:0", 0, 0, nullptr},
    // Numbers end at the limits of an int.
    {"8:2147483647:-2147483648", INT_MAX, INT_MIN, nullptr},
    {"8:2147483648:-2147483649", INT_MAX, INT_MIN, nullptr},
    {"8:99999999999999999999:-99999999999999999999", INT_MAX, INT_MIN, nullptr},
    {"4294967304:0:0", -1, -1, kWrongFunction},
};

class StatusReply : public ServiceReply, public ::testing::WithParamInterface<StatusCase> {};

}  // namespace

TEST_P(StatusReply, GivesStatusAndValue)
{
    const StatusCase& expected = GetParam();
    Answer(8, expected.reply);

    int value = 1234;
    EXPECT_EQ(Client().GetBootPartition(&value), expected.status);

    EXPECT_EQ(value, expected.value);
    if (expected.error != nullptr) {
        EXPECT_THAT(Errors(), ElementsAre(expected.error));
    } else {
        EXPECT_THAT(Errors(), IsEmpty());
        const std::string status = std::to_string(expected.status);
        EXPECT_THAT(Logged(), Contains(Info("[VBMD] [Client]  status from server : [" + status + "] ")));
    }
    EXPECT_THAT(Logged(), Contains(Info("[VBMD][Client] Client received: " + expected.reply + " ")));
}

INSTANTIATE_TEST_SUITE_P(Texts, StatusReply, ::testing::ValuesIn(kStatusReplies), CaseName<StatusCase>);

TEST_F(ServiceReply, IsLoggedBeforeWhatIsMadeOfIt)
{
    for (const char* reply : {"3:5:0", "7:0:0", ""}) {
        Answer(3, reply);
        Client().PathExists("/dev/mtdblock3");
    }
    Fault("service.state", "error");
    Client().PathExists("/dev/mtdblock3");
    EXPECT_THAT(Logged({"ResponseHandeler"}),
                ElementsAre(Info("[VBMD][Client] Client received: 3:5:0 "),
                            Info("[VBMD] [Client]  status from server : [5] "),
                            Info("[VBMD][Client] Client received: 7:0:0 "), Error(kWrongFunction),
                            Info("[VBMD][Client] Client received:  "), Error(kTokenIsNull),
                            Info("[VBMD][Client] Client received: (null) ")));
}

// Every status operation, by the same handler.

namespace {

struct OperationCase {
    const char* name;
    int code;
    std::function<int(DBusClient&)> call;
};

std::ostream& operator<<(std::ostream& out, const OperationCase& operation)
{
    return out << operation.name;
}

unsigned char someBytes[6] = {1, 2, 3, 4, 5, 6};

const OperationCase kStatusOperations[] = {
    {"Command", 0, [](DBusClient& client) { return client.SendCmdToServer("mkdir -p /opt/tv/x"); }},
    {"Write", 2, [](DBusClient& client) { return client.WriteOnServer("/dev/mtdblock3", 6, someBytes); }},
    {"PathExists", 3, [](DBusClient& client) { return client.PathExists("/dev/mtdblock3"); }},
    {"FetchArchive", 6, [](DBusClient& client) { return client.GetFileFromNUF(); }},
    {"SendArchive", 7, [](DBusClient& client) { return client.SendFileToNUF(); }},
    {"GetBootPartition", 8,
     [](DBusClient& client) {
         int value = 0;
         return client.GetBootPartition(&value);
     }},
    {"SetBootPartition", 9, [](DBusClient& client) { return client.SetBootPartition(2); }},
};

class StatusOperation : public ServiceReply, public ::testing::WithParamInterface<OperationCase> {
 protected:
    int Call(const std::string& reply)
    {
        Answer(GetParam().code, reply);
        Forget();
        return GetParam().call(Client());
    }
};

}  // namespace

TEST_P(StatusOperation, GivesTheStatusOfAnAcceptedReply)
{
    EXPECT_EQ(Call("0:42:0"), 42);
    EXPECT_EQ(Call("9:-3:0"), -3);
}

TEST_P(StatusOperation, StartsFromMinusOneEachTime)
{
    EXPECT_EQ(Call("0:0:0"), 0);
    EXPECT_EQ(Call("7:0:0"), -1);
    EXPECT_THAT(Errors(), ElementsAre(kWrongFunction));
    EXPECT_EQ(Call(""), 0);
    EXPECT_EQ(Call("3"), -1);
}

TEST_P(StatusOperation, ReadsAFailedCallAsSuccess)
{
    Fault("service.state", "error");
    EXPECT_EQ(GetParam().call(Client()), 0);
    EXPECT_THAT(Errors(), IsEmpty());
    EXPECT_THAT(Logged(), Contains(Info("[VBMD][Client] Client received: (null) ")));
}

INSTANTIATE_TEST_SUITE_P(Operations, StatusOperation, ::testing::ValuesIn(kStatusOperations),
                         CaseName<OperationCase>);

// What the service itself answers.

TEST_F(ServiceReply, AWriteGivesTheNumberOfBytesThatWereWritten)
{
    EXPECT_EQ(Client().WriteOnServer("/dev/mtdblock3", 6, someBytes), 6);
    EXPECT_THAT(Set().MacBlock(), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(ServiceReply, APathExistsWhenTheStatusIsZero)
{
    EXPECT_EQ(Client().PathExists("/dev/mtdblock3"), 0);
    EXPECT_NE(Client().PathExists("/opt/tv/nothing/there"), 0);
}

TEST_F(ServiceReply, ACommandGivesItsExitStatus)
{
    EXPECT_EQ(Client().SendCmdToServer("/bin/spi_init.sh mount migration"), 0);
    EXPECT_TRUE(Set().IsMounted("migration"));
    Fault("service.spi_init.sh.umount", "9");
    EXPECT_EQ(Client().SendCmdToServer("/bin/spi_init.sh umount migration"), 9);
}

TEST_F(ServiceReply, AFileTransferThatNamesItsOwnCodeStaysAtMinusOne)
{
    Answer(6, "6:0:0");
    Answer(7, "7:0:0");
    EXPECT_EQ(Client().GetFileFromNUF(), -1);
    EXPECT_EQ(Client().SendFileToNUF(), -1);
    EXPECT_THAT(Errors(), ElementsAre(kWrongFunction, kWrongFunction));
}

TEST_F(ServiceReply, GetBootPartitionGivesMinusOneWithoutAnAcceptedReply)
{
    int value = 5;
    Client().SetBootPartition(3);
    EXPECT_EQ(Client().GetBootPartition(&value), 0);
    EXPECT_EQ(value, 3);
    Fault("service.state", "error");
    EXPECT_EQ(Client().GetBootPartition(&value), 0);
    EXPECT_EQ(value, -1);
}
