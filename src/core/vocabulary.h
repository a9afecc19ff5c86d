// Conversions between the service's codes and the words on the bus, and the text forms of MAC addresses and 64-bit
// counters.
//
// For the bus thread only: texts are returned in process-wide buffers that the next call overwrites, so two conversions
// within one formatted print show the same text. No conversion reports an error; what it does not know becomes a
// fallback, often the empty text or 0.
#pragma once

#include <cstdint>

// A value vocabulary is named by its number, its kind.
enum Vocabulary : uint32_t {
    kYesNo = 0,
    kRadioBand = 1,
    kTxPower = 2,
    kBandwidth = 3, // numeric form: wexond_code_to_ubus and wexond_ubus_to_code
    kRadioMode = 4,
    kRadioStandard = 5,
    kLoad = 6,
    kAuth = 7,
    kEncrypt = 8,
    kFlag = 9, // numeric form
    kWifiSwitch = 10,
    kStatusSwitch = 11,
    kWpsSwitch = 12,
    kElinkSwitch = 13,
    kWeekday = 19,
    kMacText = 21,      // wexond_format_value only
    kBitFieldText = 22, // wexond_format_value only
    kDuplex = 23,
    kNumberText = 26,
    kWorkMode = 27,
    kConnectionType = 28,
    kMeshMode = 29, // as written; it is read back with kMeshRole
    kIpProtocol = 30,
    kLinkMedium = 32,
    kMeshRole = 33,
    kChannelBandwidth = 34,
    kLinkState = 35,
    kPlainNumber = 36,
};

// At most 31 characters. Kinds without a vocabulary of their own give the code in decimal.
const char *wexond_code_to_str(uint32_t kind, int32_t code);

// Exact, case-sensitive comparison. Kinds without words give 0.
uint32_t wexond_str_to_code(uint32_t kind, const char *text);

// Codes that are numbers on both sides.
uint32_t wexond_code_to_ubus(uint32_t kind, uint32_t code);
uint32_t wexond_ubus_to_code(uint32_t kind, uint32_t code);

// Unsigned decimal, in a buffer of its own.
const char *wexond_u64_to_str(uint32_t low, uint32_t high);

// "00:1a:2b:3c:4d:5e" to "001A2B3C4D5E" in place. A text that is not 17 characters long, or is no MAC address, stays as
// it is; so does null.
void wexond_mac_compact(char *text);

// "001a2b3c4d5e" to "00:1A:2B:3C:4D:5E" in place, in a buffer of at least 18 bytes. A text that is not 12 characters
// long, or is no MAC address, stays as it is; so does null.
void wexond_mac_colon(char *text);

// A value as text, in a buffer of its own (at most 31 characters): kMacText gives the compact form of a colon MAC
// address, kBitFieldText bits 7 to 28 of a decimal number, any other kind the text itself. Nothing calls it yet.
const char *wexond_format_value(uint32_t kind, const char *text);
