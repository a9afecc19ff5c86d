// The two byte queues of a client: what it sent that is not handled yet, and what it has not taken yet. Both hold no
// memory while they are empty, which is nearly always.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <sys/uio.h>

// Received bytes from the front of a message on: one that has not arrived whole, or several that have to wait.
struct Input {
    uint8_t *data;
    size_t size;
    size_t capacity;
};

// Adds bytes at the end. 0, or -1 out of memory.
int input_append(Input &input, std::span<const uint8_t> bytes);

// Moves from the front of `bytes` what the begun message still lacks. 0, or -1 out of memory.
int input_complete(Input &input, std::span<uint8_t> &bytes);

// Room for the rest of the begun message, so that a large one is received in place; it may be smaller than that rest,
// or empty. The buffer grows with what has come, not to what the message claims to be.
iovec input_room(Input &input);

// Keeps `rest`, which is the end of the input, and drops what stands before it.
void input_keep(Input &input, std::span<const uint8_t> rest);

void input_free(Input &input);

// Bytes that wait to be sent.
struct Output {
    uint8_t *data;
    size_t begin; // of what waits
    size_t end;
    size_t capacity;

    size_t size() const { return end - begin; }
};

// Adds the bytes of the pieces, without the first `skip` of them. 0, or -1 out of memory and then nothing is added.
int output_append(Output &output, std::span<const iovec> pieces, size_t skip);

// Drops `count` bytes from the front.
void output_drop(Output &output, size_t count);

void output_free(Output &output);
