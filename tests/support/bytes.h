// Wire records written out by hand: so many zero bytes, and what stands at which offset.
//
//     Bytes(456).text(0, "http://host/image").u32(384, 12345678)
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace test_support
{

class Bytes
{
  public:
    Bytes() = default;
    explicit Bytes(size_t size) : data_(size, '\0') {}
    explicit Bytes(std::string_view data) : data_(data) {}

    // Each throws where the value does not lie within the record.
    Bytes &text(size_t offset, std::string_view text); // no NUL is added
    Bytes &u32(size_t offset, uint32_t value);         // little-endian
    Bytes &u64(size_t offset, uint64_t value);

    size_t size() const { return data_.size(); }
    const std::string &data() const { return data_; }
    bool operator==(const Bytes &) const = default;

  private:
    std::string data_;
};

// The size, then each run of bytes that are not zero with its offset: `456 bytes: @0 "http://host/image" @384 4e 61
// bc`.
std::ostream &operator<<(std::ostream &stream, const Bytes &bytes);

} // namespace test_support
