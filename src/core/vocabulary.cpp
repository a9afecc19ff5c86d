#include "core/vocabulary.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

namespace
{

struct Word {
    int32_t code;
    const char *text;
};

// One direction of a vocabulary: its words, and what stands for everything else.
struct CodeToText {
    uint32_t kind;
    std::span<const Word> words;
    const char *fallback;
};

struct TextToCode {
    uint32_t kind;
    std::span<const Word> words;
    uint32_t fallback;
};

constexpr Word kYes[] = {{1, "yes"}};
constexpr Word kOn[] = {{1, "on"}};
constexpr Word kUp[] = {{1, "up"}};
constexpr Word kBands[] = {{0, "2.4G"}, {1, "5G"}};
constexpr Word kTxPowers[] = {{0, "0"}, {1, "1"}};
constexpr Word kAuths[] = {{0, "open"},   {1, "share"},   {2, "wpa"},           {3, "wpa2"},
                           {4, "wpapsk"}, {5, "wpa2psk"}, {6, "wpapskwpa2psk"}, {7, "wep"}};
constexpr Word kEncryptions[] = {{0, "none"}, {2, "tkip"}, {3, "aes"}, {4, "aestkip"}};
constexpr Word kDuplexes[] = {{1, "full"}, {2, "half"}, {3, "auto"}};
constexpr Word kWorkModesRead[] = {{4, "bridge"}, {5, "repeater"}};
constexpr Word kWorkModesWritten[] = {{1, "router"}, {4, "bridge"}, {5, "repeater"}};
constexpr Word kConnectionTypes[] = {{1, "DHCP"}, {2, "PPPOE"}, {3, "STATIC"}};
constexpr Word kProtocols[] = {{1, "tcp"}, {2, "udp"}, {3, "icmp"}};
constexpr Word kMedia[] = {{0, "eth"}, {1, "2.4G"}, {2, "5G"}};
constexpr Word kMeshRoles[] = {{0, "unknown"}, {1, "unknown"}, {2, "controller"}, {3, "agent"}, {4, "unknown"}};
constexpr Word kMeshModes[] = {{2, "controller"}, {3, "agent"}};
constexpr Word kBandwidths[] = {{1, "20M"}, {2, "40M"}, {3, "80M"}, {4, "160M"}};

// The word "automatic" as the agents take it, GBK-encoded.
constexpr char kAutomatic[] = "\xD7\xD4\xB6\xAF";

// The two directions differ on purpose: what is written as an unknown work mode reads back as "router", a mesh mode is
// written with one vocabulary and read with another.
constexpr CodeToText kCodeToText[] = {
    {kYesNo, kYes, "no"},
    {kRadioBand, kBands, ""},
    {kTxPower, kTxPowers, "2"},
    {kAuth, kAuths, ""},
    {kEncrypt, kEncryptions, ""},
    {kWifiSwitch, kOn, "off"},
    {kStatusSwitch, kOn, "off"},
    {kWpsSwitch, kOn, "off"},
    {kElinkSwitch, kOn, "off"},
    {kDuplex, kDuplexes, ""},
    {kWorkMode, kWorkModesRead, "router"},
    {kConnectionType, kConnectionTypes, ""},
    {kIpProtocol, kProtocols, ""},
    {kLinkMedium, kMedia, ""},
    {kMeshRole, kMeshRoles, ""},
    {kChannelBandwidth, kBandwidths, kAutomatic},
    {kLinkState, kUp, "down"},
};

constexpr TextToCode kTextToCode[] = {
    {kYesNo, kYes, 0},           {kTxPower, kTxPowers, 2},     {kAuth, kAuths, 0},
    {kEncrypt, kEncryptions, 0}, {kWifiSwitch, kOn, 0},        {kStatusSwitch, kOn, 0},
    {kWpsSwitch, kOn, 0},        {kElinkSwitch, kOn, 0},       {kWorkMode, kWorkModesWritten, 6},
    {kMeshMode, kMeshModes, 4},  {kIpProtocol, kProtocols, 4},
};

constexpr const char *kModeLetters[] = {"b", "g", "a", "n", "ac", "ax"};
constexpr const char *kStandards[] = {"11b", "11g", "11a", "11n", "11ac", "11ax"};

char result[32];
char counter[64];
char address[32];

void append(const char *piece)
{
    size_t length = strlen(result);
    memcpy(result + length, piece, strnlen(piece, sizeof(result) - 1 - length));
}

const char *find_text(const CodeToText &vocabulary, int32_t code)
{
    for (const Word &word : vocabulary.words)
        if (word.code == code)
            return word.text;
    return vocabulary.fallback;
}

// Joins the pieces of the bits that are set. Bits without a piece are never cleared, so that each pass left over adds
// one more "/"; agents know these texts.
void join_bits(uint32_t bits, std::span<const char *const> pieces)
{
    for (size_t pass = 0; pass < pieces.size() && bits; pass++) {
        if (size_t length = strlen(result); length > 0 && length <= 30)
            append("/");
        for (size_t bit = 0; bit < pieces.size(); bit++) {
            if (bits & (1u << bit)) {
                append(pieces[bit]);
                bits &= ~(1u << bit);
                break;
            }
        }
    }
}

// The lowest set bit names the day: Sunday, bit 0, is day 7.
void weekday_text(uint32_t bits)
{
    for (uint32_t bit = 0; bit < 7; bit++) {
        if (bits & (1u << bit)) {
            snprintf(result, sizeof(result), "%u", bit == 0 ? 7 : bit);
            return;
        }
    }
}

uint32_t weekday_bit(const char *text)
{
    long long day = strtoll(text, nullptr, 10);
    return day >= 1 && day <= 7 ? 1u << (day % 7) : 0;
}

// Decimal, ended. A list of stations has thousands: formatted prints would be a third of its time.
template <size_t N, typename Integer> void print_number(char (&text)[N], Integer number)
{
    *std::to_chars(text, text + N - 1, number).ptr = '\0';
}

// A hexadecimal digit's value, or -1.
int digit_value(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

constexpr size_t kColonStep = 3; // characters from one byte to the next
constexpr size_t kCompactStep = 2;

// An address as nearly all are written: two digits for each byte, and nothing after them.
bool read_pairs(const char *text, size_t step, unsigned (&bytes)[6])
{
    for (size_t i = 0; i < std::size(bytes); i++, text += step) {
        int high = digit_value(text[0]);
        int low = high < 0 ? -1 : digit_value(text[1]);
        bool is_last = i + 1 == std::size(bytes);
        if (low < 0 || (is_last ? text[2] != '\0' : step == kColonStep && text[2] != ':'))
            return false;
        bytes[i] = static_cast<unsigned>(high << 4 | low);
    }
    return true;
}

void print_pairs(char *text, size_t step, const unsigned (&bytes)[6])
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (size_t i = 0; i < std::size(bytes); i++, text += step) {
        text[0] = kDigits[bytes[i] >> 4];
        text[1] = kDigits[bytes[i] & 0xF];
        text[2] = i + 1 < std::size(bytes) ? ':' : '\0'; // where there is none, the next digit takes its place
    }
}

// Six numbers of one byte each. What only looks like an address by its length is none.
bool read_mac(const char *text, size_t step, unsigned (&bytes)[6])
{
    if (read_pairs(text, step, bytes))
        return true;
    const char *format = step == kColonStep ? "%x:%x:%x:%x:%x:%x" : "%2x%2x%2x%2x%2x%2x";
    if (sscanf(text, format, &bytes[0], &bytes[1], &bytes[2], &bytes[3], &bytes[4], &bytes[5]) != 6)
        return false;
    for (unsigned byte : bytes)
        if (byte > 0xFF)
            return false;
    return true;
}

constexpr size_t kColonLength = 17;
constexpr size_t kCompactLength = 12;

void rewrite_mac(char *text, size_t length, size_t step, size_t new_step)
{
    unsigned bytes[6];
    if (text && strlen(text) == length && read_mac(text, step, bytes))
        print_pairs(text, new_step, bytes);
}

} // namespace

const char *wexond_code_to_str(uint32_t kind, int32_t code)
{
    memset(result, 0, sizeof(result));
    for (const CodeToText &vocabulary : kCodeToText) {
        if (vocabulary.kind != kind)
            continue;
        append(find_text(vocabulary, code));
        return result;
    }
    if (kind == kRadioMode)
        join_bits(code, kModeLetters);
    else if (kind == kRadioStandard)
        join_bits(code, kStandards);
    else if (kind == kWeekday)
        weekday_text(code);
    else
        print_number(result, code);
    if (kind == kLoad)
        append("%");
    return result;
}

uint32_t wexond_str_to_code(uint32_t kind, const char *text)
{
    if (kind == kWeekday)
        return weekday_bit(text);
    if (kind == kNumberText)
        return static_cast<uint32_t>(strtoll(text, nullptr, 10));
    for (const TextToCode &vocabulary : kTextToCode) {
        if (vocabulary.kind != kind)
            continue;
        for (const Word &word : vocabulary.words)
            if (strcmp(word.text, text) == 0)
                return word.code;
        return vocabulary.fallback;
    }
    return 0;
}

// The bandwidth of the bus side counts from 0 and puts the service's 0, automatic, at 2.
uint32_t wexond_code_to_ubus(uint32_t kind, uint32_t code)
{
    constexpr uint32_t kFromCode[] = {2, 0, 1, 3, 4};
    if (kind == kBandwidth)
        return code < std::size(kFromCode) ? kFromCode[code] : 2;
    if (kind == kFlag || kind == kYesNo)
        return code == 1;
    return code;
}

uint32_t wexond_ubus_to_code(uint32_t kind, uint32_t code)
{
    constexpr uint32_t kToCode[] = {1, 2, 0, 3, 4};
    if (kind == kBandwidth)
        return code < std::size(kToCode) ? kToCode[code] : 0;
    if (kind == kFlag)
        return code == 1;
    return code;
}

const char *wexond_u64_to_str(uint32_t low, uint32_t high)
{
    print_number(counter, uint64_t{high} << 32 | low);
    return counter;
}

void wexond_mac_compact(char *text)
{
    rewrite_mac(text, kColonLength, kColonStep, kCompactStep);
}

void wexond_mac_colon(char *text)
{
    rewrite_mac(text, kCompactLength, kCompactStep, kColonStep);
}

const char *wexond_format_value(uint32_t kind, const char *text)
{
    memset(address, 0, sizeof(address));
    if (kind == kMacText) {
        unsigned bytes[6];
        if (read_mac(text, kColonStep, bytes))
            print_pairs(address, kCompactStep, bytes);
    } else if (kind == kBitFieldText) {
        auto number = static_cast<uint32_t>(strtoll(text, nullptr, 10));
        snprintf(address, sizeof(address), "%u", number >> 7 & 0x3FFFFF);
    } else {
        snprintf(address, sizeof(address), "%s", text);
    }
    return address;
}
