// The events that orvcd pushes, by itself and by hand, as they arrive on the daemon's socket.

#include "event_socket.h"
#include "process.h"

#include <algorithm>
#include <map>

namespace
{

const std::string kOk = word(0);

std::string mac(const std::string &last)
{
    return "00:00:5E:00:53:" + last;
}

// An event whole: its header and its record.
std::string event(uint32_t type, const std::string &record)
{
    return word(type) + word(0) + word(0) + word(static_cast<uint32_t>(record.size())) + record;
}

struct OrvcdEvents : testing::Test {
    Process orvcd;
    EventSocket events{orvcd.events()};
    std::unique_ptr<Client> client;

    void SetUp() override
    {
        orvcd.start();
        client = std::make_unique<Client>(orvcd.socket());
    }
    void TearDown() override
    {
        Outcome outcome = orvcd.end();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.errors, "");
    }
    void expect_pushed(uint32_t set, const std::string &payload, const std::string &expected)
    {
        EXPECT_EQ(client->ask(set, payload), kOk) << "type " << set;
        EXPECT_EQ(events.take(), expected) << "type " << set;
    }
};

TEST_F(OrvcdEvents, SwitchesTellOfTheirCode)
{
    for (uint32_t code : {0u, 1u}) {
        expect_pushed(21, word(code), event(22, word(code)));
        expect_pushed(177, word(code), event(87, word(code)));
        expect_pushed(168, word(code), event(169, word(code)));
        expect_pushed(196, word(0) + word(code), event(85, word(0) + word(code)));
    }
}

TEST_F(OrvcdEvents, ChannelThatIsChanged)
{
    const Image radio = Image(48).words(0, {1, 0, 0, 149}).words(44, {0x2000});
    expect_pushed(180, radio, event(89, word(1) + word(0) + word(0) + word(149)));
    EXPECT_EQ(client->ask(180, radio), kOk);
    expect_pushed(180, Image(48).words(0, {0, 0, 0, 11}).words(44, {0x2000}),
                  event(89, word(0) + word(0) + word(0) + word(11)));
}

TEST_F(OrvcdEvents, SsidThatIsChanged)
{
    const std::string ssid(32, 's');
    const Image point = Image(200).words(0, {1, 2}).text(12, ssid).words(196, {2});
    expect_pushed(184, point, event(90, word(1) + word(2) + word(0) + ssid));
    EXPECT_EQ(client->ask(184, point), kOk);
    expect_pushed(184, Image(200).words(0, {0, 9}).text(12, "new").words(196, {2}),
                  event(90, Image(44).words(0, {0, 9}).text(12, "new")));
}

TEST_F(OrvcdEvents, NothingOfWhatIsRefused)
{
    EXPECT_NE(client->ask(21, ""), kOk);
    EXPECT_NE(client->ask(180, Image(48).words(0, {2, 0, 0, 11}).words(44, {0x2000})), kOk);
    EXPECT_NE(client->ask(145, Image(32).text(0, "00005e0053ff")), kOk);
    EXPECT_EQ(events.take(1200), "silence");
}

std::string link(uint32_t state, const std::string &address)
{
    return event(54, Image(28).words(8, {state}).text(12, address));
}

TEST_F(OrvcdEvents, PppoeTakesTheLinkDownForAMoment)
{
    const auto start = std::chrono::steady_clock::now();
    expect_pushed(32, Image(140).text(0, "me"), link(2, "203.0.113.24"));
    EXPECT_EQ(client->record(24).substr(0, 8), word(2) + word(0));
    EXPECT_EQ(events.take(), link(1, "198.51.100.77"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(events.take(), event(55, Image(24).words(4, {1}).text(8, "198.51.100.77")));
    EXPECT_EQ(client->record(24).substr(0, 24), std::string(Image(24).words(0, {2, 1}).text(8, "198.51.100.77")));
}

TEST_F(OrvcdEvents, DhcpAfterPppoeIsWhatTheLinkComesUpWith)
{
    expect_pushed(32, Image(140).text(0, "me"), link(2, "203.0.113.24"));
    expect_pushed(28, word(1500), link(2, "203.0.113.24"));
    EXPECT_EQ(events.take(), link(1, "203.0.113.24"));
    EXPECT_EQ(events.take(500), "silence") << "the address is the one that it was";
}

TEST_F(OrvcdEvents, ResultsOfPingAndTraceroute)
{
    expect_pushed(50, Image(148).text(0, "example.com").words(64, {7}).words(144, {2}),
                  event(52, Image(24).words(0, {7, 0, 0, 12, 9, 17})));
    expect_pushed(50, Image(148).text(0, std::string(64, 'h')), event(52, Image(24).words(0, {4, 0, 0, 12, 9, 17})));
    expect_pushed(50, Image(148).text(0, "host.invalid"), event(52, Image(24).words(0, {0, 100})));
    const std::string hops = "1 203.0.113.1 2 ms\n2 192.0.2.1 6 ms\n";
    expect_pushed(51, Image(88).text(0, "example.com"), event(53, hops + "3 example.com 11 ms\n"));
    expect_pushed(51, Image(88).text(0, "host.invalid"), event(53, hops + "3 *\n"));
}

TEST_F(OrvcdEvents, StationThatIsSentAwayComesBack)
{
    const std::string request = Image(544).text(0, mac("32"));
    expect_pushed(59, Image(1036).words(0, {2}).text(12, mac("FF")).text(44, "00005E005332"),
                  event(110, Image(260).text(0, mac("32"))));
    EXPECT_EQ(client->record(104, request).substr(216, 8), word(0) + word(0));
    EXPECT_EQ(events.take(), event(110, Image(260).text(0, mac("32")).words(216, {1})));
    const std::string station = client->record(104, request);
    EXPECT_EQ(station.substr(216, 4), word(1));
    EXPECT_LE(static_cast<unsigned char>(station[220]), 2) << "on line only since it came back";
    EXPECT_EQ(station.substr(221, 3), std::string(3, '\0'));
}

TEST_F(OrvcdEvents, StationThatIsAskedToRoamDoes)
{
    Image report(66);
    report.text(0, mac("35")).words(20, {3, static_cast<uint32_t>(-48), 1}).words(40, {36}).text(44, mac("63"));
    report.text(62, std::string("\1\0\1\0", 4));
    expect_pushed(145, Image(32).text(0, "00005E005335").text(13, "00005E005363").words(28, {36}), event(146, report));
}

// --- Without anybody who listens, and at the end ---

TEST(OrvcdEventsUnheard, DisturbNothing)
{
    Process orvcd;
    orvcd.start();
    Client client(orvcd.socket());
    for (uint32_t round = 0; round < 20; round++)
        EXPECT_EQ(client.ask(21, word(round % 2)), kOk);
    EXPECT_EQ(client.ask(50, Image(148).text(0, "example.com")), kOk);
    usleep(1'200'000);
    EXPECT_EQ(client.record(20), word(1));
    EventSocket events(orvcd.events());
    EXPECT_EQ(client.ask(21, word(0)), kOk);
    EXPECT_EQ(events.take(), event(22, word(0))) << "what nobody took is lost";
    EXPECT_EQ(orvcd.end().status, 0);
}

TEST(OrvcdEventsUnheard, WhatIsNotDueYetDoesNotKeepIt)
{
    Process orvcd;
    EventSocket events(orvcd.events());
    orvcd.start({}, 600);
    Client client(orvcd.socket());
    EXPECT_EQ(client.ask(51, Image(88).text(0, "example.com")), kOk);
    EXPECT_EQ(client.ask(59, Image(1036).words(0, {1}).text(12, mac("32"))), kOk);
    const auto start = std::chrono::steady_clock::now();
    Outcome outcome = orvcd.end();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
}

TEST(OrvcdEventsUnheard, WithManyClientsAtOnce)
{
    Process orvcd;
    orvcd.start({}, 1);
    std::vector<std::thread> threads;
    for (uint32_t number = 0; number < 6; number++) {
        threads.emplace_back([&, number] {
            Client client(orvcd.socket());
            for (uint32_t round = 0; round < 40; round++) {
                EXPECT_EQ(client.ask(21, word(number % 2)), kOk);
                EXPECT_EQ(client.ask(50, Image(148).text(0, "example.com")), kOk);
                EXPECT_EQ(client.record(103).size(), 8u + 14 * 544);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    Outcome outcome = orvcd.end();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
}

// --- Life ---

uint32_t type_of(const std::string &event)
{
    return event.size() < 4 ? 0 : static_cast<unsigned char>(event[0]);
}

TEST(OrvcdLife, MakesThingsHappen)
{
    Process orvcd;
    EventSocket events(orvcd.events());
    orvcd.start({}, 1);
    EXPECT_EQ(events.take(), event(110, Image(260).text(0, mac("30")))) << "one leaves,";
    EXPECT_EQ(Client(orvcd.socket()).record(104, Image(544).text(0, mac("30"))).substr(216, 4), word(0));
    EXPECT_EQ(events.take(), event(111, Image(32).text(0, mac("E1")))) << "one mistypes the password,";
    EXPECT_EQ(type_of(events.take()), 110u);
    std::vector<uint32_t> later = {type_of(events.take()), type_of(events.take())};
    EXPECT_EQ(std::count(later.begin(), later.end(), 216u), 1) << "and one looks for networks";
    EXPECT_EQ(orvcd.end().status, 0);
}

TEST(OrvcdLife, GoesOnInAnEmptyHome)
{
    Process orvcd;
    const std::string file = orvcd.file("state.json");
    std::ofstream(file) << "{\"stations\": [], \"vsie\": {\"probe_requests\": []}}";
    EventSocket events(orvcd.events());
    orvcd.start({"--state", file}, 1);
    EXPECT_EQ(events.take(), event(111, Image(32).text(0, mac("E1"))));
    EXPECT_EQ(events.take(), event(111, Image(32).text(0, mac("E1")))) << "five seconds later again";
    Outcome outcome = orvcd.end();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
}

// --- By hand ---

struct OrvcdEventCommand : testing::Test {
    Process orvcd;

    Outcome send(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "event");
        arguments.insert(arguments.end(), {"--events", orvcd.events()});
        return orvcd.run(arguments);
    }
    void expect_sent(const std::vector<std::string> &arguments, const std::string &expected)
    {
        EventSocket events(orvcd.events());
        Outcome outcome = send(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_EQ(outcome.output + outcome.errors, "");
        EXPECT_EQ(events.take(0), expected) << arguments[0];
        EXPECT_EQ(events.take(0), "silence") << arguments[0];
        unlink(orvcd.events().c_str());
    }
};

std::string roaming_report()
{
    return Image(66)
        .text(0, mac("32"))
        .words(20, {3, static_cast<uint32_t>(-70), 60})
        .words(40, {44})
        .text(44, mac("21"))
        .text(62, std::string("\1\0\1\0", 4));
}

const std::map<std::string, std::string> kEvents = {
    {"new-station", event(109, Image(260).text(0, mac("50")).text(32, "visitor"))},
    {"station-state", event(110, Image(260).text(0, mac("32")).words(216, {1}))},
    {"wan-address", event(55, Image(24).words(4, {1}).text(8, "203.0.113.25"))},
    {"wan-link", event(54, Image(28).words(8, {1}).text(12, "203.0.113.24"))},
    {"led-switch", event(22, word(1))},
    {"wifi-switch", event(87, word(1))},
    {"elink-switch", event(169, word(1))},
    {"wps-switch", event(85, word(0) + word(1))},
    {"password-error", event(111, Image(32).text(0, mac("51")))},
    {"channel", event(89, word(0) + word(0) + word(0) + word(6))},
    {"ssid", event(90, Image(44).words(0, {0, 1}).text(12, "Birch Lane 7"))},
    {"ping-result", event(52, Image(24).words(0, {4, 0, 0, 12, 9, 17}))},
    {"trace-result", event(53, std::string("1 203.0.113.1 2 ms") + '\0')},
    {"roaming", event(146, roaming_report())},
    {"probe-record",
     event(216, Image(290).text(4, mac("34")).words(28, {4}).text(32, "\x10\x01\x02\x03").text(289, "\x5e"))},
};

TEST_F(OrvcdEventCommand, SendsOneEventOfEachKind)
{
    for (const auto &[name, bytes] : kEvents)
        expect_sent({name}, bytes);
}

TEST_F(OrvcdEventCommand, TakesFieldsAsGiven)
{
    const std::string ssid(32, 's');
    expect_sent({"ssid", "ssid=" + ssid, "band=5 GHz", "ap_index=4294967295"},
                event(90, Image(44).words(0, {1, UINT32_MAX}).text(12, ssid)));
    expect_sent({"ssid", "ssid=a=b\xff"}, event(90, Image(44).words(0, {0, 1}).text(12, "a=b\xff")));
    expect_sent({"led-switch", "on=false"}, event(22, word(0)));
    expect_sent({"wan-link", "state=address", "address="}, event(54, Image(28).words(8, {3})));
    expect_sent({"roaming", "rssi=-91", "support_11k=false"}, event(146, Image(66)
                                                                             .text(0, roaming_report())
                                                                             .words(24, {static_cast<uint32_t>(-91)})
                                                                             .text(62, std::string(2, '\0'))));
    expect_sent({"probe-record", "data=[255,0,0]", "oui=[0,0,0]"},
                event(216, Image(290).text(4, mac("34")).words(28, {3}).text(32, "\xff")));
    expect_sent({"trace-result", "result=" + std::string(3000, 't')}, event(53, std::string(3000, 't') + '\0'));
    expect_sent({"trace-result", "result=" + std::string(16367, 't')}, event(53, std::string(16367, 't') + '\0'));
}

TEST_F(OrvcdEventCommand, RefusesWhatItCannotSend)
{
    const std::vector<std::string> refused[] = {
        {"pigeon", "there is no event 'pigeon'; orvcd event --help lists them"},
        {"channel", "colour=6",
         "'colour=6' is no FIELD=VALUE of this event; it has {\"band\":\"2.4 GHz\",\"channel\":6}"},
        {"channel", "channel", "'channel' is no FIELD=VALUE of this event"},
        {"channel", "channel=six", "channel: 'six' is no value like 6"},
        {"channel", "channel=", "channel: '' is no value like 6"},
        {"channel", "channel=1.5", "channel: '1.5' is no value like 6"},
        {"channel", "channel=4294967296", "channel: the value does not fit its field"},
        {"channel", "channel=-1", "channel: the value does not fit its field"},
        {"channel", "band=6 GHz", "orvcd: \"6 GHz\" stands where one of: 2.4 GHz, 5 GHz belongs\n"},
        {"led-switch", "on=1", "on: '1' is no value like true"},
        {"roaming", "rssi=2147483648", "rssi: the value does not fit its field"},
        {"ssid", "ssid=" + std::string(33, 's'), "ssid: the value does not fit its field"},
        {"trace-result", "result=" + std::string(16368, 't'), ": Message too long\n"},
        {"probe-record", "data=[256]", "data: the value does not fit its field"},
        {"probe-record", "data=[\"x\"]", "a number belongs"},
        {"probe-record", "oui=[1,2,3,4]", "oui: the value does not fit its field"},
    };
    EventSocket events(orvcd.events());
    for (std::vector<std::string> arguments : refused) {
        const std::string message = arguments.back();
        arguments.pop_back();
        Outcome outcome = send(arguments);
        EXPECT_EQ(outcome.status, 1) << message;
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.errors.substr(0, 7), "orvcd: ") << outcome.errors;
        EXPECT_NE(outcome.errors.find(message), std::string::npos) << outcome.errors;
    }
    EXPECT_EQ(events.take(0), "silence");
}

TEST_F(OrvcdEventCommand, TellsThatNobodyTakesIt)
{
    Outcome outcome = send({"led-switch"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "orvcd: " + orvcd.events() + ": No such file or directory\n");
}

TEST_F(OrvcdEventCommand, HelpListsAllEvents)
{
    Outcome outcome = orvcd.run({"event", "--help"});
    EXPECT_EQ(outcome.status, 0);
    for (const auto &[name, bytes] : kEvents)
        EXPECT_NE(outcome.output.find("\n  " + name + "\n"), std::string::npos) << name;
    EXPECT_NE(outcome.output.find("\n    band=2.4 GHz channel=6\n"), std::string::npos) << outcome.output;
}

} // namespace
