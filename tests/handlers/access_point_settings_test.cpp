// The settings of an access point: what `add` of a band and `set` of an access point make of their arguments, and what
// `list` and `get` make of the answers. Both pairs of methods do it alike.

#include "tests/handlers/access_points.h"

namespace
{

using namespace access_points;

// --- Written ---

class WrittenSettingsTest : public EitherBandTest
{
  protected:
    void SetUp() override { start_with({1}); }

    // The record of one type that each method sends, but for the band and index with which it begins.
    void expect_written(std::string_view arguments, uint32_t type, const Bytes &record)
    {
        SCOPED_TRACE(arguments);
        expect_only(written_by_add(arguments), {type, 4, named(record, 2)});
        expect_only(written_by_set(arguments), {type, 4, named(record, 1)});
    }

    void expect_not_written(std::string_view arguments, uint32_t type)
    {
        SCOPED_TRACE(arguments);
        for (const Requests &requests : {written_by_add(arguments), written_by_set(arguments)})
            for (const Request &request : requests)
                EXPECT_NE(request.type, type);
    }

    // The requests of each, without the one that looks for the twin of another band.
    Requests written_by_set(std::string_view arguments)
    {
        service().take_requests();
        EXPECT_EQ(call_ap(1, "set", arguments), kSuccess);
        Requests requests = service().take_requests();
        if (!requests.empty() && requests[0].type == kGetDualBandSync)
            requests.erase(requests.begin());
        return requests;
    }

    Requests written_by_add(std::string_view arguments)
    {
        service().take_requests();
        EXPECT_EQ(call_band("add", arguments), R"({"result": "0", "idx": 2, "failreason": ""})");
        Requests requests = service().take_requests();
        EXPECT_EQ(call_band("delete", R"({"idx": 2})"), kSuccess);
        return requests;
    }

    Bytes named(Bytes record, uint32_t index) const { return record.u32(0, band().index).u32(4, index); }

  private:
    static void expect_only(const Requests &requests, const Request &expected)
    {
        Requests found;
        for (const Request &request : requests)
            if (request.type == expected.type)
                found.push_back(request);
        EXPECT_EQ(found, (Requests{expected}));
    }
};

INSTANTIATE_TEST_SUITE_P(Bands, WrittenSettingsTest, testing::ValuesIn(kBands), band_suffix);

TEST_P(WrittenSettingsTest, AreFourRequestsInOrder)
{
    constexpr std::string_view arguments =
        R"({"dsbandwidth": 2048, "usbandwidth": 1024, "allowedipport": "10.0.0.1:80,10.0.0.2:8080", "accessrule": 2,
            "accessmode": 3, "hide": 1, "encrypt": "aes", "auth": "wpa2psk", "key": "secret", "ssid": "home",
            "enable": "yes"})";
    Bytes basic_record =
        Bytes(200).u32(8, 1).text(12, "home").u32(108, 5).u32(112, 3).text(116, "secret").u32(180, 1).u32(196, 0x3F);
    Bytes rule = Bytes(216).u32(8, 2).u32(12, 2).text(16, "10.0.0.1").u32(32, 80).text(36, "10.0.0.2").u32(52, 8080);
    auto expected = [&](uint32_t index) {
        return Requests{{kSetBasic, 4, named(basic_record, index)},
                        {kSetAccessMode, 4, named(Bytes(12).u32(8, 3), index)},
                        {kSetAccessRule, 4, named(rule, index)},
                        {kSetRateLimit, 4, named(Bytes(20).u32(8, 1024).u32(12, 2048).u32(16, 0xC00), index)}};
    };
    EXPECT_EQ(written_by_add(arguments), expected(2));
    EXPECT_EQ(written_by_set(arguments), expected(1));
}

TEST_P(WrittenSettingsTest, AreBasicAndRateLimitAlsoWithoutArguments)
{
    auto expected = [&](uint32_t index) {
        return Requests{{kSetBasic, 4, basic(band(), index)}, {kSetRateLimit, 4, rate_limit(band(), index)}};
    };
    for (const char *arguments :
         {"{}", R"({"enable": true, "ssid": 1, "key": [], "auth": {}, "encrypt": 3, "hide": "1", "accessmode": "1",
                    "accessrule": "2", "allowedipport": 5, "usbandwidth": "1", "dsbandwidth": null})"}) {
        EXPECT_EQ(written_by_add(arguments), expected(2));
        EXPECT_EQ(written_by_set(arguments), expected(1));
    }
}

TEST_P(WrittenSettingsTest, CarryCodesOfTheirWords)
{
    struct Row {
        const char *arguments;
        size_t offset;
        uint32_t code;
        uint32_t bit;
    };
    const Row rows[] = {
        {R"({"enable": "yes"})", 8, 1, 0x01},     {R"({"enable": "no"})", 8, 0, 0x01},
        {R"({"enable": "on"})", 8, 0, 0x01},      {R"({"auth": "open"})", 108, 0, 0x08},
        {R"({"auth": "share"})", 108, 1, 0x08},   {R"({"auth": "wpa"})", 108, 2, 0x08},
        {R"({"auth": "wpa2"})", 108, 3, 0x08},    {R"({"auth": "wpapsk"})", 108, 4, 0x08},
        {R"({"auth": "wpa2psk"})", 108, 5, 0x08}, {R"({"auth": "wpapskwpa2psk"})", 108, 6, 0x08},
        {R"({"auth": "wep"})", 108, 7, 0x08},     {R"({"auth": "wpa2pskwpa3sae"})", 108, 0, 0x08},
        {R"({"encrypt": "none"})", 112, 0, 0x10}, {R"({"encrypt": "tkip"})", 112, 2, 0x10},
        {R"({"encrypt": "aes"})", 112, 3, 0x10},  {R"({"encrypt": "aestkip"})", 112, 4, 0x10},
        {R"({"encrypt": "AES"})", 112, 0, 0x10},  {R"({"hide": 1})", 180, 1, 0x20},
        {R"({"hide": 0})", 180, 0, 0x20},         {R"({"hide": 2})", 180, 0, 0x20},
        {R"({"hide": -1})", 180, 0, 0x20},
    };
    for (const Row &row : rows)
        expect_written(row.arguments, kSetBasic, Bytes(200).u32(row.offset, row.code).u32(196, row.bit));
}

TEST_P(WrittenSettingsTest, FillTheirTextsToTheLastByte)
{
    struct Row {
        std::string name;
        size_t offset, width;
        uint32_t bit;
    };
    for (const Row &row : {Row{"ssid", 12, 32, 0x02}, Row{"key", 116, 64, 0x04}}) {
        for (size_t length : {size_t{0}, size_t{1}, row.width - 1, row.width, row.width + 1, size_t{5000}}) {
            std::string text(length, 'x');
            expect_written("{\"" + row.name + "\": \"" + text + "\"}", kSetBasic,
                           Bytes(200).text(row.offset, text.substr(0, row.width)).u32(196, row.bit));
        }
    }
}

TEST_P(WrittenSettingsTest, PassNumbersOnWithoutJudgingThem)
{
    expect_written(R"({"accessmode": 0})", kSetAccessMode, Bytes(12));
    expect_written(R"({"accessmode": -1})", kSetAccessMode, Bytes(12).u32(8, ~0u));
    expect_written(R"({"accessrule": 0})", kSetAccessRule, Bytes(216));
    expect_written(R"({"accessrule": 77})", kSetAccessRule, Bytes(216).u32(8, 77));
    expect_written(R"({"usbandwidth": 0})", kSetRateLimit, Bytes(20).u32(16, 0x400));
    expect_written(R"({"usbandwidth": -5})", kSetRateLimit, Bytes(20).u32(8, ~0u - 4).u32(16, 0x400));
    expect_written(R"({"dsbandwidth": 7})", kSetRateLimit, Bytes(20).u32(12, 7).u32(16, 0x800));
}

TEST_P(WrittenSettingsTest, LeaveTheAllowListOutWithoutARule)
{
    expect_not_written(R"({"allowedipport": "10.0.0.1:80"})", kSetAccessRule);
    expect_not_written(R"({"accessrule": "2", "allowedipport": "10.0.0.1:80"})", kSetAccessRule);
}

struct Allowed {
    std::string address;
    uint32_t port;
};

Bytes allow_list(const std::vector<Allowed> &entries)
{
    Bytes record = Bytes(216).u32(8, 1).u32(12, static_cast<uint32_t>(entries.size()));
    for (size_t i = 0; i < entries.size(); i++)
        record.text(16 + 20 * i, entries[i].address).u32(32 + 20 * i, entries[i].port);
    return record;
}

TEST_P(WrittenSettingsTest, SplitTheAllowList)
{
    const std::string sixteen = "1234567890abcdef";
    struct Row {
        std::string text;
        std::vector<Allowed> entries;
    };
    const Row rows[] = {
        {"", {}},
        {",,", {}},
        {"10.0.0.1:80", {{"10.0.0.1", 80}}},
        {"10.0.0.1:80,10.0.0.2", {{"10.0.0.1", 80}, {"10.0.0.2", 0}}},
        {",10.0.0.1:80,,10.0.0.2:81,", {{"10.0.0.1", 80}, {"10.0.0.2", 81}}},
        // A text that is no port is an address, and the last one wins.
        {"a:1:b", {{"b", 1}}},
        {"a:1:b:c", {{"c", 1}}},
        {"longer:1:b", {{"b", 1}}},
        {"longer:1:b:2", {{"2", 1}}},
        // Empty parts do not count.
        {":80", {{"80", 0}}},
        {"a::80", {{"a", 80}}},
        {"::", {{"", 0}}},
        {"a:", {{"a", 0}}},
        // Ports are not judged.
        {"a:x", {{"a", 0}}},
        {"a:7x", {{"a", 7}}},
        {"a: 7", {{"a", 7}}},
        {"a:-1", {{"a", ~0u}}},
        {"a:70000", {{"a", 70000}}},
        {"a:0x10", {{"a", 0}}},
        // The address fills its field.
        {sixteen + ":5", {{sixteen, 5}}},
        {sixteen + "g:5", {{sixteen, 5}}},
        // A piece counts up to its 31st character.
        {std::string(28, 'x') + ":12345,b:1", {{std::string(16, 'x'), 12}, {"b", 1}}},
    };
    for (const Row &row : rows)
        expect_written(R"({"accessrule": 1, "allowedipport": ")" + row.text + "\"}", kSetAccessRule,
                       allow_list(row.entries));
}

TEST_P(WrittenSettingsTest, CutTheAllowListAtTenEntries)
{
    std::string text;
    std::vector<Allowed> entries;
    for (uint32_t i = 0; i < 10; i++) {
        text += "1.1.1." + std::to_string(i) + ":8" + std::to_string(i) + ",";
        entries.push_back({"1.1.1." + std::to_string(i), 80 + i});
    }
    for (const std::string &more : {std::string(), std::string("2.2.2.2:99"), std::string("2:9,3:9,4:9")})
        expect_written(R"({"accessrule": 1, "allowedipport": ")" + text + more + "\"}", kSetAccessRule,
                       allow_list(entries));
}

TEST_P(WrittenSettingsTest, ReadTheFirst128BytesOfTheAllowList)
{
    // Seven entries of 18 characters with their comma: of what follows, two are read.
    std::string text;
    std::vector<Allowed> entries;
    for (int i = 0; i < 7; i++) {
        std::string address = "100.100.10." + std::to_string(i);
        text += address + ":8080,";
        entries.push_back({address, 8080});
    }
    entries.push_back({});
    for (const auto &[more, address] : {std::pair("9.9.9.9:1", "9."), {"a:5,b:6", "a"}}) {
        entries.back().address = address;
        expect_written(R"({"accessrule": 1, "allowedipport": ")" + text + more + "\"}", kSetAccessRule,
                       allow_list(entries));
    }
}

TEST_P(WrittenSettingsTest, AreLogged)
{
    constexpr std::string_view arguments =
        R"({"enable": "yes", "ssid": "home", "key": "secret", "auth": "wep", "encrypt": "x", "hide": -2,
            "accessmode": -3, "accessrule": 2, "allowedipport": "a:1", "usbandwidth": -4, "dsbandwidth": 5})";
    auto argument_lines = [&](const std::string &handler) {
        std::string lines;
        for (const char *message :
             {"enable:yes", "ssid:home", "key:secret", "auth:wep", "encrypt:x", "hide:-2", "accessmode:-3",
              "accessrule:2", "allowdipport:a:1", "usbandwidth:-4", "dsbandwidth:5"})
            lines += log(handler, std::string(message) + " \n\n");
        return lines;
    };
    enable_log();
    call_band("add", arguments);
    EXPECT_EQ(take_log(), entry_line("_add", band().object, "add") + argument_lines("_add") +
                              "[wifiap_update.#]: Create wifiap '2'\n\n" + log("_add", "success ,  \n\n"));
    call_ap(1, "set", arguments);
    EXPECT_EQ(take_log(), entry_line("1_set", ap(1), "set") + argument_lines("1_set") + set_reply_log());
    call_ap(1, "set", R"({"allowedipport": "a:1"})");
    EXPECT_EQ(take_log(), entry_line("1_set", ap(1), "set") + set_reply_log());
}

// --- Shown ---

class ShownSettingsTest : public EitherBandTest
{
  protected:
    void SetUp() override { start_with({1}); }

    void expect_listed(const Shown &settings)
    {
        EXPECT_EQ(call_band("list"), table({{band().object, array({settings.listed(1)})}}));
    }

    void expect_got(const Shown &settings) { EXPECT_EQ(call_ap(1, "get"), table({{ap(1), table(settings.fields())}})); }

    void expect_shown(const Shown &settings)
    {
        expect_listed(settings);
        expect_got(settings);
    }

    // The settings shown of one answer where the others are zero.
    void expect_shown(uint32_t type, const Bytes &answer, const Shown &settings)
    {
        service().answer(type, record(answer));
        expect_shown(settings);
    }

    void answer_every_setting()
    {
        service().answer(kGetBasic, record(Bytes(200)
                                               .u32(8, 1)
                                               .text(12, "home")
                                               .text(76, "00:1a:2b:3c:4d:5e")
                                               .u32(108, 5)
                                               .u32(112, 3)
                                               .text(116, "secret")
                                               .u32(180, 1)));
        service().answer(kGetAccessMode, record(Bytes(12).u32(8, 3)));
        service().answer(kGetAccessRule, record(Bytes(216).u32(8, 2).u32(12, 1).text(16, "10.0.0.1").u32(32, 80)));
        service().answer(kGetRateLimit, record(Bytes(20).u32(8, 1024).u32(12, 2048)));
    }
};

INSTANTIATE_TEST_SUITE_P(Bands, ShownSettingsTest, testing::ValuesIn(kBands), band_suffix);

const Shown kEverySetting = {"yes",          1, "secret", "home",        "wpa2psk", "aes",
                             "001A2B3C4D5E", 3, 2,        "10.0.0.1:80", 1024,      2048};

TEST_P(ShownSettingsTest, ComeFromFourRequestsInOrder)
{
    answer_every_setting();
    expect_listed(kEverySetting);
    EXPECT_EQ(service().take_requests(), readings(band(), 1));
    expect_got(kEverySetting);
    EXPECT_EQ(service().take_requests(), readings(band(), 1));
}

TEST_P(ShownSettingsTest, AreNoughtAndEmptyForZeroedAnswers)
{
    expect_shown({});
}

TEST_P(ShownSettingsTest, ReadOnlyTheirFields)
{
    std::string filler(200, '\xFF');
    Bytes basic_record = Bytes(filler).text(8, std::string(36, '\0')).text(76, std::string(32 + 8 + 64 + 4, '\0'));
    expect_shown(kGetBasic, basic_record, {});
    expect_shown(kGetAccessMode, Bytes(12).text(0, filler.substr(0, 8)), {});
    expect_shown(kGetAccessRule, Bytes(filler + filler.substr(0, 16)).u32(8, 1), {.access_rule = 1});
    expect_shown(kGetRateLimit, Bytes(20).text(0, filler.substr(0, 8)).u32(16, ~0u), {.access_rule = 1});
}

TEST_P(ShownSettingsTest, CarryWordsForCodes)
{
    struct Row {
        size_t offset;
        uint32_t code;
        Shown shown;
    };
    const Row rows[] = {
        {8, 1, {.enable = "yes"}},     {8, 2, {}},
        {180, 1, {.hide = 1}},         {180, ~0u, {.hide = -1}},
        {108, 1, {.auth = "share"}},   {108, 2, {.auth = "wpa"}},
        {108, 3, {.auth = "wpa2"}},    {108, 4, {.auth = "wpapsk"}},
        {108, 5, {.auth = "wpa2psk"}}, {108, 6, {.auth = "wpapskwpa2psk"}},
        {108, 7, {.auth = "wep"}},     {108, 8, {.auth = ""}},
        {112, 1, {.encrypt = ""}},     {112, 2, {.encrypt = "tkip"}},
        {112, 3, {.encrypt = "aes"}},  {112, 4, {.encrypt = "aestkip"}},
        {112, 5, {.encrypt = ""}},
    };
    for (const Row &row : rows)
        expect_shown(kGetBasic, Bytes(200).u32(row.offset, row.code), row.shown);
}

TEST_P(ShownSettingsTest, CarryNumbersAsTheyAre)
{
    expect_shown(kGetAccessMode, Bytes(12).u32(8, ~0u), {.access_mode = -1});
    expect_shown(kGetRateLimit, Bytes(20).u32(8, 0x7FFFFFFF).u32(12, 0x80000000),
                 {.access_mode = -1, .upstream = 2147483647, .downstream = -2147483648});
}

TEST_P(ShownSettingsTest, ReadTextsUpToTheirFieldsEnd)
{
    std::string ssid(32, 's'), bssid(32, 'b'), key(64, 'k');
    expect_shown(kGetBasic,
                 Bytes(200).text(12, ssid).text(44, "x").text(76, bssid).u32(108, 7).text(116, key).u32(180, 1),
                 {.hide = 1, .key = key, .ssid = ssid, .auth = "wep", .bssid = bssid});
}

TEST_P(ShownSettingsTest, CarryTheBssidWithoutColons)
{
    for (const auto &[given, shown] : {std::pair("00:1a:2b:3c:4d:5e", "001A2B3C4D5E"),
                                       {"AA:BB:CC:DD:EE:FF", "AABBCCDDEEFF"},
                                       {"aa:bb:cc:dd:ee:f", "aa:bb:cc:dd:ee:f"},
                                       {"001a2b3c4d5e", "001a2b3c4d5e"},
                                       {"", ""}})
        expect_shown(kGetBasic, Bytes(200).text(76, given), {.bssid = shown});
}

TEST_P(ShownSettingsTest, CarryTheAllowListOnlyUnderItsRule)
{
    Bytes rule = Bytes(216).u32(12, 2).text(16, "10.0.0.1").u32(32, 80).text(36, "10.0.0.2").u32(52, ~0u);
    expect_shown(kGetAccessRule, rule.u32(8, 2), {.access_rule = 2, .allowed = "10.0.0.1:80,10.0.0.2:-1"});
    for (uint32_t other : {0u, 1u, 3u})
        expect_shown(kGetAccessRule, rule.u32(8, other), {.access_rule = static_cast<int32_t>(other)});
    expect_shown(kGetAccessRule, rule.u32(8, 2).u32(12, 0), {.access_rule = 2});
}

TEST_P(ShownSettingsTest, CarryNoMoreThanTenEntriesOfTheAllowList)
{
    Bytes rule = Bytes(216).u32(8, 2);
    std::string allowed;
    for (uint32_t i = 0; i < 10; i++) {
        rule.text(16 + 20 * i, "1.1.1." + std::to_string(i)).u32(32 + 20 * i, i);
        allowed += (i ? ",1.1.1." : "1.1.1.") + std::to_string(i) + ":" + std::to_string(i);
    }
    for (uint32_t count : {10u, 11u, 0x10000000u, ~0u})
        expect_shown(kGetAccessRule, rule.u32(12, count), {.access_rule = 2, .allowed = allowed});
}

TEST_P(ShownSettingsTest, EndTheAllowListWithItsText)
{
    // Entries that fill their addresses and have the longest port: 29 characters each with their comma.
    Bytes rule = Bytes(216).u32(8, 2);
    std::string whole;
    for (uint32_t i = 0; i < 10; i++) {
        std::string address(16, static_cast<char>('a' + i));
        rule.text(16 + 20 * i, address).u32(32 + 20 * i, 0x80000000);
        whole += (i ? "," : "") + address + ":-2147483648";
    }
    for (uint32_t count : {4u, 5u, 10u})
        expect_shown(kGetAccessRule, rule.u32(12, count),
                     {.access_rule = 2, .allowed = whole.substr(0, std::min<size_t>(count * 29 - 1, 127))});
    // One more character than the text holds, and exactly as many.
    expect_shown(kGetAccessRule, rule.u32(12, 5).u32(32 + 80, 7).text(16 + 80, Bytes(16).text(0, "123456789").data()),
                 {.access_rule = 2, .allowed = whole.substr(0, 115) + ",123456789:7"});
    expect_shown(kGetAccessRule, rule.text(16 + 80, "1234567890"),
                 {.access_rule = 2, .allowed = whole.substr(0, 115) + ",1234567890:"});
}

TEST_P(ShownSettingsTest, TakeWhatShortAnswersLackForZero)
{
    answer_every_setting();
    service().answer(kGetBasic, record(Bytes(44).u32(8, 1).text(12, "home")));
    service().answer(kGetAccessRule, record(Bytes(36).u32(8, 2).u32(12, 2).text(16, "10.0.0.1").u32(32, 80)));
    service().answer(kGetRateLimit, record(Bytes(12).u32(8, 1024)));
    expect_shown({.enable = "yes",
                  .ssid = "home",
                  .access_mode = 3,
                  .access_rule = 2,
                  .allowed = "10.0.0.1:80,:0",
                  .upstream = 1024});
}

// Each request stands for itself: list leaves the values of a failed one at zero, get answers with the failure alone.
TEST_P(ShownSettingsTest, AreReadToTheEndAlsoWhereOneFails)
{
    struct Row {
        uint32_t type;
        const char *log;
        Shown listed;
    };
    Shown no_basic = kEverySetting, no_mode = kEverySetting, no_rule = kEverySetting, no_limit = kEverySetting;
    no_basic.enable = "no", no_basic.hide = 0, no_basic.key = no_basic.ssid = no_basic.bssid = "";
    no_basic.auth = "open", no_basic.encrypt = "none";
    no_mode.access_mode = 0;
    no_rule.access_rule = 0, no_rule.allowed = "";
    no_limit.upstream = no_limit.downstream = 0;
    const Row rows[] = {
        {kGetBasic, "Failed to get ap basic\n", no_basic},
        {kGetAccessMode, "Failed to get ap access mode\n", no_mode},
        {kGetAccessRule, "Failed to get ap access rule\n", no_rule},
        {kGetRateLimit, "Failed to get ap rate limit\n", no_limit},
    };
    enable_log();
    for (const Row &row : rows) {
        for (const Answer &answer : {code(5, Bytes(std::string(216, '\1'))), no_answer()}) {
            SCOPED_TRACE(row.log);
            std::string check_log = answer.is_given ? "[wexond_check_ret.#]: Msg retcode = 5\n" : kNoAnswerLog;
            answer_every_setting();
            service().answer(row.type, answer);
            expect_listed(row.listed);
            EXPECT_EQ(service().take_requests(), readings(band(), 1));
            EXPECT_EQ(take_log(), entry_line("_list", band().object, "list") + check_log + log("_list", row.log) +
                                      log("_list", "success \n\n"));
            EXPECT_EQ(call_ap(1, "get"), failure(text("failed to get % ap")));
            EXPECT_EQ(service().take_requests(), readings(band(), 1));
            EXPECT_EQ(take_log(), entry_line("1_get", ap(1), "get") + check_log + log("1_get", row.log) +
                                      get_reply_log(text("failed to get % ap")));
        }
    }
}

TEST_P(ShownSettingsTest, AreLoggedWithoutTheirValues)
{
    answer_every_setting();
    enable_log();
    expect_shown(kEverySetting);
    EXPECT_EQ(take_log(), entry_line("_list", band().object, "list") + log("_list", "success \n\n") +
                              entry_line("1_get", ap(1), "get") + get_reply_log());
    disable_log();
    expect_shown(kEverySetting);
    EXPECT_EQ(take_log(), "");
}

} // namespace
