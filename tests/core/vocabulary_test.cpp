// Every row of every vocabulary in both directions, the fallbacks, and the text forms of addresses and counters.
#include "core/vocabulary.h"

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace
{

constexpr char kAutomaticInGbk[] = "\xD7\xD4\xB6\xAF";

// --- Code to text ---

struct CodeRow {
    uint32_t kind;
    int32_t code;
    const char *text;
};

void expect_texts(const std::vector<CodeRow> &rows)
{
    for (const CodeRow &row : rows)
        EXPECT_STREQ(wexond_code_to_str(row.kind, row.code), row.text) << "kind " << row.kind << " code " << row.code;
}

TEST(CodeToText, KnowsEveryWord)
{
    expect_texts({
        {0, 1, "yes"},       {1, 0, "2.4G"},          {1, 1, "5G"},          {2, 0, "0"},       {2, 1, "1"},
        {7, 0, "open"},      {7, 1, "share"},         {7, 2, "wpa"},         {7, 3, "wpa2"},    {7, 4, "wpapsk"},
        {7, 5, "wpa2psk"},   {7, 6, "wpapskwpa2psk"}, {7, 7, "wep"},         {8, 0, "none"},    {8, 2, "tkip"},
        {8, 3, "aes"},       {8, 4, "aestkip"},       {10, 1, "on"},         {11, 1, "on"},     {12, 1, "on"},
        {13, 1, "on"},       {23, 1, "full"},         {23, 2, "half"},       {23, 3, "auto"},   {27, 4, "bridge"},
        {27, 5, "repeater"}, {28, 1, "DHCP"},         {28, 2, "PPPOE"},      {28, 3, "STATIC"}, {30, 1, "tcp"},
        {30, 2, "udp"},      {30, 3, "icmp"},         {32, 0, "eth"},        {32, 1, "2.4G"},   {32, 2, "5G"},
        {33, 0, "unknown"},  {33, 1, "unknown"},      {33, 2, "controller"}, {33, 3, "agent"},  {33, 4, "unknown"},
        {34, 1, "20M"},      {34, 2, "40M"},          {34, 3, "80M"},        {34, 4, "160M"},   {35, 1, "up"},
    });
}

TEST(CodeToText, FallsBackBesideEveryWord)
{
    // The codes just outside the words and inside their gaps.
    expect_texts({
        {0, 0, "no"},
        {0, 2, "no"},
        {1, -1, ""},
        {1, 2, ""},
        {2, -1, "2"},
        {2, 2, "2"},
        {2, 3, "2"},
        {7, -1, ""},
        {7, 8, ""},
        {8, -1, ""},
        {8, 1, ""},
        {8, 5, ""},
        {10, 0, "off"},
        {10, 2, "off"},
        {11, 0, "off"},
        {11, 2, "off"},
        {12, 0, "off"},
        {12, 2, "off"},
        {13, 0, "off"},
        {13, 2, "off"},
        {23, 0, ""},
        {23, 4, ""},
        {27, 0, "router"},
        {27, 1, "router"},
        {27, 3, "router"},
        {27, 6, "router"},
        {28, 0, ""},
        {28, 4, ""},
        {30, 0, ""},
        {30, 4, ""},
        {32, -1, ""},
        {32, 3, ""},
        {33, -1, ""},
        {33, 5, ""},
        {34, 0, "\xD7\xD4\xB6\xAF"},
        {34, 5, "\xD7\xD4\xB6\xAF"},
        {35, 0, "down"},
        {35, 2, "down"},
    });
}

TEST(CodeToText, FallsBackAtTheExtremes)
{
    const std::pair<uint32_t, const char *> fallbacks[] = {
        {0, "no"},    {1, ""},  {2, "2"},       {7, ""},  {8, ""},  {10, "off"}, {11, "off"}, {12, "off"},
        {13, "off"},  {23, ""}, {27, "router"}, {28, ""}, {30, ""}, {32, ""},    {33, ""},    {34, kAutomaticInGbk},
        {35, "down"},
    };
    for (auto [kind, text] : fallbacks) {
        EXPECT_STREQ(wexond_code_to_str(kind, INT_MAX), text) << kind;
        EXPECT_STREQ(wexond_code_to_str(kind, INT_MIN), text) << kind;
        EXPECT_STREQ(wexond_code_to_str(kind, 1000), text) << kind;
    }
}

TEST(CodeToText, PrintsKindsWithoutWordsInDecimal)
{
    std::vector<uint32_t> kinds = {3, 9, 14, 15, 16, 17, 18, 20, 21, 22, 24, 25, 26, 29, 31, 36, 37, 1000, UINT_MAX};
    for (uint32_t kind : kinds) {
        EXPECT_STREQ(wexond_code_to_str(kind, 0), "0") << kind;
        EXPECT_STREQ(wexond_code_to_str(kind, 1), "1") << kind;
        EXPECT_STREQ(wexond_code_to_str(kind, -1), "-1") << kind;
        EXPECT_STREQ(wexond_code_to_str(kind, INT_MIN), "-2147483648") << kind;
        EXPECT_STREQ(wexond_code_to_str(kind, INT_MAX), "2147483647") << kind;
    }
}

TEST(CodeToText, PutsAPercentSignBehindTheLoad)
{
    expect_texts({{6, 0, "0%"}, {6, 35, "35%"}, {6, 100, "100%"}, {6, -1, "-1%"}, {6, INT_MIN, "-2147483648%"}});
}

TEST(CodeToText, NamesTheLowestWeekday)
{
    expect_texts({
        {19, 0x01, "7"},
        {19, 0x02, "1"},
        {19, 0x04, "2"},
        {19, 0x08, "3"},
        {19, 0x10, "4"},
        {19, 0x20, "5"},
        {19, 0x40, "6"},
        {19, 0x41, "7"},
        {19, 0x60, "5"},
        {19, 0x7F, "7"},
        {19, 0, ""},
        {19, 0x80, ""},
        {19, 0x82, "1"},
        {19, INT_MIN, ""},
        {19, -1, "7"},
    });
}

// --- Bit sets ---

std::string joined(uint32_t bits, const std::vector<std::string> &pieces)
{
    std::string text;
    for (size_t bit = 0; bit < pieces.size(); bit++)
        if (bits & 1u << bit)
            text += (text.empty() ? "" : "/") + pieces[bit];
    return text;
}

TEST(BitSet, JoinsEverySetInFixedOrder)
{
    for (uint32_t bits = 0; bits < 64; bits++) {
        EXPECT_EQ(wexond_code_to_str(4, bits), joined(bits, {"b", "g", "a", "n", "ac", "ax"})) << bits;
        EXPECT_EQ(wexond_code_to_str(5, bits), joined(bits, {"11b", "11g", "11a", "11n", "11ac", "11ax"})) << bits;
    }
}

TEST(BitSet, ReadsAsAgentsKnowIt)
{
    expect_texts({{4, 0x0B, "b/g/n"},
                  {4, 0x3F, "b/g/a/n/ac/ax"},
                  {4, 0, ""},
                  {5, 0x1C, "11a/11n/11ac"},
                  {5, 0x3F, "11b/11g/11a/11n/11ac/11ax"}});
}

// Each of the six passes that finds only bits without a piece adds one "/".
TEST(BitSet, AddsASlashForEachPassLeftOverByHighBits)
{
    expect_texts({
        {4, 0x40 | 0x01, "b/////"},
        {4, 0x40 | 0x03, "b/g////"},
        {4, 0x40 | 0x0B, "b/g/n///"},
        {4, 0x40 | 0x0F, "b/g/a/n//"},
        {4, 0x40 | 0x1F, "b/g/a/n/ac/"},
        {4, 0x40 | 0x3F, "b/g/a/n/ac/ax"},
        {4, INT_MIN | 0x01, "b/////"},
        {5, 0x80 | 0x10, "11ac/////"},
        {5, 0x7FFFFFC0 | 0x1F, "11b/11g/11a/11n/11ac/"},
        {5, -1, "11b/11g/11a/11n/11ac/11ax"},
    });
}

// With nothing before it there is nothing to put a "/" behind.
TEST(BitSet, IsEmptyWhenOnlyHighBitsAreSet)
{
    expect_texts({{4, 0x40, ""}, {4, INT_MIN, ""}, {5, 0x7FFFFFC0, ""}});
}

// --- The shared text buffer ---

TEST(CodeToText, TwoConversionsInOnePrintShowTheSameText)
{
    char text[16];
    const char *first = wexond_code_to_str(kYesNo, 1);
    const char *second = wexond_code_to_str(kRadioBand, 1);
    snprintf(text, sizeof(text), "%s %s", first, second);
    EXPECT_STREQ(text, "5G 5G");
}

TEST(CodeToText, ClearsThirtyTwoBytesForEachCall)
{
    const char *text = wexond_code_to_str(kRadioStandard, 0x3F);
    EXPECT_EQ(wexond_code_to_str(kRadioBand, 9), text);
    EXPECT_EQ(std::string(text, 32), std::string(32, '\0'));
}

// --- Text to code ---

struct TextRow {
    uint32_t kind;
    const char *text;
    uint32_t code;
};

void expect_codes(const std::vector<TextRow> &rows)
{
    for (const TextRow &row : rows)
        EXPECT_EQ(wexond_str_to_code(row.kind, row.text), row.code) << "kind " << row.kind << " \"" << row.text << "\"";
}

TEST(TextToCode, KnowsEveryWord)
{
    expect_codes({
        {0, "yes", 1},     {2, "0", 0},         {2, "1", 1},           {7, "open", 0},    {7, "share", 1},
        {7, "wpa", 2},     {7, "wpa2", 3},      {7, "wpapsk", 4},      {7, "wpa2psk", 5}, {7, "wpapskwpa2psk", 6},
        {7, "wep", 7},     {8, "none", 0},      {8, "tkip", 2},        {8, "aes", 3},     {8, "aestkip", 4},
        {10, "on", 1},     {11, "on", 1},       {12, "on", 1},         {13, "on", 1},     {27, "router", 1},
        {27, "bridge", 4}, {27, "repeater", 5}, {29, "controller", 2}, {29, "agent", 3},  {30, "tcp", 1},
        {30, "udp", 2},    {30, "icmp", 3},
    });
}

TEST(TextToCode, FallsBackForEveryOtherText)
{
    const std::pair<uint32_t, uint32_t> fallbacks[] = {{0, 0},  {2, 2},  {7, 0},  {8, 0},  {10, 0}, {11, 0},
                                                       {12, 0}, {13, 0}, {27, 6}, {29, 4}, {30, 4}};
    for (auto [kind, code] : fallbacks)
        for (const char *text : {"", "other", " ", "5", "-1", "\xD7\xD4\xB6\xAF"})
            EXPECT_EQ(wexond_str_to_code(kind, text), code) << "kind " << kind << " \"" << text << "\"";
}

TEST(TextToCode, ComparesExactly)
{
    expect_codes({
        {0, "Yes", 0},
        {0, "YES", 0},
        {0, "yes ", 0},
        {0, "ye", 0},
        {2, "00", 2},
        {2, "0 ", 2},
        {7, "WPA2", 0},
        {7, "wpa2pskx", 0},
        {8, "AES", 0},
        {10, "On", 0},
        {11, "ON", 0},
        {12, "on ", 0},
        {13, "1", 0},
        {27, "Router", 6},
        {27, "", 6},
        {29, "Agent", 4},
        {29, "unknown", 4},
        {30, "TCP", 4},
    });
}

TEST(TextToCode, GivesZeroForKindsWithoutWords)
{
    for (uint32_t kind : {1u,  3u,  4u,  5u,  6u,  9u,  14u, 15u, 16u, 17u, 18u, 20u, 21u,
                          22u, 23u, 24u, 25u, 28u, 31u, 32u, 33u, 34u, 35u, 36u, 37u, UINT_MAX})
        for (const char *text : {"1", "5G", "on", "full", "DHCP", "eth", "controller", "20M", "up", ""})
            EXPECT_EQ(wexond_str_to_code(kind, text), 0u) << "kind " << kind << " \"" << text << "\"";
}

TEST(TextToCode, ShiftsAWeekday)
{
    expect_codes({
        {19, "1", 2},
        {19, "2", 4},
        {19, "3", 8},
        {19, "4", 16},
        {19, "5", 32},
        {19, "6", 64},
        {19, "7", 1},
        {19, "0", 0},
        {19, "8", 0},
        {19, "-1", 0},
        {19, "4294967297", 0},
        {19, "", 0},
        {19, "x", 0},
        {19, "3rd", 8},
        {19, " 3", 8},
        {19, "99999999999999999999", 0},
        {19, "-99999999999999999999", 0},
    });
}

TEST(TextToCode, ReadsANumber)
{
    expect_codes({
        {26, "0", 0},
        {26, "1", 1},
        {26, "35", 35},
        {26, "2147483647", 0x7FFFFFFF},
        {26, "-1", 0xFFFFFFFF},
        {26, "-2147483648", 0x80000000u},
        {26, " 7", 7},
        {26, "+7", 7},
        {26, "12abc", 12},
        {26, "", 0},
        {26, "abc", 0},
        {26, "0x10", 0},
        {26, "010", 10},
    });
}

// Written with one vocabulary and read with another.
TEST(Vocabularies, AreNotSymmetricWhereAgentsExpectThat)
{
    EXPECT_STREQ(wexond_code_to_str(kWorkMode, wexond_str_to_code(kWorkMode, "nonsense")), "router");
    EXPECT_STREQ(wexond_code_to_str(kMeshRole, wexond_str_to_code(kMeshMode, "controller")), "controller");
    EXPECT_STREQ(wexond_code_to_str(kMeshRole, wexond_str_to_code(kMeshMode, "nonsense")), "unknown");
    EXPECT_STREQ(wexond_code_to_str(kMeshMode, 2), "2");
    EXPECT_EQ(wexond_str_to_code(kMeshRole, "controller"), 0u);
}

TEST(Vocabularies, AreNamedByTheirNumbers)
{
    const std::pair<uint32_t, uint32_t> rows[] = {
        {kYesNo, 0},
        {kRadioBand, 1},
        {kTxPower, 2},
        {kBandwidth, 3},
        {kRadioMode, 4},
        {kRadioStandard, 5},
        {kLoad, 6},
        {kAuth, 7},
        {kEncrypt, 8},
        {kFlag, 9},
        {kWifiSwitch, 10},
        {kStatusSwitch, 11},
        {kWpsSwitch, 12},
        {kElinkSwitch, 13},
        {kWeekday, 19},
        {kMacText, 21},
        {kBitFieldText, 22},
        {kDuplex, 23},
        {kNumberText, 26},
        {kWorkMode, 27},
        {kConnectionType, 28},
        {kMeshMode, 29},
        {kIpProtocol, 30},
        {kLinkMedium, 32},
        {kMeshRole, 33},
        {kChannelBandwidth, 34},
        {kLinkState, 35},
        {kPlainNumber, 36},
    };
    for (auto [name, number] : rows)
        EXPECT_EQ(name, number);
}

// --- Numbers on both sides ---

TEST(Remapping, PutsAutomaticBandwidthAtTwoOnTheBus)
{
    const uint32_t to_bus[] = {2, 0, 1, 3, 4, 2, 2};
    const uint32_t to_service[] = {1, 2, 0, 3, 4, 0, 0};
    for (uint32_t code = 0; code < 7; code++) {
        EXPECT_EQ(wexond_code_to_ubus(kBandwidth, code), to_bus[code]) << code;
        EXPECT_EQ(wexond_ubus_to_code(kBandwidth, code), to_service[code]) << code;
    }
    for (uint32_t code : {0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(wexond_code_to_ubus(kBandwidth, code), 2u);
        EXPECT_EQ(wexond_ubus_to_code(kBandwidth, code), 0u);
    }
    for (uint32_t code = 0; code < 5; code++) {
        EXPECT_EQ(wexond_ubus_to_code(kBandwidth, wexond_code_to_ubus(kBandwidth, code)), code);
        EXPECT_EQ(wexond_code_to_ubus(kBandwidth, wexond_ubus_to_code(kBandwidth, code)), code);
    }
}

TEST(Remapping, KnowsFlagsByOne)
{
    for (uint32_t code : {0u, 2u, 0x100u, 0x80000001u, 0xFFFFFFFFu}) {
        EXPECT_EQ(wexond_code_to_ubus(kFlag, code), 0u) << code;
        EXPECT_EQ(wexond_code_to_ubus(kYesNo, code), 0u) << code;
        EXPECT_EQ(wexond_ubus_to_code(kFlag, code), 0u) << code;
        // Towards the service a yes/no number goes through as it is.
        EXPECT_EQ(wexond_ubus_to_code(kYesNo, code), code);
    }
    EXPECT_EQ(wexond_code_to_ubus(kFlag, 1), 1u);
    EXPECT_EQ(wexond_code_to_ubus(kYesNo, 1), 1u);
    EXPECT_EQ(wexond_ubus_to_code(kFlag, 1), 1u);
    EXPECT_EQ(wexond_ubus_to_code(kYesNo, 1), 1u);
}

TEST(Remapping, LeavesOtherKindsUnchanged)
{
    for (uint32_t kind : {1u, 2u, 4u, 8u, 10u, 36u, 1000u})
        for (uint32_t code : {0u, 1u, 2u, 5u, 0xFFFFFFFFu}) {
            EXPECT_EQ(wexond_code_to_ubus(kind, code), code) << kind;
            EXPECT_EQ(wexond_ubus_to_code(kind, code), code) << kind;
        }
}

// --- Counters ---

TEST(Counter, PrintsSixtyFourBitsUnsigned)
{
    EXPECT_STREQ(wexond_u64_to_str(0, 0), "0");
    EXPECT_STREQ(wexond_u64_to_str(1, 0), "1");
    EXPECT_STREQ(wexond_u64_to_str(0xFFFFFFFF, 0), "4294967295");
    EXPECT_STREQ(wexond_u64_to_str(0, 1), "4294967296");
    EXPECT_STREQ(wexond_u64_to_str(0x89ABCDEF, 0x01234567), "81985529216486895");
    EXPECT_STREQ(wexond_u64_to_str(0, 0x80000000), "9223372036854775808");
    EXPECT_STREQ(wexond_u64_to_str(0xFFFFFFFF, 0xFFFFFFFF), "18446744073709551615");
}

TEST(Counter, HasABufferOfItsOwn)
{
    const char *count = wexond_u64_to_str(7, 0);
    const char *word = wexond_code_to_str(kYesNo, 1);
    const char *value = wexond_format_value(0, "value");
    EXPECT_STREQ(count, "7");
    EXPECT_STREQ(word, "yes");
    EXPECT_STREQ(value, "value");
    EXPECT_EQ(wexond_u64_to_str(0xFFFFFFFF, 0xFFFFFFFF), count);
    EXPECT_EQ(wexond_u64_to_str(1, 0), count);
    EXPECT_STREQ(count, "1");
}

// --- Addresses ---

using Rewrite = void (*)(char *);

// In a buffer of exactly the 18 bytes that the longer form needs, on the heap so that a byte too far is seen.
std::string rewritten(Rewrite rewrite, const std::string &text)
{
    std::vector<char> buffer(std::max<size_t>(18, text.size() + 1));
    memcpy(buffer.data(), text.c_str(), text.size() + 1);
    rewrite(buffer.data());
    return buffer.data();
}

TEST(MacCompact, DropsColonsAndPrintsUpperCase)
{
    EXPECT_EQ(rewritten(wexond_mac_compact, "aa:bb:cc:dd:ee:ff"), "AABBCCDDEEFF");
    EXPECT_EQ(rewritten(wexond_mac_compact, "00:1a:2b:3c:4d:5e"), "001A2B3C4D5E");
    EXPECT_EQ(rewritten(wexond_mac_compact, "AA:BB:CC:DD:EE:FF"), "AABBCCDDEEFF");
    EXPECT_EQ(rewritten(wexond_mac_compact, "00:00:00:00:00:00"), "000000000000");
    EXPECT_EQ(rewritten(wexond_mac_compact, "ff:ff:ff:ff:ff:ff"), "FFFFFFFFFFFF");
}

TEST(MacCompact, LeavesOtherLengthsAsTheyAre)
{
    for (const char *text : {"", "a", "AA:BB:CC:DD:EE:F", "aa:bb:cc:dd:ee:fff", "001A2B3C4D5E", "aa:bb:cc:dd:ee"})
        EXPECT_EQ(rewritten(wexond_mac_compact, text), text);
    wexond_mac_compact(nullptr);
}

TEST(MacCompact, LeavesSeventeenCharactersThatAreNoAddress)
{
    for (const char *text :
         {"seventeen letters", "aa:bb:cc:dd:ee.ff", "aa-bb-cc-dd-ee-ff", "gg:bb:cc:dd:ee:ff", "aa:bb:cc:dd:eefff",
          "-1:-1:-1:-1:-1:-1", "100:00:00:00:00:0", "aaaaaaaaaaaa:b:c:", ":a:bb:cc:dd:ee:ff", "                 "})
        EXPECT_EQ(rewritten(wexond_mac_compact, text), text);
}

TEST(MacCompact, LeavesWhatStandsBehindTheBufferAlone)
{
    char buffer[20] = "ff:ff:ff:ff:ff:ff";
    buffer[18] = buffer[19] = '#';
    wexond_mac_compact(buffer);
    EXPECT_EQ(std::string(buffer, 13), "FFFFFFFFFFFF\0"s);
    EXPECT_EQ(buffer[18], '#');
    EXPECT_EQ(buffer[19], '#');
}

TEST(MacColon, PutsColonsIntoTwelveDigits)
{
    EXPECT_EQ(rewritten(wexond_mac_colon, "001a2b3c4d5e"), "00:1A:2B:3C:4D:5E");
    EXPECT_EQ(rewritten(wexond_mac_colon, "AABBCCDDEEFF"), "AA:BB:CC:DD:EE:FF");
    EXPECT_EQ(rewritten(wexond_mac_colon, "000000000000"), "00:00:00:00:00:00");
}

TEST(MacColon, LeavesOtherLengthsAsTheyAre)
{
    for (const char *text : {"", "001a2b3c4d5", "001a2b3c4d5e6", "00:1a:2b:3c:4d:5e"})
        EXPECT_EQ(rewritten(wexond_mac_colon, text), text);
    wexond_mac_colon(nullptr);
}

TEST(MacColon, LeavesTwelveCharactersThatAreNoAddress)
{
    for (const char *text : {"twelve chars", "00:1a:2b:3c:", "-1-1-1-1-1-1", "zz1a2b3c4d5e", "001a2b3c4dzz"})
        EXPECT_EQ(rewritten(wexond_mac_colon, text), text);
}

TEST(Mac, SurvivesTheWayThereAndBack)
{
    EXPECT_EQ(rewritten(wexond_mac_colon, rewritten(wexond_mac_compact, "00:1a:2b:3c:4d:5e")), "00:1A:2B:3C:4D:5E");
}

// --- General values ---

TEST(FormatValue, GivesTheCompactFormOfAnAddress)
{
    EXPECT_STREQ(wexond_format_value(kMacText, "00:1a:2b:3c:4d:5e"), "001A2B3C4D5E");
    EXPECT_STREQ(wexond_format_value(kMacText, "0:1:2:3:4:f"), "00010203040F");
}

TEST(FormatValue, IsEmptyForWhatIsNoAddress)
{
    for (const char *text : {"", "no address", "00:1a:2b:3c:4d", "-1:-1:-1:-1:-1:-1", "100:0:0:0:0:0"})
        EXPECT_STREQ(wexond_format_value(kMacText, text), "") << text;
}

TEST(FormatValue, TakesTheBitFieldOfANumber)
{
    struct {
        const char *text;
        const char *field;
    } rows[] = {
        {"0", "0"},         {"127", "0"},
        {"128", "1"},       {"255", "1"},
        {"256", "2"},       {"536870911", "4194303"},
        {"536870912", "0"}, {"2147483647", "4194303"},
        {"-1", "4194303"},  {"", "0"},
        {"x", "0"},
    };
    for (const auto &row : rows)
        EXPECT_STREQ(wexond_format_value(kBitFieldText, row.text), row.field) << row.text;
}

TEST(FormatValue, CopiesOtherTextsUpToThirtyOneCharacters)
{
    EXPECT_STREQ(wexond_format_value(kYesNo, "yes"), "yes");
    EXPECT_STREQ(wexond_format_value(23, ""), "");
    EXPECT_STREQ(wexond_format_value(99, "0123456789012345678901234567890"), "0123456789012345678901234567890");
    EXPECT_STREQ(wexond_format_value(99, "01234567890123456789012345678901"), "0123456789012345678901234567890");
}

TEST(FormatValue, ClearsThirtyTwoBytesForEachCall)
{
    const char *text = wexond_format_value(99, "01234567890123456789012345678901");
    EXPECT_EQ(wexond_format_value(99, "a"), text);
    EXPECT_EQ(std::string(text, 32), "a"s + std::string(31, '\0'));
}

} // namespace
