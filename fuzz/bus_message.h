// Messages of the bus, made out of an input.
#pragma once

#include <string>

extern "C" {
#include <libubox/blobmsg.h>
}
#include <ubusmsg.h>

#include "fuzz/input.h"

// An id of a client, an object or a type, by a byte: 0 none, 255 the broker's own object, n the nth from 1024 on.
uint32_t take_id(FuzzInput &input);

// The attributes of a message.
class BusMessage
{
  public:
    BusMessage();
    // Their number (modulo 8), then each. A byte names it: below 128 modulo the number of attributes, and a value of
    // its type follows, for data a byte (modulo 5) and 0 bytes, 1 the arguments of an event's registration, 2 those of
    // an event, 3 a length, 4 the data of the event of a new object; from 128 on modulo 32, and bytes follow.
    explicit BusMessage(FuzzInput &input);
    ~BusMessage();
    BusMessage(const BusMessage &) = delete;
    BusMessage &operator=(const BusMessage &) = delete;

    blob_buf buf = {};
};

// The whole message.
Bytes frame(uint8_t type, uint16_t seq, uint32_t peer, const BusMessage &body);
