// Bytes written out by hand.
#pragma once

#include <cstdint>
#include <ostream>
#include <string_view>
#include <vector>

struct Bytes : std::vector<uint8_t> {
    using vector::vector;
};

// "00 01 0002 'text' 00": hexadecimal digits and quoted text; blanks are for the reader.
Bytes bytes(std::string_view text);

// A whole message: "VV TT SSSS PPPPPPPP" (version, type, seq, peer), and the attributes, around which the container's
// word is put.
Bytes message(std::string_view header, std::string_view attributes);

Bytes operator+(Bytes left, const Bytes &right);

// In words of four bytes, as failures are easiest to read.
void PrintTo(const Bytes &data, std::ostream *out);
