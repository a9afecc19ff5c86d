// After a secondary 2.4 GHz access point was switched off: its basic settings are sent 15 seconds later,
// by a thread of their own, while the daemon goes on taking calls.

#include <atomic>

#include "tests/handlers/access_points.h"

namespace
{

using namespace access_points;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr Milliseconds kDelay = 15s;

class DeferredSenderTest : public OneBandTest
{
  protected:
    DeferredSenderTest() : OneBandTest(kBands[0]) {}

    void SetUp() override { start_with({1, 2, 3}); }

    // Switches an access point off and forgets what was sent at once.
    void switch_off(uint32_t index, const std::string &ssid)
    {
        EXPECT_EQ(call_ap(index, "set", R"({"enable": "no", "ssid": ")" + ssid + "\"}"), kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{{kSetRateLimit, 4, rate_limit(band(), index)}}));
    }

    // The request by which that gets there.
    Request deferred(uint32_t index, const std::string &ssid) const
    {
        return {kSetBasic, 4, basic(band(), index).text(12, ssid).u32(196, 3)};
    }

    void expect_call_succeeds()
    {
        EXPECT_EQ(call_ap(1, "stats"), table({{ap(1), table(shown_counters({"0", "0", "0", "0"}, {0, 0, 0, 0}))}}));
    }

    // The requests that are not those of expect_call_succeeds.
    static Requests without_calls(Requests requests)
    {
        std::erase_if(requests, [](const Request &request) { return request.type == kGetStatistics; });
        return requests;
    }
};

TEST_F(DeferredSenderTest, SendsTheBasicSettingsAfter15Seconds)
{
    constexpr std::string_view arguments =
        R"({"enable": "no", "ssid": "home", "key": "secret", "auth": "wpa2psk", "encrypt": "aes", "hide": 1})";
    Bytes expected = basic(band(), 2).text(12, "home").u32(108, 5).u32(112, 3).text(116, "secret").u32(180, 1);
    auto start = steady_clock::now();
    EXPECT_EQ(call_ap(2, "set", arguments), kSuccess);
    EXPECT_LT(steady_clock::now() - start, 10s) << "the reply does not wait";
    EXPECT_EQ(service().take_requests(), (Requests{{kSetRateLimit, 4, rate_limit(band(), 2)}}));
    EXPECT_EQ(service().wait_for_requests(1, 30s), (Requests{{kSetBasic, 4, expected.u32(196, 0x3F)}}));
    EXPECT_GE(steady_clock::now() - start, kDelay);
    std::this_thread::sleep_for(1s);
    EXPECT_EQ(service().take_requests(), Requests{}) << "nothing follows it";
}

TEST_F(DeferredSenderTest, SendsEachOfSeveralItsOwn)
{
    switch_off(2, "first");
    switch_off(3, "second");
    switch_off(2, "third");
    Requests requests;
    while (requests.size() < 3) {
        Requests more = service().wait_for_requests(1, 30s);
        ASSERT_FALSE(more.empty());
        requests.insert(requests.end(), more.begin(), more.end());
    }
    EXPECT_EQ(requests, (Requests{deferred(2, "first"), deferred(3, "second"), deferred(2, "third")}));
}

// Many at once: 64 wait at most. What is answered with success is sent, in the order of the calls, one after another,
// and the rest ends as a call does for which there is no thread.
TEST_F(DeferredSenderTest, SendsWhateverItTookInTheOrderOfTheCalls)
{
    constexpr size_t kCalls = 1000, kWaiting = 64;
#ifdef __SANITIZE_THREAD__
    constexpr size_t kOwnThreads = 5; // the sanitizer has one
#else
    constexpr size_t kOwnThreads = 4;
#endif
    std::atomic<int> at_once = 0, overlaps = 0;
    service().answer_by(kSetBasic, [&](const Request &) {
        overlaps += at_once++ > 0;
        std::this_thread::sleep_for(1ms);
        at_once--;
        return code(0);
    });
    Requests expected;
    for (size_t i = 0; i < kCalls; i++) {
        uint32_t index = 2 + i % 2;
        std::string ssid = std::to_string(i);
        std::string reply = call_ap(index, "set", R"({"enable": "no", "ssid": ")" + ssid + "\"}");
        if (reply == kSuccess)
            expected.push_back(deferred(index, ssid));
        else
            EXPECT_EQ(reply, "(Unknown error: -1)");
        if (i == kWaiting - 1) {
            EXPECT_EQ(expected.size(), kWaiting) << "so many may wait";
        }
    }
    auto tasks = std::filesystem::directory_iterator("/proc/" + std::to_string(daemon().pid()) + "/task");
    EXPECT_LE(std::distance(begin(tasks), end(tasks)), static_cast<long>(kWaiting + kOwnThreads));
    EXPECT_LT(expected.size(), kCalls);
    Requests requests;
    while (requests.size() < expected.size()) {
        Requests more = service().wait_for_requests(1, 30s);
        ASSERT_FALSE(more.empty()) << requests.size() << " of " << expected.size();
        std::erase_if(more, [](const Request &request) { return request.type == kSetRateLimit; });
        requests.insert(requests.end(), more.begin(), more.end());
    }
    EXPECT_EQ(requests, expected);
    EXPECT_EQ(overlaps, 0);
    std::this_thread::sleep_for(500ms); // until the last has its answer
    switch_off(2, "later");
    EXPECT_EQ(service().wait_for_requests(1, 30s), (Requests{deferred(2, "later")})) << "there is room again";
}

TEST_F(DeferredSenderTest, SendsAlsoWhatWasDeletedMeanwhile)
{
    switch_off(3, "gone");
    EXPECT_EQ(call_band("delete", R"({"idx": 3})"), kSuccess);
    service().take_requests();
    EXPECT_EQ(service().wait_for_requests(1, 30s), (Requests{deferred(3, "gone")}));
}

TEST_F(DeferredSenderTest, PassesOverTheAnswer)
{
    service().answer_in_turn(kSetBasic, {code(7), no_answer(), body(Bytes(1)), code(0)});
    for (int i = 0; i < 4; i++)
        switch_off(2, "x");
    disable_log();
    take_log();
    enable_log();
    for (size_t sent = 0; sent < 4;) {
        Requests more = service().wait_for_requests(1, 30s);
        ASSERT_FALSE(more.empty());
        sent += more.size();
    }
    expect_call_succeeds();
    EXPECT_EQ(take_log(), entry_line("1_status", ap(1), "stats") + get_reply_log());
}

TEST_F(DeferredSenderTest, OutlivesTheService)
{
    switch_off(2, "lost");
    end_service();
    std::this_thread::sleep_for(kDelay + 1s);
    restart_service();
    accept_all();
    expect_call_succeeds();
    EXPECT_EQ(without_calls(service().take_requests()), Requests{}) << "what could not be sent is not sent later";
}

// The backend is used by all the senders and the bus thread at once; ThreadSanitizer looks on.
TEST_F(DeferredSenderTest, SendsWhileMethodsAreCalled)
{
    constexpr size_t kSenders = 8;
    constexpr Milliseconds kBetween = 50ms;
    service().answer(kSetBasic, after(6 * kBetween, code(0)));
    Requests expected;
    for (uint32_t i = 0; i < kSenders; i++) {
        std::string ssid = "sender " + std::to_string(i);
        switch_off(2 + i % 2, ssid);
        expected.push_back(deferred(2 + i % 2, ssid));
        std::this_thread::sleep_for(kBetween);
    }
    std::this_thread::sleep_for(kDelay - kSenders * kBetween - 1s);
    Requests requests;
    size_t calls = 0; // between the first and the last of the senders
    auto deadline = steady_clock::now() + 20s;
    while (requests.size() < kSenders && steady_clock::now() < deadline) {
        expect_call_succeeds();
        Requests more = without_calls(service().take_requests());
        requests.insert(requests.end(), more.begin(), more.end());
        calls += !requests.empty();
    }
    EXPECT_TRUE(std::is_permutation(requests.begin(), requests.end(), expected.begin(), expected.end()))
        << testing::PrintToString(requests);
    EXPECT_GT(calls, kSenders);
    std::this_thread::sleep_for(10 * kBetween); // until the last sender has its answer
    expect_call_succeeds();
}

TEST_F(DeferredSenderTest, ConnectsByItself)
{
    expect_call_succeeds();
    size_t before = service().connections();
    service().take_requests();
    switch_off(2, "x");
    EXPECT_EQ(service().wait_for_requests(1, 30s), (Requests{deferred(2, "x")}));
    EXPECT_EQ(service().connections(), before + 1);
    expect_call_succeeds();
    EXPECT_EQ(service().connections(), before + 1);
}

// end_daemon requires status 0 and no word of a sanitizer.

TEST_F(DeferredSenderTest, DoesNotKeepTheProcessFromEnding)
{
    switch_off(2, "never sent");
    switch_off(3, "nor this");
    auto start = steady_clock::now();
    bus().kill();
    end_daemon();
    EXPECT_LT(steady_clock::now() - start, 10s);
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(DeferredSenderTest, EndsWithTheProcessInTheMiddleOfItsRequest)
{
    service().answer(kSetBasic, after(20s, code(0)));
    switch_off(2, "unanswered");
    EXPECT_EQ(service().wait_for_requests(1, 30s), (Requests{deferred(2, "unanswered")}));
    bus().kill();
    end_daemon();
}

} // namespace
