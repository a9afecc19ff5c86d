#include "fuzz/bus_message.h"

namespace
{

// Data that the broker itself reads, or any.
void put_data(blob_buf *message, FuzzInput &input)
{
    blob_buf data = {};
    blob_buf_init(&data, 0);
    switch (input.u8() % 5) {
    case 0: {
        std::span<const uint8_t> bytes = input.short_bytes();
        blob_put(message, UBUS_ATTR_DATA, bytes.data(), static_cast<unsigned>(bytes.size()));
        break;
    }
    case 1:
        blobmsg_add_u32(&data, "object", take_id(input));
        blobmsg_add_string(&data, "pattern", input.text().c_str());
        break;
    case 2:
        blobmsg_add_string(&data, "id", input.text().c_str());
        blobmsg_close_table(&data, blobmsg_open_table(&data, "data"));
        break;
    case 3: {
        Bytes filler(input.u8() * 256, 'x');
        blob_put(message, UBUS_ATTR_DATA, filler.data(), static_cast<unsigned>(filler.size()));
        break;
    }
    case 4:
        blobmsg_add_u32(&data, "id", take_id(input));
        blobmsg_add_string(&data, "path", input.text().c_str());
        break;
    }
    if (blob_len(data.head) > 0)
        blob_put(message, UBUS_ATTR_DATA, blob_data(data.head), static_cast<unsigned>(blob_len(data.head)));
    blob_buf_free(&data);
}

// A value of the attribute's type; from 128 on, of any: bytes.
void add_attribute(blob_buf *message, FuzzInput &input)
{
    uint8_t choice = input.u8();
    int id = choice % UBUS_ATTR_MAX;
    if (choice >= 128) {
        std::span<const uint8_t> bytes = input.short_bytes();
        blob_put(message, choice % 32, bytes.data(), static_cast<unsigned>(bytes.size()));
        return;
    }
    switch (id) {
    case UBUS_ATTR_OBJID:
    case UBUS_ATTR_OBJTYPE:
    case UBUS_ATTR_TARGET:
        blob_put_u32(message, id, take_id(input));
        break;
    case UBUS_ATTR_STATUS:
        blob_put_u32(message, id, input.u8());
        break;
    case UBUS_ATTR_ACTIVE:
    case UBUS_ATTR_NO_REPLY:
        blob_put_u8(message, id, input.u8());
        break;
    case UBUS_ATTR_DATA:
        put_data(message, input);
        break;
    case UBUS_ATTR_SIGNATURE:
    case UBUS_ATTR_SUBSCRIBERS: {
        std::span<const uint8_t> bytes = input.short_bytes();
        blob_put(message, id, bytes.data(), static_cast<unsigned>(bytes.size()));
        break;
    }
    default:
        blob_put_string(message, id, input.text().c_str());
    }
}

} // namespace

uint32_t take_id(FuzzInput &input)
{
    uint8_t choice = input.u8();
    if (choice == 255)
        return UBUS_SYSTEM_OBJECT_EVENT;
    return choice == 0 ? 0 : UBUS_SYSTEM_OBJECT_MAX + choice - 1;
}

BusMessage::BusMessage()
{
    REQUIRE(blob_buf_init(&buf, 0) == 0);
}

BusMessage::BusMessage(FuzzInput &input) : BusMessage()
{
    for (size_t count = input.choice(8); count > 0; count--)
        add_attribute(&buf, input);
}

BusMessage::~BusMessage()
{
    blob_buf_free(&buf);
}

Bytes frame(uint8_t type, uint16_t seq, uint32_t peer, const BusMessage &body)
{
    ubus_msghdr header = {.version = 0, .type = type, .seq = cpu_to_be16(seq), .peer = cpu_to_be32(peer)};
    Bytes bytes(reinterpret_cast<uint8_t *>(&header), sizeof(header));
    bytes.append(reinterpret_cast<const uint8_t *>(body.buf.head), blob_raw_len(body.buf.head));
    return bytes;
}
