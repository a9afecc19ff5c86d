extern "C" {
#include <libubox/blobmsg_json.h>
}

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <json-c/json.h>
#include <string_view>

namespace
{

// NOLINTBEGIN(misc-no-recursion): both directions have a limit of depth

// -- From JSON. The parser refuses what is nested deeper than 32, so the recursion has a bottom.

bool add_value(blob_buf *buf, const char *name, json_object *value);

bool add_members(blob_buf *buf, json_object *object)
{
    json_object_iterator member = json_object_iter_begin(object);
    json_object_iterator end = json_object_iter_end(object);
    for (; !json_object_iter_equal(&member, &end); json_object_iter_next(&member))
        if (!add_value(buf, json_object_iter_peek_name(&member), json_object_iter_peek_value(&member)))
            return false;
    return true;
}

bool add_elements(blob_buf *buf, json_object *array)
{
    for (size_t i = 0; i < json_object_array_length(array); i++)
        if (!add_value(buf, nullptr, json_object_array_get_idx(array, i)))
            return false;
    return true;
}

// Closes the container also where not all fitted: the buffer's head must be what it was.
bool add_container(blob_buf *buf, const char *name, json_object *value, bool array)
{
    void *cookie = blobmsg_open_nested(buf, name, array);
    if (!cookie)
        return false;
    bool added = array ? add_elements(buf, value) : add_members(buf, value);
    blob_nest_end(buf, cookie);
    return added;
}

int add_integer(blob_buf *buf, const char *name, int64_t value)
{
    if (INT32_MIN <= value && value <= INT32_MAX)
        return blobmsg_add_u32(buf, name, static_cast<uint32_t>(value));
    return blobmsg_add_u64(buf, name, static_cast<uint64_t>(value));
}

bool add_value(blob_buf *buf, const char *name, json_object *value)
{
    switch (json_object_get_type(value)) {
    case json_type_null:
        return blobmsg_add_field(buf, BLOBMSG_TYPE_UNSPEC, name, nullptr, 0) == 0;
    case json_type_boolean:
        return blobmsg_add_u8(buf, name, json_object_get_boolean(value) ? 1 : 0) == 0;
    case json_type_double:
        return blobmsg_add_double(buf, name, json_object_get_double(value)) == 0;
    case json_type_int:
        return add_integer(buf, name, json_object_get_int64(value)) == 0;
    case json_type_string:
        return blobmsg_add_string(buf, name, json_object_get_string(value)) == 0;
    case json_type_array:
        return add_container(buf, name, value, true);
    case json_type_object:
        return add_container(buf, name, value, false);
    }
    return false;
}

// -- To JSON

constexpr int kMaxDepth = 128; // keeps the recursion, whose depth a peer chooses, off the end of the stack

struct Writer {
    char *text;
    size_t length;
    size_t capacity;
    int indent;                       // of the line being written, in tabs; negative: all on one line
    blobmsg_json_format_t substitute; // may be null
    void *priv;
    int depth;
    bool failed;
};

void write(Writer &writer, std::string_view text)
{
    if (writer.failed)
        return;
    size_t needed = writer.length + text.size() + 1;
    if (writer.capacity < needed) {
        size_t capacity = std::max(needed, 2 * writer.capacity);
        auto *bigger = static_cast<char *>(realloc(writer.text, capacity));
        if (!bigger) {
            writer.failed = true;
            return;
        }
        writer.text = bigger;
        writer.capacity = capacity;
    }
    // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): without a buffer there is no capacity either
    memcpy(writer.text + writer.length, text.data(), text.size());
    writer.length += text.size();
    writer.text[writer.length] = '\0';
}

void begin_line(Writer &writer)
{
    if (writer.indent < 0)
        return;
    write(writer, "\n");
    for (int i = 0; i < writer.indent; i++)
        write(writer, "\t");
}

void write_escaped(Writer &writer, char character)
{
    char code[8];
    switch (character) {
    case '"':
        return write(writer, "\\\"");
    case '\\':
        return write(writer, "\\\\");
    case '\b':
        return write(writer, "\\b");
    case '\n':
        return write(writer, "\\n");
    case '\t':
        return write(writer, "\\t");
    case '\r':
        return write(writer, "\\r");
    default:
        snprintf(code, sizeof(code), "\\u%04x", static_cast<unsigned char>(character));
        return write(writer, code);
    }
}

bool needs_escape(char character)
{
    return static_cast<unsigned char>(character) < ' ' || character == '"' || character == '\\';
}

// Runs of bytes that stand for themselves go over in one piece.
void write_string(Writer &writer, std::string_view text)
{
    write(writer, "\"");
    while (!text.empty()) {
        auto plain = static_cast<size_t>(std::find_if(text.begin(), text.end(), needs_escape) - text.begin());
        write(writer, text.substr(0, plain));
        text.remove_prefix(plain);
        if (!text.empty()) {
            write_escaped(writer, text.front());
            text.remove_prefix(1);
        }
    }
    write(writer, "\"");
}

void write_integer(Writer &writer, int64_t value)
{
    char digits[24];
    snprintf(digits, sizeof(digits), "%" PRId64, value);
    write(writer, digits);
}

void write_double(Writer &writer, double value)
{
    char digits[352]; // the largest double has 309 digits before the point
    snprintf(digits, sizeof(digits), "%lf", value);
    write(writer, digits);
}

void write_container(Writer &writer, blob_attr *attr, bool array);

void write_value(Writer &writer, blob_attr *attr)
{
    const char *text = writer.substitute ? writer.substitute(writer.priv, attr) : nullptr;
    if (text)
        return write(writer, text);
    switch (blobmsg_type(attr)) {
    case BLOBMSG_TYPE_UNSPEC:
        return write(writer, "null");
    case BLOBMSG_TYPE_ARRAY:
        return write_container(writer, attr, true);
    case BLOBMSG_TYPE_TABLE:
        return write_container(writer, attr, false);
    case BLOBMSG_TYPE_STRING:
        return write_string(writer, blobmsg_get_string(attr));
    case BLOBMSG_TYPE_INT64:
        return write_integer(writer, static_cast<int64_t>(blobmsg_get_u64(attr)));
    case BLOBMSG_TYPE_INT32:
        return write_integer(writer, static_cast<int32_t>(blobmsg_get_u32(attr)));
    case BLOBMSG_TYPE_INT16:
        return write_integer(writer, static_cast<int16_t>(blobmsg_get_u16(attr)));
    case BLOBMSG_TYPE_INT8:
        return write(writer, blobmsg_get_bool(attr) ? "true" : "false");
    case BLOBMSG_TYPE_DOUBLE:
        return write_double(writer, blobmsg_get_double(attr));
    }
}

void write_named_value(Writer &writer, blob_attr *attr)
{
    write_string(writer, blobmsg_name(attr));
    write(writer, writer.indent < 0 ? ":" : ": ");
    write_value(writer, attr);
}

void write_container(Writer &writer, blob_attr *attr, bool array)
{
    if (++writer.depth > kMaxDepth) {
        writer.failed = true;
        return;
    }
    blob_attr *element;
    size_t rem;
    bool first = true;
    bool on_lines = 0 <= writer.indent;

    write(writer, array ? "[" : "{");
    writer.indent += on_lines;
    begin_line(writer);
    blobmsg_for_each_attr (element, attr, rem) {
        if (writer.failed)
            return;
        if (!blobmsg_check_attr(element, false))
            continue;
        if (!first) {
            write(writer, ",");
            begin_line(writer);
        }
        first = false;
        array ? write_value(writer, element) : write_named_value(writer, element);
    }
    writer.indent -= on_lines;
    begin_line(writer);
    write(writer, array ? "]" : "}");
    writer.depth--;
}

// NOLINTEND(misc-no-recursion)

bool is_array(const blob_attr *attr)
{
    return blob_is_extended(attr) && blobmsg_type(attr) == BLOBMSG_TYPE_ARRAY;
}

} // namespace

namespace
{

bool add_and_release(blob_buf *buf, json_object *object)
{
    bool added = blobmsg_add_object(buf, object);
    json_object_put(object);
    return added;
}

} // namespace

bool blobmsg_add_object(blob_buf *buf, json_object *obj)
{
    return json_object_is_type(obj, json_type_object) && add_members(buf, obj);
}

bool blobmsg_add_json_element(blob_buf *buf, const char *name, json_object *obj)
{
    return add_value(buf, name, obj);
}

bool blobmsg_add_json_from_string(blob_buf *buf, const char *str)
{
    return add_and_release(buf, json_tokener_parse(str));
}

bool blobmsg_add_json_from_file(blob_buf *buf, const char *file)
{
    return add_and_release(buf, json_object_from_file(file));
}

namespace
{

char *finish(Writer &writer)
{
    if (!writer.failed)
        return writer.text;
    free(writer.text);
    return nullptr;
}

} // namespace

char *blobmsg_format_json_with_cb(blob_attr *attr, bool list, blobmsg_json_format_t cb, void *priv, int indent)
{
    bool has_header = attr && (!list || blob_is_extended(attr)); // a message as it came has none
    if (!attr || (has_header && !blobmsg_check_attr(attr, false)))
        return nullptr;
    Writer writer = {.indent = indent, .substitute = cb, .priv = priv};
    if (list)
        write_container(writer, attr, is_array(attr));
    else if (blobmsg_name(attr)[0] != '\0')
        write_named_value(writer, attr);
    else
        write_value(writer, attr);
    return finish(writer);
}

char *blobmsg_format_json_value_with_cb(blob_attr *attr, blobmsg_json_format_t cb, void *priv, int indent)
{
    if (!attr || !blobmsg_check_attr(attr, false))
        return nullptr;
    Writer writer = {.indent = indent, .substitute = cb, .priv = priv};
    write_value(writer, attr);
    return finish(writer);
}

char *blobmsg_format_json_indent(blob_attr *attr, bool list, int indent)
{
    return blobmsg_format_json_with_cb(attr, list, nullptr, nullptr, indent);
}
