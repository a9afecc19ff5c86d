#include "shares.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "ids.h"

namespace
{

struct Portion {
    uint32_t sender;
    uint32_t length;
};

struct Sender {
    Id id;
    size_t bytes;
};

Sender *find_sender(const Shares &shares, uint32_t id)
{
    Id *found = ids_find(shares.senders, id);
    return !found ? nullptr : container_of(found, Sender, id);
}

Sender *find_or_add_sender(Shares &shares, uint32_t id)
{
    if (Sender *sender = find_sender(shares, id))
        return sender;
    auto *sender = static_cast<Sender *>(calloc(1, sizeof(Sender)));
    if (sender)
        ids_file(shares.senders, sender->id, id);
    return sender;
}

void release_if_empty(Shares &shares, Sender *sender)
{
    if (sender->bytes == 0) {
        avl_delete(&shares.senders, &sender->id.node);
        free(sender);
    }
}

int append_portion(Shares &shares, uint32_t sender, size_t length)
{
    Portion portion = {.sender = sender, .length = static_cast<uint32_t>(length)};
    iovec piece = {&portion, sizeof(portion)};
    return output_append(shares.portions, {&piece, 1}, 0);
}

// The portions have to end where the queue ends: without memory for the last one, none is known any more.
void forget(Shares &shares)
{
    while (shares.senders.count != 0) {
        Sender *sender = container_of(shares.senders.list_head.next, Sender, id.node.list);
        sender->bytes = 0;
        release_if_empty(shares, sender);
    }
    output_free(shares.portions);
    shares.counted = 0;
}

// Takes `wanted` bytes, or what there is of the first portion; the result is how many.
size_t take_first(Shares &shares, size_t wanted)
{
    Portion portion;
    uint8_t *place = shares.portions.data + shares.portions.begin;
    memcpy(&portion, place, sizeof(portion));
    size_t length = std::min<size_t>(wanted, portion.length);
    Sender *sender = find_sender(shares, portion.sender);
    sender->bytes -= length;
    release_if_empty(shares, sender);
    portion.length -= static_cast<uint32_t>(length);
    if (portion.length == 0)
        output_drop(shares.portions, sizeof(portion));
    else
        memcpy(place, &portion, sizeof(portion));
    return length;
}

} // namespace

void shares_init(Shares &shares)
{
    shares = {};
    ids_init(shares.senders);
}

void shares_add(Shares &shares, uint32_t sender_id, size_t length)
{
    Sender *sender = find_or_add_sender(shares, sender_id);
    if (!sender)
        return forget(shares);
    sender->bytes += length;
    shares.counted += length;
    if (append_portion(shares, sender_id, length) != 0)
        forget(shares);
}

size_t shares_of(const Shares &shares, uint32_t sender_id)
{
    const Sender *sender = find_sender(shares, sender_id);
    return !sender ? 0 : sender->bytes;
}

void shares_shrink(Shares &shares, size_t remaining)
{
    while (shares.counted > remaining)
        shares.counted -= take_first(shares, shares.counted - remaining);
}
