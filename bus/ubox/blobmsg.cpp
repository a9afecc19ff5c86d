#include "blob_private.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

extern "C" {
#include <libubox/blobmsg.h>
}

namespace
{

constexpr size_t kMaxNameLength = UINT16_MAX;

// The name's bytes, which may hold a NUL of their own: its length is what the header says.
std::string_view name_of(const blob_attr *attr)
{
    const auto *header = static_cast<const blobmsg_hdr *>(blob_data(attr));
    return {blobmsg_name(attr), blobmsg_namelen(header)};
}

// The header's last word is cleared before the name is written: what that leaves of it is the NUL and padding.
void write_header(blob_attr *attr, std::string_view name)
{
    char *end = attr->data + blobmsg_hdrlen(name.size());
    memset(end - BLOB_ATTR_ALIGN, 0, BLOB_ATTR_ALIGN);
    auto *header = static_cast<blobmsg_hdr *>(blob_data(attr));
    header->namelen = cpu_to_be16(static_cast<uint16_t>(name.size()));
    memcpy(header->name, name.data(), name.size());
    attr->id_len |= cpu_to_be32(BLOB_ATTR_EXTENDED);
}

std::string_view name_or_empty(const char *name)
{
    return name ? name : "";
}

// The blob type whose check a value of a blobmsg type has to pass; negative for an unknown one.
int value_check(int type)
{
    switch (type) {
    case BLOBMSG_TYPE_UNSPEC:
        return BLOB_ATTR_UNSPEC;
    case BLOBMSG_TYPE_ARRAY:
    case BLOBMSG_TYPE_TABLE:
        return BLOB_ATTR_NESTED;
    case BLOBMSG_TYPE_STRING:
        return BLOB_ATTR_STRING;
    case BLOBMSG_TYPE_INT64:
        return BLOB_ATTR_INT64;
    case BLOBMSG_TYPE_INT32:
        return BLOB_ATTR_INT32;
    case BLOBMSG_TYPE_INT16:
        return BLOB_ATTR_INT16;
    case BLOBMSG_TYPE_INT8:
        return BLOB_ATTR_INT8;
    case BLOBMSG_TYPE_DOUBLE:
        return BLOB_ATTR_DOUBLE;
    default:
        return -1;
    }
}

bool has_valid_header(const blob_attr *attr, bool name)
{
    if (!blob_is_extended(attr) || blob_len(attr) < blobmsg_hdrlen(0))
        return false;
    std::string_view text = name_of(attr);
    // NOLINTNEXTLINE(readability-simplify-subscript-expr): the NUL lies behind the view
    return blobmsg_hdrlen(text.size()) <= blob_len(attr) && text.data()[text.size()] == '\0' &&
           (!name || !text.empty());
}

bool is_integer(int type)
{
    return type == BLOBMSG_TYPE_INT64 || type == BLOBMSG_TYPE_INT32 || type == BLOBMSG_TYPE_INT16 ||
           type == BLOBMSG_TYPE_INT8;
}

bool is_wanted(int wanted, int type)
{
    return wanted == BLOBMSG_TYPE_UNSPEC || wanted == type || (wanted == BLOBMSG_CAST_INT64 && is_integer(type));
}

bool matches(const blobmsg_policy &policy, const blob_attr *attr)
{
    return policy.name && is_wanted(policy.type, blobmsg_type(attr)) && name_of(attr) == policy.name;
}

constexpr int kNoMessage = -22; // the system's number for an invalid argument, as on every router

} // namespace

bool blobmsg_check_attr_len(const blob_attr *attr, bool name, size_t len)
{
    return sizeof(blob_attr) <= len && blob_raw_len(attr) <= len && has_valid_header(attr, name) &&
           blob_check_type(blobmsg_data(attr), static_cast<unsigned>(blobmsg_data_len(attr)),
                           value_check(blobmsg_type(attr)));
}

bool blobmsg_check_attr(const blob_attr *attr, bool name)
{
    return blobmsg_check_attr_len(attr, name, blob_raw_len(attr));
}

int blobmsg_parse(const blobmsg_policy *policy, int policy_len, blob_attr **tb, void *data, unsigned len)
{
    std::fill_n(tb, policy_len, nullptr);
    if (!data || len == 0)
        return kNoMessage;
    auto *attr = static_cast<blob_attr *>(data);
    for (size_t rem = len; sizeof(blob_attr) <= rem && blob_pad_len(attr) <= rem; attr = blob_next(attr)) {
        if (!blobmsg_check_attr(attr, true))
            return -1;
        for (int i = 0; i < policy_len; i++)
            if (!tb[i] && matches(policy[i], attr))
                tb[i] = attr;
        rem -= blob_pad_len(attr);
    }
    return 0;
}

int blobmsg_parse_attr(const blobmsg_policy *policy, int policy_len, blob_attr **tb, blob_attr *data)
{
    return blobmsg_parse(policy, policy_len, tb, blobmsg_data(data), static_cast<unsigned>(blobmsg_data_len(data)));
}

int blobmsg_parse_array(const blobmsg_policy *policy, int policy_len, blob_attr **tb, void *data, unsigned len)
{
    std::fill_n(tb, policy_len, nullptr);
    auto *attr = static_cast<blob_attr *>(data);
    int place = 0;
    for (size_t rem = data ? len : 0; place < policy_len && blob_attr_fits(attr, rem); attr = blob_next(attr)) {
        if (!blobmsg_check_attr(attr, false))
            return -1;
        if (is_wanted(policy[place].type, blobmsg_type(attr)))
            tb[place++] = attr;
        rem -= blob_pad_len(attr);
    }
    return 0;
}

int blobmsg_parse_array_attr(const blobmsg_policy *policy, int policy_len, blob_attr **tb, blob_attr *data)
{
    return blobmsg_parse_array(policy, policy_len, tb, blobmsg_data(data),
                               static_cast<unsigned>(blobmsg_data_len(data)));
}

int blobmsg_check_array_len(const blob_attr *attr, int type, size_t len)
{
    if (!attr || !blobmsg_check_attr_len(attr, false, len))
        return -1;
    bool is_table = blobmsg_type(attr) == BLOBMSG_TYPE_TABLE;
    if (!is_table && blobmsg_type(attr) != BLOBMSG_TYPE_ARRAY)
        return -1;
    int count = 0;
    const blob_attr *element;
    size_t rem;
    blobmsg_for_each_attr (element, attr, rem) {
        if (!blobmsg_check_attr(element, is_table) || !is_wanted(type, blobmsg_type(element)))
            return -1;
        count++;
    }
    return rem == 0 ? count : -1;
}

int blobmsg_check_array(const blob_attr *attr, int type)
{
    return attr ? blobmsg_check_array_len(attr, type, blob_raw_len(attr)) : -1;
}

int blobmsg_add_field(blob_buf *buf, int type, const char *name, const void *data, unsigned len)
{
    std::string_view text = name_or_empty(name);
    size_t header = blobmsg_hdrlen(text.size());
    if (text.size() > kMaxNameLength || len > BLOB_ATTR_LEN_MASK)
        return -1;
    blob_attr *attr = blob_append(buf, type, header + len);
    if (!attr)
        return -1;
    write_header(attr, text);
    if (len != 0)
        memcpy(attr->data + header, data, len);
    return 0;
}

int blobmsg_add_double(blob_buf *buf, const char *name, double val)
{
    uint64_t bits;
    static_assert(sizeof(bits) == sizeof(val));
    memcpy(&bits, &val, sizeof(bits));
    bits = cpu_to_be64(bits);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_DOUBLE, name, &bits, sizeof(bits));
}

void *blobmsg_open_nested(blob_buf *buf, const char *name, bool array)
{
    std::string_view text = name_or_empty(name);
    if (text.size() > kMaxNameLength)
        return nullptr;
    int type = array ? BLOBMSG_TYPE_ARRAY : BLOBMSG_TYPE_TABLE;
    void *cookie = blob_nest_start_after(buf, type, blobmsg_hdrlen(text.size()));
    if (cookie)
        write_header(buf->head, text);
    return cookie;
}

namespace
{

// The string's own bytes, behind the header of an attribute that is placed.
char *value_in(blob_attr *placed)
{
    return static_cast<char *>(blobmsg_data(placed));
}

blob_attr *placed_string(const blob_buf *buf)
{
    return blob_next(buf->head);
}

} // namespace

void *blobmsg_alloc_string_buffer(blob_buf *buf, const char *name, unsigned maxlen)
{
    std::string_view text = name_or_empty(name);
    if (text.size() > kMaxNameLength || maxlen >= BLOB_ATTR_LEN_MASK)
        return nullptr;
    blob_attr *attr = blob_place(buf, BLOBMSG_TYPE_STRING, blobmsg_hdrlen(text.size()) + maxlen + 1);
    if (!attr)
        return nullptr;
    write_header(attr, text);
    std::fill_n(value_in(attr), maxlen + 1, '\0');
    return value_in(attr);
}

void *blobmsg_realloc_string_buffer(blob_buf *buf, unsigned maxlen)
{
    blob_attr *attr = placed_string(buf);
    size_t header = blobmsg_value_offset(attr), have = blobmsg_data_len(attr);
    if (maxlen >= BLOB_ATTR_LEN_MASK || !(attr = blob_resize_placed(buf, header + maxlen + 1)))
        return nullptr;
    if (have <= maxlen)
        std::fill_n(value_in(attr) + have, maxlen + 1 - have, '\0');
    return value_in(attr);
}

void blobmsg_add_string_buffer(blob_buf *buf)
{
    blob_attr *attr = placed_string(buf);
    size_t room = blobmsg_data_len(attr);
    value_in(attr)[room - 1] = '\0';
    size_t unused = room - strlen(value_in(attr)) - 1;
    blob_set_raw_len(attr, static_cast<unsigned>(blob_raw_len(attr) - unused));
    blob_fill_pad(attr);
    blob_add_placed(buf);
}

int blobmsg_vprintf(blob_buf *buf, const char *name, const char *format, va_list arg)
{
    va_list measured;
    va_copy(measured, arg);
    int length = vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (length < 0)
        return -1;
    auto *text = static_cast<char *>(blobmsg_alloc_string_buffer(buf, name, static_cast<unsigned>(length)));
    if (!text)
        return -1;
    vsnprintf(text, static_cast<size_t>(length) + 1, format, arg);
    blobmsg_add_string_buffer(buf);
    return length;
}

int blobmsg_printf(blob_buf *buf, const char *name, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    int length = blobmsg_vprintf(buf, name, format, arguments);
    va_end(arguments);
    return length;
}
