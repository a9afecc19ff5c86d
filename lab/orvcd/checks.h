// The checks of a router's configuration service before it takes a setting. A family's `check_...` functions judge a
// whole request and name what is wrong with it; these are their predicates.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/wire.h"
#include "return_codes.h"

// The text of a field, to its NUL or its end.
template <size_t N> std::string_view text_of(const char (&field)[N])
{
    return {field, strnlen(field, N)};
}

// Six bytes in hexadecimal, with colons between them or without.
bool is_mac(std::string_view text);
bool is_ipv4(std::string_view text);
// http, https, ftp or tftp, and a host.
bool is_url(std::string_view text);
bool is_channel(uint32_t band, uint32_t channel);
// A key of WPA-PSK: 8 to 63 printable characters, or 64 hexadecimal digits.
bool is_passphrase(std::string_view key);
// A key of WEP: 5 or 13 characters, or twice as many hexadecimal digits.
bool is_wep_key(std::string_view key);

inline ReturnCode check_switch(uint32_t code)
{
    return code <= 1 ? kOk : kBadSwitch;
}

inline ReturnCode check_range(int64_t value, int64_t least, int64_t most)
{
    return value >= least && value <= most ? kOk : kBadRange;
}

// The first of several verdicts that is not kOk.
template <typename... More> ReturnCode first_refusal(ReturnCode first, More... more)
{
    if constexpr (sizeof...(more) == 0)
        return first;
    else
        return first != kOk ? first : first_refusal(more...);
}
