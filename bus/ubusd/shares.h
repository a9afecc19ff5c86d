// Who filled a client's queue: while the peer does not read, each sender may only fill a share of it.
//
// Only what is queued for a peer that has fallen behind is counted, in the order in which it is queued; what waits for
// the end of the turn alone is not, so that nothing is counted as long as everybody reads.
#pragma once

#include <cstddef>
#include <cstdint>

#include "bytes.h"
#include "ubox.h"

struct Shares {
    Output portions; // of struct Portion: whose bytes come one after another
    avl_tree senders;
    size_t counted; // bytes at the end of the queue
};

void shares_init(Shares &shares);

// Counts `length` bytes at the end of the queue as those of a sender, which may be 0 for the broker. Out of memory, as
// nobody's.
void shares_add(Shares &shares, uint32_t sender_id, size_t length);

// How many bytes of a sender wait.
size_t shares_of(const Shares &shares, uint32_t sender_id);

// `remaining` bytes are left in the queue.
void shares_shrink(Shares &shares, size_t remaining);
