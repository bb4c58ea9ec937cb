/** How the SerDes link is polled, asked of a micom whose every answer is given.
 *
 * The micom of the set always writes a status; what a status that is left alone means, and that the result of the call
 * means nothing, shows only with one that does not.
 */
#include "StrategyOnSet.h"

#include <Micom.h>

namespace {

struct PollAnswer {
    int result;
    int status;
    bool writes;
};

std::vector<PollAnswer> answers;
std::vector<int> statusesSeen;

}  // namespace

int micom_check_serdes_lock(int* status)
{
    const std::size_t poll = statusesSeen.size();
    statusesSeen.push_back(*status);
    if (poll >= answers.size()) {
        return 0;
    }
    if (answers[poll].writes) {
        *status = answers[poll].status;
    }
    return answers[poll].result;
}

namespace {

class SerdesPoll : public StrategyOnSet {
 protected:
    void SetUp() override
    {
        Start();
        Forget();
    }
};

TEST_F(SerdesPoll, StatusIsMinusOneBeforeTheFirstPollAndIsNotResetBetweenPolls)
{
    answers = {{0, 7, true}, {0, 0, false}, {0, 1, true}};
    EXPECT_TRUE(MigrationStrategy::CheckSerdesLock());
    EXPECT_EQ(statusesSeen, (std::vector<int>{-1, 7, 7}));
}

TEST_F(SerdesPoll, OnlyTheStatusCountsAndNotTheResult)
{
    answers = {{-1, 1, true}};
    EXPECT_TRUE(MigrationStrategy::CheckSerdesLock());
    EXPECT_EQ(statusesSeen.size(), 1u);
}

TEST_F(SerdesPoll, EveryStatusButOneIsNoLock)
{
    answers = {{1, 0, true}, {1, 2, true}, {1, -1, true}, {1, 257, true}, {1, 1, true}};
    EXPECT_TRUE(MigrationStrategy::CheckSerdesLock());
    EXPECT_EQ(statusesSeen.size(), 5u);
    EXPECT_EQ(Logged().back(), Info("SerDes Lock Found!! count (4)"));
}

TEST_F(SerdesPoll, AStatusThatIsNeverWrittenIsNoLock)
{
    EXPECT_FALSE(MigrationStrategy::CheckSerdesLock());
    EXPECT_EQ(statusesSeen, std::vector<int>(150, -1));
}

}  // namespace
