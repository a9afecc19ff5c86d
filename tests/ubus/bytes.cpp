#include "bytes.h"

#include <cctype>
#include <cstdio>

Bytes bytes(std::string_view text)
{
    Bytes result;
    bool quoted = false;
    int high = -1;

    for (char c : text) {
        if (c == '\'') {
            quoted = !quoted;
        } else if (quoted) {
            result.push_back(static_cast<uint8_t>(c));
        } else if (!isspace(static_cast<unsigned char>(c))) {
            const int digit = isdigit(static_cast<unsigned char>(c)) ? c - '0' : tolower(c) - 'a' + 10;
            if (high < 0) {
                high = digit;
            } else {
                result.push_back(static_cast<uint8_t>(high << 4 | digit));
                high = -1;
            }
        }
    }
    return result;
}

Bytes message(std::string_view header, std::string_view attributes)
{
    const Bytes body = bytes(attributes);
    const size_t length = body.size() + 4;
    const Bytes word = {0, uint8_t(length >> 16), uint8_t(length >> 8), uint8_t(length)};

    return bytes(header) + word + body;
}

Bytes operator+(Bytes left, const Bytes &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

void PrintTo(const Bytes &data, std::ostream *out)
{
    char digits[4];

    for (size_t i = 0; i < data.size(); i++) {
        snprintf(digits, sizeof(digits), i % 4 == 3 ? "%02x " : "%02x", data[i]);
        *out << digits;
    }
}
