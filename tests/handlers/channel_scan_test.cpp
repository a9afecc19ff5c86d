// The channel scan that the daemon asks for a minute after its start.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

constexpr uint32_t kStartChannelScan = 60;

// A record of 264 bytes that begins with the band; flag 0, and no room for an answer.
const Requests kBothBands = {{kStartChannelScan, 0, Bytes(264), 0}, {kStartChannelScan, 0, Bytes(264).u32(0, 1), 0}};

class ChannelScanTest : public DaemonTest
{
  protected:
    // Returns when the scan is asked for, which has to be a minute after the start.
    void wait_for_scan()
    {
        auto start = std::chrono::steady_clock::now();
        start_daemon();
        EXPECT_EQ(service().wait_for_requests(2, 80s), kBothBands);
        EXPECT_GE(std::chrono::steady_clock::now() - start, 60s);
    }
};

TEST_F(ChannelScanTest, IsAskedForOnceAMinuteAfterStart)
{
    wait_for_scan();
    std::this_thread::sleep_for(2s);
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(ChannelScanTest, FailuresAreOnlyLogged)
{
    service().answer_in_turn(kStartChannelScan, {code(6), no_answer()});
    enable_log();
    wait_for_scan();
    service().answer(20, record(Bytes(4).u32(0, 1)));
    EXPECT_EQ(call("wexond.ledswitch", "get"), R"({"wexond.ledswitch": {"status": "on"}})");
    EXPECT_EQ(take_log(), "[wexond_check_ret.#]: Msg retcode = 6\n[wexond_check_ret.#]: Msg return buf = NULL\n" +
                              entry_log("wexond_ledswitch_get", "wexond.ledswitch", "get") + get_reply_log());
}

} // namespace
