// The configuration service dies, lies, stalls and comes back.

#include "tests/faults/fault_test.h"
#include "tests/faults/raw_service.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

const std::string kGetFailed = failure("failed to get ledswitch");
const std::string kSetFailed = failure("failed to set ledswitch");

std::string words(const std::vector<uint32_t> &words)
{
    Bytes bytes(4 * words.size());
    for (size_t i = 0; i < words.size(); i++)
        bytes.u32(4 * i, words[i]);
    return bytes.data();
}

// A whole answer to the reading of the LED switch.
std::string led_answer(uint32_t word, uint32_t type = kGetLed)
{
    return words({type, 0, 0, 8, 0, word});
}

// The services below answer "on", and the one that follows them also "off": an answer that outlives its request shows.
struct Misbehaviour {
    const char *name;
    RawService::Script script;
    std::string reply_to_get = kGetFailed;
};

void answer_with(const Wire &wire, const std::string &bytes)
{
    if (wire.read_request())
        wire.write(bytes);
}

const Misbehaviour kMisbehaviours[] = {
    {"closes at once", [](const Wire &) {}},
    {"closes after a byte", [](const Wire &wire) { wire.read(1); }},
    {"closes within the header", [](const Wire &wire) { wire.read(9); }},
    {"closes after the request", [](const Wire &wire) { wire.read_request(); }},
    {"closes within the answer's header", [](const Wire &wire) { answer_with(wire, led_answer(1).substr(0, 8)); }},
    {"closes after the answer's header", [](const Wire &wire) { answer_with(wire, led_answer(1).substr(0, 16)); }},
    {"closes within the return code", [](const Wire &wire) { answer_with(wire, led_answer(1).substr(0, 18)); }},
    {"closes within the record", [](const Wire &wire) { answer_with(wire, led_answer(1).substr(0, 23)); }},
    {"answers another request", [](const Wire &wire) { answer_with(wire, led_answer(1, kSetLed)); }},
    {"writes no answer", [](const Wire &wire) { answer_with(wire, "HTTP/1.1 400 Bad Request\r\n\r\n"); }},
    {"writes only zeros", [](const Wire &wire) { answer_with(wire, std::string(64, '\0')); }},
    {"claims a mebibyte and a byte",
     [](const Wire &wire) {
         answer_with(wire, words({kGetLed, 0, 0, 0x100001}));
     }},
    {"claims four gibibytes",
     [](const Wire &wire) {
         answer_with(wire, words({kGetLed, 0, 0, UINT32_MAX}));
     }},
    {"claims more than it writes",
     [](const Wire &wire) {
         answer_with(wire, words({kGetLed, 0, 0, 100, 0, 1}));
     }},
    {"answers twice at once",
     [](const Wire &wire) {
         answer_with(wire, led_answer(1) + led_answer(1));
         wire.wait_until_closed();
     },
     kOn},
    {"answers again later",
     [](const Wire &wire) {
         answer_with(wire, led_answer(1));
         std::this_thread::sleep_for(50ms);
         wire.write(led_answer(1));
         wire.wait_until_closed();
     },
     kOn},
    {"answers before it is asked",
     [](const Wire &wire) {
         wire.write(led_answer(1));
         wire.read_request();
     },
     kOn},
    {"answers byte by byte",
     [](const Wire &wire) {
         wire.read_request();
         for (char byte : led_answer(1)) {
             std::this_thread::sleep_for(5ms);
             wire.write({&byte, 1});
         }
     },
     kOn},
};

class ServiceFaultTest : public FaultTest
{
  protected:
    void SetUp() override
    {
        start_daemon();
        answer_led();
        ASSERT_EQ(get_led(), kOn);
        objects_ = client().list("wexond*");
        footprint_ = footprint_of(daemon());
    }

    void expect_well() { FaultTest::expect_well(objects_, footprint_); }

    std::string objects_;
    Footprint footprint_;
};

TEST_F(ServiceFaultTest, AnswersNoMoreThanItWasToldWhateverTheServiceDoes)
{
    for (const Misbehaviour &row : kMisbehaviours) {
        SCOPED_TRACE(row.name);
        end_service();
        {
            RawService service(folder() / "orvc.sock", row.script);
            EXPECT_EQ(get_led(), row.reply_to_get);
            EXPECT_EQ(service.connections(), 1u) << "the request is not sent again";
            service.wait_until_settled();
            EXPECT_EQ(get_led(), row.reply_to_get);
            EXPECT_EQ(service.connections(), 2u);
        }
        restart_service();
        expect_well();
    }
}

TEST_F(ServiceFaultTest, FindsTheServiceOfTheMomentForEachRequest)
{
    for (int round = 0; round < 5; round++) {
        end_service();
        EXPECT_EQ(get_led(), kGetFailed);
        EXPECT_EQ(set_led(), kSetFailed);
        restart_service();
        expect_well();
        restart_service();
        expect_well();
    }
}

TEST_F(ServiceFaultTest, ServesOthersAfterASilentService)
{
    NEEDS_BUS_TOOL();
    service().take_requests();
    auto start = std::chrono::steady_clock::now();
    service().answer_in_turn(kGetLed, {after(10500ms, record(Bytes(4).u32(0, 1))), record(Bytes(4))});
    service().answer(kSetLed, code(0));
    Process patient = call_beside("wexond.ledswitch", "get");
    ASSERT_EQ(service().wait_for_requests(1), (Requests{{kGetLed, 8}}));
    EXPECT_EQ(set_led(), kSuccess);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 10s);
    EXPECT_EQ(patient.wait(), 0);
    EXPECT_EQ(patient.standard_output(), R"({"result":"1","failreason":"failed to get ledswitch"})"
                                         "\n");
    std::this_thread::sleep_for(1s); // the late answer goes to a connection that is closed
    EXPECT_EQ(get_led(), kOff);
    EXPECT_EQ(service().take_requests(), (Requests{{kSetLed, 4, Bytes(4).u32(0, 1)}, {kGetLed, 8}}));
    expect_well();
}

// Start-up goes on without it; its lists are there with the first call that reads them.
TEST_F(FaultTest, TakesUpAServiceThatWasAbsentAtStart)
{
    end_service();
    launch_daemon();
    wait_until_up();
    EXPECT_EQ(get_led(), kGetFailed);
    EXPECT_TRUE(client().has_object("wexond.wifi.2.ap.1"));
    restart_service();
    service().answer(98, record(Bytes(1156).u32(0, 1).u32(4, 3).u32(12, 1).u32(20, 7).u32(24, 30).u32(36, 1)));
    EXPECT_EQ(call("wexond.wifi.timer", "list"),
              R"({"wexond.wifi.timer": [{"idx": 3, "weekday": "7", "time": "07:30", "enable": "yes"}]})");
    EXPECT_TRUE(client().has_object("wexond.wifi.timer.3"));
    expect_well(client().list("wexond*"), footprint_of(daemon()));
}

} // namespace
