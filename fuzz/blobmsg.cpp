// Blobs and blobmsg: bytes from anywhere as an attribute and as a message's attributes. What is read is written anew
// and compared.

#include <vector>

extern "C" {
#include <libubox/blobmsg.h>
}

#include "fuzz/input.h"

namespace
{

const blobmsg_policy kPolicy[] = {
    {.name = "a", .type = BLOBMSG_TYPE_STRING}, {.name = "b", .type = BLOBMSG_TYPE_INT32},
    {.name = "b", .type = BLOBMSG_TYPE_INT64},  {.name = "c", .type = BLOBMSG_TYPE_UNSPEC},
    {.name = "d", .type = BLOBMSG_TYPE_ARRAY},  {.name = "e", .type = BLOBMSG_TYPE_TABLE},
    {.name = "a", .type = BLOBMSG_TYPE_STRING}, {.name = nullptr, .type = BLOBMSG_TYPE_STRING},
};
constexpr size_t kPolicyCount = std::size(kPolicy);

// The attributes that stand in `bytes` one after another, up to the first that does not fit.
std::vector<blob_attr *> attributes_in(uint8_t *bytes, size_t length)
{
    std::vector<blob_attr *> found;
    auto *attr = reinterpret_cast<blob_attr *>(bytes);
    for (size_t rem = length; blob_attr_fits(attr, rem); rem -= blob_pad_len(attr), attr = blob_next(attr))
        found.push_back(attr);
    return found;
}

bool is_container(const blob_attr *attr)
{
    return blobmsg_type(attr) == BLOBMSG_TYPE_ARRAY || blobmsg_type(attr) == BLOBMSG_TYPE_TABLE;
}

// The well-formed values inside a table, an array or a message.
std::vector<blob_attr *> values_in(const blob_attr *container)
{
    std::vector<blob_attr *> found;
    blob_attr *attr;
    size_t rem;
    blobmsg_for_each_attr (attr, container, rem)
        if (blobmsg_check_attr_len(attr, false, rem))
            found.push_back(attr);
    return found;
}

void write(blob_buf *buf, blob_attr *value);

void write_values(blob_buf *buf, blob_attr *container)
{
    for (blob_attr *value : values_in(container))
        write(buf, value);
}

void write_container(blob_buf *buf, blob_attr *value)
{
    bool array = blobmsg_type(value) == BLOBMSG_TYPE_ARRAY;
    void *nest = (array ? blobmsg_open_array : blobmsg_open_table)(buf, blobmsg_name(value));
    REQUIRE(nest);
    write_values(buf, value);
    (array ? blobmsg_close_array : blobmsg_close_table)(buf, nest);
}

// By the function that a program would use for the type.
void write(blob_buf *buf, blob_attr *value)
{
    const char *name = blobmsg_name(value);
    switch (blobmsg_type(value)) {
    case BLOBMSG_TYPE_STRING:
        return REQUIRE(blobmsg_add_string(buf, name, blobmsg_get_string(value)) == 0);
    case BLOBMSG_TYPE_INT64:
        return REQUIRE(blobmsg_add_u64(buf, name, blobmsg_get_u64(value)) == 0);
    case BLOBMSG_TYPE_INT32:
        return REQUIRE(blobmsg_add_u32(buf, name, blobmsg_get_u32(value)) == 0);
    case BLOBMSG_TYPE_INT16:
        return REQUIRE(blobmsg_add_u16(buf, name, blobmsg_get_u16(value)) == 0);
    case BLOBMSG_TYPE_INT8:
        return REQUIRE(blobmsg_add_u8(buf, name, blobmsg_get_u8(value)) == 0);
    case BLOBMSG_TYPE_ARRAY:
    case BLOBMSG_TYPE_TABLE:
        return write_container(buf, value);
    default:
        return REQUIRE(blobmsg_add_blob(buf, const_cast<blob_attr *>(value)) == 0);
    }
}

// Names and texts count up to their NUL.
void require_equal(blob_attr *left, blob_attr *right)
{
    REQUIRE(blobmsg_type(left) == blobmsg_type(right));
    REQUIRE(strcmp(blobmsg_name(left), blobmsg_name(right)) == 0);
    if (is_container(left)) {
        std::vector<blob_attr *> left_values = values_in(left), right_values = values_in(right);
        REQUIRE(left_values.size() == right_values.size());
        for (size_t i = 0; i < left_values.size(); i++)
            require_equal(left_values[i], right_values[i]);
    } else if (blobmsg_type(left) == BLOBMSG_TYPE_STRING) {
        REQUIRE(strcmp(blobmsg_get_string(left), blobmsg_get_string(right)) == 0);
    } else {
        REQUIRE(blobmsg_data_len(left) == blobmsg_data_len(right));
        REQUIRE(memcmp(blobmsg_data(left), blobmsg_data(right), blobmsg_data_len(left)) == 0);
    }
}

// A message written is equal to the one read, and writing it once more gives the same bytes.
void check_rewriting(blob_attr *value)
{
    blob_buf once = {}, twice = {};
    REQUIRE(blob_buf_init(&once, 0) == 0 && blob_buf_init(&twice, 0) == 0);
    write(&once, value);
    auto *written = static_cast<blob_attr *>(blob_data(once.head));
    REQUIRE(blobmsg_check_attr_len(written, false, blob_len(once.head)));
    REQUIRE(blob_pad_len(written) == blob_len(once.head));
    require_equal(value, written);
    write(&twice, written);
    REQUIRE(blob_raw_len(once.head) == blob_raw_len(twice.head));
    REQUIRE(memcmp(once.head, twice.head, blob_raw_len(once.head)) == 0);
    blob_buf_free(&once);
    blob_buf_free(&twice);
}

// The table that blobmsg_parse is to fill, by its contract; the result tells whether it is to succeed.
bool expect_parse(const std::vector<blob_attr *> &attributes, blob_attr *(&table)[kPolicyCount])
{
    for (blob_attr *attr : attributes) {
        if (!blobmsg_check_attr(attr, true))
            return false;
        for (size_t i = 0; i < kPolicyCount; i++) {
            const blobmsg_policy &policy = kPolicy[i];
            bool whole_name =
                strlen(blobmsg_name(attr)) == blobmsg_namelen(static_cast<const blobmsg_hdr *>(blob_data(attr)));
            if (policy.name && whole_name && strcmp(policy.name, blobmsg_name(attr)) == 0 && !table[i] &&
                (policy.type == BLOBMSG_TYPE_UNSPEC || policy.type == blobmsg_type(attr)))
                table[i] = attr;
        }
    }
    return true;
}

// Less than the whole header of an attribute at the end, or one that claims more than there is, ends a parse well; one
// that claims to be shorter than its header does not.
bool ends_well(uint8_t *bytes, size_t length, const std::vector<blob_attr *> &attributes)
{
    auto *end = attributes.empty() ? reinterpret_cast<blob_attr *>(bytes) : blob_next(attributes.back());
    size_t rem = length - static_cast<size_t>(reinterpret_cast<uint8_t *>(end) - bytes);
    return rem < sizeof(blob_attr) || rem < blob_pad_len(end);
}

void check_parse(uint8_t *bytes, size_t length)
{
    blob_attr *table[kPolicyCount], *expected[kPolicyCount] = {};
    int result = blobmsg_parse(kPolicy, kPolicyCount, table, bytes, static_cast<unsigned>(length));
    std::vector<blob_attr *> attributes = attributes_in(bytes, length);
    bool good = length > 0 && expect_parse(attributes, expected) && ends_well(bytes, length, attributes);
    REQUIRE((result == 0) == good);
    for (size_t i = 0; i < kPolicyCount; i++)
        REQUIRE(table[i] == expected[i]);
}

constexpr blob_attr_info kInfo[] = {
    {},
    {.type = BLOB_ATTR_INT32},
    {.type = BLOB_ATTR_STRING, .minlen = 2, .maxlen = 8},
    {.type = BLOB_ATTR_NESTED},
    {.type = BLOB_ATTR_INT8},
    {.type = BLOB_ATTR_INT16},
    {.type = BLOB_ATTR_INT64},
    {.type = BLOB_ATTR_BINARY, .minlen = 1},
};
constexpr size_t kInfoCount = std::size(kInfo);

void check_parse_by_id(uint8_t *bytes, size_t length)
{
    auto *container = reinterpret_cast<blob_attr *>(bytes);
    blob_attr *table[kInfoCount];
    int found = blob_parse_untrusted(container, length, table, kInfo, kInfoCount);
    int present = 0;
    for (size_t id = 0; id < kInfoCount; id++) {
        if (!table[id])
            continue;
        present++;
        auto *at = reinterpret_cast<uint8_t *>(table[id]);
        REQUIRE(bytes + sizeof(blob_attr) <= at && at + blob_pad_len(table[id]) <= bytes + blob_raw_len(container));
        REQUIRE(blob_id(table[id]) == id);
        REQUIRE(kInfo[id].minlen <= blob_len(table[id]));
        REQUIRE(kInfo[id].maxlen == 0 || blob_len(table[id]) <= kInfo[id].maxlen);
    }
    REQUIRE(found == present);
}

void check_copy(blob_attr *attr)
{
    blob_attr *copy = blob_memdup(attr);
    REQUIRE(copy && memcmp(copy, attr, blob_raw_len(attr)) == 0);
    for (size_t i = blob_raw_len(attr); i < blob_pad_len(attr); i++)
        REQUIRE(reinterpret_cast<char *>(copy)[i] == 0);
    free(copy);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ExactCopy bytes({data, size});
    check_parse(bytes.data(), bytes.size());
    check_parse_by_id(bytes.data(), bytes.size());
    for (blob_attr *attr : attributes_in(bytes.data(), bytes.size())) {
        check_copy(attr);
        if (blobmsg_check_attr(attr, false))
            check_rewriting(attr);
    }
    return 0;
}
