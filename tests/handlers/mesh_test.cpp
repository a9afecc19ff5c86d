// wexond.wifi.mesh: the router's place in a mesh of access points.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kGetIdentity = 2;
constexpr uint32_t kSetMode = 61;
constexpr uint32_t kGetState = 62;
constexpr uint32_t kGetBackhaulBss = 63;
constexpr uint32_t kGetTopology = 64;
constexpr uint32_t kGetMap = 65;
constexpr uint32_t kSetRoaming = 66;
constexpr uint32_t kGetRoaming = 67;

constexpr const char *kObject = "wexond.wifi.mesh";
constexpr const char *kNoAnswerLog = "[wexond_check_ret.#]: Msg return buf = NULL\n";

class MeshTest : public HandlerTest
{
  protected:
    std::string call_mesh(const std::string &method, std::string_view arguments = "{}")
    {
        return call(kObject, method, arguments);
    }
};

// --- set ---

class MeshSetTest : public MeshTest
{
  protected:
    void SetUp() override
    {
        MeshTest::SetUp();
        service().answer(kSetMode, code(0));
        service().answer(kSetRoaming, code(0));
    }

    static Request mode_request(uint32_t mode) { return {kSetMode, 4, Bytes(36).u32(0, mode).u32(32, 2)}; }
    static Request roaming_request(uint32_t roaming) { return {kSetRoaming, 4, Bytes(16).u32(0, roaming).u32(12, 4)}; }
};

TEST_F(MeshSetTest, SendsModeThenRoaming)
{
    EXPECT_EQ(call_mesh("set", R"({"roaming": "yes", "mode": "controller"})"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{mode_request(2), roaming_request(1)}));
}

TEST_F(MeshSetTest, SendsCodesForWords)
{
    for (const auto &[mode, mode_code] :
         {std::pair("controller", 2u), {"agent", 3}, {"unknown", 4}, {"Agent", 4}, {"", 4}}) {
        for (const auto &[roaming, roaming_code] : {std::pair("yes", 1u), {"no", 0}, {"on", 0}, {"", 0}}) {
            EXPECT_EQ(call_mesh("set", R"({"mode": ")" + std::string(mode) + R"(", "roaming": ")" + roaming + "\"}"),
                      kSuccess);
            EXPECT_EQ(service().take_requests(), (Requests{mode_request(mode_code), roaming_request(roaming_code)}));
        }
    }
}

TEST_F(MeshSetTest, RequiresModeThenRoaming)
{
    struct Row {
        const char *arguments;
        const char *missing;
    };
    const Row rows[] = {
        {"{}", "mode"},
        {R"({"roaming": "yes"})", "mode"},
        {R"({"mode": 2, "roaming": "yes"})", "mode"},
        {R"({"mode": "agent"})", "roaming"},
        {R"({"mode": "agent", "roaming": true})", "roaming"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(call_mesh("set", row.arguments), failure(std::string("required parameter: ") + row.missing));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(MeshSetTest, TheFirstFailureEndsIt)
{
    constexpr std::string_view arguments = R"({"mode": "agent", "roaming": "no"})";
    for (const Answer &answer : {code(1), no_answer()}) {
        service().answer(kSetRoaming, answer);
        EXPECT_EQ(call_mesh("set", arguments), failure("failed to set wifi meshroaming"));
        EXPECT_EQ(service().take_requests(), (Requests{mode_request(3), roaming_request(0)}));
    }
    for (const Answer &answer : {code(1), no_answer()}) {
        service().answer(kSetMode, answer);
        EXPECT_EQ(call_mesh("set", arguments), failure("failed to set wifi mesh"));
        EXPECT_EQ(service().take_requests(), (Requests{mode_request(3)}));
    }
}

TEST_F(MeshSetTest, LogsItsArguments)
{
    const std::string entry_line = entry_log("wexond_mesh_set", kObject, "set");
    const std::string argument_lines = "[wexond_mesh_set.#]: mode:agent\n[wexond_mesh_set.#]: roaming:x\n";
    enable_log();
    call_mesh("set", R"({"roaming": "x", "mode": "agent"})");
    EXPECT_EQ(take_log(), entry_line + argument_lines + set_reply_log());
    // The failure is the handler's own: no line of the common check.
    service().answer(kSetMode, code(1));
    call_mesh("set", R"({"roaming": "x", "mode": "agent"})");
    EXPECT_EQ(take_log(), entry_line + argument_lines + set_reply_log("failed to set wifi mesh"));
    call_mesh("set", R"({"mode": "agent"})");
    EXPECT_EQ(take_log(), entry_line + set_reply_log("required parameter: roaming"));
}

// --- get ---

class MeshGetTest : public MeshTest
{
  protected:
    std::string get(const Bytes &state, const Bytes &roaming)
    {
        service().answer(kGetState, record(state));
        service().answer(kGetRoaming, record(roaming));
        return call_mesh("get");
    }

    static std::string state(const char *mode, const std::string &almac = "", int32_t onlinetime = 0,
                             const char *roaming = "no", const char *status = "no")
    {
        return table({{"wexond.wifi.mesh", table({{"mode", mode},
                                                  {"almac", almac},
                                                  {"onlinetime", onlinetime},
                                                  {"roaming", roaming},
                                                  {"status", status}})}});
    }
};

TEST_F(MeshGetTest, ReportsTheState)
{
    EXPECT_EQ(get(Bytes(36).u32(0, 2).text(4, "00:1a:2b:3c:4d:5e").u32(24, 86400).u32(28, 1).u32(32, ~0u),
                  Bytes(16).u32(0, 0).u32(4, 1).u32(8, 1).u32(12, 1)),
              state("controller", "001A2B3C4D5E", 86400, "no", "yes"));
    EXPECT_EQ(service().take_requests(), (Requests{{kGetState, 40}, {kGetRoaming, 20}}));
    EXPECT_EQ(get(Bytes(36).u32(0, 3).text(4, std::string(20, 'x')).u32(24, ~0u).u32(28, 2), Bytes(16).u32(0, 1)),
              state("agent", "xxxxxxxxxxxxxxxxxxxx", -1, "yes", "no"));
}

TEST_F(MeshGetTest, ReadsTheModeWithAnotherVocabularyThanItIsWrittenWith)
{
    for (const auto &[code, mode] : {std::pair(0u, "unknown"),
                                     {1, "unknown"},
                                     {2, "controller"},
                                     {3, "agent"},
                                     {4, "unknown"},
                                     {5, ""},
                                     {~0u, ""}})
        EXPECT_EQ(get(Bytes(36).u32(0, code), Bytes(16)), state(mode));
}

TEST_F(MeshGetTest, TakesWhatShortAnswersLackForZero)
{
    EXPECT_EQ(get(Bytes(4).u32(0, 2), Bytes()), state("controller"));
}

TEST_F(MeshGetTest, TheFirstFailureEndsIt)
{
    get(Bytes(36), Bytes(16));
    service().take_requests();
    for (const Answer &answer : {code(1, Bytes(16)), no_answer()}) {
        service().answer(kGetRoaming, answer);
        EXPECT_EQ(call_mesh("get"), failure("failed to get wifi mesh roaming"));
        EXPECT_EQ(service().take_requests(), (Requests{{kGetState, 40}, {kGetRoaming, 20}}));
    }
    for (const Answer &answer : {code(1, Bytes(36)), no_answer()}) {
        service().answer(kGetState, answer);
        EXPECT_EQ(call_mesh("get"), failure("failed to get wifi mesh"));
        EXPECT_EQ(service().take_requests(), (Requests{{kGetState, 40}}));
    }
}

TEST_F(MeshGetTest, LogsItsCalls)
{
    const std::string entry_line = entry_log("wexond_mesh_get", kObject, "get");
    get(Bytes(36), Bytes(16));
    enable_log();
    call_mesh("get");
    EXPECT_EQ(take_log(), entry_line + get_reply_log());
    service().answer(kGetRoaming, no_answer());
    call_mesh("get");
    EXPECT_EQ(take_log(), entry_line + kNoAnswerLog + "[wexond_mesh_get.#]: failed to get wifi mesh roaming\n" +
                              get_reply_log("failed to get wifi mesh roaming"));
    service().answer(kGetState, code(5));
    call_mesh("get");
    EXPECT_EQ(take_log(), entry_line +
                              "[wexond_check_ret.#]: Msg retcode = 5\n"
                              "[wexond_mesh_get.#]: failed to get wifi mesh\n" +
                              get_reply_log("failed to get wifi mesh"));
}

// --- backhaulbss ---

class BackhaulBssTest : public MeshTest
{
};

TEST_F(BackhaulBssTest, ReportsTheCredentialsWithoutATable)
{
    service().answer(kGetBackhaulBss, record(Bytes(104).text(0, "backhaul").text(32, "secret").u32(96, 5).u32(100, 3)));
    EXPECT_EQ(call_mesh("backhaulbss"),
              R"({"ssid": "backhaul", "key": "secret", "auth": "wpa2psk", "encrypt": "aes"})");
    EXPECT_EQ(service().take_requests(), (Requests{{kGetBackhaulBss, 108}}));
}

TEST_F(BackhaulBssTest, ReadsTextsUpToTheirFieldsEnd)
{
    std::string ssid(32, 's'), key(64, 'k');
    service().answer(kGetBackhaulBss, record(Bytes(104).text(0, ssid + key).u32(96, 0x31313131).u32(100, 0x31313131)));
    EXPECT_EQ(call_mesh("backhaulbss"), table({{"ssid", ssid}, {"key", key}, {"auth", ""}, {"encrypt", ""}}));
}

TEST_F(BackhaulBssTest, TakesWhatAShortAnswerLacksForZero)
{
    service().answer(kGetBackhaulBss, record(Bytes(2).text(0, "ab")));
    EXPECT_EQ(call_mesh("backhaulbss"), R"({"ssid": "ab", "key": "", "auth": "open", "encrypt": "none"})");
}

TEST_F(BackhaulBssTest, ReportsFailures)
{
    const std::string reason = "failed to get wifi mesh backhaulbss";
    service().answer_in_turn(kGetBackhaulBss, {code(1, Bytes(104)), no_answer(), code(0), code(1)});
    EXPECT_EQ(call_mesh("backhaulbss"), failure(reason));
    EXPECT_EQ(call_mesh("backhaulbss"), failure(reason));
    enable_log();
    call_mesh("backhaulbss");
    call_mesh("backhaulbss");
    const std::string entry_line = entry_log("wexond_mesh_backhaulbss", kObject, "backhaulbss");
    EXPECT_EQ(take_log(), entry_line + get_reply_log() + entry_line + get_reply_log(reason));
}

// --- topo ---

constexpr const char *kOwnMac = "00:1a:2b:3c:4d:5e";

Bytes identity(std::string_view mac)
{
    return Bytes(96).text(0, mac).text(18, "the rest is not read");
}

struct MapEntry {
    std::string_view device;
    std::string_view topology;
};

Bytes map(uint32_t count, const std::vector<MapEntry> &entries)
{
    Bytes record = Bytes(328).u32(0, count).u32(4, ~0u);
    for (size_t i = 0; i < entries.size(); i++)
        record.text(8 + 80 * i, entries[i].device).text(26 + 80 * i, entries[i].topology);
    return record;
}

constexpr size_t kBand2g = 164;
constexpr size_t kBand5g = 272;
constexpr size_t kStations = 376;
constexpr uint32_t kEthernet = 0, k2g = 1, k5g = 2;

// A topology answer, filled by its parts.
struct Topology {
    Bytes record{13440};

    Topology &bss(size_t band, size_t position, std::string_view bssid, std::string_view ssid)
    {
        record.text(band + 4 + 50 * position, bssid).text(band + 22 + 50 * position, ssid);
        return *this;
    }
    Topology &station(size_t i, uint32_t link, uint32_t bss, std::string_view mac)
    {
        size_t offset = kStations + 4 + 204 * i;
        auto number = static_cast<uint32_t>(100 * i);
        record.u32(offset, link).u32(offset + 4, bss).text(offset + 12, mac);
        record.u32(offset + 36, number + 1).u32(offset + 188, number + 2).u32(offset + 192, number + 3);
        return *this;
    }
    Topology &counts(uint32_t bss_2g, uint32_t bss_5g, uint32_t stations)
    {
        record.u32(kBand2g, bss_2g).u32(kBand5g, bss_5g).u32(kStations, stations);
        return *this;
    }
};

using Shown = std::vector<ReplyValue>;

ReplyText shown_station(int i, const std::string &mac)
{
    return table({{"mac", mac}, {"seconds", i * 100 + 1}, {"uprate", i * 100 + 2}, {"downrate", i * 100 + 3}});
}

ReplyText shown_bss(const std::string &bssid, const std::string &ssid, const Shown &stations = {})
{
    return table({{"bssid", bssid}, {"ssid", ssid}, {"sta", array(stations)}});
}

ReplyFields backhaul(const char *type, const std::string &mac = "", int32_t up_rate = 0, int32_t down_rate = 0)
{
    return {{"type", type}, {"bhalmac", mac}, {"uprate", up_rate}, {"downrate", down_rate}};
}

std::string shown_topology(const Shown &band_2g, const Shown &band_5g, const Shown &ethernet,
                           const ReplyFields &info = backhaul("eth"))
{
    return table(
        {{"bhinfo",
          table(info + ReplyFields{{"2.4G", array(band_2g)}, {"5G", array(band_5g)}, {"eth", array(ethernet)}})}});
}

const std::string kEmptyTopology = shown_topology({}, {}, {});
const std::string kFailed = failure("failed to get wifi mesh topo");

const Request kIdentityRequest = {kGetIdentity, 100};
const Request kMapRequest = {kGetMap, 332};

Request topology_request(std::string_view mac)
{
    return {kGetTopology, 13444, Bytes(18).text(0, mac)};
}

class TopologyTest : public MeshTest
{
  protected:
    void SetUp() override
    {
        MeshTest::SetUp();
        service().answer(kGetIdentity, record(identity(kOwnMac)));
        service().answer(kGetMap, record(map(0, {})));
        service().answer(kGetTopology, code(0));
    }

    std::string topo(const Topology &topology)
    {
        service().answer(kGetTopology, record(topology.record));
        return call_mesh("topo");
    }

    // Where the topology is asked for with this map.
    void expect_asked_for(std::string_view mac, const Bytes &map)
    {
        service().answer(kGetMap, record(map));
        EXPECT_EQ(call_mesh("topo"), kEmptyTopology);
        EXPECT_EQ(service().take_requests(), (Requests{kIdentityRequest, kMapRequest, topology_request(mac)}));
    }
};

TEST_F(TopologyTest, IsAskedForByTheMapsNameOfThisDevice)
{
    expect_asked_for("AA:AA:AA:AA:AA:02", map(3, {{"00:00:00:00:00:01", "AA:AA:AA:AA:AA:01"},
                                                  {kOwnMac, "AA:AA:AA:AA:AA:02"},
                                                  {"00:1a:2b:3c:4d:5", "AA:AA:AA:AA:AA:03"}}));
}

TEST_F(TopologyTest, IsAskedForByTheLastOfSeveralNames)
{
    expect_asked_for("second", map(2, {{kOwnMac, "AA:AA:AA:AA:AA:01"}, {kOwnMac, "second"}}));
}

TEST_F(TopologyTest, IsAskedForWithoutANameWhereTheMapHasNone)
{
    expect_asked_for("", map(0, {{kOwnMac, "AA:AA:AA:AA:AA:01"}}));
    expect_asked_for("", map(1, {{"00:1A:2B:3C:4D:5E", "AA:AA:AA:AA:AA:01"}}));
    expect_asked_for("", map(1, {{"00:1a:2b:3c:4d:5ef", "AA:AA:AA:AA:AA:01"}}));
    expect_asked_for("", Bytes());
}

TEST_F(TopologyTest, ReadsNoMoreThanFourEntriesOfTheMap)
{
    for (uint32_t count : {4u, 5u, 0x04000000u, ~0u})
        expect_asked_for("4", map(count, {{"a", "1"}, {"b", "2"}, {"c", "3"}, {kOwnMac, "4"}}));
}

TEST_F(TopologyTest, ComparesAndCopiesWholeFields)
{
    std::string mac(18, 'm');
    service().answer(kGetIdentity, record(identity(mac)));
    expect_asked_for(std::string(17, 't'), map(1, {{mac, std::string(18, 't')}}));
    expect_asked_for("", map(1, {{mac.substr(0, 17), std::string(18, 't')}}));
}

TEST_F(TopologyTest, DoesNotLookAtTheIdentitysReturnCode)
{
    service().answer(kGetIdentity, code(9, identity(kOwnMac)));
    expect_asked_for("1", map(1, {{kOwnMac, "1"}}));
    // An identity without an address has the name of a device without one.
    service().answer(kGetIdentity, code(9));
    expect_asked_for("2", map(2, {{kOwnMac, "1"}, {"", "2"}}));
}

TEST_F(TopologyTest, EndsWithoutAnIdentity)
{
    service().answer(kGetIdentity, no_answer());
    EXPECT_EQ(call_mesh("topo"), kFailed);
    EXPECT_EQ(service().take_requests(), (Requests{kIdentityRequest}));
}

TEST_F(TopologyTest, GoesOnWithoutAMapAndReportsItsFailure)
{
    for (const Answer &answer : {code(1, map(1, {{kOwnMac, "1"}})), no_answer()}) {
        service().answer(kGetMap, answer);
        EXPECT_EQ(call_mesh("topo"), failure("failed to get MeshTopoApMap."));
        EXPECT_EQ(service().take_requests(), (Requests{kIdentityRequest, kMapRequest, topology_request("")}));
    }
}

TEST_F(TopologyTest, ReportsItsOwnFailure)
{
    for (const Answer &answer : {code(1, Bytes(13440)), no_answer()}) {
        service().answer(kGetTopology, answer);
        EXPECT_EQ(call_mesh("topo"), kFailed);
    }
    service().answer(kGetMap, code(1));
    EXPECT_EQ(call_mesh("topo"), kFailed) << "the last failure is reported";
}

TEST_F(TopologyTest, ReportsTheBackhaul)
{
    Topology topology;
    topology.record.text(44, "AA:AA:AA:AA:AA:01").u32(148, 2).u32(152, 866).u32(156, ~0u).u32(160, ~0u);
    EXPECT_EQ(topo(topology), shown_topology({}, {}, {}, backhaul("5G", "AA:AA:AA:AA:AA:01", 866, -1)));
    for (const auto &[code, type] : {std::pair(0u, "eth"), {1, "2.4G"}, {3, ""}, {~0u, ""}}) {
        Topology other;
        other.record.u32(148, code);
        EXPECT_EQ(topo(other), shown_topology({}, {}, {}, backhaul(type)));
    }
}

TEST_F(TopologyTest, ReportsStationsUnderTheirNetworks)
{
    Topology topology;
    topology.counts(2, 2, 8)
        .bss(kBand2g, 0, "B0:00:00:00:00:01", "home")
        .bss(kBand2g, 1, "B0:00:00:00:00:02", "guest")
        .bss(kBand5g, 0, "B0:00:00:00:00:03", "home")
        .bss(kBand5g, 1, "B0:00:00:00:00:04", "guest")
        .station(0, k2g, 0, "a")
        .station(1, k5g, 1, "b")
        .station(2, kEthernet, 0, "c")
        .station(3, k2g, 0, "00:1a:2b:3c:4d:5e")
        .station(4, k2g, 2, "of no network")
        .station(5, 3, 0, "of no link")
        .station(6, k2g, 1, "d")
        .station(7, kEthernet, 5, "e")
        .station(8, k2g, 0, "beyond the count");
    EXPECT_EQ(topo(topology), shown_topology({shown_bss("B0:00:00:00:00:01", "home",
                                                        {shown_station(0, "a"), shown_station(3, "00:1a:2b:3c:4d:5e")}),
                                              shown_bss("B0:00:00:00:00:02", "guest", {shown_station(6, "d")})},
                                             {shown_bss("B0:00:00:00:00:03", "home"),
                                              shown_bss("B0:00:00:00:00:04", "guest", {shown_station(1, "b")})},
                                             {shown_station(2, "c"), shown_station(7, "e")}));
}

TEST_F(TopologyTest, ReportsStationsOfAnEthernetLinkOnlyThere)
{
    Topology topology;
    topology.counts(1, 1, 1).bss(kBand2g, 0, "1", "home").bss(kBand5g, 0, "2", "home").station(0, kEthernet, 0, "a");
    EXPECT_EQ(topo(topology),
              shown_topology({shown_bss("1", "home")}, {shown_bss("2", "home")}, {shown_station(0, "a")}));
}

TEST_F(TopologyTest, LeavesBackhaulNetworksOutByNameWhateverTheirBand)
{
    Topology topology;
    topology.counts(2, 2, 0)
        .bss(kBand2g, 0, "1", "KVQ-EasyMesh-2G")
        .bss(kBand2g, 1, "2", "KVQ-EasyMesh-5G")
        .bss(kBand5g, 0, "3", "KVQ-EasyMesh-2G")
        .bss(kBand5g, 1, "4", "KVQ-EasyMesh-5G");
    EXPECT_EQ(topo(topology), kEmptyTopology);
    topology.bss(kBand2g, 0, "1", "KVQ-EasyMesh-2G+").bss(kBand5g, 0, "3", std::string("KVQ-EasyMesh-2\0", 15));
    EXPECT_EQ(topo(topology),
              shown_topology({shown_bss("1", "KVQ-EasyMesh-2G+")}, {shown_bss("3", "KVQ-EasyMesh-2")}, {}));
}

TEST_F(TopologyTest, KeepsThePositionsOfNetworksLeftOut)
{
    Topology topology;
    topology.counts(2, 0, 2)
        .bss(kBand2g, 0, "1", "KVQ-EasyMesh-2G")
        .bss(kBand2g, 1, "2", "home")
        .station(0, k2g, 0, "of the backhaul")
        .station(1, k2g, 1, "a");
    EXPECT_EQ(topo(topology), shown_topology({shown_bss("2", "home", {shown_station(1, "a")})}, {}, {}));
}

TEST_F(TopologyTest, ReportsAsManyNetworksAndStationsAsTheAnswerHolds)
{
    Topology topology;
    Shown ethernet;
    for (int i = 0; i < 64; i++) {
        topology.station(static_cast<size_t>(i), kEthernet, 0, "x");
        ethernet.push_back(shown_station(i, "x"));
    }
    topology.bss(kBand2g, 0, "1", "a").bss(kBand2g, 1, "2", "b").bss(kBand5g, 0, "3", "c").bss(kBand5g, 1, "4", "d");
    const std::string expected = shown_topology({shown_bss("1", "a"), shown_bss("2", "b")},
                                                {shown_bss("3", "c"), shown_bss("4", "d")}, ethernet);
    for (auto [networks, stations] : {std::pair(2u, 64u), {3, 65}, {~0u, ~0u}, {0x10000000, 0x02000000}})
        EXPECT_EQ(topo(topology.counts(networks, networks, stations)), expected) << networks;
}

TEST_F(TopologyTest, ReadsTextsUpToTheirFieldsEnd)
{
    const std::string bssid(18, 'b'), ssid(32, 's'), mac(24, 'm'), peer(104, 'p');
    Topology topology;
    topology.counts(2, 0, 1).bss(kBand2g, 0, bssid, ssid).bss(kBand2g, 1, bssid, ssid).station(0, k2g, 0, mac);
    topology.record.text(44, peer).u32(148, 1);
    EXPECT_EQ(topo(topology), shown_topology({shown_bss(bssid, ssid, {shown_station(0, mac)}), shown_bss(bssid, ssid)},
                                             {}, {}, backhaul("2.4G", peer)));
}

TEST_F(TopologyTest, ReadsOnlyItsFields)
{
    Bytes answer(std::string(13440, '\xFF'));
    answer.text(44, std::string(116, '\0')).text(kBand2g, std::string(104, '\0'));
    answer.text(kBand5g, std::string(104, '\0'));
    answer.u32(kStations, 1).u32(kStations + 4, kEthernet).text(kStations + 16, std::string(1, '\0'));
    service().answer(kGetTopology, record(answer));
    EXPECT_EQ(call_mesh("topo"),
              shown_topology({}, {}, {table({{"mac", ""}, {"seconds", -1}, {"uprate", -1}, {"downrate", -1}})}));
}

TEST_F(TopologyTest, TakesWhatAShortAnswerLacksForZero)
{
    service().answer(kGetTopology, record(Bytes(kBand2g + 4 + 50).u32(kBand2g, 2).text(kBand2g + 4, "1")));
    EXPECT_EQ(call_mesh("topo"), shown_topology({shown_bss("1", ""), shown_bss("", "")}, {}, {}));
    service().answer(kGetTopology, record(Bytes(kStations + 4).u32(kStations, 2)));
    const ReplyText nobody = table({{"mac", ""}, {"seconds", 0}, {"uprate", 0}, {"downrate", 0}});
    EXPECT_EQ(call_mesh("topo"), shown_topology({}, {}, {nobody, nobody}));
}

TEST_F(TopologyTest, LogsItsSteps)
{
    const std::string entry_line = entry_log("wexond_mesh_topo", kObject, "topo");
    const std::string map_line = "[wexond_mesh_topo.#]: get topo ap map succ!\n";
    service().answer(kGetMap, record(map(2, {{kOwnMac, "AA:AA:AA:AA:AA:01"}, {"x", std::string(18, 't')}})));
    enable_log();
    call_mesh("topo");
    EXPECT_EQ(take_log(), entry_line + map_line +
                              "[wexond_mesh_topo.#]: manu mac = 00:1a:2b:3c:4d:5e, topodev mac=AA:AA:AA:AA:AA:01\n"
                              "[wexond_mesh_topo.#]: manu mac = 00:1a:2b:3c:4d:5e, topodev mac=tttttttttttttttttt\n" +
                              get_reply_log());
    service().answer(kGetMap, code(3));
    call_mesh("topo");
    EXPECT_EQ(take_log(), entry_line +
                              "[wexond_check_ret.#]: Msg retcode = 3\n"
                              "[wexond_mesh_topo.#]: Failed to get MeshTopoApMap.\n" +
                              get_reply_log("failed to get MeshTopoApMap."));
    service().answer(kGetMap, record(map(0, {})));
    service().answer(kGetTopology, no_answer());
    call_mesh("topo");
    EXPECT_EQ(take_log(), entry_line + map_line + get_reply_log("failed to get wifi mesh topo"));
    service().answer(kGetIdentity, no_answer());
    call_mesh("topo");
    EXPECT_EQ(take_log(), entry_line + "[wexond_mesh_topo.#]: Failed to manu info\n" +
                              get_reply_log("failed to get wifi mesh topo"));
}

} // namespace
