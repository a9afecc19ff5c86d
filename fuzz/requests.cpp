// Requests as a service receives them, and its answers: the framing against a peer that sends anything, in any pieces.
// The results are compared with a reading of the same bytes by hand.
//
// The input: the peer's bytes (16-bit length), then steps, each a byte (what to do, modulo 4) and what it needs:
//     0, 1  receive a request: capacity (8 bits and a shift)
//     2     receive: capacity
//     3     send an answer: type, code, record, how often it is repeated
// Whenever the service waits, a byte tells how many of the peer's bytes arrive; 0 that it closes. Whenever it sends, a
// byte tells how many bytes go.

#include <cerrno>

#include <domainsocket.h>

#include "fuzz/peer.h"

namespace
{

Bytes to_send;      // by the peer, from `position` on
size_t position;    // of what is sent
size_t handed_over; // how many of the bytes sent the service has taken
int service;        // its socket
FuzzInput *script;

constexpr uint8_t kInterrupted = 255;

int peer_waits(Peer &peer, int)
{
    uint8_t count = script->u8();
    if (count == kInterrupted)
        return EINTR;
    size_t length = std::min<size_t>(count, to_send.size() - position);
    if (length == 0)
        peer_close(peer);
    peer_send(peer, std::span(to_send).subspan(position, length));
    position += length;
    return 0;
}

int peer_receives(Peer &peer, size_t &limit)
{
    switch (uint8_t count = script->u8()) {
    case 0:
        return 0;
    case kInterrupted:
        return EINTR;
    case kInterrupted - 1:
        return EAGAIN;
    case kInterrupted - 2:
        peer_close(peer);
        return 0;
    default:
        limit = count;
        return 0;
    }
}

uint32_t word(size_t offset)
{
    return word_at(peer_of(service).sent, offset);
}

size_t unread()
{
    return peer_of(service).sent.size() - handed_over;
}

// The result that is right, now that it is known which bytes arrived.
int expected_result(uint32_t capacity)
{
    if (unread() < 16)
        return unread() == 0 ? SOCKET_CLOSED : SOCKET_ERROR;
    uint32_t length = word(handed_over + 12);
    return length <= std::min<uint32_t>(capacity, SOCKET_LENGTH_LIMIT) && length <= unread() - 16 ? 0 : SOCKET_ERROR;
}

// False where the connection is of no more use.
bool receive_request(uint32_t capacity)
{
    ExactCopy payload(Bytes(capacity, 0));
    SOCKET_Request request;
    int result = SOCKET_RecvRequest(service, &request, payload.data(), capacity, 0);
    REQUIRE(result == expected_result(capacity));
    if (result != 0)
        return false;
    REQUIRE(request.type == word(handed_over) && request.flag == word(handed_over + 4));
    REQUIRE(request.expected == word(handed_over + 8) && request.length == word(handed_over + 12));
    handed_over += 16;
    REQUIRE(memcmp(payload.data(), peer_of(service).sent.data() + handed_over, request.length) == 0);
    handed_over += request.length;
    return true;
}

bool receive(uint32_t capacity)
{
    ExactCopy buffer(Bytes(capacity, 0));
    uint32_t received = 1;
    int result = SOCKET_Recv(service, buffer.data(), capacity, 0, &received);
    REQUIRE(result == 0 || received == 0);
    if (result == 0) {
        REQUIRE(0 < received && received <= capacity && received == std::min<size_t>(capacity, unread()));
        REQUIRE(memcmp(buffer.data(), peer_of(service).sent.data() + handed_over, received) == 0);
        handed_over += received;
    } else {
        REQUIRE(unread() == 0 || capacity == 0);
    }
    return result == 0;
}

// The peer gets the whole frame, or its first part before the connection ends.
bool send_answer(uint32_t type, uint32_t code, const Bytes &record)
{
    Bytes frame;
    for (uint32_t value : {type, 0u, 0u, static_cast<uint32_t>(4 + record.size()), code})
        append_word(frame, value);
    frame += record;
    Bytes before = peer_of(service).received;
    ExactCopy copy(record);
    int result = SOCKET_SendAnswer(service, type, code, copy.data(), static_cast<uint32_t>(copy.size()));
    Bytes got = peer_of(service).received.substr(before.size());
    REQUIRE(result == 0 || result == SOCKET_ERROR);
    REQUIRE(result == 0 ? got == frame : got.size() < frame.size() && frame.starts_with(got));
    return result == 0;
}

Bytes take_record(FuzzInput &input)
{
    std::span<const uint8_t> bytes = input.short_bytes();
    Bytes piece(bytes.begin(), bytes.end()), record;
    for (size_t repetitions = input.u8(); repetitions > 0; repetitions--)
        record += piece;
    return record;
}

bool step(FuzzInput &input)
{
    uint8_t action = input.u8() % 4;
    if (action == 3) {
        uint32_t type = input.u32(), code = input.u32();
        return send_answer(type, code, take_record(input));
    }
    uint32_t capacity = uint32_t{input.u8()} << input.u8() % 13;
    return action == 2 ? receive(capacity) : receive_request(capacity);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input(data, size);
    std::span<const uint8_t> bytes = input.bytes(input.u16());
    to_send.assign(bytes.begin(), bytes.end());
    position = handed_over = 0;
    script = &input;
    peers_begin({.connected = nullptr, .waits = peer_waits, .sends = peer_receives});
    service = peer_open();
    while (!input.empty() && step(input)) {
    }
    peers_end(service);
    return 0;
}
