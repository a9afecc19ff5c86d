// The types of wire records. A record is a struct of these and of char arrays, so that the struct is exactly its image
// on the socket, on every processor: every member has alignment 1 and a fixed byte order.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

// From the processor's byte order to the wire's, and back.
template <typename Integer> Integer little_endian(Integer value)
{
    if constexpr (std::endian::native == std::endian::big)
        std::reverse(reinterpret_cast<uint8_t *>(&value), reinterpret_cast<uint8_t *>(&value + 1));
    return value;
}

// An integer of Size bytes, least significant byte first. Trivial: value-initialising a record zeroes it.
template <typename Integer> class LittleEndian
{
  public:
    LittleEndian() = default;
    LittleEndian(Integer value)
    {
        value = little_endian(value);
        memcpy(bytes_, &value, sizeof(Integer));
    }
    operator Integer() const
    {
        Integer value;
        memcpy(&value, bytes_, sizeof(Integer));
        return little_endian(value);
    }

    LittleEndian &operator|=(Integer bits) { return *this = static_cast<Integer>(*this | bits); }

  private:
    uint8_t bytes_[sizeof(Integer)];
};

using le16 = LittleEndian<uint16_t>;
using le32 = LittleEndian<uint32_t>;
using le64 = LittleEndian<uint64_t>;
using sle32 = LittleEndian<int32_t>;

static_assert(sizeof(le16) == 2 && sizeof(le32) == 4 && sizeof(le64) == 8 && sizeof(sle32) == 4);
static_assert(alignof(le16) == 1 && alignof(le32) == 1 && alignof(le64) == 1 && alignof(sle32) == 1);

// Fills a text field with at most `limit` characters of `text` and zeroes the rest. The default limit fills the field
// to its last byte, without a NUL; a limit of N - 1 keeps one.
template <size_t N> void copy_text(char (&field)[N], const char *text, size_t limit = N)
{
    size_t length = 0;
    while (length < std::min(limit, N) && text[length])
        length++;
    memcpy(field, text, length);
    memset(field + length, 0, N - length);
}

// The text of a field as a terminated copy that may be rewritten in place: a field filled to its full width never runs
// into the next one. Room for a MAC address in its longer form is always there.
template <size_t N> struct Text {
    char data[std::max<size_t>(N, 17) + 1];
};

template <size_t N> Text<N> read_text(const char (&field)[N])
{
    Text<N> text;
    size_t length = strnlen(field, N);
    memcpy(text.data, field, length);
    text.data[length] = '\0';
    return text;
}

// How many entries of a list answer can be read: its count is an outside number.
template <typename List> size_t entry_count(const List &list)
{
    return std::min<size_t>(list.count, std::size(list.entries));
}
