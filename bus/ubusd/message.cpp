#include "message.h"

#include <cstring>
#include <endian.h>
#include <iterator>

namespace
{

constexpr size_t kRootOffset = sizeof(ubus_msghdr); // of the word of the attribute that holds all others
constexpr uint8_t kPadding[4] = {};

constexpr blob_attr_info kAttributeTypes[] = {
    {.type = BLOB_ATTR_UNSPEC}, // UBUS_ATTR_UNSPEC
    {.type = BLOB_ATTR_INT32},  // UBUS_ATTR_STATUS
    {.type = BLOB_ATTR_STRING}, // UBUS_ATTR_OBJPATH
    {.type = BLOB_ATTR_INT32},  // UBUS_ATTR_OBJID
    {.type = BLOB_ATTR_STRING}, // UBUS_ATTR_METHOD
    {.type = BLOB_ATTR_INT32},  // UBUS_ATTR_OBJTYPE
    {.type = BLOB_ATTR_NESTED}, // UBUS_ATTR_SIGNATURE
    {.type = BLOB_ATTR_NESTED}, // UBUS_ATTR_DATA
    {.type = BLOB_ATTR_INT32},  // UBUS_ATTR_TARGET
    {.type = BLOB_ATTR_INT8},   // UBUS_ATTR_ACTIVE
    {.type = BLOB_ATTR_INT8},   // UBUS_ATTR_NO_REPLY
    {.type = BLOB_ATTR_NESTED}, // UBUS_ATTR_SUBSCRIBERS
    {.type = BLOB_ATTR_STRING}, // UBUS_ATTR_USER
    {.type = BLOB_ATTR_STRING}, // UBUS_ATTR_GROUP
};
static_assert(std::size(kAttributeTypes) == UBUS_ATTR_MAX);

uint32_t load_be32(const uint8_t *bytes)
{
    uint32_t value;
    memcpy(&value, bytes, sizeof(value));
    return be32toh(value);
}

void store_be32(uint8_t *bytes, uint32_t value)
{
    value = htobe32(value);
    memcpy(bytes, &value, sizeof(value));
}

} // namespace

size_t message_length(std::span<const uint8_t> bytes)
{
    if (bytes.size() < kHeaderSize)
        return 0;
    size_t length = load_be32(bytes.data() + kRootOffset) & BLOB_ATTR_LEN_MASK;
    if (length < sizeof(blob_attr) || length > UBUS_MAX_MSGLEN)
        return kMalformed;
    return sizeof(ubus_msghdr) + length;
}

void request_parse(Request &request, std::span<uint8_t> bytes)
{
    ubus_msghdr header;
    memcpy(&header, bytes.data(), sizeof(header));
    request.type = header.type;
    request.seq = be16toh(header.seq);
    request.peer = be32toh(header.peer);
    request.payload = bytes.subspan(kHeaderSize);
    blob_parse_untrusted(reinterpret_cast<blob_attr *>(bytes.data() + kRootOffset), bytes.size() - kRootOffset,
                         request.attributes, kAttributeTypes, UBUS_ATTR_MAX);
}

Message::Message(ubus_msg_type type, uint16_t seq, uint32_t peer) : own_used_(kHeaderSize), length_(kHeaderSize)
{
    ubus_msghdr own = {.version = 0, .type = static_cast<uint8_t>(type), .seq = htobe16(seq), .peer = htobe32(peer)};
    memcpy(own_, &own, sizeof(own));
    store_be32(own_ + kRootOffset, sizeof(blob_attr));
    pieces_[0] = {own_, kHeaderSize};
}

void Message::put_u8(uint32_t id, uint8_t value)
{
    const uint8_t padded[4] = {value};
    add_word(id, sizeof(value));
    add_own(padded, sizeof(padded));
}

void Message::put_u32(uint32_t id, uint32_t value)
{
    value = htobe32(value);
    add_word(id, sizeof(value));
    add_own(&value, sizeof(value));
}

void Message::put_text(uint32_t id, const char *text)
{
    put(id, text, strlen(text) + 1);
}

void Message::put(uint32_t id, const void *data, size_t length)
{
    add_word(id, length);
    add_foreign(data, length);
    add_own(kPadding, -length % sizeof(kPadding));
}

void Message::put_copy(const Request &request, ubus_msg_attr id)
{
    if (request.has(id))
        put(id, blob_data(request.attributes[id]), blob_len(request.attributes[id]));
}

void Message::put_payload(const Request &request)
{
    // An attribute and its padding are whole words; bytes behind the last one belong to none.
    add_foreign(request.payload.data(), request.payload.size() & ~size_t{3});
}

void Message::put_content(uint32_t id, const Message &other)
{
    add_word(id, other.length_ - kHeaderSize);
    for (iovec piece : other.pieces()) {
        size_t skipped = piece.iov_base == other.own_ ? kHeaderSize : 0;
        add_foreign(static_cast<uint8_t *>(piece.iov_base) + skipped, piece.iov_len - skipped);
    }
}

ubus_msghdr Message::header() const
{
    ubus_msghdr header;
    memcpy(&header, own_, sizeof(header));
    header.seq = be16toh(header.seq);
    header.peer = be32toh(header.peer);
    return header;
}

void Message::set_first_u32(uint32_t value)
{
    store_be32(own_ + kHeaderSize + sizeof(blob_attr), value);
}

void Message::add_word(uint32_t id, size_t length)
{
    uint32_t word = htobe32(id << BLOB_ATTR_ID_SHIFT | static_cast<uint32_t>(sizeof(blob_attr) + length));
    add_own(&word, sizeof(word));
}

// Lengthens the last piece where that one is the message's own too.
void Message::add_own(const void *data, size_t length)
{
    uint8_t *place = own_ + own_used_;
    memcpy(place, data, length);
    own_used_ += length;
    iovec &last = pieces_[count_ - 1];
    if (static_cast<uint8_t *>(last.iov_base) + last.iov_len == place) {
        last.iov_len += length;
        lengthen(length);
    } else {
        add_foreign(place, length);
    }
}

void Message::add_foreign(const void *data, size_t length)
{
    if (length != 0) {
        pieces_[count_++] = {const_cast<void *>(data), length};
        lengthen(length);
    }
}

void Message::lengthen(size_t length)
{
    length_ += length;
    store_be32(own_ + kRootOffset, static_cast<uint32_t>(length_ - kRootOffset));
}
