// The image of a record as a test writes it out by hand: a length, and what stands at each offset; zeros elsewhere.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

class Image
{
  public:
    explicit Image(size_t length) : bytes_(length, '\0') {}

    Image &word(size_t offset, uint32_t value)
    {
        for (size_t i = 0; i < 4; i++)
            bytes_.at(offset + i) = static_cast<char>(value >> (8 * i) & 0xFF);
        return *this;
    }
    Image &run(size_t offset, size_t length, char letter) { return put(offset, std::string(length, letter)); }
    Image &put(size_t offset, const std::string &bytes)
    {
        if (offset + bytes.size() > bytes_.size())
            ADD_FAILURE() << "bytes " << offset << " to " << offset + bytes.size() << " of " << bytes_.size();
        else
            bytes_.replace(offset, bytes.size(), bytes);
        return *this;
    }

    const std::string &bytes() const { return bytes_; }

  private:
    std::string bytes_;
};

template <typename Record> std::string bytes_of(const Record &record)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    return std::string(reinterpret_cast<const char *>(&record), sizeof(record));
}

// Fills a text field to its full width.
template <size_t N> void fill(char (&field)[N], char letter)
{
    for (char &byte : field)
        byte = letter;
}

inline std::string hex(const std::string &bytes, size_t offset)
{
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    for (unsigned char byte : bytes.substr(std::min(offset, bytes.size()), 16))
        text += {kDigits[byte >> 4], kDigits[byte & 15], ' '};
    return text;
}

// Compares whole images and tells where they part.
inline testing::AssertionResult same(const std::string &actual, const std::string &expected)
{
    if (actual == expected)
        return testing::AssertionSuccess();
    size_t offset = 0;
    while (offset < actual.size() && offset < expected.size() && actual[offset] == expected[offset])
        offset++;
    return testing::AssertionFailure() << actual.size() << " bytes, expected " << expected.size() << "; from byte "
                                       << offset << ":\n  " << hex(actual, offset) << "\n  expected:\n  "
                                       << hex(expected, offset);
}

template <typename Record> testing::AssertionResult same(const Record &record, const Image &image)
{
    return same(bytes_of(record), image.bytes());
}
