// The libubox headers as C++ has to include them, and messages as bytes.
#pragma once

extern "C" {
#include <libubox/avl-cmp.h>
#include <libubox/avl.h>
#include <libubox/blob.h>
#include <libubox/blobmsg.h>
#include <libubox/blobmsg_json.h>
#include <libubox/list.h>
#include <libubox/uloop.h>
#include <libubox/utils.h>
#include <libubox/vlist.h>
}

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

using Bytes = std::vector<uint8_t>;

inline Bytes operator+(Bytes left, const Bytes &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// As Bytes{...}, whose commas the macros of the tests would take for their own.
template <typename... Values> Bytes octets(Values... values)
{
    return {static_cast<uint8_t>(values)...};
}

inline Bytes text(std::string_view characters)
{
    return {characters.begin(), characters.end()};
}

inline Bytes be16(uint16_t value)
{
    return {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

inline Bytes be32(uint32_t value)
{
    return be16(static_cast<uint16_t>(value >> 16)) + be16(static_cast<uint16_t>(value));
}

inline Bytes be64(uint64_t value)
{
    return be32(static_cast<uint32_t>(value >> 32)) + be32(static_cast<uint32_t>(value));
}

inline Bytes padded(Bytes bytes)
{
    bytes.resize((bytes.size() + BLOB_ATTR_ALIGN - 1) / BLOB_ATTR_ALIGN * BLOB_ATTR_ALIGN);
    return bytes;
}

// The attribute as it stands in memory, without what pads it.
inline Bytes bytes_of(const blob_attr *attr)
{
    auto *begin = reinterpret_cast<const uint8_t *>(attr);
    return {begin, begin + blob_raw_len(attr)};
}

// Bytes in memory of exactly their size, so that a sanitizer sees a read beyond them.
class Exact
{
  public:
    explicit Exact(const Bytes &bytes) : data_(std::make_unique<uint8_t[]>(bytes.size())), size_(bytes.size())
    {
        if (!bytes.empty())
            memcpy(data_.get(), bytes.data(), bytes.size());
    }
    blob_attr *attr() const { return reinterpret_cast<blob_attr *>(data_.get()); }
    size_t size() const { return size_; }

  private:
    std::unique_ptr<uint8_t[]> data_;
    size_t size_;
};

// A container of id 0 that frees itself.
class Buffer
{
  public:
    Buffer() { blob_buf_init(&buffer_, 0); }
    ~Buffer() { blob_buf_free(&buffer_); }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;
    blob_buf *operator&() { return &buffer_; }
    blob_buf *operator->() { return &buffer_; }
    Bytes bytes() const { return bytes_of(buffer_.head); }

  private:
    blob_buf buffer_ = {};
};
