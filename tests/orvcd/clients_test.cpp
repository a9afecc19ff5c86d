// Many clients of orvcd at once, and clients that do not keep to the frames.

#include "process.h"

#include <atomic>

namespace
{

struct OrvcdClients : testing::Test {
    Process orvcd;
    void SetUp() override { orvcd.start({"--state", orvcd.file("state.json"), "--log", "--lenient"}); }
    void TearDown() override
    {
        Outcome outcome = orvcd.end();
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
    }
};

TEST_F(OrvcdClients, AreServedAllAtOnce)
{
    constexpr uint32_t kClients = 12;
    std::atomic<uint32_t> torn = 0;
    std::vector<std::thread> threads;
    for (uint32_t number = 1; number <= kClients; number++) {
        threads.emplace_back([&, number] {
            Client client(orvcd.socket());
            for (uint32_t round = 0; round < 15; round++) {
                Image iptv(36);
                iptv.words(0, {number, number, number, number, number, number, number, number, number});
                if (client.ask(138, iptv) != word(0))
                    torn++;
                std::string seen = client.record(137);
                for (size_t at = 4; at < seen.size(); at += 4)
                    torn += seen.substr(at, 4) != seen.substr(0, 4);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(torn, 0u);
}

TEST_F(OrvcdClients, ComeAndGo)
{
    for (int round = 0; round < 400; round++) {
        Client client(orvcd.socket());
        ASSERT_EQ(client.record(20), word(1)) << "client " << round;
    }
}

TEST_F(OrvcdClients, ThatStopHalfwayKeepNobodyWaiting)
{
    Client in_header(orvcd.socket());
    Client in_payload(orvcd.socket());
    Client silent(orvcd.socket());
    in_header.write(word(21) + "ab");
    in_payload.write(word(21) + word(1) + word(4) + word(4) + "ab");
    EXPECT_EQ(Client(orvcd.socket()).record(20), word(1));
    in_payload.write(std::string(2, '\0'));
    EXPECT_EQ(in_payload.read(20), word(21) + word(0) + word(0) + word(4) + word(0)) << "the rest came in time";
    EXPECT_EQ(Client(orvcd.socket()).record(20), std::string("ab\0\0", 4));
}

TEST_F(OrvcdClients, ThatSendTooMuchLoseTheirConnection)
{
    Client good(orvcd.socket());
    for (uint32_t length : {(1u << 20) + 1, UINT32_MAX, 0xfffffff0u}) {
        Client bad(orvcd.socket());
        bad.write(word(21) + word(1) + word(4) + word(length) + "abcd");
        EXPECT_TRUE(bad.hung_up());
    }
    Client garbage(orvcd.socket());
    garbage.write("GET / HTTP/1.1\r\nHost: router\r\n\r\n");
    EXPECT_TRUE(garbage.hung_up());
    EXPECT_EQ(good.record(20), word(1));
    EXPECT_NE(orvcd.errors().find("orvcd: hung up on a client that sent no whole request\n"), std::string::npos);
}

TEST_F(OrvcdClients, MaySendTheLongestRequest)
{
    Client client(orvcd.socket());
    client.write(word(17) + word(1) + word(4) + word(1 << 20));
    std::string payload(1 << 20, 'x');
    std::thread sender([&] { client.write(payload); });
    EXPECT_EQ(client.read(20), word(17) + word(0) + word(0) + word(4) + word(0));
    sender.join();
}

TEST_F(OrvcdClients, MayLeaveBeforeTheirAnswer)
{
    for (int round = 0; round < 20; round++) {
        Client client(orvcd.socket());
        client.write(word(206) + word(1) + word(67848) + word(0));
    }
    EXPECT_EQ(Client(orvcd.socket()).record(20), word(1));
}

TEST_F(OrvcdClients, MaySendRequestsAhead)
{
    Client client(orvcd.socket());
    const std::string get_leds = word(20) + word(1) + word(8) + word(0);
    client.write(get_leds + word(21) + word(1) + word(4) + word(4) + word(0) + get_leds);
    EXPECT_EQ(client.read(64), word(20) + word(0) + word(0) + word(8) + word(0) + word(1) + word(21) + word(0) +
                                   word(0) + word(4) + word(0) + word(20) + word(0) + word(0) + word(8) + word(0))
        << "but for the last word";
    EXPECT_EQ(client.read(4), word(0));
}

} // namespace
