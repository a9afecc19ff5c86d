// Messages of the bus: requests as they were received, and messages on their way out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <sys/uio.h>
#include <ubusmsg.h>

#include "ubox.h"

inline constexpr size_t kHeaderSize = sizeof(ubus_msghdr) + sizeof(blob_attr);
inline constexpr size_t kMaxMessage = sizeof(ubus_msghdr) + UBUS_MAX_MSGLEN;
inline constexpr size_t kMalformed = SIZE_MAX;

// Length of the message at the front of `bytes`, its header included: 0 while it is not known yet, kMalformed where it
// is out of bounds. The message itself may not have arrived whole.
size_t message_length(std::span<const uint8_t> bytes);

// One whole received message. Numbers are in host order; `attributes` is indexed by UBUS_ATTR_*, null where one is
// absent or of the wrong type, and points into the received bytes.
struct Request {
    uint8_t type;
    uint16_t seq;
    uint32_t peer;
    int descriptor;                   // that was passed along, or -1
    std::span<const uint8_t> payload; // all attributes, as they came
    blob_attr *attributes[UBUS_ATTR_MAX];

    bool has(ubus_msg_attr id) const { return attributes[id]; }
    uint32_t number(ubus_msg_attr id) const { return blob_get_u32(attributes[id]); }
    const char *text(ubus_msg_attr id) const { return has(id) ? blob_get_string(attributes[id]) : nullptr; }
    bool flag(ubus_msg_attr id) const { return has(id) && blob_get_u8(attributes[id]) != 0; }
};

inline std::span<const uint8_t> payload_of(const blob_attr *attribute)
{
    return {static_cast<const uint8_t *>(blob_data(attribute)), blob_len(attribute)};
}

// `bytes` is one whole message, of the length that message_length() told. Leaves `descriptor` as it is.
void request_parse(Request &request, std::span<uint8_t> bytes);

// A message on its way out, as the pieces it is gathered from. Headers, numbers and padding stand in the message
// itself; texts and payloads stay where they are and must outlive it. One of up to seven attributes fits.
class Message
{
  public:
    Message(ubus_msg_type type, uint16_t seq, uint32_t peer);
    Message(const Message &) = delete;
    Message &operator=(const Message &) = delete;

    void put_u8(uint32_t id, uint8_t value);
    void put_u32(uint32_t id, uint32_t value);
    void put_text(uint32_t id, const char *text);
    void put(uint32_t id, const void *data, size_t length);
    void put_copy(const Request &request, ubus_msg_attr id); // nothing where the request lacks it
    void put_payload(const Request &request);                // all attributes of the request, as they came

    void put_content(uint32_t id, const Message &other); // all attributes of another message

    // The descriptor goes along; it stays the caller's.
    void pass(int descriptor) { descriptor_ = descriptor; }

    // Changes the value of the first attribute, which must be a put_u32(): one message goes to many objects.
    void set_first_u32(uint32_t value);

    ubus_msghdr header() const; // in host order
    size_t length() const { return length_; }
    bool fits() const { return length_ <= kMaxMessage; }
    std::span<const iovec> pieces() const { return {pieces_, count_}; }
    int descriptor() const { return descriptor_; }

  private:
    void add_word(uint32_t id, size_t length);
    void add_own(const void *data, size_t length);
    void add_foreign(const void *data, size_t length);
    void lengthen(size_t length);

    static constexpr size_t kMostAttributes = 7;

    // An attribute has 8 bytes here at most: word and number, or word and padding.
    uint8_t own_[kHeaderSize + kMostAttributes * 8];
    iovec pieces_[2 + kMostAttributes * 2]; // and one to tell of all these
    size_t own_used_;
    size_t count_ = 1;
    size_t length_;
    int descriptor_ = -1;
};
