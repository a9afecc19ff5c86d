// The families of message types: what they keep, change and refuse, byte by byte.

#include "process.h"

namespace
{

const std::string kOk = word(0);

std::string mac(const std::string &last)
{
    return "00:00:5E:00:53:" + last;
}

uint64_t number_at(const std::string &record, size_t offset, size_t size = 4)
{
    uint64_t value = 0;
    for (size_t at = offset + size; at > offset && offset + size <= record.size(); at--)
        value = value << 8 | static_cast<unsigned char>(record[at - 1]);
    return value;
}

// The error of a refused request is all of its answer.
testing::AssertionResult is_refusal(const std::string &body)
{
    if (body.size() == 4 && body != kOk)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << body.size() << " bytes, code " << number_at(body, 0);
}

struct OrvcdFamilies : testing::Test {
    Process orvcd;
    std::unique_ptr<Client> client;

    void SetUp() override
    {
        orvcd.start();
        client = std::make_unique<Client>(orvcd.socket());
    }
    // From here on what is sent is no setting that a router would take.
    void be_lenient()
    {
        client.reset();
        orvcd.end();
        orvcd.start({"--lenient"});
        client = std::make_unique<Client>(orvcd.socket());
    }
    // Sets, and expects the record that is then read.
    void expect_set(uint32_t set, const std::string &payload, uint32_t get, const std::string &request,
                    const std::string &expected)
    {
        EXPECT_EQ(client->ask(set, payload), kOk) << "type " << set;
        EXPECT_EQ(client->record(get, request), expected) << "type " << set;
    }
};

// --- Settings ---

TEST_F(OrvcdFamilies, SwitchesKeepTheirCode)
{
    const std::pair<uint32_t, uint32_t> pairs[] = {{177, 178}, {168, 167}, {199, 200},
                                                   {201, 202}, {203, 204}, {240, 239}};
    const uint32_t defaults[] = {1, 1, 1, 1, 0, 1};
    be_lenient();
    for (size_t at = 0; at < std::size(pairs); at++) {
        auto [set, get] = pairs[at];
        EXPECT_EQ(client->record(get), word(defaults[at])) << "type " << get;
        for (uint32_t code : {0u, 1u, 7u, UINT32_MAX})
            expect_set(set, word(code), get, "", word(code));
    }
    EXPECT_EQ(client->record(197, word(0) + word(0)), word(0) + word(0));
    expect_set(196, word(0) + word(1), 197, word(0) + word(0), word(0) + word(1));
    EXPECT_EQ(client->record(235), word(0));
}

TEST_F(OrvcdFamilies, Pppoe)
{
    EXPECT_EQ(client->record(31),
              std::string(Image(140).text(0, "birch-lane-7@isp.example").text(33, "a long secret")));
    const Image account = Image(140).text(0, std::string(33, 'n')).text(33, std::string(33, 'p'));
    expect_set(32, Image(account).words(136, {384}), 31, "", account);
    EXPECT_EQ(client->record(24).substr(0, 8), word(2) + word(0)) << "on PPPoE, link down";
}

TEST_F(OrvcdFamilies, Ipv6)
{
    Image info(356);
    info.words(0, {1, 1})
        .text(8, "2001:db8:10::1")
        .text(72, "2001:db8:10::")
        .words(136, {64})
        .text(140, "fe80::1")
        .text(204, "2001:db8::53")
        .text(268, "2001:db8::54");
    EXPECT_EQ(client->record(26), std::string(info));
    expect_set(25, word(0), 26, "", info.words(0, {0, 0}));
    expect_set(25, word(1), 26, "", info.words(0, {1, 1}));
}

TEST_F(OrvcdFamilies, WanPort)
{
    EXPECT_EQ(client->record(92, Image(20).words(0, {1, 4})), std::string(Image(20).words(0, {1, 4, 0, 1, 1000})));
    EXPECT_EQ(client->record(94, Image(16).words(0, {1, 4})), std::string(Image(16).words(0, {1, 4, 48210, 3120})));
}

TEST_F(OrvcdFamilies, RadioTakesFieldsOfItsChangeMask)
{
    const std::string request = Image(48).words(0, {1});
    Image radio(48);
    radio.words(0, {1, 1, 2, 44, 44, 3, 4 + 8 + 16 + 32, 0, 4, 12});
    Image set(48);
    set.words(0, {1, 0, 1, 36, 99, 4, 1, 1, 1, 1, 1});
    expect_set(180, set.words(44, {0}), 181, request, radio);
    expect_set(180, set.words(44, {0x0001}), 181, request, radio.words(4, {0}));
    expect_set(180, set.words(44, {0x0040}), 181, request, radio.words(20, {4}));
    expect_set(180, set.words(44, {0x1000}), 181, request, radio.words(8, {1}));
    expect_set(180, set.words(44, {0x2000}), 181, request, radio.words(12, {36, 36}));
    expect_set(180, set.words(12, {0}), 181, request, radio.words(12, {0})); // the radio's own choice: it stays
    EXPECT_TRUE(is_refusal(client->ask(180, set.words(0, {2}))));
    EXPECT_EQ(client->record(181, Image(48)).substr(0, 20), word(0) + word(1) + word(2) + word(0) + word(6));
}

TEST_F(OrvcdFamilies, ChannelScoresFollowScan)
{
    const std::string request = Image(264).words(0, {0});
    const std::string other = client->record(198, Image(264).words(0, {1}));
    EXPECT_EQ(other, std::string(Image(264).words(
                         0, {1, 9, 36, 57, 40, 68, 44, 81, 48, 77, 149, 62, 153, 74, 157, 79, 161, 83, 165, 90})));
    const std::string before = client->record(198, request);
    EXPECT_EQ(before.substr(0, 16), word(0) + word(13) + word(1) + word(48));
    EXPECT_EQ(client->ask(60, request, 0), kOk);
    const std::string after = client->record(198, request);
    EXPECT_EQ(after.size(), 264u);
    EXPECT_NE(after, before);
    for (size_t at = 0; at < 13; at++) {
        EXPECT_EQ(number_at(after, 8 + 8 * at), at + 1);
        EXPECT_LE(number_at(after, 12 + 8 * at), 100u);
    }
    EXPECT_EQ(client->record(198, Image(264).words(0, {1})), other);
    EXPECT_TRUE(is_refusal(client->ask(198, Image(264).words(0, {2}))));
}

TEST_F(OrvcdFamilies, AccessPointTakesFieldsOfItsChangeMask)
{
    const std::string request = Image(200).words(0, {0, 2});
    Image point(200);
    point.words(0, {0, 2, 1})
        .text(12, "Birch Lane 7 Guests")
        .text(76, mac("12"))
        .words(108, {5, 3})
        .text(116, "come on in 2024");
    EXPECT_EQ(client->record(185, request), std::string(point));
    be_lenient();
    Image set(200);
    const std::string ssid(32, 's');
    const std::string key(64, 'k');
    set.words(0, {0, 2, 0}).text(12, ssid).text(76, "elsewhere").words(108, {0, 4}).text(116, key).words(180, {1});
    expect_set(184, set, 185, request, point);
    expect_set(184, set.words(196, {0x01}), 185, request, point.words(8, {0}));
    expect_set(184, set.words(196, {0x02}), 185, request, point.text(12, ssid));
    expect_set(184, set.words(196, {0x04}), 185, request, point.text(116, key));
    expect_set(184, set.words(196, {0x08}), 185, request, point.words(108, {0}));
    expect_set(184, set.words(196, {0x10}), 185, request, point.words(112, {4}));
    expect_set(184, set.words(196, {0x20}), 185, request, point.words(180, {1}));
}

TEST_F(OrvcdFamilies, AccessPointIsMadeWhereItIsSet)
{
    const std::string request = Image(200).words(0, {1, 7});
    EXPECT_TRUE(is_refusal(client->ask(185, request)));
    expect_set(184, Image(200).words(0, {1, 7, 1}).text(12, "Seventh").words(196, {0x3}), 185, request,
               Image(200).words(0, {1, 7, 1}).text(12, "Seventh").text(76, mac("27")));
    EXPECT_EQ(number_at(client->record(181, Image(48).words(0, {1})), 32), 7u);
    for (auto [band, index] : {std::pair{2u, 1u}, {UINT32_MAX, 1u}, {0u, 0u}, {0u, 17u}, {0u, UINT32_MAX}})
        EXPECT_TRUE(is_refusal(client->ask(184, Image(200).words(0, {band, index, 1}).words(196, {0x3f}))));
}

TEST_F(OrvcdFamilies, AccessPointLimitsModeAndRules)
{
    const std::string limit = Image(20).words(0, {0, 1});
    EXPECT_EQ(client->record(189, limit), limit);
    expect_set(188, Image(20).words(0, {0, 1, 500, 900, 0x400}), 189, limit, Image(20).words(0, {0, 1, 500}));
    expect_set(188, Image(20).words(0, {0, 1, 1, 900, 0x800}), 189, limit, Image(20).words(0, {0, 1, 500, 900}));

    expect_set(190, Image(12).words(0, {1, 2, 3}), 191, Image(12).words(0, {1, 2}), Image(12).words(0, {1, 2, 3}));

    Image rule(216);
    rule.words(0, {0, 2, 2, 10});
    for (uint32_t at = 0; at < 10; at++)
        rule.text(16 + 20 * at, "255.255.255.24" + std::to_string(at)).words(32 + 20 * at, {at + 80});
    EXPECT_EQ(client->record(193, Image(216).words(0, {0, 2})), std::string(Image(216).words(0, {0, 2})));
    expect_set(192, rule, 193, Image(216).words(0, {0, 2}), rule);

    const std::pair<uint32_t, size_t> rows[] = {{188, 20}, {189, 20}, {190, 12}, {191, 12}, {192, 216}, {193, 216}};
    for (auto [type, length] : rows) {
        EXPECT_TRUE(is_refusal(client->ask(type, Image(length).words(0, {2, 1})))) << "type " << type;
        EXPECT_TRUE(is_refusal(client->ask(type, Image(length).words(0, {0, 9})))) << "type " << type;
    }
}

TEST_F(OrvcdFamilies, RoamingTakesFieldsOfItsChangeMask)
{
    const auto minus = [](uint32_t value) { return 0 - value; };
    Image roaming(32);
    roaming.words(0, {1, minus(72), 30, 10, minus(68), 0, minus(72)});
    EXPECT_EQ(client->record(141), std::string(roaming));
    Image set(32);
    set.words(0, {0, minus(80), 60, 20, minus(75), 9, minus(81)});
    expect_set(142, set, 141, "", roaming);
    expect_set(142, set.words(28, {0x01}), 141, "", roaming.words(0, {0}));
    expect_set(142, set.words(28, {0x42}), 141, "", roaming.words(4, {minus(80)}).words(24, {minus(81)}));
    expect_set(142, set.words(28, {0x04}), 141, "", roaming.words(8, {60}));
    expect_set(142, set.words(28, {0x08}), 141, "", roaming.words(12, {20}));
    expect_set(142, set.words(28, {0x10}), 141, "", roaming.words(16, {minus(75)}));
}

TEST_F(OrvcdFamilies, SignalOfStations)
{
    EXPECT_EQ(client->record(143, Image(28).text(0, mac("32"))),
              std::string(Image(28).text(0, mac("32")).words(20, {static_cast<uint32_t>(-61), 0})));
    EXPECT_EQ(client->record(143, Image(28).text(0, mac("31"))).substr(20), word(static_cast<uint32_t>(-52)) + word(1));
    EXPECT_TRUE(is_refusal(client->ask(143, Image(28).text(0, mac("30"))))) << "a wired station";
    EXPECT_TRUE(is_refusal(client->ask(143, Image(28).text(0, mac("FF")))));

    Image query(660);
    query.words(0, {2}).text(4, "00005e005332").text(20, "00005e005311").text(40, "00005e005321");
    EXPECT_EQ(client->record(144, query), std::string(Image(644)
                                                          .words(0, {2})
                                                          .text(4, "00005e005311")
                                                          .words(20, {static_cast<uint32_t>(-61)})
                                                          .text(24, "00005e005321")
                                                          .words(40, {static_cast<uint32_t>(-65)})));
    EXPECT_EQ(client->record(144, query.words(0, {UINT32_MAX})).substr(0, 4), word(32));
    EXPECT_TRUE(is_refusal(client->ask(144, query.text(4, "00005e0053ff"))));
    EXPECT_TRUE(is_refusal(client->ask(145, Image(32).text(0, "00005e0053ff"))));
}

// --- Mesh ---

TEST_F(OrvcdFamilies, MeshTakesFieldsOfItsChangeMask)
{
    Image set(36);
    set.words(0, {3}).text(4, "not taken");
    EXPECT_EQ(client->ask(61, set), kOk);
    std::string mesh = client->record(62);
    EXPECT_EQ(mesh,
              std::string(Image(36).words(0, {2}).text(4, mac("10")).text(24, mesh.substr(24, 4)).words(28, {1})));
    EXPECT_EQ(client->ask(61, set.words(32, {2})), kOk);
    EXPECT_EQ(client->record(62).substr(0, 24), std::string(Image(24).words(0, {3}).text(4, mac("10"))));

    EXPECT_EQ(client->record(67), std::string(Image(16).words(0, {1})));
    expect_set(66, Image(16), 67, "", Image(16).words(0, {1}));
    expect_set(66, Image(16).words(12, {4}), 67, "", Image(16));
    EXPECT_EQ(client->record(63),
              std::string(Image(104).text(0, "KVQ-EasyMesh-5G").text(32, "backhaul only").words(96, {5, 3})));
}

TEST_F(OrvcdFamilies, MeshTopology)
{
    EXPECT_EQ(client->record(65), std::string(Image(328)
                                                  .words(0, {3})
                                                  .text(8, mac("10"))
                                                  .text(26, mac("10"))
                                                  .text(88, mac("60"))
                                                  .text(106, mac("61"))
                                                  .text(168, mac("70"))
                                                  .text(186, mac("71"))));
    EXPECT_EQ(client->record(64, Image(18).text(0, mac("61"))), std::string(Image(13440)
                                                                                .text(44, mac("10"))
                                                                                .words(148, {2, 866, 866})
                                                                                .words(164, {1})
                                                                                .text(168, mac("62"))
                                                                                .text(186, "Birch Lane 7")
                                                                                .words(272, {2})
                                                                                .text(276, mac("6E"))
                                                                                .text(294, "KVQ-EasyMesh-5G")
                                                                                .text(326, mac("63"))
                                                                                .text(344, "Birch Lane 7 5G")
                                                                                .words(376, {1})
                                                                                .words(380, {1, 0})
                                                                                .text(392, mac("38"))
                                                                                .words(416, {259200})
                                                                                .words(568, {24, 52})));
    const std::string own = client->record(64, Image(18));
    EXPECT_EQ(own, client->record(64, Image(18).text(0, mac("10"))));
    EXPECT_EQ(number_at(own, 376), 4u);
    EXPECT_TRUE(is_refusal(client->ask(64, Image(18).text(0, mac("62")))));
}

// --- Stations ---

// A station on line, as its record tells its time there.
std::string desk_computer(uint64_t seconds)
{
    Image record(544);
    record.text(0, mac("30"))
        .text(32, "desk")
        .text(96, "Desk computer")
        .text(160, "192.168.10.20")
        .words(176, {2, 1})
        .words(216, {1, static_cast<uint32_t>(seconds), 1763513600})
        .text(260, "2001:db8:10::20")
        .text(360, "Quill")
        .text(392, "Tower 5")
        .words(424, {5200, 410, 0, 0, 1000, 0, 1, 1, 1, 1});
    const uint64_t counters[] = {seconds * 1100, seconds * 14000, seconds * 9,    seconds * 12,  seconds / 40,
                                 seconds / 30,   seconds / 4000,  seconds / 3000, seconds / 5000};
    for (size_t at = 0; at < std::size(counters); at++)
        record.words(472 + 8 * at, {static_cast<uint32_t>(counters[at]), static_cast<uint32_t>(counters[at] >> 32)});
    return record;
}

TEST_F(OrvcdFamilies, Stations)
{
    const std::string list = client->record(103);
    ASSERT_EQ(list.size(), 8u + 14 * 544);
    EXPECT_EQ(list.substr(0, 8), word(14) + word(0));
    const uint64_t seconds = number_at(list, 8 + 220);
    EXPECT_GE(seconds, 86400u);
    EXPECT_LE(seconds, 86400u + 60);
    EXPECT_EQ(list.substr(8, 544), desk_computer(seconds));
    EXPECT_EQ(list.substr(8 + 3 * 544, 544), std::string(Image(544)
                                                             .text(0, mac("33"))
                                                             .text(32, "tablet")
                                                             .text(160, "192.168.10.23")
                                                             .words(176, {1, 0})
                                                             .text(184, "Birch Lane 7 5G")
                                                             .words(216, {0, 900, 1763599100})
                                                             .text(360, "Heron")
                                                             .text(392, "Slate")
                                                             .words(432, {static_cast<uint32_t>(-70), 0, 433})
                                                             .words(452, {0, 1, 1})))
        << "off line: its counters stand still";
    EXPECT_EQ(client->record(105), word(14) + word(0) + word(4) + word(6) + word(4));
}

TEST_F(OrvcdFamilies, StationOfOneAddress)
{
    const std::string station = client->record(104, Image(544).text(0, "00:00:5e:00:53:30"));
    EXPECT_EQ(station, desk_computer(number_at(station, 220)));
    EXPECT_TRUE(is_refusal(client->ask(104, Image(544).text(0, mac("FF")))));
    EXPECT_TRUE(is_refusal(client->ask(104, Image(544))));
}

TEST_F(OrvcdFamilies, StationTakesNamesAndAccess)
{
    const std::string request = Image(544).text(0, mac("33"));
    Image station = Image(544).text(0, client->record(104, request)); // off line: nothing else moves
    const std::string name(64, 'n');
    const std::string brand(32, 'b');
    const std::string model(32, 'm');
    expect_set(106, Image(96).text(0, mac("33")).text(32, name), 104, request, station.text(96, name));
    Image both = Image(100).text(0, mac("33")).text(32, brand).text(64, model);
    expect_set(107, both, 104, request, station);
    expect_set(107, both.words(96, {1}), 104, request, station.text(360, brand));
    expect_set(107, both.words(96, {2}), 104, request, station.text(392, model));
    expect_set(123, Image(36).text(0, mac("33")), 104, request, station.words(456, {0}));
    expect_set(126, Image(36).text(0, mac("33")), 104, request, station.words(460, {0}));
    expect_set(123, Image(36).text(0, mac("33")).words(32, {1}), 104, request, station.words(456, {1}));
    for (auto [type, length] : {std::pair{106u, 96u}, {107u, 100u}, {123u, 36u}, {126u, 36u}})
        EXPECT_TRUE(is_refusal(client->ask(type, Image(length).text(0, mac("FF"))))) << "type " << type;
}

TEST_F(OrvcdFamilies, StationRateLimit)
{
    const std::string request = Image(80).text(4, mac("32"));
    Image limit = Image(80).words(0, {1}).text(4, mac("32")).words(68, {20000, 5000});
    EXPECT_EQ(client->record(135, request), std::string(limit));
    Image set = Image(80).text(4, mac("32")).words(68, {7, 8});
    expect_set(136, set, 135, request, limit);
    expect_set(136, set.words(76, {1}), 135, request, limit.words(72, {8}));
    expect_set(136, set.words(76, {2}), 135, request, limit.words(68, {7}));
    expect_set(136, set.words(68, {0, 0, 3}), 135, request, Image(80).text(4, mac("32")));
    EXPECT_TRUE(is_refusal(client->ask(135, Image(80).text(4, mac("FF")))));
    EXPECT_TRUE(is_refusal(client->ask(136, Image(80).text(4, mac("FF")))));
}

// --- Load and counters ---

TEST_F(OrvcdFamilies, LoadAndOpenPorts)
{
    EXPECT_LE(number_at(client->record(5), 0), 100u);
    EXPECT_EQ(client->record(5).substr(4), word(54));
    EXPECT_EQ(client->record(6), word(43));
    EXPECT_EQ(client->record(7), word(61440) + word(52));
    EXPECT_EQ(client->record(9), std::string(Image(128).words(0, {53, 80, 443})));
    EXPECT_EQ(client->record(10), std::string(Image(128).words(0, {53, 67, 123, 546})));
}

// Low and high words of 64-bit counters.
std::vector<uint32_t> halves(const std::vector<uint64_t> &counters)
{
    std::vector<uint32_t> words;
    for (uint64_t counter : counters) {
        words.push_back(static_cast<uint32_t>(counter));
        words.push_back(static_cast<uint32_t>(counter >> 32));
    }
    return words;
}

TEST_F(OrvcdFamilies, StatisticsHaveTwoForms)
{
    const std::string port = client->record(93, Image(72).words(0, {1, 4}));
    const uint64_t up = (number_at(port, 16, 8) - 98122039481) / 1250000;
    EXPECT_LE(up, 60u);
    EXPECT_EQ(port, std::string(
                        Image(72).words(0, {1, 4}).words(8, halves({7301882211 + 81250 * up, 98122039481 + 1250000 * up,
                                                                    22918311 + 410 * up, 91220019 + 880 * up}))));
    for (auto [kind, index] : {std::pair{3u, 2u}, {4u, 1u}}) {
        const std::string point = client->record(93, Image(72).words(0, {kind, index}));
        const uint64_t seconds = number_at(point, 24, 8) / 350;
        EXPECT_GE(seconds, 3600u);
        EXPECT_LE(seconds, 3660u);
        EXPECT_EQ(point, std::string(Image(72)
                                         .words(0, {kind, index})
                                         .words(8, halves({420000 * seconds, 31000 * seconds, 350 * seconds,
                                                           190 * seconds, 6, 0, 0, 4}))));
    }
    EXPECT_EQ(client->record(93, Image(72).words(0, {3, 3})), std::string(Image(72).words(0, {3, 3})))
        << "an access point that is off";
    for (auto [kind, index] : {std::pair{0u, 1u}, {2u, 1u}, {3u, 9u}, {4u, 0u}, {5u, 1u}})
        EXPECT_TRUE(is_refusal(client->ask(93, Image(72).words(0, {kind, index})))) << kind << ", " << index;
}

TEST_F(OrvcdFamilies, CountersAdvance)
{
    struct Counter {
        uint32_t type;
        std::string request;
        size_t offset;
    };
    const Counter counters[] = {
        {93, Image(72).words(0, {1, 4}), 8},
        {93, Image(72).words(0, {3, 1}), 8},
        {104, Image(544).text(0, mac("35")), 480},
        {104, Image(544).text(0, mac("35")), 220},
        {8, "", 68},
        {62, "", 24},
    };
    std::vector<uint64_t> before;
    for (const Counter &counter : counters)
        before.push_back(number_at(client->record(counter.type, counter.request), counter.offset));
    usleep(1'100'000);
    for (size_t at = 0; at < std::size(counters); at++) {
        const Counter &counter = counters[at];
        EXPECT_GT(number_at(client->record(counter.type, counter.request), counter.offset), before[at])
            << "type " << counter.type << ", offset " << counter.offset;
    }
}

// --- Lists ---

struct List {
    const char *name;
    uint32_t add, remove, list;
    size_t entry;   // bytes
    size_t room;    // entries
    size_t removal; // bytes of a delete request, which begins with the index
    size_t shipped; // entries of the default home
    size_t answer;  // bytes of an add answer after its code, which begins with the index; 0 where it has none
};

void PrintTo(const List &list, std::ostream *stream)
{
    *stream << list.name;
}

const List kLists[] = {
    {"WifiTimers", 101, 102, 98, 36, 32, 4, 3, 4},
    {"UrlFilters", 208, 207, 206, 2120, 32, 2120, 2, 2120},
    {"DnsFilters", 213, 212, 211, 1132, 32, 1132, 2, 1132},
    {"Classifications", 153, 154, 155, 200, 32, 4, 2, 0},
    {"Blacklist", 117, 118, 119, 100, 128, 4, 1, 100},
    {"Whitelist", 120, 121, 122, 100, 128, 4, 0, 100},
    {"BeaconElements", 217, 218, 219, 1104, 8, 4, 1, 4},
    {"ProbeWatches", 221, 222, 223, 2416, 3, 4, 1, 4},
    {"ProbeResponseElements", 225, 226, 227, 288, 3, 4, 0, 4},
};

struct OrvcdLists : OrvcdFamilies, testing::WithParamInterface<List> {
    const List &list = GetParam();

    std::vector<uint32_t> indices() const
    {
        const std::string answer = client->record(list.list);
        EXPECT_EQ(answer.size(), 4 + list.room * list.entry);
        std::vector<uint32_t> result;
        for (size_t at = 0; at < number_at(answer, 0); at++)
            result.push_back(static_cast<uint32_t>(number_at(answer, 4 + at * list.entry)));
        return result;
    }
    std::string remove(uint32_t index) const { return client->ask(list.remove, Image(list.removal).words(0, {index})); }
    // Adds an entry and expects it under this index, at the end of the list.
    void expect_added(uint32_t index) const
    {
        const std::string body = client->ask(list.add, Image(list.entry).words(0, {77}));
        EXPECT_EQ(body, kOk + std::string(list.answer ? Image(list.answer).words(0, {index}) : Image(0)));
        EXPECT_EQ(indices().back(), index);
    }
};

TEST_P(OrvcdLists, AreFilledAtTheLowestFreeIndex)
{
    be_lenient();
    std::vector<uint32_t> taken = indices();
    EXPECT_EQ(taken.size(), list.shipped);
    for (uint32_t index = 1; index <= list.room; index++)
        if (std::find(taken.begin(), taken.end(), index) == taken.end())
            expect_added(index);
    EXPECT_TRUE(is_refusal(client->ask(list.add, Image(list.entry)))) << "there is no room left";
    EXPECT_EQ(indices().size(), list.room);
    EXPECT_EQ(remove(2), kOk);
    EXPECT_EQ(indices().size(), list.room - 1);
    EXPECT_TRUE(is_refusal(remove(2)));
    expect_added(2);
}

TEST_P(OrvcdLists, RefuseToDeleteWhatIsNotThere)
{
    const std::vector<uint32_t> before = indices();
    for (uint32_t index : {0u, 200u, UINT32_MAX})
        EXPECT_TRUE(is_refusal(remove(index))) << index;
    EXPECT_EQ(indices(), before);
}

INSTANTIATE_TEST_SUITE_P(All, OrvcdLists, testing::ValuesIn(kLists),
                         [](const auto &info) { return std::string(info.param.name); });

// A record of every field: no two bytes are alike in a row, texts fill their fields.
std::string marked(size_t size)
{
    std::string bytes(size, '\0');
    for (size_t at = 0; at < size; at++)
        bytes[at] = static_cast<char>('A' + at % 57);
    return bytes;
}

TEST_F(OrvcdFamilies, WifiTimerIsKeptWhole)
{
    be_lenient();
    const std::string timer = Image(36).words(0, {4, 1, 7, 1, 0xffffffff, 99, 0, 0, 0x80000041});
    EXPECT_EQ(client->ask(101, timer), kOk + word(4));
    EXPECT_EQ(client->record(100, word(4)), timer);
    const std::string other = Image(36).words(0, {4, 1, 0, 1, 5, 6, 0, 0, 2});
    expect_set(99, other, 100, word(4), other);
    EXPECT_TRUE(is_refusal(client->ask(99, Image(36).words(0, {9}))));
    EXPECT_TRUE(is_refusal(client->ask(100, word(9))));
}

TEST_F(OrvcdFamilies, FilterRulesAreKeptWhole)
{
    be_lenient();
    struct {
        uint32_t set, add, get, list;
        size_t size;
    } const kinds[] = {{205, 208, 209, 206, 2120}, {210, 213, 214, 211, 1132}};
    for (const auto &kind : kinds) {
        const uint32_t index = kind.add == 208 ? 3 : 2;
        const std::string rule = Image(kind.size).text(0, marked(kind.size)).words(0, {index});
        const std::string request = Image(kind.size).words(0, {index});
        EXPECT_EQ(client->ask(kind.add, word(0) + rule.substr(4)), kOk + rule);
        EXPECT_EQ(client->record(kind.get, request), rule);
        EXPECT_EQ(client->record(kind.list).substr(4 + 2 * kind.size, kind.size), rule);
        EXPECT_EQ(client->ask(kind.set, request), kOk + request);
        EXPECT_EQ(client->record(kind.get, request), request);
        EXPECT_TRUE(is_refusal(client->ask(kind.set, Image(kind.size).words(0, {9}))));
        EXPECT_TRUE(is_refusal(client->ask(kind.get, Image(kind.size).words(0, {9}))));
    }
}

TEST_F(OrvcdFamilies, ClassificationIsKeptWhole)
{
    be_lenient();
    EXPECT_EQ(client->record(155).substr(4, 200),
              std::string(Image(200).words(0, {1}).text(4, "Calls").words(40, {7, 46, 6, 2})));
    Image rule = Image(200).text(0, marked(200)).words(0, {3}).words(52, {2, 0, 1, 3, 0, 9, 0, 0});
    rule.text(118, std::string(2, '\0')).text(175, std::string(1, '\0')).text(197, std::string(3, '\0'));
    EXPECT_EQ(client->ask(153, rule), kOk);
    EXPECT_EQ(client->record(155).substr(404, 200), std::string(rule));
}

TEST_F(OrvcdFamilies, AccessListEntryIsKeptWhole)
{
    be_lenient();
    EXPECT_EQ(client->record(119),
              std::string(Image(12804).words(0, {1, 1}).text(8, "A stranger").text(72, mac("E1"))));
    const std::string entry = Image(100).text(0, marked(100)).words(0, {1});
    EXPECT_EQ(client->ask(120, entry), kOk + entry);
    EXPECT_EQ(client->record(122), std::string(Image(12804).words(0, {1}).text(4, entry)));
}

TEST_F(OrvcdFamilies, VendorElementsAreKeptWhole)
{
    be_lenient();
    EXPECT_EQ(client->record(215), word(8) + word(4) + word(3) + word(3));
    const std::string beacon = Image(1104).text(0, marked(1104)).words(0, {2});
    EXPECT_EQ(client->ask(217, beacon), kOk + word(2));
    EXPECT_EQ(client->record(219).substr(4 + 1104, 1104), beacon);
    EXPECT_EQ(client->ask(220, word(2) + word(1)), kOk);
    EXPECT_TRUE(is_refusal(client->ask(220, word(3) + word(1))));

    const std::string response = Image(288).text(0, marked(288)).words(0, {1}).text(22, std::string(2, '\0'));
    EXPECT_EQ(client->ask(225, response), kOk + word(1));
    EXPECT_EQ(client->record(227), std::string(Image(868).words(0, {1}).text(4, response)));
}

TEST_F(OrvcdFamilies, ProbeWatchIsFlushed)
{
    Image watches = Image(7252).words(0, {1, 1}).text(8, "setup").text(76, std::string("\0\0\x5e", 3)).words(80, {1});
    watches.text(88, mac("34")).words(112, {4}).text(116, "\x10\x01\x02\x03");
    EXPECT_EQ(client->record(223), std::string(watches));
    EXPECT_TRUE(is_refusal(client->ask(224, Image(64).text(0, "another"))));
    EXPECT_EQ(client->ask(224, Image(64).text(0, "setup")), kOk);
    EXPECT_EQ(client->record(223),
              std::string(Image(7252).words(0, {1, 1}).text(8, "setup").text(76, std::string("\0\0\x5e", 3))));
}

TEST_F(OrvcdFamilies, RefuseRecordsOfAnotherLength)
{
    const std::pair<uint32_t, size_t> rows[] = {
        {25, 4},     {32, 140},   {50, 148},  {51, 88},    {59, 1036}, {61, 36},   {64, 18},  {66, 16},
        {92, 20},    {93, 72},    {94, 16},   {99, 36},    {100, 4},   {101, 36},  {102, 4},  {104, 544},
        {106, 96},   {107, 100},  {117, 100}, {118, 4},    {123, 36},  {135, 80},  {136, 80}, {142, 32},
        {143, 28},   {144, 660},  {145, 32},  {153, 200},  {154, 4},   {168, 4},   {177, 4},  {180, 48},
        {184, 200},  {188, 20},   {190, 12},  {192, 216},  {196, 8},   {198, 264}, {199, 4},  {205, 2120},
        {210, 1132}, {217, 1104}, {220, 8},   {221, 2416}, {224, 64},  {225, 288}, {240, 4}};
    for (auto [type, length] : rows)
        for (size_t wrong : {size_t{0}, length - 1, length + 1})
            EXPECT_TRUE(is_refusal(client->ask(type, std::string(wrong, '\0')))) << "type " << type << ", " << wrong;
}

// --- Restart ---

TEST(OrvcdFamiliesRestart, KeepsOneSettingOfEachFamily)
{
    struct Setting {
        uint32_t set;
        std::string payload;
        uint32_t get;
        std::string request;
    };
    const Setting settings[] = {
        {32, Image(140).text(0, "me").text(33, "secret"), 31, ""},
        {25, word(0), 26, ""},
        {66, Image(16).words(12, {4}), 67, ""},
        {177, word(0), 178, ""},
        {180, Image(48).words(0, {0, 0, 1, 11, 0, 2}).words(44, {0x3041}), 181, Image(48)},
        {60, Image(264), 198, Image(264)},
        {184, Image(200).words(0, {0, 4, 1}).text(12, "Sixth\xff").words(196, {3}), 185, Image(200).words(0, {0, 4})},
        {188, Image(20).words(0, {0, 1, 5, 6, 0xc00}), 189, Image(20).words(0, {0, 1})},
        {142, Image(32).words(0, {0}).words(28, {1}), 141, ""},
        {117, Image(100).text(4, "Another").text(68, mac("E2")), 119, ""},
        {101, Image(36).words(0, {0, 1, 1, 1, 5, 30, 0, 0, 4}), 98, ""},
        {207, Image(2120).words(0, {1}), 206, ""},
        {213, Image(1132).text(4, marked(1128)), 211, ""},
        {153, Image(200).text(4, "Rule").words(52, {1, 2, 3}), 155, ""},
        {203, word(1), 204, ""},
        {217, Image(1104).text(4, "beacon").words(80, {1, 2, 3}), 219, ""},
        {106, Image(96).text(0, mac("33")).text(32, "Slate"), 104, Image(544).text(0, mac("33"))},
        {136, Image(80).text(4, mac("33")).words(68, {1, 2, 3}), 135, Image(80).text(4, mac("33"))},
        {240, word(0), 239, ""},
    };
    Process orvcd;
    const std::vector<std::string> arguments = {"--state", orvcd.file("state.json"), "--lenient"};
    orvcd.start(arguments);
    std::vector<std::string> kept;
    {
        Client client(orvcd.socket());
        for (const Setting &setting : settings) {
            const std::string before = client.record(setting.get, setting.request);
            EXPECT_EQ(client.ask(setting.set, setting.payload).substr(0, 4), kOk) << "type " << setting.set;
            kept.push_back(client.record(setting.get, setting.request));
            EXPECT_NE(kept.back(), before) << "type " << setting.set;
        }
    }
    EXPECT_EQ(orvcd.end().status, 0);
    EXPECT_EQ(orvcd.run({"--check", orvcd.file("state.json")}).output, orvcd.file("state.json") + ": a home\n");
    orvcd.start(arguments);
    Client client(orvcd.socket());
    for (size_t at = 0; at < std::size(settings); at++)
        EXPECT_EQ(client.record(settings[at].get, settings[at].request), kept[at]) << "type " << settings[at].set;
}

} // namespace
