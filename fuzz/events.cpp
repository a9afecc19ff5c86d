// Batches of the event socket, split, stored and sent as notifications. Which events are sent is compared with what a
// reading of the batch by hand says.
//
// The input is a sequence of steps, each a byte (what to do, modulo 8) and what it needs:
//     0        a batch of these bytes (16-bit length)
//     1, 2, 3  a batch of messages: their number, then each type (below 128 a known one), record, what fills it up
//     4        the same bytes as 0, through a socket
//     5        everything is sent, but what the bus refuses (a bit for each)
//     6        an access point's entry: band, index
//     7        log lines on or off

#include <map>
#include <string>

#include <sys/socket.h>
#include <unistd.h>

#include "core/entry.h"
#include "events/event_records.h"
#include "events/event_server.h"
#include "fuzz/daemon.h"

namespace
{

constexpr size_t kTextSize = 64; // of an event that is a text

// The latest record of each known type that is not sent yet.
std::map<uint32_t, Bytes> waiting;

// Bytes that a record lacks count as zero.
uint32_t word(std::basic_string_view<uint8_t> bytes, size_t offset)
{
    Bytes padded(bytes.substr(std::min(offset, bytes.size())));
    padded.resize(4, 0);
    return word_at(padded, 0);
}

bool is_known(uint32_t type)
{
    return std::any_of(
        std::begin(kEvents), std::end(kEvents), [type](const EventKind &event) { return event.type == type; });
}

// Up to the first message that claims more than there is.
void expect(std::basic_string_view<uint8_t> batch)
{
    while (batch.size() >= 16 && word(batch, 12) <= batch.size() - 16) {
        uint32_t length = word(batch, 12);
        if (is_known(word(batch, 0)))
            waiting[word(batch, 0)] = batch.substr(16, length);
        batch.remove_prefix(16 + size_t{length});
    }
}

// Some events are about what there may not be: a third radio, an access point without an object.
bool has_object(uint32_t type, const Bytes &record)
{
    uint32_t band = word(record, 0);
    if (type == kEventChannelChange)
        return band < 2;
    if (type != kEventSsidChange)
        return true;
    const Entry *entry = band < 2 ? entry_find(&entry_lists.wifi_aps[band], word(record, 4)) : nullptr;
    return entry && entry->object.id != 0;
}

void send_all(uint32_t refused)
{
    size_t expected = 0;
    for (const auto &[type, record] : waiting)
        expected += has_object(type, record);
    waiting.clear();
    REQUIRE(daemon_drain(refused) == expected);
    REQUIRE(daemon_drain(0) == 0);
}

Bytes take_bytes(FuzzInput &input)
{
    std::span<const uint8_t> bytes = input.bytes(input.u16());
    return {bytes.begin(), bytes.end()};
}

void receive(const Bytes &batch)
{
    expect(batch);
    ExactCopy copy(batch);
    WEXOND_ServerRecvDeal(copy.data(), static_cast<uint32_t>(copy.size()));
}

void add_message(Bytes &batch, FuzzInput &input)
{
    uint8_t choice = input.u8();
    EventKind event = choice < 128 ? kEvents[choice % std::size(kEvents)] : EventKind{"", choice, 0};
    std::span<const uint8_t> start = input.short_bytes();
    Bytes record(start.begin(), start.end());
    uint8_t fill = input.u8();
    if (fill != 0)
        record.resize(std::max<size_t>(record.size(), event.size == 0 ? kTextSize : event.size), fill);
    append_word(batch, event.type);
    append_word(batch, fill);
    append_word(batch, 0);
    append_word(batch, static_cast<uint32_t>(record.size()));
    batch += record;
}

void receive_messages(FuzzInput &input)
{
    Bytes batch;
    for (size_t count = input.choice(32); count > 0; count--)
        add_message(batch, input);
    receive(batch);
}

// A client that sends its batch in one piece, or nothing, and goes.
void receive_by_socket(const Bytes &batch)
{
    int sockets[2];
    REQUIRE(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) == 0);
    REQUIRE(send(sockets[0], batch.data(), batch.size(), 0) == static_cast<ssize_t>(batch.size()));
    close(sockets[0]);
    expect(batch);
    WEXOND_ServerListen(sockets[1]);
    close(sockets[1]);
}

void step(FuzzInput &input)
{
    switch (input.u8() % 8) {
    case 0:
        return receive(take_bytes(input));
    case 4:
        return receive_by_socket(take_bytes(input));
    case 5:
        return send_all(input.u32());
    case 6: {
        uint32_t band = input.u8() % 2;
        entry_add(&entry_lists.wifi_aps[band], input.u8(), band + 1);
        return;
    }
    case 7:
        return daemon_log(input.u8() % 2);
    default:
        return receive_messages(input);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input(data, size);
    daemon_begin();
    while (!input.empty())
        step(input);
    send_all(0);
    daemon_end();
    return 0;
}
