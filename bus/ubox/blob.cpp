#include "blob_private.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace
{

constexpr size_t kMaxLength = BLOB_ATTR_LEN_MASK; // of the outermost container, and so of everything in it
constexpr size_t kGrowStep = 256;

size_t padded(size_t length)
{
    return (length + BLOB_ATTR_ALIGN - 1) & ~size_t{BLOB_ATTR_ALIGN - 1};
}

blob_attr *attr_at(const blob_buf *buf, size_t offset)
{
    return reinterpret_cast<blob_attr *>(static_cast<char *>(buf->buf) + offset);
}

size_t offset_of(const blob_buf *buf, const blob_attr *attr)
{
    return static_cast<size_t>(reinterpret_cast<const char *>(attr) - static_cast<const char *>(buf->buf));
}

void set_raw_len(blob_attr *attr, size_t length)
{
    uint32_t tag = be32_to_cpu(attr->id_len) & ~BLOB_ATTR_LEN_MASK;
    attr->id_len = cpu_to_be32(tag | static_cast<uint32_t>(length));
}

// At least doubles, so that a long list of values costs few copies.
bool grow_by_realloc(blob_buf *buf, int minlen)
{
    auto length = static_cast<size_t>(buf->buflen);
    size_t wanted = length + std::max(length, static_cast<size_t>(minlen));
    wanted = std::min((wanted + kGrowStep - 1) / kGrowStep * kGrowStep, kMaxLength + 1);
    void *memory = realloc(buf->buf, wanted);
    if (!memory)
        return false;
    buf->buf = memory;
    buf->buflen = static_cast<int>(wanted);
    return true;
}

// Makes the buffer hold `length` bytes, which it does not yet; the head moves with it.
bool grow_to(blob_buf *buf, size_t length)
{
    auto have = static_cast<size_t>(buf->buflen);
    size_t head = buf->head ? offset_of(buf, buf->head) : 0;
    if (!buf->grow(buf, static_cast<int>(length - have)))
        return false;
    if (buf->head)
        buf->head = attr_at(buf, head);
    return length <= static_cast<size_t>(buf->buflen);
}

bool reserve(blob_buf *buf, size_t length)
{
    return length <= static_cast<size_t>(buf->buflen) || grow_to(buf, length);
}

// Writes an attribute's header at `offset`; no container counts it yet, and its padding is left to the caller.
[[gnu::always_inline]] inline blob_attr *place(blob_buf *buf, size_t offset, int id, size_t payload)
{
    size_t length = sizeof(blob_attr) + payload;
    size_t end = offset + padded(length);
    if (payload > kMaxLength || end > kMaxLength || !reserve(buf, end))
        return nullptr;
    blob_attr *attr = attr_at(buf, offset);
    uint32_t tag = (static_cast<uint32_t>(id) << BLOB_ATTR_ID_SHIFT) & BLOB_ATTR_ID_MASK;
    attr->id_len = cpu_to_be32(tag | static_cast<uint32_t>(length));
    return attr;
}

size_t end_of_head(const blob_buf *buf)
{
    return offset_of(buf, buf->head) + blob_pad_len(buf->head);
}

// Before a payload is written, its last word: what it leaves of that is padding.
void clear_last_word(char *payload, size_t length)
{
    if (size_t over = length % BLOB_ATTR_ALIGN)
        memset(payload + length - over, 0, BLOB_ATTR_ALIGN);
}

bool is_expected(const blob_attr_info &info, blob_attr *attr)
{
    auto length = static_cast<unsigned>(blob_len(attr));
    return blob_check_type(attr->data, length, static_cast<int>(info.type)) &&
           (info.minlen == 0 || info.minlen <= length) && (info.maxlen == 0 || length <= info.maxlen) &&
           (!info.validate || info.validate(&info, attr));
}

} // namespace

int blob_buf_init(blob_buf *buf, int id)
{
    if (!buf->grow)
        buf->grow = grow_by_realloc;
    buf->head = nullptr;
    buf->head = place(buf, 0, id, 0);
    return buf->head ? 0 : -1;
}

void blob_buf_free(blob_buf *buf)
{
    free(buf->buf);
    *buf = {};
}

blob_attr *blob_append(blob_buf *buf, int id, size_t payload)
{
    if (!buf->head)
        return nullptr;
    size_t length = blob_pad_len(buf->head);
    blob_attr *attr = place(buf, offset_of(buf, buf->head) + length, id, payload);
    if (!attr)
        return nullptr;
    clear_last_word(attr->data, payload);
    set_raw_len(buf->head, length + sizeof(blob_attr) + padded(payload));
    return attr;
}

blob_attr *blob_new(blob_buf *buf, int id, int payload)
{
    return blob_append(buf, id, static_cast<size_t>(payload)); // a negative one is beyond every limit
}

blob_attr *blob_put(blob_buf *buf, int id, const void *ptr, unsigned len)
{
    blob_attr *attr = blob_append(buf, id, len);
    if (attr && len != 0)
        memcpy(attr->data, ptr, len);
    return attr;
}

// A cookie is the parent's offset plus one: the buffer moves, and the outermost container is at 0. Until the nested
// container is ended its parent does not count it, so what stands in the buffer is well-formed all the time.
void *blob_nest_start_after(blob_buf *buf, int id, size_t payload)
{
    if (!buf->head)
        return nullptr;
    blob_attr *nested = place(buf, end_of_head(buf), id, payload);
    if (!nested)
        return nullptr;
    uintptr_t parent = offset_of(buf, buf->head);
    buf->head = nested;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a cookie that is never followed
    return reinterpret_cast<void *>(parent + 1);
}

void *blob_nest_start(blob_buf *buf, int id)
{
    return blob_nest_start_after(buf, id, 0);
}

void blob_nest_end(blob_buf *buf, void *cookie)
{
    if (!cookie || !buf->head)
        return;
    size_t parent = reinterpret_cast<uintptr_t>(cookie) - 1;
    if (offset_of(buf, buf->head) <= parent)
        return;
    size_t end = end_of_head(buf);
    buf->head = attr_at(buf, parent);
    set_raw_len(buf->head, end - parent);
}

blob_attr *blob_place(blob_buf *buf, int id, size_t payload)
{
    return buf->head ? place(buf, end_of_head(buf), id, payload) : nullptr;
}

blob_attr *blob_resize_placed(blob_buf *buf, size_t payload)
{
    const blob_attr *placed = attr_at(buf, end_of_head(buf));
    uint32_t tag = placed->id_len & cpu_to_be32(~BLOB_ATTR_LEN_MASK);
    blob_attr *attr = blob_place(buf, 0, payload);
    if (attr)
        attr->id_len |= tag;
    return attr;
}

void blob_add_placed(blob_buf *buf)
{
    const blob_attr *placed = attr_at(buf, end_of_head(buf));
    set_raw_len(buf->head, blob_pad_len(buf->head) + blob_pad_len(placed));
}

blob_attr *blob_put_raw(blob_buf *buf, const void *ptr, unsigned len)
{
    if (!ptr || len < sizeof(blob_attr))
        return nullptr;
    blob_attr *attr = blob_append(buf, 0, len - sizeof(blob_attr));
    if (attr)
        memcpy(attr, ptr, len);
    return attr;
}

bool blob_buf_grow(blob_buf *buf, int required)
{
    auto have = static_cast<size_t>(buf->buflen);
    return required >= 0 && have + static_cast<size_t>(required) <= kMaxLength + 1 &&
           reserve(buf, have + static_cast<size_t>(required));
}

void blob_set_raw_len(blob_attr *attr, unsigned len)
{
    set_raw_len(attr, len & BLOB_ATTR_LEN_MASK);
}

void blob_fill_pad(blob_attr *attr)
{
    size_t length = blob_raw_len(attr);
    memset(reinterpret_cast<char *>(attr) + length, 0, padded(length) - length);
}

bool blob_attr_equal(const blob_attr *a1, const blob_attr *a2)
{
    if (!a1 || !a2)
        return a1 == a2;
    return blob_raw_len(a1) == blob_raw_len(a2) && memcmp(a1, a2, blob_raw_len(a1)) == 0;
}

bool blob_check_type(const void *ptr, unsigned len, int type)
{
    switch (type) {
    case BLOB_ATTR_UNSPEC:
    case BLOB_ATTR_NESTED:
    case BLOB_ATTR_BINARY:
        return true;
    case BLOB_ATTR_STRING:
        return len != 0 && static_cast<const char *>(ptr)[len - 1] == '\0';
    case BLOB_ATTR_INT8:
        return len == sizeof(uint8_t);
    case BLOB_ATTR_INT16:
        return len == sizeof(uint16_t);
    case BLOB_ATTR_INT32:
        return len == sizeof(uint32_t);
    case BLOB_ATTR_INT64:
    case BLOB_ATTR_DOUBLE:
        return len == sizeof(uint64_t);
    default:
        return false;
    }
}

int blob_parse(blob_attr *attr, blob_attr **data, const blob_attr_info *info, int max)
{
    int found = 0;
    blob_attr *pos;
    size_t rem;

    std::fill_n(data, max, nullptr);
    blob_for_each_attr (pos, attr, rem) {
        auto id = static_cast<int>(blob_id(pos));
        if (max <= id || (info && !is_expected(info[id], pos)))
            continue;
        found += !data[id];
        data[id] = pos;
    }
    return found;
}

int blob_parse_untrusted(blob_attr *attr, size_t attr_len, blob_attr **data, const blob_attr_info *info, int max)
{
    bool whole = attr && sizeof(blob_attr) <= attr_len && blob_raw_len(attr) <= attr_len;
    return blob_parse(whole ? attr : nullptr, data, info, max);
}

blob_attr *blob_memdup(blob_attr *attr)
{
    auto *copy = static_cast<blob_attr *>(calloc(1, std::max(blob_pad_len(attr), sizeof(blob_attr))));
    if (copy)
        memcpy(copy, attr, blob_raw_len(attr));
    return copy;
}
