// Blobmsg from and to JSON: bytes from anywhere once as the text of a JSON value and once as a message.

#include <cmath>
#include <string>

extern "C" {
#include <libubox/blobmsg_json.h>
}

#include "fuzz/input.h"

namespace
{

constexpr int kParsedDepth = 31;   // deeper JSON is refused when it is read
constexpr int kWrittenDepth = 128; // deeper messages are not written

// A message under construction.
struct Message {
    blob_buf buf = {};

    Message() { REQUIRE(blob_buf_init(&buf, 0) == 0); }
    ~Message() { blob_buf_free(&buf); }
    Message(const Message &) = delete;
    Message &operator=(const Message &) = delete;

    size_t size() const { return blob_raw_len(buf.head); }
    bool operator==(const Message &other) const
    {
        return size() == other.size() && memcmp(buf.head, other.buf.head, size()) == 0;
    }
};

// The text, or empty where there is none.
std::string format(blob_attr *attr, bool list, int indent = -1)
{
    char *text = blobmsg_format_json_indent(attr, list, indent);
    std::string result = text ? text : "";
    free(text);
    return result;
}

// How deep containers are nested, this one included.
int depth_of(const blob_attr *container)
{
    const blob_attr *attr;
    size_t rem;
    int deepest = 0;
    blobmsg_for_each_attr (attr, container, rem) {
        int type = blobmsg_check_attr(attr, false) ? blobmsg_type(attr) : BLOBMSG_TYPE_UNSPEC;
        if (type == BLOBMSG_TYPE_ARRAY || type == BLOBMSG_TYPE_TABLE)
            deepest = std::max(deepest, depth_of(attr));
    }
    return deepest + 1;
}

// Whether what JSON can express is expressed: no infinite doubles, which it cannot, and not deeper than is read.
bool is_expressible(const blob_attr *container, int depth)
{
    blob_attr *attr;
    size_t rem;
    blobmsg_for_each_attr (attr, container, rem) {
        if (!blobmsg_check_attr(attr, false))
            continue;
        int type = blobmsg_type(attr);
        if (type == BLOBMSG_TYPE_DOUBLE && !std::isfinite(blobmsg_get_double(attr)))
            return false;
        bool nested = type == BLOBMSG_TYPE_ARRAY || type == BLOBMSG_TYPE_TABLE;
        if (nested && (depth == kParsedDepth || !is_expressible(attr, depth + 1)))
            return false;
    }
    return true;
}

// A message is read back from its text: the second text is the first, and from then on the bytes are equal
// too. (The first bytes may say more: decimals beyond the sixth, a name twice.)
void check_round_trip(blob_attr *message, bool names_are_unique)
{
    std::string text = format(message, true);
    REQUIRE(!text.empty());
    Message second, third;
    REQUIRE(blobmsg_add_json_from_string(&second.buf, text.c_str()));
    std::string second_text = format(second.buf.head, true);
    if (names_are_unique)
        REQUIRE(second_text == text);
    REQUIRE(blobmsg_add_json_from_string(&third.buf, second_text.c_str()));
    REQUIRE(third == second);

    Message indented;
    REQUIRE(blobmsg_add_json_from_string(&indented.buf, format(message, true, 0).c_str()));
    REQUIRE(indented == second);
}

// The text is copied without anything behind its NUL. What could not be added whole is still well-formed.
void check_text(std::span<const uint8_t> bytes)
{
    std::string text(bytes.begin(), bytes.end());
    ExactCopy copy({reinterpret_cast<const uint8_t *>(text.c_str()), strlen(text.c_str()) + 1});
    Message message;
    bool added = blobmsg_add_json_from_string(&message.buf, reinterpret_cast<char *>(copy.data()));
    if (is_expressible(message.buf.head, 1))
        check_round_trip(message.buf.head, added);
}

bool is_known_as_array(const blob_attr *attr)
{
    return blob_is_extended(attr) && blobmsg_type(attr) == BLOBMSG_TYPE_ARRAY;
}

// A message as it came: its length is known to be right, nothing else.
void check_message(std::span<const uint8_t> bytes)
{
    blob_attr header = {cpu_to_be32(static_cast<uint32_t>(sizeof(blob_attr) + bytes.size()))};
    std::basic_string<uint8_t> whole(reinterpret_cast<uint8_t *>(&header), sizeof(header));
    whole.append(bytes.begin(), bytes.end());
    ExactCopy copy(whole);
    auto *message = reinterpret_cast<blob_attr *>(copy.data());
    std::string text = format(message, true);
    REQUIRE(depth_of(message) <= kWrittenDepth ? text.starts_with("{") : text.empty());
    REQUIRE(format(message, false).empty()); // it is no value
    if (is_expressible(message, 1))
        check_round_trip(message, false);
}

// The same bytes as a value, where they are one.
void check_value(std::span<const uint8_t> bytes)
{
    ExactCopy copy(bytes);
    auto *value = reinterpret_cast<blob_attr *>(copy.data());
    if (!blobmsg_check_attr_len(value, false, copy.size()))
        return;
    std::string text = format(value, false), list = format(value, true), lines = format(value, false, 3);
    REQUIRE(text.empty() == lines.empty());
    REQUIRE(list.empty() || list.starts_with(is_known_as_array(value) ? "[" : "{"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::span<const uint8_t> bytes(data, size);
    check_text(bytes);
    check_message(bytes);
    check_value(bytes);
    return 0;
}
