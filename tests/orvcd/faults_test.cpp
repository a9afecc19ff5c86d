// The faults that orvcd plays on demand, as a client sees them on the socket.

#include "process.h"

namespace
{

struct OrvcdFaults : testing::Test {
    Process orvcd;
    Process tool; // of a folder of its own: it says what it says beside the service

    void SetUp() override { orvcd.start({"--log"}); }
    Outcome fault(const std::string &words)
    {
        std::vector<std::string> arguments = {"fault", "--socket", orvcd.socket()};
        std::istringstream stream(words);
        for (std::string word; stream >> word;)
            arguments.push_back(word);
        return tool.run(arguments);
    }
    std::string ask(uint32_t type, const std::string &payload = "")
    {
        return Client(orvcd.socket()).ask(type, payload);
    }

    // Sends a request and returns all bytes that come within this time.
    std::string bytes_within(int milliseconds, uint32_t type, const std::string &payload = "")
    {
        Client client(orvcd.socket());
        client.write(word(type) + word(1) + word(4) + word(static_cast<uint32_t>(payload.size())) + payload);
        return client.read_within(milliseconds);
    }
};

TEST_F(OrvcdFaults, SilentNeitherActsNorAnswers)
{
    EXPECT_EQ(fault("21 silent").status, 0);
    Client client(orvcd.socket());
    client.write(word(21) + word(1) + word(4) + word(4) + word(0));
    EXPECT_EQ(client.read_within(300), "");
    EXPECT_EQ(client.record(20), word(1)) << "not acted on, and the connection stays";
}

TEST_F(OrvcdFaults, DropActsWithoutAnswer)
{
    EXPECT_EQ(fault("ORVC_SET_LEDSWITCH drop").status, 0);
    Client client(orvcd.socket());
    client.write(word(21) + word(1) + word(4) + word(4) + word(0));
    EXPECT_EQ(client.read_within(300), "");
    EXPECT_EQ(client.record(20), word(0)) << "acted on, and the connection stays";
}

TEST_F(OrvcdFaults, CloseHangsUpInsteadOfAnAnswer)
{
    EXPECT_EQ(fault("orvc_set_ledswitch close").status, 0);
    Client client(orvcd.socket());
    client.write(word(21) + word(1) + word(4) + word(4) + word(0));
    EXPECT_TRUE(client.hung_up());
    EXPECT_EQ(ask(20), word(0) + word(1)) << "not acted on";
}

TEST_F(OrvcdFaults, CodeIsAllOfTheAnswer)
{
    EXPECT_EQ(fault("all code=4000000000").status, 0);
    EXPECT_EQ(ask(20), word(4000000000));
    EXPECT_EQ(ask(21, word(0)), word(4000000000));
    EXPECT_EQ(fault("clear").status, 0);
    EXPECT_EQ(ask(20), word(0) + word(1)) << "not acted on";
}

TEST_F(OrvcdFaults, DelayKeepsTheAnswerWaiting)
{
    EXPECT_EQ(fault("20 delay=400").status, 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(20), word(0) + word(1));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(400));
    EXPECT_EQ(bytes_within(300, 6).size(), 24u) << "nobody else waits";
}

TEST_F(OrvcdFaults, ShortAndLongChangeTheLengthOfTheRecord)
{
    EXPECT_EQ(fault("7 short=3").status, 0);
    EXPECT_EQ(ask(7), word(0) + (word(61440) + word(52)).substr(0, 5));
    EXPECT_EQ(fault("7 short=100").status, 0);
    EXPECT_EQ(ask(7), word(0)) << "the return code stays";
    EXPECT_EQ(fault("7 long=2").status, 0);
    EXPECT_EQ(ask(7), word(0) + word(61440) + word(52) + "ZZ");
    EXPECT_EQ(fault("21 long=2").status, 0);
    EXPECT_EQ(ask(21, word(1)), word(0) + "ZZ") << "an answer without a record, too";
}

TEST_F(OrvcdFaults, GarbageIsOfTheRecordsLength)
{
    const std::string whole = ask(0);
    EXPECT_EQ(fault("0 garbage").status, 0);
    const std::string first = ask(0);
    const std::string second = ask(0);
    EXPECT_EQ(first.size(), whole.size());
    EXPECT_EQ(first.substr(0, 4), word(0));
    EXPECT_NE(first, whole);
    EXPECT_NE(first, second);
}

TEST_F(OrvcdFaults, AreForSomeRequests)
{
    EXPECT_EQ(fault("all code=9 for 2 requests").output, "all code=9 for 2 requests\n");
    EXPECT_EQ(ask(20), word(9));
    EXPECT_EQ(fault("list").output, "all code=9 for 1 requests\n");
    EXPECT_EQ(ask(24), word(9));
    EXPECT_EQ(ask(20), word(0) + word(1));
    EXPECT_EQ(fault("list").output, "");
}

TEST_F(OrvcdFaults, AreForSomeSeconds)
{
    EXPECT_EQ(fault("20 code=9 for 1 second").output, "ORVC_GET_LEDSWITCH code=9 for 1 seconds\n");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(20), word(9));
    while (ask(20) == word(9) && std::chrono::steady_clock::now() - start < std::chrono::seconds(10))
        usleep(10000);
    EXPECT_EQ(ask(20), word(0) + word(1));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(800));
    EXPECT_EQ(fault("list").output, "");
}

TEST_F(OrvcdFaults, OneOfATypeGoesBeforeOneOfAll)
{
    fault("20 code=8");
    fault("all code=9");
    fault("248 code=7");
    EXPECT_EQ(fault("list").output, "248 code=7\nORVC_GET_LEDSWITCH code=8\nall code=9\n");
    EXPECT_EQ(ask(20), word(8));
    EXPECT_EQ(ask(24), word(9));
    EXPECT_EQ(ask(248), word(7));
    EXPECT_EQ(fault("20 code=6").output, "ORVC_GET_LEDSWITCH code=6\n248 code=7\nall code=9\n")
        << "the last one counts";
}

TEST_F(OrvcdFaults, StandInTheLog)
{
    fault("20 code=17 for 1 request");
    ask(20);
    fault("20 silent");
    bytes_within(100, 20);
    EXPECT_EQ(orvcd.end().output, "orvcd serves " + orvcd.socket() +
                                      "\n20 ORVC_GET_LEDSWITCH flag 1 request 0 expected 4 code 17 (no channel of this "
                                      "band) fault code=17\n"
                                      "20 ORVC_GET_LEDSWITCH flag 1 request 0 expected 4 code 0 fault silent\n");
}

TEST_F(OrvcdFaults, EndOfTheServiceWaitsForNoDelay)
{
    fault("20 delay=60000");
    Client client(orvcd.socket());
    client.write(word(20) + word(1) + word(4) + word(0));
    usleep(50000);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(orvcd.end().status, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5) * kSlowness);
}

TEST_F(OrvcdFaults, WordsThatMakeNoCommandAreRefused)
{
    for (const char *words : {"all", "all quiet", "all code", "all code=", "all code=x", "all code=4294967296",
                              "all silent=1", "20 short=-1", "ORVC_GET_NOTHING silent", "all silent for",
                              "all silent for 0 requests", "all silent for 3", "list all", "all silent for 3 days",
                              "all silent since 3 requests", "all delay=3600001", "clear all", "all long=65537"}) {
        Outcome outcome = fault(words);
        EXPECT_EQ(outcome.status, 1) << words;
        EXPECT_EQ(outcome.errors.rfind("orvcd: ", 0), 0u) << words << ": " << outcome.errors;
        EXPECT_EQ(outcome.output, "") << words;
    }
    EXPECT_EQ(fault("list").output, "");
}

TEST_F(OrvcdFaults, NeedAServiceThatRuns)
{
    orvcd.end();
    Outcome outcome = fault("list");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "orvcd: " + orvcd.socket() + ": nobody serves this socket\n");
}

} // namespace
