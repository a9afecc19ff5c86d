// How the daemon takes what can happen on the way to the configuration service and back. The LED switch stands for
// every method: 20 reads its word, 21 writes it.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

constexpr uint32_t kGet = 20;
constexpr uint32_t kSet = 21;

const std::string kOn = R"({"wexond.ledswitch": {"status": "on"}})";
const std::string kOff = R"({"wexond.ledswitch": {"status": "off"}})";
const std::string kFailed = failure("failed to get ledswitch");

class BackendTest : public HandlerTest
{
  protected:
    std::string get() { return call("wexond.ledswitch", "get"); }
    std::string get(const Answer &answer)
    {
        service().answer(kGet, answer);
        return get();
    }

    // The time that a call takes, in which it has to reply as expected.
    Milliseconds time_to_get(const std::string &expected)
    {
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(get(), expected);
        return std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - start);
    }
};

TEST_F(BackendTest, TakesWhatAShortAnswerLacksForZero)
{
    EXPECT_EQ(get(code(0)), kOff);
    EXPECT_EQ(get(record(Bytes(1).text(0, "\1"))), kOn);
    EXPECT_EQ(get(record(Bytes(3).text(0, "\1"))), kOn);
}

TEST_F(BackendTest, DropsWhatALongAnswerHasTooMuch)
{
    EXPECT_EQ(get(record(Bytes(5).u32(0, 1))), kOn);
    EXPECT_EQ(get(record(Bytes(100000).u32(0, 1).text(50000, "surplus"))), kOn);
    EXPECT_EQ(get(record(Bytes(1024 * 1024 - 4).u32(0, 1))), kOn);
    EXPECT_EQ(get(record(Bytes(4))), kOff);
}

TEST_F(BackendTest, TakesAnAnswerWithoutAWholeReturnCodeForNone)
{
    for (size_t size = 0; size < 4; size++)
        EXPECT_EQ(get(body(Bytes(size))), kFailed) << size;
    EXPECT_EQ(get(record(Bytes(4).u32(0, 1))), kOn);
}

TEST_F(BackendTest, TakesAnAnswerAboveAMebibyteForNone)
{
    EXPECT_EQ(get(Answer{.body = Bytes(8), .claimed_length = 1024 * 1024 + 1}), kFailed);
    EXPECT_EQ(get(Answer{.body = Bytes(8), .claimed_length = 0xFFFFFFFF}), kFailed);
    EXPECT_EQ(get(record(Bytes(4).u32(0, 1))), kOn);
}

TEST_F(BackendTest, TakesAnAnswerCutShortForNone)
{
    EXPECT_EQ(get(Answer{.body = Bytes(6), .claimed_length = 8}), kFailed);
    EXPECT_EQ(get(record(Bytes(4).u32(0, 1))), kOn);
}

TEST_F(BackendTest, KeepsOneConnection)
{
    service().answer(kGet, record(Bytes(4)));
    size_t before = service().connections();
    for (int i = 0; i < 20; i++)
        EXPECT_EQ(get(), kOff);
    EXPECT_EQ(service().connections(), before);
}

TEST_F(BackendTest, ConnectsAnewAfterTheServiceClosed)
{
    service().answer_in_turn(kGet, {no_answer(), record(Bytes(4).u32(0, 1))});
    EXPECT_EQ(get(), kFailed);
    EXPECT_EQ(get(), kOn);
    EXPECT_EQ(service().take_requests().size(), 2u) << "no request is repeated";
}

TEST_F(BackendTest, FindsARestartedService)
{
    EXPECT_EQ(get(record(Bytes(4).u32(0, 1))), kOn);
    restart_service();
    EXPECT_EQ(get(record(Bytes(4).u32(0, 1))), kOn) << "the connection to the old one is closed";
    EXPECT_EQ(service().take_requests(), (Requests{{kGet, 8}}));
    end_service();
    EXPECT_EQ(get(), kFailed);
    restart_service();
    EXPECT_EQ(get(record(Bytes(4))), kOff);
}

TEST_F(BackendTest, WaitsForASlowService)
{
    service().answer(kGet, after(3s, record(Bytes(4).u32(0, 1))));
    EXPECT_GE(time_to_get(kOn), 3s);
}

TEST_F(BackendTest, GivesUpASilentServiceAfterTenSeconds)
{
    service().answer_in_turn(kGet, {after(13s, record(Bytes(4).u32(0, 1))), record(Bytes(4))});
    EXPECT_GE(time_to_get(kFailed), 10s);
    EXPECT_EQ(get(), kOff) << "a late answer is not that of a later request";
}

TEST_F(BackendTest, AnswersCallsInTheOrderOfTheirArrival)
{
    NEEDS_BUS_TOOL();
    service().answer(kGet, after(200ms, record(Bytes(4))));
    service().answer(kSet, code(0));
    Process first({bus_tool(), "-s", bus().socket().string(), "call", "wexond.ledswitch", "get"});
    service().wait_for_requests(1);
    EXPECT_EQ(call("wexond.ledswitch", "set", R"({"status": "on"})"), kSuccess);
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(first.standard_output(), "{\n\t\"wexond.ledswitch\": {\n\t\t\"status\": \"off\"\n\t}\n}\n");
}

} // namespace
