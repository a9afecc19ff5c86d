/*
 * Blobmsg: named, typed values as blob attributes. The attribute's id is the value's type, and the attribute is
 * extended: its payload begins with a header of the name's length (16 bits, big-endian, NUL not counted), the name and
 * its NUL, padded with zeros to a multiple of 4. The value follows. An array's elements have an empty name.
 *
 * The accessors trust the attribute; what comes from outside goes through blobmsg_parse or blobmsg_check_attr first.
 */
#ifndef LIBUBOX_BLOBMSG_H
#define LIBUBOX_BLOBMSG_H

#include <stdarg.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "blob.h"

enum blobmsg_type {
    BLOBMSG_TYPE_UNSPEC, /* null of JSON; in a policy: any type */
    BLOBMSG_TYPE_ARRAY,
    BLOBMSG_TYPE_TABLE,
    BLOBMSG_TYPE_STRING,
    BLOBMSG_TYPE_INT64,
    BLOBMSG_TYPE_INT32,
    BLOBMSG_TYPE_INT16,
    BLOBMSG_TYPE_INT8,
    BLOBMSG_TYPE_DOUBLE,
    BLOBMSG_TYPE_LAST = BLOBMSG_TYPE_DOUBLE,
    BLOBMSG_TYPE_BOOL = BLOBMSG_TYPE_INT8,
    BLOBMSG_CAST_INT64 = BLOBMSG_TYPE_LAST + 1 /* of a policy only: an integer of any width, read by blobmsg_cast_* */
};

struct blobmsg_hdr {
    uint16_t namelen;
    uint8_t name[];
} __attribute__((packed));

struct blobmsg_policy {
    const char *name;
    enum blobmsg_type type;
};

/* Length of the header, padding included, for a name of `namelen` bytes. */
static inline size_t blobmsg_hdrlen(size_t namelen)
{
    return (sizeof(struct blobmsg_hdr) + namelen + 1 + BLOB_ATTR_ALIGN - 1) & ~(size_t)(BLOB_ATTR_ALIGN - 1);
}

static inline uint16_t blobmsg_namelen(const struct blobmsg_hdr *hdr)
{
    return be16_to_cpu(hdr->namelen);
}

static inline const char *blobmsg_name(const struct blob_attr *attr)
{
    return (const char *)((const struct blobmsg_hdr *)blob_data(attr))->name;
}

static inline int blobmsg_type(const struct blob_attr *attr)
{
    return (int)blob_id(attr);
}

/* Bytes of the payload before the value. An attribute that is not extended is all value, as a whole message is. */
static inline size_t blobmsg_value_offset(const struct blob_attr *attr)
{
    return blob_is_extended(attr) ? blobmsg_hdrlen(blobmsg_namelen((const struct blobmsg_hdr *)blob_data(attr))) : 0;
}

/* The value, and its length; null and 0 for a null attribute. */
static inline void *blobmsg_data(const struct blob_attr *attr)
{
    return attr ? (char *)blob_data(attr) + blobmsg_value_offset(attr) : NULL;
}

static inline size_t blobmsg_data_len(const struct blob_attr *attr)
{
    size_t offset;

    if (!attr)
        return 0;
    offset = blobmsg_value_offset(attr);
    return offset <= blob_len(attr) ? blob_len(attr) - offset : 0;
}

#define blobmsg_len blobmsg_data_len

/*
 * Whether the attribute is a well-formed value: extended, of a known type, with a header that fits and a name that is
 * terminated (and, where `name`, not empty), its value one of its type. The contents of tables and arrays are not
 * looked into. The second form also checks that the attribute stands in `len` bytes.
 */
bool blobmsg_check_attr(const struct blob_attr *attr, bool name);
bool blobmsg_check_attr_len(const struct blob_attr *attr, bool name, size_t len);

/*
 * Fills tb[0..policy_len) from the `len` bytes of attributes at `data`: each goes to the first entry of its name and
 * type whose place is still empty, the others stay null. Values of another type, and second values of one name, are
 * passed over. 0, also where the last attribute claims more bytes than there are; negative where there are no bytes or
 * an attribute is malformed (what came before it is in the table).
 */
int blobmsg_parse(const struct blobmsg_policy *policy, int policy_len, struct blob_attr **tb, void *data,
                  unsigned int len);

/* The content of a table, or -22 for a null one. */
int blobmsg_parse_attr(const struct blobmsg_policy *policy, int policy_len, struct blob_attr **tb,
                       struct blob_attr *data);
/* Elements by their place: each entry of the policy takes the next element of its type, others are passed over. */
int blobmsg_parse_array(const struct blobmsg_policy *policy, int policy_len, struct blob_attr **tb, void *data,
                        unsigned int len);
int blobmsg_parse_array_attr(const struct blobmsg_policy *policy, int policy_len, struct blob_attr **tb,
                             struct blob_attr *data);

/* How many elements an array or table has, all of them well-formed and of the type (BLOBMSG_TYPE_UNSPEC: any); -1 where
 * that is not so. `len` is what there is of the attribute. */
int blobmsg_check_array(const struct blob_attr *attr, int type);
int blobmsg_check_array_len(const struct blob_attr *attr, int type, size_t len);

static inline bool blobmsg_check_attr_list(const struct blob_attr *attr, int type)
{
    return blobmsg_check_array(attr, type) >= 0;
}

static inline bool blobmsg_check_attr_list_len(const struct blob_attr *attr, int type, size_t len)
{
    return blobmsg_check_array_len(attr, type, len) >= 0;
}

static inline int blobmsg_buf_init(struct blob_buf *buf)
{
    return blob_buf_init(buf, BLOBMSG_TYPE_TABLE);
}

/* 0, or -1 where memory is out, the container is full or the name is longer than 65535 bytes; then nothing is added.
 * The name may be null, as in arrays. What is added must not stand in the buffer itself. */
int blobmsg_add_field(struct blob_buf *buf, int type, const char *name, const void *data, unsigned int len);
int blobmsg_add_double(struct blob_buf *buf, const char *name, double val);

static inline int blobmsg_add_u8(struct blob_buf *buf, const char *name, uint8_t val)
{
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT8, name, &val, sizeof(val));
}

static inline int blobmsg_add_u16(struct blob_buf *buf, const char *name, uint16_t val)
{
    val = cpu_to_be16(val);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT16, name, &val, sizeof(val));
}

static inline int blobmsg_add_u32(struct blob_buf *buf, const char *name, uint32_t val)
{
    val = cpu_to_be32(val);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT32, name, &val, sizeof(val));
}

static inline int blobmsg_add_u64(struct blob_buf *buf, const char *name, uint64_t val)
{
    val = cpu_to_be64(val);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT64, name, &val, sizeof(val));
}

static inline int blobmsg_add_string(struct blob_buf *buf, const char *name, const char *string)
{
    return blobmsg_add_field(buf, BLOBMSG_TYPE_STRING, name, string, (unsigned int)strlen(string) + 1);
}

/* Adds a string as printf makes it: its length, or -1. */
int blobmsg_vprintf(struct blob_buf *buf, const char *name, const char *format, va_list arg)
    __attribute__((format(printf, 3, 0)));
int blobmsg_printf(struct blob_buf *buf, const char *name, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/* A string that is written in place: room for `maxlen` bytes and a NUL, or null; more room, which may move it; and what
 * stands there, up to its NUL, as part of the message. Nothing else may be added in between. */
void *blobmsg_alloc_string_buffer(struct blob_buf *buf, const char *name, unsigned int maxlen);
void *blobmsg_realloc_string_buffer(struct blob_buf *buf, unsigned int maxlen);
void blobmsg_add_string_buffer(struct blob_buf *buf);

/* A copy of another message's value, with its name and type. */
static inline int blobmsg_add_blob(struct blob_buf *buf, struct blob_attr *attr)
{
    return blobmsg_add_field(buf, blobmsg_type(attr), blobmsg_name(attr), blobmsg_data(attr),
                             (unsigned int)blobmsg_data_len(attr));
}

/* As blob_nest_start and blob_nest_end. */
void *blobmsg_open_nested(struct blob_buf *buf, const char *name, bool array);

static inline void *blobmsg_open_array(struct blob_buf *buf, const char *name)
{
    return blobmsg_open_nested(buf, name, true);
}

static inline void *blobmsg_open_table(struct blob_buf *buf, const char *name)
{
    return blobmsg_open_nested(buf, name, false);
}

static inline void blobmsg_close_array(struct blob_buf *buf, void *cookie)
{
    blob_nest_end(buf, cookie);
}

static inline void blobmsg_close_table(struct blob_buf *buf, void *cookie)
{
    blob_nest_end(buf, cookie);
}

/* The getters' attributes are not const, as on every router. */
static inline uint8_t blobmsg_get_u8(struct blob_attr *attr)
{
    return *(const uint8_t *)blobmsg_data(attr);
}

static inline bool blobmsg_get_bool(struct blob_attr *attr)
{
    return blobmsg_get_u8(attr) != 0;
}

static inline uint16_t blobmsg_get_u16(struct blob_attr *attr)
{
    uint16_t value;

    memcpy(&value, blobmsg_data(attr), sizeof(value));
    return be16_to_cpu(value);
}

static inline uint32_t blobmsg_get_u32(struct blob_attr *attr)
{
    uint32_t value;

    memcpy(&value, blobmsg_data(attr), sizeof(value));
    return be32_to_cpu(value);
}

static inline uint64_t blobmsg_get_u64(struct blob_attr *attr)
{
    uint64_t value;

    memcpy(&value, blobmsg_data(attr), sizeof(value));
    return be64_to_cpu(value);
}

static inline double blobmsg_get_double(struct blob_attr *attr)
{
    uint64_t bits = blobmsg_get_u64(attr);
    double value;

    memcpy(&value, &bits, sizeof(value));
    return value;
}

/* An integer of any width without or with its sign; 0 where it is none. */
static inline uint64_t blobmsg_cast_u64(struct blob_attr *attr)
{
    switch (blobmsg_type(attr)) {
    case BLOBMSG_TYPE_INT64:
        return blobmsg_get_u64(attr);
    case BLOBMSG_TYPE_INT32:
        return blobmsg_get_u32(attr);
    case BLOBMSG_TYPE_INT16:
        return blobmsg_get_u16(attr);
    case BLOBMSG_TYPE_INT8:
        return blobmsg_get_u8(attr);
    default:
        return 0;
    }
}

static inline int64_t blobmsg_cast_s64(struct blob_attr *attr)
{
    switch (blobmsg_type(attr)) {
    case BLOBMSG_TYPE_INT64:
        return (int64_t)blobmsg_get_u64(attr);
    case BLOBMSG_TYPE_INT32:
        return (int32_t)blobmsg_get_u32(attr);
    case BLOBMSG_TYPE_INT16:
        return (int16_t)blobmsg_get_u16(attr);
    case BLOBMSG_TYPE_INT8:
        return (int8_t)blobmsg_get_u8(attr);
    default:
        return 0;
    }
}

/* Null for a null attribute. */
static inline char *blobmsg_get_string(struct blob_attr *attr)
{
    return (char *)blobmsg_data(attr);
}

/* The attributes in the value of a table, an array or a message (none where it is null); `rem` is a size_t. */
#define blobmsg_for_each_attr(pos, attr, rem)                                                                          \
    for (rem = blobmsg_data_len(attr), pos = (struct blob_attr *)blobmsg_data(attr); blob_attr_fits(pos, rem);         \
         rem -= blob_pad_len(pos), pos = blob_next(pos))

#endif
