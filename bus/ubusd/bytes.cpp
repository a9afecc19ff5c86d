#include "bytes.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "message.h"

namespace
{

constexpr size_t kSmallest = 256;

// Bytes the message at the front of the input still lacks, or lacks until its length is known.
size_t missing(const Input &input)
{
    size_t length = input.size < kHeaderSize ? kHeaderSize : message_length({input.data, input.size});
    return length == kMalformed || length <= input.size ? 0 : length - input.size;
}

int input_grow(Input &input, size_t capacity)
{
    auto *data = static_cast<uint8_t *>(realloc(input.data, capacity));
    if (!data)
        return -1;
    input.data = data;
    input.capacity = capacity;
    return 0;
}

size_t total(std::span<const iovec> pieces)
{
    size_t length = 0;
    for (const iovec &piece : pieces)
        length += piece.iov_len;
    return length;
}

// Makes room for `length` more bytes at the end. Moving what waits to the front costs little on the whole: a socket
// that took none is only reported again when it takes much.
int output_reserve(Output &output, size_t length)
{
    size_t size = output.size();
    if (length <= output.capacity - output.end)
        return 0;
    if (size + length <= output.capacity) {
        memmove(output.data, output.data + output.begin, size);
    } else {
        size_t capacity = std::max({kSmallest, 2 * output.capacity, size + length});
        auto *data = static_cast<uint8_t *>(malloc(capacity));
        if (!data)
            return -1;
        if (size != 0)
            memcpy(data, output.data + output.begin, size);
        free(output.data);
        output.data = data;
        output.capacity = capacity;
    }
    output.begin = 0;
    output.end = size;
    return 0;
}

} // namespace

int input_append(Input &input, std::span<const uint8_t> bytes)
{
    size_t needed = input.size + bytes.size();
    if (needed > input.capacity && input_grow(input, std::max({kSmallest, 2 * input.capacity, needed})) != 0)
        return -1;
    memcpy(input.data + input.size, bytes.data(), bytes.size());
    input.size = needed;
    return 0;
}

int input_complete(Input &input, std::span<uint8_t> &bytes)
{
    while (!bytes.empty() && missing(input) != 0) {
        size_t count = std::min(missing(input), bytes.size());
        if (input_append(input, bytes.first(count)) != 0)
            return -1;
        bytes = bytes.subspan(count);
    }
    return 0;
}

iovec input_room(Input &input)
{
    if (input.size < kHeaderSize)
        return {nullptr, 0};
    size_t wanted = missing(input);
    if (input.size == input.capacity)
        input_grow(input, std::min(2 * input.capacity, input.size + wanted));
    return {input.data + input.size, std::min(input.capacity - input.size, wanted)};
}

void input_keep(Input &input, std::span<const uint8_t> rest)
{
    if (rest.empty()) {
        input_free(input);
    } else if (rest.data() != input.data) {
        memmove(input.data, rest.data(), rest.size());
        input.size = rest.size();
    }
}

void input_free(Input &input)
{
    free(input.data);
    input = {};
}

int output_append(Output &output, std::span<const iovec> pieces, size_t skip)
{
    if (output_reserve(output, total(pieces) - skip) != 0)
        return -1;
    for (const iovec &piece : pieces) {
        size_t skipped = std::min(skip, piece.iov_len);
        skip -= skipped;
        memcpy(output.data + output.end, static_cast<uint8_t *>(piece.iov_base) + skipped, piece.iov_len - skipped);
        output.end += piece.iov_len - skipped;
    }
    return 0;
}

void output_drop(Output &output, size_t count)
{
    output.begin += count;
    if (output.begin == output.end)
        output_free(output);
}

void output_free(Output &output)
{
    free(output.data);
    output = {};
}
