#include "tests/ubox/ubox.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <unistd.h>

extern "C" int json_from_c(void);

namespace
{

TEST(BlobmsgJson, HeaderIsC)
{
    EXPECT_EQ(json_from_c(), 2);
}

std::string taken(char *text)
{
    std::string copy = text ? text : "(null)";
    free(text);
    return copy;
}

std::string on_one_line(Buffer &buffer)
{
    return taken(blobmsg_format_json(buffer->head, true));
}

std::string on_lines(Buffer &buffer, int indent = 0)
{
    return taken(blobmsg_format_json_indent(buffer->head, true, indent));
}

blob_attr *first_value(Buffer &buffer)
{
    return static_cast<blob_attr *>(blobmsg_data(buffer->head));
}

// -- To JSON

TEST(BlobmsgJson, FormatsEveryType)
{
    Buffer buffer;
    blobmsg_add_u8(&buffer, "yes", 1);
    blobmsg_add_u8(&buffer, "also", 0x80);
    blobmsg_add_u8(&buffer, "no", 0);
    blobmsg_add_u16(&buffer, "u16", 0xffff);
    blobmsg_add_u32(&buffer, "u32", 0x80000000);
    blobmsg_add_u64(&buffer, "u64", 0x8000000000000000);
    blobmsg_add_u32(&buffer, "count", 2147483647);
    blobmsg_add_double(&buffer, "double", -1.5);
    blobmsg_add_string(&buffer, "text", "wlan0");
    blobmsg_add_field(&buffer, BLOBMSG_TYPE_UNSPEC, "none", nullptr, 0);
    EXPECT_EQ(on_one_line(buffer), R"({"yes":true,"also":true,"no":false,"u16":-1,"u32":-2147483648,)"
                                   R"("u64":-9223372036854775808,"count":2147483647,"double":-1.500000,)"
                                   R"("text":"wlan0","none":null})");
}

TEST(BlobmsgJson, FormatsTheLongestDoubles)
{
    Buffer buffer;
    blobmsg_add_double(&buffer, nullptr, -std::numeric_limits<double>::max());
    std::string text = taken(blobmsg_format_json(first_value(buffer), false));
    EXPECT_EQ(text.size(), 1u + 309 + 7);
    EXPECT_EQ(text.substr(0, 10), "-179769313");
}

TEST(BlobmsgJson, EscapesQuotesBackslashesAndControlCharacters)
{
    Buffer buffer;
    std::string characters;
    for (int character = 1; character < 0x30; character++)
        characters += static_cast<char>(character);
    characters += "\\/\x7f\xc3\xa4\xff";
    blobmsg_add_string(&buffer, "a\"\n\x01", characters.c_str());
    EXPECT_EQ(on_one_line(buffer),
              "{\"a\\\"\\n\\u0001\":\""
              "\\u0001\\u0002\\u0003\\u0004\\u0005\\u0006\\u0007\\b\\t\\n\\u000b\\u000c\\r\\u000e\\u000f"
              "\\u0010\\u0011\\u0012\\u0013\\u0014\\u0015\\u0016\\u0017\\u0018\\u0019\\u001a\\u001b\\u001c\\u001d\\u001"
              "e\\u001f"
              " !\\\"#$%&'()*+,-./"
              "\\\\/\x7f\xc3\xa4\xff\"}");
}

void add_nested(Buffer &buffer)
{
    blobmsg_add_u32(&buffer, "a", 1);
    void *table = blobmsg_open_table(&buffer, "t");
    blobmsg_add_string(&buffer, "b", "x");
    void *array = blobmsg_open_array(&buffer, "list");
    blobmsg_add_u32(&buffer, nullptr, 1);
    blobmsg_add_u32(&buffer, "a name that an array does not show", 2);
    blobmsg_close_array(&buffer, array);
    blobmsg_close_table(&buffer, table);
    void *empty = blobmsg_open_table(&buffer, "e");
    blobmsg_close_table(&buffer, empty);
    empty = blobmsg_open_array(&buffer, "f");
    blobmsg_close_array(&buffer, empty);
}

TEST(BlobmsgJson, FormatsOnOneLine)
{
    Buffer buffer;
    add_nested(buffer);
    EXPECT_EQ(on_one_line(buffer), R"({"a":1,"t":{"b":"x","list":[1,2]},"e":{},"f":[]})");
}

TEST(BlobmsgJson, FormatsOnLines)
{
    Buffer buffer;
    add_nested(buffer);
    EXPECT_EQ(on_lines(buffer), "{\n"
                                "\t\"a\": 1,\n"
                                "\t\"t\": {\n"
                                "\t\t\"b\": \"x\",\n"
                                "\t\t\"list\": [\n"
                                "\t\t\t1,\n"
                                "\t\t\t2\n"
                                "\t\t]\n"
                                "\t},\n"
                                "\t\"e\": {\n"
                                "\t\t\n"
                                "\t},\n"
                                "\t\"f\": [\n"
                                "\t\t\n"
                                "\t]\n"
                                "}");
}

TEST(BlobmsgJson, FormatsAnEmptyMessage)
{
    Buffer buffer;
    EXPECT_EQ(on_one_line(buffer), "{}");
    EXPECT_EQ(on_lines(buffer), "{\n\t\n}");
    EXPECT_EQ(on_lines(buffer, 2), "{\n\t\t\t\n\t\t}");
}

TEST(BlobmsgJson, FormatsOneValue)
{
    Buffer buffer;
    blobmsg_add_u32(&buffer, "a", 1);
    EXPECT_EQ(taken(blobmsg_format_json(first_value(buffer), false)), "\"a\":1");
    EXPECT_EQ(taken(blobmsg_format_json_indent(first_value(buffer), false, 0)), "\"a\": 1");

    Buffer array;
    void *cookie = blobmsg_open_array(&array, "list");
    blobmsg_add_u32(&array, nullptr, 1);
    blobmsg_close_array(&array, cookie);
    EXPECT_EQ(taken(blobmsg_format_json(first_value(array), false)), "\"list\":[1]");
    EXPECT_EQ(taken(blobmsg_format_json(first_value(array), true)), "[1]");

    Buffer table;
    cookie = blobmsg_open_table(&table, nullptr);
    blobmsg_add_u32(&table, "", 1);
    blobmsg_close_table(&table, cookie);
    EXPECT_EQ(taken(blobmsg_format_json(first_value(table), false)), "{\"\":1}");
}

TEST(BlobmsgJson, LeavesOutMalformedValues)
{
    Buffer buffer;
    blobmsg_add_field(&buffer, BLOBMSG_TYPE_INT32, "short", "x", 1);
    blobmsg_add_u32(&buffer, "a", 1);
    blobmsg_add_field(&buffer, 99, "unknown", "x", 1);
    blobmsg_add_field(&buffer, BLOBMSG_TYPE_STRING, "endless", "x", 1);
    blob_put_u32(&buffer, BLOBMSG_TYPE_INT32, 2);
    blobmsg_add_u32(&buffer, "b", 2);
    EXPECT_EQ(on_one_line(buffer), R"({"a":1,"b":2})");
    EXPECT_EQ(blobmsg_format_json(first_value(buffer), false), nullptr);
    EXPECT_EQ(blobmsg_format_json(first_value(buffer), true), nullptr);
    EXPECT_EQ(blobmsg_format_json(nullptr, true), nullptr);
    EXPECT_EQ(blobmsg_format_json(nullptr, false), nullptr);
}

std::string nested(int depth, bool array)
{
    Buffer buffer;
    std::vector<void *> cookies;
    for (int i = 0; i < depth; i++)
        cookies.push_back(blobmsg_open_nested(&buffer, nullptr, array));
    for (; !cookies.empty(); cookies.pop_back())
        blob_nest_end(&buffer, cookies.back());
    return on_one_line(buffer);
}

TEST(BlobmsgJson, RefusesToFormatWhatWouldExhaustTheStack)
{
    EXPECT_EQ(nested(127, true), "{\"\":" + std::string(127, '[') + std::string(127, ']') + "}");
    EXPECT_EQ(nested(128, true), "(null)");
    EXPECT_EQ(nested(128, false), "(null)");
    EXPECT_EQ(nested(130000, false), "(null)");
}

TEST(BlobmsgJson, CountsDepthNotContainers)
{
    Buffer buffer;
    for (int i = 0; i < 300; i++)
        blobmsg_close_table(&buffer, blobmsg_open_table(&buffer, "t"));
    EXPECT_EQ(on_one_line(buffer).size(), 2u + 300 * strlen("\"t\":{}") + 299);
}

// -- From JSON

struct FromRow {
    const char *json;
    const char *formatted; // null: refused
};

const FromRow kFromRows[] = {
    {"{}", "{}"},
    {R"({"t":true,"f":false,"n":null})", R"({"t":true,"f":false,"n":null})"},
    {R"( { "a" : 1 , "b" : [ 1 , "x" , { } ] } )", R"({"a":1,"b":[1,"x",{}]})"},
    {R"({"d":1.5,"e":1e3})", R"({"d":1.500000,"e":1000.000000})"},
    {R"({"z":1,"a":2,"m":3})", R"({"z":1,"a":2,"m":3})"},
    {R"({"s":"\"\\\/\b\n\r\t\u0001\u00e4"})", "{\"s\":\"\\\"\\\\/\\b\\n\\r\\t\\u0001\xc3\xa4\"}"},
    {R"({"":{"":[]}})", R"({"":{"":[]}})"},
    {"", nullptr},
    {"[]", nullptr},
    {"1", nullptr},
    {"null", nullptr},
    {"\"text\"", nullptr},
    {"{", nullptr},
    {R"({"a":})", nullptr},
    {R"({"a":1)", nullptr},
    {R"({"a" 1})", nullptr},
    {"nonsense", nullptr},
};

TEST(BlobmsgJson, TakesObjectsAndNothingElse)
{
    for (const FromRow &row : kFromRows) {
        Buffer buffer;
        EXPECT_EQ(blobmsg_add_json_from_string(&buffer, row.json), row.formatted != nullptr) << row.json;
        EXPECT_EQ(on_one_line(buffer), row.formatted ? row.formatted : "{}") << row.json;
    }
}

TEST(BlobmsgJson, GivesIntegersTheirWidth)
{
    struct Row {
        const char *number;
        int type;
        int64_t value;
    };
    const Row rows[] = {
        {"0", BLOBMSG_TYPE_INT32, 0},
        {"-1", BLOBMSG_TYPE_INT32, -1},
        {"2147483647", BLOBMSG_TYPE_INT32, INT32_MAX},
        {"2147483648", BLOBMSG_TYPE_INT64, INT32_MAX + 1LL},
        {"-2147483648", BLOBMSG_TYPE_INT32, INT32_MIN},
        {"-2147483649", BLOBMSG_TYPE_INT64, INT32_MIN - 1LL},
        {"9223372036854775807", BLOBMSG_TYPE_INT64, INT64_MAX},
        {"-9223372036854775808", BLOBMSG_TYPE_INT64, INT64_MIN},
    };
    for (const Row &row : rows) {
        Buffer buffer;
        ASSERT_TRUE(blobmsg_add_json_from_string(&buffer, (std::string("{\"n\":") + row.number + "}").c_str()));
        blob_attr *attr = first_value(buffer);
        ASSERT_EQ(blobmsg_type(attr), row.type) << row.number;
        int64_t value = row.type == BLOBMSG_TYPE_INT32 ? static_cast<int32_t>(blobmsg_get_u32(attr))
                                                       : static_cast<int64_t>(blobmsg_get_u64(attr));
        EXPECT_EQ(value, row.value) << row.number;
    }
}

TEST(BlobmsgJson, WritesTheBytesOfEveryType)
{
    Buffer buffer;
    ASSERT_TRUE(blobmsg_add_json_from_string(&buffer, R"({"b":true,"n":null,"i":258,"s":"x","d":0.5,"a":[1],"t":{}})"));
    EXPECT_EQ(buffer.bytes(), (Bytes{
                                  0,    0, 0, 92,                                             //
                                  0x87, 0, 0, 9,  0, 1, 'b', 0, 1,    0,    0, 0,             //
                                  0x80, 0, 0, 8,  0, 1, 'n', 0,                               //
                                  0x85, 0, 0, 12, 0, 1, 'i', 0, 0,    0,    1, 2,             //
                                  0x83, 0, 0, 10, 0, 1, 's', 0, 'x',  0,    0, 0,             //
                                  0x88, 0, 0, 16, 0, 1, 'd', 0, 0x3f, 0xe0, 0, 0, 0, 0, 0, 0, //
                                  0x81, 0, 0, 20, 0, 1, 'a', 0,                               //
                                  0x85, 0, 0, 12, 0, 0, 0,   0, 0,    0,    0, 1,             //
                                  0x82, 0, 0, 8,  0, 1, 't', 0,                               //
                              }));
}

TEST(BlobmsgJson, AddsToWhatIsThere)
{
    Buffer buffer;
    blobmsg_add_u32(&buffer, "first", 1);
    EXPECT_TRUE(blobmsg_add_json_from_string(&buffer, R"({"second":2})"));
    EXPECT_EQ(on_one_line(buffer), R"({"first":1,"second":2})");
}

bool never_grow(blob_buf *, int)
{
    return false;
}

TEST(BlobmsgJson, FailureLeavesTheHeadWhereItWas)
{
    Buffer buffer;
    buffer->grow = never_grow;
    std::string large = R"({"outer":{"inner":[")" + std::string(1000, 'x') + "\"]}}";
    EXPECT_FALSE(blobmsg_add_json_from_string(&buffer, large.c_str()));
    EXPECT_EQ(buffer->head, buffer->buf);
    EXPECT_EQ(on_one_line(buffer), R"({"outer":{"inner":[]}})");
}

TEST(BlobmsgJson, ReadsItsOwnOutput)
{
    Buffer first;
    add_nested(first);
    blobmsg_add_string(&first, "hard\x01\"\\", "\x1f\n\xf0\x9f\x93\xb6");
    for (int indent : {-1, 0, 3}) {
        Buffer second;
        ASSERT_TRUE(blobmsg_add_json_from_string(&second, on_lines(first, indent).c_str()));
        EXPECT_EQ(on_one_line(second), on_one_line(first));
    }
}

TEST(BlobmsgJson, ReadsAFile)
{
    Buffer buffer, plain;
    char name[] = "/tmp/json-test-XXXXXX";
    const int file = mkstemp(name);
    const std::string json = "{\"a\":1,\"b\":[true]}\n and more";
    ASSERT_EQ(write(file, json.data(), json.size()), static_cast<ssize_t>(json.size()));
    close(file);
    EXPECT_TRUE(blobmsg_add_json_from_file(&buffer, name));
    unlink(name);
    EXPECT_TRUE(blobmsg_add_json_from_string(&plain, json.c_str()));
    EXPECT_EQ(buffer.bytes(), plain.bytes());
    EXPECT_FALSE(blobmsg_add_json_from_file(&buffer, name));
    EXPECT_EQ(buffer.bytes(), plain.bytes());
}

TEST(BlobmsgJson, FormatsAValueWithoutItsName)
{
    Buffer buffer;
    ASSERT_TRUE(blobmsg_add_json_from_string(&buffer, R"({"tab":{"n":2}})"));
    EXPECT_EQ(taken(blobmsg_format_json(first_value(buffer), false)), R"("tab":{"n":2})");
    EXPECT_EQ(taken(blobmsg_format_json_value(first_value(buffer))), R"({"n":2})");
    EXPECT_EQ(taken(blobmsg_format_json_value_indent(first_value(buffer), 0)), "{\n\t\"n\": 2\n}");
}

TEST(BlobmsgJson, AsksForTheTextOfEveryValue)
{
    static std::vector<int> asked;
    asked.clear();
    Buffer buffer;
    ASSERT_TRUE(blobmsg_add_json_from_string(&buffer, R"({"tab":{"n":2},"list":["x",3]})"));
    auto hide_strings = [](void *priv, blob_attr *attr) {
        asked.push_back(blobmsg_type(attr));
        return blobmsg_type(attr) == BLOBMSG_TYPE_STRING ? static_cast<const char *>(priv) : nullptr;
    };
    char hidden[] = "***";
    EXPECT_EQ(taken(blobmsg_format_json_with_cb(buffer->head, true, hide_strings, hidden, -1)),
              R"({"tab":{"n":2},"list":[***,3]})");
    EXPECT_EQ(asked, (std::vector<int>{BLOBMSG_TYPE_TABLE, BLOBMSG_TYPE_INT32, BLOBMSG_TYPE_ARRAY, BLOBMSG_TYPE_STRING,
                                       BLOBMSG_TYPE_INT32}));
}

} // namespace
