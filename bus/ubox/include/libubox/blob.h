/*
 * Blobs: tagged binary attributes, one after another in a container that is an attribute itself.
 *
 * An attribute is a big-endian word (bit 31 extended, bits 24 to 30 id, bits 0 to 23 length with this word and without
 * padding) and its payload. It is padded with zeros to a multiple of 4; the padding counts in the container's length.
 *
 * The accessors trust the attribute; what comes from outside goes through blob_parse_untrusted first.
 */
#ifndef LIBUBOX_BLOB_H
#define LIBUBOX_BLOB_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "utils.h"

enum {
    BLOB_ATTR_UNSPEC,
    BLOB_ATTR_NESTED,
    BLOB_ATTR_BINARY,
    BLOB_ATTR_STRING,
    BLOB_ATTR_INT8,
    BLOB_ATTR_INT16,
    BLOB_ATTR_INT32,
    BLOB_ATTR_INT64,
    BLOB_ATTR_DOUBLE,
    BLOB_ATTR_LAST
};

#define BLOB_ATTR_EXTENDED 0x80000000u
#define BLOB_ATTR_ID_MASK 0x7f000000u
#define BLOB_ATTR_ID_SHIFT 24
#define BLOB_ATTR_LEN_MASK 0x00ffffffu
#define BLOB_ATTR_ALIGN 4

struct blob_attr {
    uint32_t id_len;
    char data[];
} __attribute__((packed));

/* The expectations of blob_parse for the attribute of an id: its type (BLOB_ATTR_UNSPEC: any), then, where not 0,
 * limits of its payload's length and a check of the caller's own. */
struct blob_attr_info {
    unsigned int type;
    unsigned int minlen;
    unsigned int maxlen;
    bool (*validate)(const struct blob_attr_info *info, struct blob_attr *attr);
};

/* A container under construction. All zero is a valid start, before blob_buf_init. */
struct blob_buf {
    struct blob_attr *head; /* the container being filled: the outermost, or the nested one begun last */
    bool (*grow)(struct blob_buf *buf, int minlen); /* makes room for `minlen` more bytes; null: by realloc */
    int buflen;
    void *buf;
};

static inline void *blob_data(const struct blob_attr *attr)
{
    return (void *)attr->data;
}

static inline unsigned int blob_id(const struct blob_attr *attr)
{
    return (be32_to_cpu(attr->id_len) & BLOB_ATTR_ID_MASK) >> BLOB_ATTR_ID_SHIFT;
}

static inline bool blob_is_extended(const struct blob_attr *attr)
{
    return (be32_to_cpu(attr->id_len) & BLOB_ATTR_EXTENDED) != 0;
}

/* Length with the header, without padding. */
static inline size_t blob_raw_len(const struct blob_attr *attr)
{
    return be32_to_cpu(attr->id_len) & BLOB_ATTR_LEN_MASK;
}

/* Length with the header and the padding behind it. */
static inline size_t blob_pad_len(const struct blob_attr *attr)
{
    return (blob_raw_len(attr) + BLOB_ATTR_ALIGN - 1) & ~(size_t)(BLOB_ATTR_ALIGN - 1);
}

/* Length of the payload; 0 also where the attribute claims to be shorter than its header. */
static inline size_t blob_len(const struct blob_attr *attr)
{
    size_t raw_len = blob_raw_len(attr);

    return raw_len < sizeof(struct blob_attr) ? 0 : raw_len - sizeof(struct blob_attr);
}

static inline struct blob_attr *blob_next(const struct blob_attr *attr)
{
    return (struct blob_attr *)((char *)attr + blob_pad_len(attr));
}

/* Whether a whole attribute, padding included, stands in the next `available` bytes. */
static inline bool blob_attr_fits(const struct blob_attr *attr, size_t available)
{
    return sizeof(struct blob_attr) <= available && sizeof(struct blob_attr) <= blob_raw_len(attr) &&
           blob_pad_len(attr) <= available;
}

static inline uint8_t blob_get_u8(const struct blob_attr *attr)
{
    return (uint8_t)attr->data[0];
}

static inline uint16_t blob_get_u16(const struct blob_attr *attr)
{
    uint16_t value;

    memcpy(&value, attr->data, sizeof(value));
    return be16_to_cpu(value);
}

static inline uint32_t blob_get_u32(const struct blob_attr *attr)
{
    uint32_t value;

    memcpy(&value, attr->data, sizeof(value));
    return be32_to_cpu(value);
}

static inline uint64_t blob_get_u64(const struct blob_attr *attr)
{
    uint64_t value;

    memcpy(&value, attr->data, sizeof(value));
    return be64_to_cpu(value);
}

static inline int8_t blob_get_int8(const struct blob_attr *attr)
{
    return (int8_t)blob_get_u8(attr);
}

static inline int16_t blob_get_int16(const struct blob_attr *attr)
{
    return (int16_t)blob_get_u16(attr);
}

static inline int32_t blob_get_int32(const struct blob_attr *attr)
{
    return (int32_t)blob_get_u32(attr);
}

static inline int64_t blob_get_int64(const struct blob_attr *attr)
{
    return (int64_t)blob_get_u64(attr);
}

static inline const char *blob_get_string(const struct blob_attr *attr)
{
    return attr->data;
}

/* 0, or -1 out of memory. Starts an empty container; whatever the buffer held is gone, its memory is kept. */
int blob_buf_init(struct blob_buf *buf, int id);
/* Releases the memory and leaves the buffer all zero. */
void blob_buf_free(struct blob_buf *buf);

/*
 * Append to the container being filled. The result is the new attribute, valid until the buffer grows; or null, and
 * then the buffer is as it was, where memory is out or the outermost container would pass 2^24 - 1 bytes. What is
 * appended must not stand in the buffer itself. blob_new leaves the payload for the caller to fill.
 */
struct blob_attr *blob_new(struct blob_buf *buf, int id, int payload);
struct blob_attr *blob_put(struct blob_buf *buf, int id, const void *ptr, unsigned int len);

/* Attributes that are made already, padding included. */
struct blob_attr *blob_put_raw(struct blob_buf *buf, const void *ptr, unsigned int len);
/* Room for `required` more bytes. */
bool blob_buf_grow(struct blob_buf *buf, int required);

static inline struct blob_attr *blob_put_string(struct blob_buf *buf, int id, const char *str)
{
    return blob_put(buf, id, str, (unsigned int)strlen(str) + 1);
}

static inline struct blob_attr *blob_put_u8(struct blob_buf *buf, int id, uint8_t val)
{
    return blob_put(buf, id, &val, sizeof(val));
}

static inline struct blob_attr *blob_put_u16(struct blob_buf *buf, int id, uint16_t val)
{
    val = cpu_to_be16(val);
    return blob_put(buf, id, &val, sizeof(val));
}

static inline struct blob_attr *blob_put_u32(struct blob_buf *buf, int id, uint32_t val)
{
    val = cpu_to_be32(val);
    return blob_put(buf, id, &val, sizeof(val));
}

static inline struct blob_attr *blob_put_u64(struct blob_buf *buf, int id, uint64_t val)
{
    val = cpu_to_be64(val);
    return blob_put(buf, id, &val, sizeof(val));
}

#define blob_put_int8 blob_put_u8
#define blob_put_int16 blob_put_u16
#define blob_put_int32 blob_put_u32
#define blob_put_int64 blob_put_u64

/*
 * What is appended between these two goes into a container of its own. The result of the first is the cookie for the
 * second; null where the attribute could not be appended. Ending a null cookie, or one that is ended already, does
 * nothing. A container that is never ended stays `head`, and what was around it is out of reach.
 */
void *blob_nest_start(struct blob_buf *buf, int id);
void blob_nest_end(struct blob_buf *buf, void *cookie);

/* Whether a payload is one of this type (BLOB_ATTR_*): numbers of exactly their width, texts ending in NUL. */
bool blob_check_type(const void *ptr, unsigned int len, int type);

/*
 * Fills data[0..max) with the attributes inside `attr` by id, null where one is absent; the result is how many there
 * are. An attribute that is not what `info` (which may be null) says counts as absent, of two with one id the last
 * counts, ids of `max` and above are passed over. The second form is for data from outside, of `attr_len` bytes.
 */
int blob_parse(struct blob_attr *attr, struct blob_attr **data, const struct blob_attr_info *info, int max);
int blob_parse_untrusted(struct blob_attr *attr, size_t attr_len, struct blob_attr **data,
                         const struct blob_attr_info *info, int max);

/* Sets the length with the header; zeroes the padding behind the attribute. */
void blob_set_raw_len(struct blob_attr *attr, unsigned int len);
void blob_fill_pad(struct blob_attr *attr);

/* Whether both are the same to the byte, or both null. */
bool blob_attr_equal(const struct blob_attr *a1, const struct blob_attr *a2);

/* A copy of the attribute with zeroed padding, to be freed by the caller; null out of memory. */
struct blob_attr *blob_memdup(struct blob_attr *attr);

static inline struct blob_attr *blob_first(const struct blob_attr *attr)
{
    return attr ? (struct blob_attr *)blob_data(attr) : NULL;
}

static inline size_t blob_len_or_zero(const struct blob_attr *attr)
{
    return attr ? blob_len(attr) : 0;
}

/* Goes on from `pos`, of which `rem` bytes are left, to the first attribute that does not fit in what remains. */
/* NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the name is the interface's */
#define __blob_for_each_attr(pos, attr, rem)                                                                           \
    for (; blob_attr_fits(pos, rem); rem -= blob_pad_len(pos), pos = blob_next(pos))

/* The attributes inside `attr` (none where it is null); `rem` is a size_t. */
#define blob_for_each_attr(pos, attr, rem)                                                                             \
    for (rem = blob_len_or_zero(attr), pos = blob_first(attr); blob_attr_fits(pos, rem);                               \
         rem -= blob_pad_len(pos), pos = blob_next(pos))

#endif
