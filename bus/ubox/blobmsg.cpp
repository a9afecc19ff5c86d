#include "blob_private.h"

#include <algorithm>
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

void write_header(blob_attr *attr, std::string_view name)
{
    auto *header = static_cast<blobmsg_hdr *>(blob_data(attr));
    attr->id_len |= cpu_to_be32(BLOB_ATTR_EXTENDED);
    header->namelen = cpu_to_be16(static_cast<uint16_t>(name.size()));
    auto *end = std::copy(name.begin(), name.end(), header->name);
    std::fill(end, reinterpret_cast<uint8_t *>(attr->data) + blobmsg_hdrlen(name.size()), 0);
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
    if (!blob_is_extended(attr) || blob_len(attr) < blobmsg_hdrlen(0)) {
        return false;
    }
    std::string_view text = name_of(attr);
    // NOLINTNEXTLINE(readability-simplify-subscript-expr): the NUL lies behind the view
    return blobmsg_hdrlen(text.size()) <= blob_len(attr) && text.data()[text.size()] == '\0' &&
           (!name || !text.empty());
}

bool matches(const blobmsg_policy &policy, const blob_attr *attr)
{
    return policy.name && (policy.type == BLOBMSG_TYPE_UNSPEC || policy.type == blobmsg_type(attr)) &&
           name_of(attr) == policy.name;
}

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
    if (!data || len == 0) {
        return -1;
    }
    auto *attr = static_cast<blob_attr *>(data);
    for (size_t rem = len; sizeof(blob_attr) <= rem && blob_pad_len(attr) <= rem; attr = blob_next(attr)) {
        if (!blobmsg_check_attr(attr, true)) {
            return -1;
        }
        for (int i = 0; i < policy_len; i++) {
            if (!tb[i] && matches(policy[i], attr)) {
                tb[i] = attr;
                break;
            }
        }
        rem -= blob_pad_len(attr);
    }
    return 0;
}

int blobmsg_add_field(blob_buf *buf, int type, const char *name, const void *data, unsigned len)
{
    std::string_view text = name_or_empty(name);
    size_t header = blobmsg_hdrlen(text.size());
    if (text.size() > kMaxNameLength || len > BLOB_ATTR_LEN_MASK) {
        return -1;
    }
    blob_attr *attr = blob_new(buf, type, static_cast<int>(header + len));
    if (!attr) {
        return -1;
    }
    write_header(attr, text);
    if (len != 0) {
        memcpy(attr->data + header, data, len);
    }
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
    if (text.size() > kMaxNameLength) {
        return nullptr;
    }
    int type = array ? BLOBMSG_TYPE_ARRAY : BLOBMSG_TYPE_TABLE;
    void *cookie = blob_nest_start_after(buf, type, blobmsg_hdrlen(text.size()));
    if (cookie) {
        write_header(buf->head, text);
    }
    return cookie;
}
