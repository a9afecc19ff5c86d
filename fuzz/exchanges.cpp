// Requests to a service that answers anything, in any pieces, refuses, closes early, or speaks without being asked.
// Every request is to arrive whole and once, only the answer that came to it is taken, and nothing takes longer than it
// may.
//
// The input is a sequence of exchanges: path, type (16 bits), flag, payload length and expected length (a byte and a
// shift each, of up to 3, of up to 13 where it is written as 0xF0 to 0xFF). What the service does stands where it does
// it: a byte (modulo 8) and what it needs,
//     before the exchange  1 closes all connections, 2 sends a byte on all of them
//     when connected to    1 refuses
//     when sent to         1 closes, 2 interrupts, 3 is not ready, 4 takes so many bytes
//     when waited for      after a time (the byte divided by 8, times 0.4 s) 0 closes, 1 interrupts, 2 answers (record
//     length, how much of it goes at once), 3 the same
//                          with another type, 4 the same with a length of its choice (32 bits), 5 sends bytes,
//                          6 goes on with so many bytes, 7 with the rest
// One input in 64 has a thread of its own, which leaves no connection open; the others begin with none.

#include <cerrno>
#include <numeric>
#include <vector>

#include <domainsocket.h>
#include <pthread.h>

#include "fuzz/peer.h"
#include "fuzz/sockets.h"

namespace
{

constexpr size_t kMostExchanges = 8;
constexpr size_t kHeader = 16;

FuzzInput *script;
uint32_t type; // of the request
Bytes answer;  // what is left to be sent of it
std::vector<const Peer *> disturbed;

// Seldom a large one, which takes its time.
uint32_t take_length()
{
    uint32_t length = script->u8();
    uint8_t shift = script->u8();
    return length << (shift < 0xF0 ? shift % 4 : shift % 14);
}

// Bytes that differ from their neighbours, and from those a little further on.
Bytes make_bytes(size_t length)
{
    static const Bytes pattern = [] {
        Bytes bytes(255 << 13, 0);
        for (size_t i = 0; i < bytes.size(); i++)
            bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
        return bytes;
    }();
    return pattern.substr(0, length);
}

// --- What the service does ---

void make_answer(uint32_t answered_type, bool chooses_length)
{
    Bytes record = make_bytes(take_length());
    uint32_t length = chooses_length ? script->u32() : static_cast<uint32_t>(4 + record.size());
    answer.clear();
    for (uint32_t value : {answered_type, 0u, 0u, length, uint32_t{script->u8()}})
        append_word(answer, value);
    answer += record;
}

void send_some(Peer &peer, size_t length)
{
    size_t before = peer.sent.size();
    peer_send(peer, std::span(answer).first(std::min(length, answer.size())));
    answer.erase(0, peer.sent.size() - before);
    if (peer.sent.size() == before)
        peer_close(peer);
}

// Time passes until it acts, or the wait ends before.
int service_is_waited_for(Peer &peer, int limit)
{
    constexpr int kTick = 400; // ms
    uint8_t choice = script->u8();
    int time = choice / 8 * kTick;
    if (time > 0 && time >= limit)
        return ETIMEDOUT;
    socket_clock += time;
    uint8_t action = choice % 8;
    switch (action) {
    case 0:
        peer_close(peer);
        break;
    case 1:
        return EINTR;
    case 2:
    case 3:
    case 4:
        make_answer(type + (action == 3), action == 4);
        send_some(peer, take_length());
        break;
    case 5: {
        std::span<const uint8_t> bytes = script->short_bytes();
        answer.assign(bytes.begin(), bytes.end());
        send_some(peer, SIZE_MAX);
        break;
    }
    case 6:
        send_some(peer, take_length());
        break;
    case 7:
        send_some(peer, SIZE_MAX);
        break;
    }
    return 0;
}

int service_is_sent_to(Peer &peer, size_t &limit)
{
    switch (script->u8() % 8) {
    case 1:
        peer_close(peer);
        return 0;
    case 2:
        return EINTR;
    case 3:
        return EAGAIN;
    case 4:
        limit = std::max<size_t>(take_length(), 1);
        return 0;
    default:
        return 0;
    }
}

int service_is_connected_to(Peer &)
{
    return script->u8() % 8 == 1 ? ECONNREFUSED : 0;
}

// On the connections that there are. No request may go out on one that is closed or has something to read.
void disturb()
{
    constexpr uint8_t kByte = 1;
    uint8_t action = script->u8() % 8;
    disturbed.clear();
    for (Peer &peer : peers()) {
        if (action == 1)
            peer_close(peer);
        if (action == 2)
            peer_send(peer, {&kByte, 1});
        if (action == 1 || action == 2)
            disturbed.push_back(&peer);
    }
}

// --- What has to come of it ---

struct Exchange {
    std::string path;
    uint32_t flag;
    Bytes payload;
    uint32_t expected;
};

constexpr const char *kTooLong =
    "/a path that is longer than the name of a socket may be, as there are such long paths in"
    " file systems but not in the addresses of sockets";

// The connection on which the request arrived whole, or null. It goes out on one connection, never on a second.
const Peer *find_asked(const Bytes &request)
{
    const Peer *reached = nullptr;
    for (const Peer &peer : peers()) {
        REQUIRE(request.starts_with(peer.received));
        REQUIRE(!reached || peer.received.empty());
        if (!peer.received.empty())
            reached = &peer;
    }
    return reached && reached->received.size() == request.size() ? reached : nullptr;
}

bool is_whole_answer(const Bytes &sent)
{
    if (sent.size() < kHeader + 4 || word_at(sent, 0) != type)
        return false;
    uint32_t length = word_at(sent, 12);
    return 4 <= length && length <= SOCKET_LENGTH_LIMIT && length <= sent.size() - kHeader;
}

void check_result(const Exchange &exchange, const Bytes &sent, const uint8_t *result)
{
    size_t size = std::max<size_t>(exchange.expected, 4);
    Bytes body = sent.substr(kHeader, std::min<size_t>(word_at(sent, 12), size));
    body.resize(size, 0);
    REQUIRE(memcmp(result, body.data(), size) == 0);
}

void check(const Exchange &exchange, const uint8_t *result)
{
    Bytes request;
    for (uint32_t value : {type, exchange.flag, exchange.expected, static_cast<uint32_t>(exchange.payload.size())})
        append_word(request, value);
    request += exchange.payload;
    const Peer *asked = find_asked(request);
    bool answered = asked && is_whole_answer(asked->sent);
    REQUIRE(!result == !answered);
    for (const Peer *peer : disturbed)
        REQUIRE(peer->received.empty());
    if (result)
        check_result(exchange, asked->sent, result);
}

// No byte that was sent before the request is part of the answer.
void forget_before()
{
    answer.clear();
    for (Peer &peer : peers()) {
        peer.sent.clear();
        peer.received.clear();
    }
}

void make_exchange()
{
    constexpr const char *kPaths[] = {"/a", "/b", "/c", "/d", "/e", "/f", "", kTooLong};
    Exchange exchange = {.path = kPaths[script->choice(std::size(kPaths))], .flag = 0, .payload = {}, .expected = 0};
    type = script->u16();
    exchange.flag = script->u8();
    exchange.payload = make_bytes(take_length());
    exchange.expected = take_length();
    forget_before();
    disturb();
    ExactCopy payload(exchange.payload);
    int64_t begin = socket_clock;
    auto *result =
        static_cast<uint8_t *>(SOCKET_SendMsgByType(exchange.path.c_str(), type, exchange.flag, payload.data(),
                                                    static_cast<uint32_t>(payload.size()), exchange.expected));
    REQUIRE(socket_clock - begin <= SOCKET_TIME_LIMIT * 1000);
    check(exchange, result);
    free(result);
}

void make_exchanges()
{
    for (size_t i = 0; i < kMostExchanges && !script->empty(); i++)
        make_exchange();
}

// As many paths as a thread has connections, where nobody listens: the older connections make room.
void disconnect()
{
    peers_begin({.connected = [](Peer &) { return ECONNREFUSED; }, .waits = nullptr, .sends = nullptr});
    for (const char *path : {"/1", "/2", "/3", "/4"})
        REQUIRE(!SOCKET_SendMsgByType(path, 0, 0, nullptr, 0, 0));
}

void *run_thread(void *)
{
    make_exchanges();
    return nullptr;
}

// It takes longer than the exchanges.
void make_exchanges_in_thread()
{
    pthread_t client;
    REQUIRE(pthread_create(&client, nullptr, run_thread, nullptr) == 0);
    pthread_join(client, nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input(data, size);
    script = &input;
    peers_begin({.connected = service_is_connected_to, .waits = service_is_waited_for, .sends = service_is_sent_to});
    if (std::accumulate(data, data + size, 0u) % 64 == 0) {
        make_exchanges_in_thread();
    } else {
        make_exchanges();
        disconnect();
    }
    peers_end();
    return 0;
}
