#include "checks.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <string>

namespace
{

bool is_hex(char letter)
{
    return isxdigit(static_cast<unsigned char>(letter));
}

bool all_hex(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), is_hex);
}

} // namespace

bool is_mac(std::string_view text)
{
    if (text.size() == 12)
        return all_hex(text);
    if (text.size() != 17)
        return false;
    for (size_t at = 0; at < text.size(); at++)
        if (at % 3 == 2 ? text[at] != ':' : !is_hex(text[at]))
            return false;
    return true;
}

bool is_ipv4(std::string_view text)
{
    in_addr address;
    return inet_pton(AF_INET, std::string(text).c_str(), &address) == 1;
}

bool is_url(std::string_view text)
{
    for (std::string_view scheme : {"http://", "https://", "ftp://", "tftp://"})
        if (text.starts_with(scheme))
            return text.size() > scheme.size() && text[scheme.size()] != '/';
    return false;
}

// 0 leaves the choice to the radio.
bool is_channel(uint32_t band, uint32_t channel)
{
    if (channel == 0)
        return true;
    if (band == 0)
        return channel <= 13;
    return (channel % 4 == 0 && ((channel >= 36 && channel <= 64) || (channel >= 100 && channel <= 144))) ||
           (channel % 4 == 1 && channel >= 149 && channel <= 165);
}

bool is_passphrase(std::string_view key)
{
    if (key.size() == 64)
        return all_hex(key);
    return key.size() >= 8 && key.size() <= 63 &&
           std::all_of(key.begin(), key.end(), [](char letter) { return letter >= ' ' && letter <= '~'; });
}

bool is_wep_key(std::string_view key)
{
    return key.size() == 5 || key.size() == 13 || ((key.size() == 10 || key.size() == 26) && all_hex(key));
}
