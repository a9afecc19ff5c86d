// A fuzzer's reading of its input: every sequence of bytes means something, also one that ends too early.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>

// A property that does not hold ends the run like a fault of memory does.
#define REQUIRE(condition) require((condition), #condition, __FILE__, __LINE__)

inline void require(bool holds, const char *condition, const char *file, int line)
{
    if (holds)
        return;
    fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    abort();
}

using Bytes = std::basic_string<uint8_t>;

// Little-endian words of 32 bits.
inline uint32_t word_at(std::basic_string_view<uint8_t> bytes, size_t offset)
{
    uint32_t value = 0;
    for (size_t i = 0; i < 4; i++)
        value |= static_cast<uint32_t>(bytes.at(offset + i)) << 8 * i;
    return value;
}

inline void append_word(Bytes &bytes, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        bytes.push_back(static_cast<uint8_t>(value >> shift));
}

class FuzzInput
{
  public:
    FuzzInput() = default;
    FuzzInput(const uint8_t *data, size_t size) : left_(data, size) {}

    bool empty() const { return left_.empty(); }
    size_t size() const { return left_.size(); }

    // Numbers are little-endian; what is missing at the end counts as zero.
    uint8_t u8() { return static_cast<uint8_t>(number(1)); }
    uint16_t u16() { return static_cast<uint16_t>(number(2)); }
    uint32_t u32() { return static_cast<uint32_t>(number(4)); }
    uint64_t u64() { return number(8); }

    // One of `count` choices.
    size_t choice(size_t count) { return u8() % count; }

    // The next bytes, as many as there are.
    std::span<const uint8_t> bytes(size_t count)
    {
        std::span<const uint8_t> taken = left_.first(std::min(count, left_.size()));
        left_ = left_.subspan(taken.size());
        return taken;
    }

    // A length (one byte) and so many bytes.
    std::span<const uint8_t> short_bytes() { return bytes(u8()); }

    // A length (one byte) and so many characters, up to a NUL.
    std::string text()
    {
        std::span<const uint8_t> taken = short_bytes();
        return {taken.begin(), std::find(taken.begin(), taken.end(), 0)};
    }

  private:
    uint64_t number(size_t width)
    {
        uint64_t value = 0;
        size_t shift = 0;
        for (uint8_t byte : bytes(width)) {
            value |= uint64_t{byte} << shift;
            shift += 8;
        }
        return value;
    }

    std::span<const uint8_t> left_;
};

// A copy in a piece of memory of exactly that length, so that the sanitizer sees a read of one byte more.
class ExactCopy
{
  public:
    explicit ExactCopy(std::span<const uint8_t> bytes) : bytes_(new uint8_t[bytes.size()]), size_(bytes.size())
    {
        std::copy(bytes.begin(), bytes.end(), bytes_.get());
    }

    uint8_t *data() { return bytes_.get(); }
    size_t size() const { return size_; }

  private:
    std::unique_ptr<uint8_t[]> bytes_;
    size_t size_;
};
