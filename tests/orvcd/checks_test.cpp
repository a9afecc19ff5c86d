// Settings that orvcd refuses as a router does, each with a return code of its own, and takes with --lenient.

#include "process.h"

namespace
{

struct Refusal {
    const char *name;
    uint32_t type;
    std::string payload;
    uint32_t code;
    const char *reason;
};

void PrintTo(const Refusal &refusal, std::ostream *stream)
{
    *stream << refusal.name;
}

std::string bytes(size_t count, char byte)
{
    return std::string(count, byte);
}

constexpr const char *kMac = "00:00:5E:00:53:77";

// A record that is taken as it is; each row spoils it in one place.
Image radio(uint32_t band, uint32_t mask)
{
    return Image(48).words(0, {band, 1, 1, 6, 0, 1}).words(44, {mask});
}
Image access_point(uint32_t mask)
{
    return Image(200)
        .words(0, {0, 1, 1})
        .text(12, "Home")
        .words(108, {5, 3})
        .text(116, "a good key")
        .words(196, {mask});
}
Image url_filter()
{
    return Image(2120)
        .words(0, {0, 1})
        .text(8, "a.example")
        .text(1032, "Name")
        .text(1064, kMac)
        .words(2088, {1, 2, 3600, 7200});
}
Image dns_filter()
{
    return Image(1132)
        .words(0, {0, 1})
        .text(8, "a.example")
        .text(1032, "Name")
        .text(1064, kMac)
        .words(1096, {1, 1, 2, 3600, 7200});
}
Image timer()
{
    return Image(36).words(0, {0, 1, 1, 1, 23, 59, 0, 0, 64});
}
Image classification()
{
    return Image(200).text(4, "Rule").words(40, {7, 63, 7, 1}).text(124, kMac).text(180, kMac);
}
Image beacon()
{
    return Image(1104).text(4, "service").words(68, {1, 60, 2, 16, 255});
}
Image probe_response()
{
    return Image(288).text(4, kMac).words(28, {1});
}
Image roaming(uint32_t mask)
{
    return Image(32).words(0, {1, 0u - 70, 30, 10, 0u - 68, 0, 0u - 70, mask});
}

const Refusal kRefusals[] = {
    {"LedSwitch", 21, word(2), 16, "neither on nor off"},
    {"WifiSwitch", 177, word(2), 16, "neither on nor off"},
    {"ElinkSwitch", 168, word(7), 16, "neither on nor off"},
    {"WpsSwitch", 196, word(0) + word(2), 16, "neither on nor off"},
    {"QosSwitch", 199, word(2), 16, "neither on nor off"},
    {"DscpSwitch", 201, word(2), 16, "neither on nor off"},
    {"PrioritySwitch", 203, word(2), 16, "neither on nor off"},
    {"FactoryFlag", 240, word(2), 16, "neither on nor off"},
    {"Ipv6Switch", 25, word(2), 16, "neither on nor off"},
    {"BridgeSwitch", 34, word(2), 16, "neither on nor off"},
    {"MeshRoamingSwitch", 66, Image(16).words(0, {2}).words(12, {4}), 16, "neither on nor off"},
    {"StationInternetAccess", 123, Image(36).text(0, "00:00:5E:00:53:33").words(32, {2}), 16, "neither on nor off"},
    {"RadioSwitch", 180, radio(0, 1).words(4, {2}), 16, "neither on nor off"},
    {"AccessPointSwitch", 184, access_point(1).words(8, {2}), 16, "neither on nor off"},
    {"HiddenSwitch", 184, access_point(0x20).words(180, {2}), 16, "neither on nor off"},
    {"UrlFilterSwitch", 208, url_filter().words(4, {2}), 16, "neither on nor off"},
    {"DnsFilterSwitch", 213, dns_filter().words(4, {2}), 16, "neither on nor off"},
    {"TimerSwitch", 101, timer().words(8, {2}), 16, "neither on nor off"},
    {"IptvSwitch", 138, Image(36).words(0, {2}), 16, "neither on nor off"},
    {"BeaconRun", 220, word(1) + word(2), 16, "neither on nor off"},
    {"UpgradeReboot", 19, Image(456).text(0, "http://a.example/b").words(384, {1}).words(452, {2}), 16,
     "neither on nor off"},
    {"Channel5OnTheOtherBand", 180, radio(0, 0x2000).words(12, {36}), 17, "no channel of this band"},
    {"Channel14", 180, radio(0, 0x2000).words(12, {14}), 17, "no channel of this band"},
    {"Channel6OnTheOtherBand", 180, radio(1, 0x2000).words(12, {6}), 17, "no channel of this band"},
    {"Channel38", 180, radio(1, 0x2000).words(12, {38}), 17, "no channel of this band"},
    {"Channel169", 180, radio(1, 0x2000).words(12, {169}), 17, "no channel of this band"},
    {"TransitionChannel", 145, Image(32).text(0, "00005E005332").text(13, "00005E005321").words(28, {15}), 17,
     "no channel of this band"},
    {"Bandwidth80On2G", 180, radio(0, 0x40).words(20, {3}), 18, "no bandwidth of this band"},
    {"UnknownBandwidth", 180, radio(1, 0x40).words(20, {5}), 18, "no bandwidth of this band"},
    {"TransmitPower", 180, radio(0, 0x1000).words(8, {3}), 19, "no transmit power"},
    {"EmptySsid", 184, access_point(2).text(12, bytes(32, '\0')), 20, "empty SSID"},
    {"Auth", 184, access_point(8).words(108, {8}), 21, "unknown authentication"},
    {"EncryptionCode", 184, access_point(0x10).words(112, {1}), 22, "no encryption for this authentication"},
    {"WpaWithoutEncryption", 184, access_point(0x10).words(112, {0}), 22, "no encryption for this authentication"},
    {"ShortPassphrase", 184, access_point(4).text(116, "seven l" + bytes(3, '\0')), 23,
     "no key for this authentication"},
    {"PassphraseOf64Letters", 184, access_point(4).text(116, bytes(64, 'k')), 23, "no key for this authentication"},
    {"UnprintablePassphrase", 184, access_point(4).text(116, "umlaut \xc3\xbc"), 23, "no key for this authentication"},
    {"WepKeyOfWrongLength", 184, access_point(0x0c).words(108, {7}).text(116, "four56" + bytes(4, '\0')), 23,
     "no key for this authentication"},
    {"PassphraseThatIsMissing", 184, Image(access_point(0x18)).words(4, {4}), 23, "no key for this authentication"},
    {"BlacklistMac", 117, Image(100).text(4, "Name").text(68, "00:00:5E:00:53"), 24, "no MAC address"},
    {"WhitelistMac", 120, Image(100).text(4, "Name").text(68, "00-00-5E-00-53-77"), 24, "no MAC address"},
    {"DisassociatedMac", 59, Image(1036).words(0, {1}).text(12, "everybody"), 24, "no MAC address"},
    {"UrlFilterMac", 208, url_filter().text(1064, "00:00:5E:00:53:7x"), 24, "no MAC address"},
    {"DnsFilterMac", 213, dns_filter().text(1064, bytes(17, '\0')), 24, "no MAC address"},
    {"ClassificationMac", 153, classification().text(180, "x"), 24, "no MAC address"},
    {"ProbeResponseMac", 225, probe_response().text(4, "x"), 24, "no MAC address"},
    {"TransitionMac", 145, Image(32).text(0, "00005E005332").text(13, "x"), 24, "no MAC address"},
    {"AllowedAddress", 192, Image(216).words(0, {0, 1, 2, 1}).text(16, "1.2.3.256"), 25, "no IP address"},
    {"ClassificationAddress", 153, classification().text(84, "1.2.3"), 25, "no IP address"},
    {"PingHost", 50, Image(148), 25, "no IP address"},
    {"TracerouteHost", 51, Image(88), 25, "no IP address"},
    {"AllowedPort", 192, Image(216).words(0, {0, 1, 2, 1}).text(16, "1.2.3.4").words(32, {65536}), 26, "no such port"},
    {"ClassificationPort", 153, classification().words(176, {65536}), 26, "no such port"},
    {"Vlan", 138, Image(36).words(0, {1, 4095}), 27, "no VLAN"},
    {"PriorityOutOfRange", 153, classification().words(40, {8}), 28, "number out of range"},
    {"DscpOutOfRange", 153, classification().words(44, {64}), 28, "number out of range"},
    {"Vlan8021pOutOfRange", 153, classification().words(48, {8}), 28, "number out of range"},
    {"RoamingThreshold", 142, roaming(0x42).words(4, {1}), 28, "number out of range"},
    {"RoamingInterval", 142, roaming(0x04).words(8, {0u - 1}), 28, "number out of range"},
    {"RoamingStartTime", 142, roaming(0x08).words(12, {86401}), 28, "number out of range"},
    {"RoamingStartSignal", 142, roaming(0x10).words(16, {0u - 121}), 28, "number out of range"},
    {"UpgradeOfNoSize", 19, Image(456).text(0, "http://a.example/b"), 28, "number out of range"},
    {"PingCount", 50, Image(148).text(0, "a").words(144, {2}), 28, "number out of range"},
    {"TracerouteHops", 51, Image(88).text(0, "a").words(76, {256}).words(84, {32}), 28, "number out of range"},
    {"DisassociatedCount", 59, Image(1036).words(0, {33}), 28, "number out of range"},
    {"ProbeWatchBand", 221, Image(2416).text(4, "service").words(68, {2}), 28, "number out of range"},
    {"TimerHour", 101, timer().words(16, {24}), 29, "no time of day"},
    {"TimerMinute", 101, timer().words(20, {60}), 29, "no time of day"},
    {"UrlFilterRange", 208, url_filter().words(2096, {0, 86401}), 29, "no time of day"},
    {"DnsFilterRange", 213, dns_filter().words(1108, {60, 60}), 29, "no time of day"},
    {"TimerWeekday", 101, timer().words(32, {0}), 30, "no weekday"},
    {"TimerOfTwoWeekdays", 101, timer().words(32, {3}), 30, "no weekday"},
    {"FilterWeekdays", 208, url_filter().words(2092, {128}), 30, "no weekday"},
    {"Protocol", 153, classification().words(52, {4}), 31, "unknown protocol"},
    {"MeshMode", 61, Image(36).words(0, {4}).words(32, {2}), 32, "unknown mode"},
    {"AccessMode", 190, Image(12).words(0, {0, 1, 5}), 32, "unknown mode"},
    {"AccessRule", 192, Image(216).words(0, {0, 1, 3}), 32, "unknown mode"},
    {"UrlFilterName", 208, url_filter().text(1032, bytes(4, '\0')), 33, "empty name"},
    {"ClassificationName", 153, classification().text(4, bytes(4, '\0')), 33, "empty name"},
    {"PppoeName", 32, Image(140).text(33, "password"), 33, "empty name"},
    {"BeaconName", 217, beacon().text(4, bytes(7, '\0')), 33, "empty name"},
    {"UrlFilterWithoutUrl", 208, url_filter().text(8, bytes(9, '\0')), 34, "no URL"},
    {"DnsFilterWithoutHost", 213, dns_filter().text(8, bytes(9, '\0')), 34, "no URL"},
    {"UpgradeUrl", 19, Image(456).text(0, "image.bin").words(384, {1}), 34, "no URL"},
    {"BeaconOfNoLength", 217, beacon().words(76, {0}), 35, "no information element"},
    {"BeaconWithAWord", 217, beacon().words(84, {256}), 35, "no information element"},
    {"ProbeResponseTooLong", 225, probe_response().words(28, {257}), 35, "no information element"},
    {"BlacklistedAlready", 117, Image(100).text(4, "Again").text(68, "00005e0053e1"), 36, "there already"},
};

struct OrvcdRefusals : testing::TestWithParam<Refusal> {
    Process orvcd;
    const Refusal &refusal = GetParam();

    std::string ask() { return Client(orvcd.socket()).ask(refusal.type, refusal.payload).substr(0, 4); }
};

TEST_P(OrvcdRefusals, HaveACodeThatTheLogNames)
{
    orvcd.start({"--log", "--state", orvcd.file("state.json")});
    const std::string before = read_file(orvcd.file("state.json"));
    EXPECT_EQ(ask(), word(refusal.code));
    EXPECT_TRUE(read_file(orvcd.file("state.json")) == before) << "a refused setting was kept";
    const std::string log = orvcd.end().output;
    EXPECT_NE(log.find(" code " + std::to_string(refusal.code) + " (" + refusal.reason + ")"), std::string::npos)
        << log;
}

TEST_P(OrvcdRefusals, AreTakenWithLenient)
{
    orvcd.start({"--lenient"});
    EXPECT_EQ(ask(), word(0));
}

INSTANTIATE_TEST_SUITE_P(All, OrvcdRefusals, testing::ValuesIn(kRefusals),
                         [](const auto &info) { return std::string(info.param.name); });

// Each of the records above, unspoilt, and what is at the edge.
TEST(OrvcdChecks, TakeWhatARouterTakes)
{
    const std::pair<uint32_t, std::string> rows[] = {
        {21, word(0)},
        {180, radio(0, 0x3041).words(12, {13}).words(20, {2})},
        {180, radio(1, 0x3041).words(12, {165}).words(20, {4})},
        {180, radio(1, 0x2000).words(12, {144})},
        {180, radio(1, 0x2000).words(12, {0})},
        {180, radio(0, 0).words(12, {99})},
        {184, access_point(0x3f)},
        {184, access_point(0x04).text(116, bytes(64, 'a'))},
        {184, access_point(0x04).text(116, bytes(63, 'k'))},
        {184, access_point(0x1c).words(108, {7, 0}).text(116, "five5" + bytes(5, '\0'))},
        {184, Image(200).words(0, {0, 2, 0}).text(12, "KVQ_2").words(196, {0x3f})},
        {208, url_filter()},
        {208, url_filter().words(2096, {79200, 21600})},
        {213, dns_filter().text(1064, "00005E005377" + bytes(5, '\0'))},
        {101, timer()},
        {153, classification()},
        {153, classification().words(40, {0, 0u - 1, 0u - 1, 0}).text(124, bytes(17, '\0'))},
        {217, beacon()},
        {225, probe_response()},
        {142, roaming(0x5f)},
        {117, Image(100).text(4, "Name").text(68, "00005E005377")},
        {120, Image(100).text(4, "Name").text(68, "00:00:5E:00:53:e1")},
        {61, Image(36).words(0, {3}).words(32, {2})},
        {138, Image(36).words(0, {0, 4094})},
        {192, Image(216).words(0, {0, 1, 2, 1}).text(16, "1.2.3.4").words(32, {65535})},
    };
    Process orvcd;
    orvcd.start({"--log"});
    for (size_t at = 0; at < std::size(rows); at++)
        EXPECT_EQ(Client(orvcd.socket()).ask(rows[at].first, rows[at].second).substr(0, 4), word(0))
            << "row " << at << ", type " << rows[at].first;
}

} // namespace
