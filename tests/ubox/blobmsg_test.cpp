#include "tests/ubox/ubox.h"

#include <gtest/gtest.h>
#include <random>

namespace
{

Bytes header(std::string_view name)
{
    return padded(be16(static_cast<uint16_t>(name.size())) + text(name) + octets(0));
}

// A value as the wire has it: tag, name header, payload, each padded.
Bytes value(unsigned type, std::string_view name, const Bytes &payload)
{
    Bytes head = header(name);
    return padded(be32(0x80000000 | type << 24 | static_cast<uint32_t>(4 + head.size() + payload.size())) + head +
                  payload);
}

Bytes message(const Bytes &values)
{
    return be32(static_cast<uint32_t>(4 + values.size())) + values;
}

TEST(Blobmsg, EncodesEveryType)
{
    Buffer buffer;
    EXPECT_EQ(blobmsg_add_string(&buffer, "ssid", "Cafe"), 0);
    EXPECT_EQ(blobmsg_add_u8(&buffer, "on", 1), 0);
    EXPECT_EQ(blobmsg_add_u16(&buffer, "vid", 0x0102), 0);
    EXPECT_EQ(blobmsg_add_u32(&buffer, "rssi", static_cast<uint32_t>(-61)), 0);
    EXPECT_EQ(blobmsg_add_u64(&buffer, "bytes", 0x0102030405060708), 0);
    EXPECT_EQ(blobmsg_add_double(&buffer, "d", -1.5), 0);
    EXPECT_EQ(blobmsg_add_field(&buffer, BLOBMSG_TYPE_UNSPEC, nullptr, nullptr, 0), 0);

    EXPECT_EQ(buffer.bytes(),
              (Bytes{
                  0,    0, 0, 116,                                                                     //
                  0x83, 0, 0, 17,  0, 4, 's', 's', 'i',  'd',  0,   0, 'C', 'a', 'f', 'e', 0, 0, 0, 0, //
                  0x87, 0, 0, 13,  0, 2, 'o', 'n', 0,    0,    0,   0, 1,   0,   0,   0,               //
                  0x86, 0, 0, 14,  0, 3, 'v', 'i', 'd',  0,    0,   0, 1,   2,   0,   0,               //
                  0x85, 0, 0, 16,  0, 4, 'r', 's', 's',  'i',  0,   0, 255, 255, 255, 195,             //
                  0x84, 0, 0, 20,  0, 5, 'b', 'y', 't',  'e',  's', 0,                                 //
                  1,    2, 3, 4,   5, 6, 7,   8,                                                       //
                  0x88, 0, 0, 16,  0, 1, 'd', 0,   0xbf, 0xf8, 0,   0, 0,   0,   0,   0,               //
                  0x80, 0, 0, 8,   0, 0, 0,   0,                                                       //
              }));
}

TEST(Blobmsg, PadsTheNameHeaderToFour)
{
    for (size_t length = 0; length < 12; length++) {
        std::string name(length, 'n');
        Buffer buffer;
        blobmsg_add_u32(&buffer, name.c_str(), 7);
        EXPECT_EQ(buffer.bytes(), message(value(BLOBMSG_TYPE_INT32, name, be32(7)))) << length;
        EXPECT_EQ(blobmsg_hdrlen(length), header(name).size());
    }
}

// Bytes that an earlier message left in the buffer show nowhere.
TEST(Blobmsg, ZeroesThePaddingOfNamesAndValues)
{
    for (size_t name_length = 0; name_length < 8; name_length++) {
        for (size_t length = 0; length < 8; length++) {
            const std::string name(name_length, 'n');
            const std::vector<uint8_t> content(length, 0xC5);
            Buffer buffer;
            blobmsg_add_u32(&buffer, "x", 1);
            memset(buffer->buf, 0xEE, static_cast<size_t>(buffer->buflen));
            blob_buf_init(&buffer, 0);
            void *table = blobmsg_open_table(&buffer, name.c_str());
            blobmsg_add_field(&buffer, BLOBMSG_TYPE_UNSPEC, name.c_str(), content.data(),
                              static_cast<unsigned>(length));
            blobmsg_close_table(&buffer, table);
            const Bytes field = value(BLOBMSG_TYPE_UNSPEC, name, Bytes(content.begin(), content.end()));
            EXPECT_EQ(buffer.bytes(), message(value(BLOBMSG_TYPE_TABLE, name, field))) << name_length << ", " << length;
        }
    }
}

TEST(Blobmsg, EncodesTablesAndArrays)
{
    Buffer buffer;
    void *table = blobmsg_open_table(&buffer, "t");
    blobmsg_add_u8(&buffer, "x", 1);
    void *array = blobmsg_open_array(&buffer, "list");
    blobmsg_add_string(&buffer, nullptr, "a");
    blobmsg_add_string(&buffer, "", "b");
    void *inner = blobmsg_open_table(&buffer, nullptr);
    blobmsg_close_table(&buffer, inner);
    blobmsg_close_array(&buffer, array);
    blobmsg_close_table(&buffer, table);
    blobmsg_add_u8(&buffer, "y", 2);

    EXPECT_EQ(buffer.bytes(), (Bytes{
                                  0,    0, 0, 80,                                 //
                                  0x82, 0, 0, 64, 0, 1, 't', 0,                   //
                                  0x87, 0, 0, 9,  0, 1, 'x', 0,   1,   0,   0, 0, //
                                  0x81, 0, 0, 44, 0, 4, 'l', 'i', 's', 't', 0, 0, //
                                  0x83, 0, 0, 10, 0, 0, 0,   0,   'a', 0,   0, 0, //
                                  0x83, 0, 0, 10, 0, 0, 0,   0,   'b', 0,   0, 0, //
                                  0x82, 0, 0, 8,  0, 0, 0,   0,                   //
                                  0x87, 0, 0, 9,  0, 1, 'y', 0,   2,   0,   0, 0, //
                              }));
}

TEST(Blobmsg, NestThatIsNeverEndedLeavesOnlyItsOwnPayload)
{
    Buffer buffer;
    blobmsg_add_u8(&buffer, "first", 1);
    blobmsg_open_table(&buffer, "open");
    blobmsg_add_u8(&buffer, "inside", 1);
    Bytes inside = value(BLOBMSG_TYPE_INT8, "inside", {1});
    EXPECT_EQ(buffer.bytes(),
              Bytes(be32(0x82000000 | static_cast<uint32_t>(4 + 8 + inside.size()))) + header("open") + inside);

    // The payload is sent, name header included: a reader finds no field in it.
    Exact sent(message(header("open") + inside));
    const blobmsg_policy policy[] = {{"first", BLOBMSG_TYPE_UNSPEC}, {"inside", BLOBMSG_TYPE_UNSPEC}};
    blob_attr *table[2];
    blobmsg_parse(policy, 2, table, blob_data(sent.attr()), static_cast<unsigned>(blob_len(sent.attr())));
    EXPECT_EQ(table[0], nullptr);
    EXPECT_EQ(table[1], nullptr);
}

TEST(Blobmsg, NameEndsAtSixtyFourKilobytes)
{
    std::string longest(65535, 'n');
    std::string longer(65536, 'n');
    Buffer buffer;
    EXPECT_EQ(blobmsg_add_u8(&buffer, longer.c_str(), 1), -1);
    EXPECT_EQ(blobmsg_open_table(&buffer, longer.c_str()), nullptr);
    EXPECT_EQ(buffer.bytes(), be32(4));
    EXPECT_EQ(blobmsg_add_u8(&buffer, longest.c_str(), 1), 0);
    EXPECT_TRUE(buffer.bytes() == message(value(BLOBMSG_TYPE_INT8, longest, {1})));
}

TEST(Blobmsg, RefusesAFieldOfMoreThanAContainerHolds)
{
    Buffer buffer;
    for (unsigned length : {0xffffffu, 0x1000000u, 0x7fffffffu, 0xffffffffu})
        EXPECT_EQ(blobmsg_add_field(&buffer, BLOBMSG_TYPE_STRING, "n", nullptr, length), -1) << length;
    EXPECT_EQ(buffer.bytes(), be32(4));
}

bool never_grow(blob_buf *, int)
{
    return false;
}

TEST(Blobmsg, FailedGrowthAddsNothing)
{
    Buffer buffer;
    blobmsg_add_u8(&buffer, "first", 1);
    const Bytes before = buffer.bytes();
    auto *grow = buffer->grow;
    buffer->grow = never_grow;
    std::string large(4096, 'x');
    EXPECT_EQ(blobmsg_add_string(&buffer, "large", large.c_str()), -1);
    EXPECT_EQ(blobmsg_open_table(&buffer, large.c_str()), nullptr);
    EXPECT_EQ(buffer.bytes(), before);
    EXPECT_EQ(blobmsg_add_u8(&buffer, "last", 2), 0) << "what still fits is taken";
    buffer->grow = grow;
    EXPECT_EQ(buffer.bytes(), message(value(BLOBMSG_TYPE_INT8, "first", {1}) + value(BLOBMSG_TYPE_INT8, "last", {2})));
}

TEST(Blobmsg, ReadsWhatWasWritten)
{
    Buffer buffer;
    blobmsg_add_u8(&buffer, "u8", 0xfe);
    blobmsg_add_u16(&buffer, "u16", 0xfedc);
    blobmsg_add_u32(&buffer, "u32", 0xfedcba98);
    blobmsg_add_u64(&buffer, "u64", 0xfedcba9876543210);
    blobmsg_add_double(&buffer, "double", 3.25);
    blobmsg_add_string(&buffer, "string", "text");

    std::vector<blob_attr *> values;
    blob_attr *pos;
    size_t rem;
    blobmsg_for_each_attr (pos, buffer->head, rem)
        values.push_back(pos);
    ASSERT_EQ(values.size(), 6u);
    EXPECT_EQ(blobmsg_get_u8(values[0]), 0xfe);
    EXPECT_TRUE(blobmsg_get_bool(values[0]));
    EXPECT_EQ(blobmsg_get_u16(values[1]), 0xfedc);
    EXPECT_EQ(blobmsg_get_u32(values[2]), 0xfedcba98);
    EXPECT_EQ(blobmsg_get_u64(values[3]), 0xfedcba9876543210);
    EXPECT_EQ(blobmsg_get_double(values[4]), 3.25);
    EXPECT_STREQ(blobmsg_get_string(values[5]), "text");
    EXPECT_STREQ(blobmsg_name(values[5]), "string");
    EXPECT_EQ(blobmsg_type(values[5]), BLOBMSG_TYPE_STRING);
    EXPECT_EQ(blobmsg_data_len(values[5]), 5u);
    EXPECT_EQ(blobmsg_len(values[5]), 5u);
}

TEST(Blobmsg, NullAttributeHasNoValue)
{
    EXPECT_EQ(blobmsg_data(nullptr), nullptr);
    EXPECT_EQ(blobmsg_get_string(nullptr), nullptr);
    EXPECT_EQ(blobmsg_data_len(nullptr), 0u);
    blob_attr *none = nullptr;
    blob_attr *pos;
    size_t rem;
    blobmsg_for_each_attr (pos, none, rem)
        FAIL();
}

TEST(Blobmsg, CopiesAValueOfAnotherMessage)
{
    Exact original(value(BLOBMSG_TYPE_TABLE, "copied", value(BLOBMSG_TYPE_INT8, "x", {1})));
    Buffer buffer;
    EXPECT_EQ(blobmsg_add_blob(&buffer, original.attr()), 0);
    EXPECT_EQ(buffer.bytes(), message(bytes_of(original.attr())));
}

// -- Checking

struct CheckRow {
    const char *what;
    Bytes attribute;
    bool without_name, with_name;
};

const CheckRow kCheckRows[] = {
    {"named", value(BLOBMSG_TYPE_INT32, "name", be32(1)), true, true},
    {"nameless", value(BLOBMSG_TYPE_INT32, "", be32(1)), true, false},
    {"not extended", be32(0x0500000c) + be32(0x00000000) + be32(1), false, false},
    {"no room for the header", be32(0x80000006) + octets(0, 0, 0, 0), false, false},
    {"no header at all", be32(0x80000004), false, false},
    {"shorter than its own tag", be32(0x80000003), false, false},
    {"empty", be32(0x80000000), false, false},
    {"name longer than the attribute", be32(0x8000000c) + octets(0, 6, 'n', 'a', 'm', 'e', 's', 's'), false, false},
    {"name up to the end without its NUL", be32(0x80000008) + octets(0, 2, 'n', 'a'), false, false},
    {"the longest name", be32(0x80000008) + octets(0xff, 0xff, 'n', 0), false, false},
    {"name not terminated", be32(0x8500000c) + octets(0, 1, 'n', 'a') + be32(1), false, false},
    {"header's padding missing", be32(0x80000007) + octets(0, 0, 0, 0), false, false},
    {"unknown type", value(9, "name", be32(1)), false, false},
    {"the highest type", value(127, "name", be32(1)), false, false},
    {"null", value(BLOBMSG_TYPE_UNSPEC, "name", {}), true, true},
    {"null with a payload", value(BLOBMSG_TYPE_UNSPEC, "name", {1}), true, true},
    {"table of nothing", value(BLOBMSG_TYPE_TABLE, "name", {}), true, true},
    {"table of anything", value(BLOBMSG_TYPE_TABLE, "name", {1, 2, 3}), true, true},
    {"array of anything", value(BLOBMSG_TYPE_ARRAY, "name", {1, 2, 3}), true, true},
    {"string", value(BLOBMSG_TYPE_STRING, "name", {'a', 0}), true, true},
    {"empty string", value(BLOBMSG_TYPE_STRING, "name", {0}), true, true},
    {"string of no bytes", value(BLOBMSG_TYPE_STRING, "name", {}), false, false},
    {"string without its NUL", value(BLOBMSG_TYPE_STRING, "name", {'a', 'b', 'c', 'd'}), false, false},
    {"int8 too short", value(BLOBMSG_TYPE_INT8, "name", {}), false, false},
    {"int8", value(BLOBMSG_TYPE_INT8, "name", {1}), true, true},
    {"int8 too long", value(BLOBMSG_TYPE_INT8, "name", {1, 2}), false, false},
    {"int16 too short", value(BLOBMSG_TYPE_INT16, "name", {1}), false, false},
    {"int16", value(BLOBMSG_TYPE_INT16, "name", {1, 2}), true, true},
    {"int16 too long", value(BLOBMSG_TYPE_INT16, "name", {1, 2, 3}), false, false},
    {"int32 too short", value(BLOBMSG_TYPE_INT32, "name", {1, 2, 3}), false, false},
    {"int32 too long", value(BLOBMSG_TYPE_INT32, "name", {1, 2, 3, 4, 5}), false, false},
    {"int64 too short", value(BLOBMSG_TYPE_INT64, "name", be32(1)), false, false},
    {"int64", value(BLOBMSG_TYPE_INT64, "name", be64(1)), true, true},
    {"int64 too long", value(BLOBMSG_TYPE_INT64, "name", be64(1) + octets(1)), false, false},
    {"double too short", value(BLOBMSG_TYPE_DOUBLE, "name", be32(1)), false, false},
    {"double", value(BLOBMSG_TYPE_DOUBLE, "name", be64(1)), true, true},
    {"double too long", value(BLOBMSG_TYPE_DOUBLE, "name", be64(1) + octets(1)), false, false},
};

TEST(Blobmsg, CheckTakesWellFormedValuesOnly)
{
    for (const CheckRow &row : kCheckRows) {
        Exact exact(row.attribute);
        EXPECT_EQ(blobmsg_check_attr(exact.attr(), false), row.without_name) << row.what;
        EXPECT_EQ(blobmsg_check_attr(exact.attr(), true), row.with_name) << row.what;
    }
}

TEST(Blobmsg, CheckRefusesWhatIsNotAllThere)
{
    const Bytes whole = value(BLOBMSG_TYPE_INT8, "name", {1});
    const size_t length = whole.size() - 3; // the padding is not the attribute's
    for (size_t have = 0; have < length; have++) {
        Exact exact(Bytes(whole.begin(), whole.begin() + static_cast<long>(have)));
        EXPECT_FALSE(blobmsg_check_attr_len(exact.attr(), true, have)) << have;
    }
    EXPECT_TRUE(blobmsg_check_attr_len(Exact(whole).attr(), true, length));
    EXPECT_TRUE(blobmsg_check_attr_len(Exact(whole).attr(), true, length + 100));
}

TEST(Blobmsg, ValueOfAHeaderThatDoesNotFitIsEmpty)
{
    Exact exact(be32(0x80000008) + octets(0xff, 0xff, 'n', 0));
    EXPECT_EQ(blobmsg_data_len(exact.attr()), 0u);
}

// -- Parsing

enum { kName, kCount, kAny, kList, kFieldCount };

const blobmsg_policy kPolicy[kFieldCount] = {
    {.name = "name", .type = BLOBMSG_TYPE_STRING},
    {.name = "count", .type = BLOBMSG_TYPE_INT32},
    {.name = "any", .type = BLOBMSG_TYPE_UNSPEC},
    {.name = "list", .type = BLOBMSG_TYPE_ARRAY},
};

struct Parsed {
    int result;
    // Offsets in the message, -1 where absent.
    std::vector<long> offsets;
    bool operator==(const Parsed &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Parsed &parsed)
{
    out << parsed.result << ":";
    for (long offset : parsed.offsets)
        out << " " << offset;
    return out;
}

Parsed parse(const Exact &data)
{
    auto *begin = reinterpret_cast<char *>(data.attr());
    blob_attr *table[kFieldCount];
    std::fill_n(table, kFieldCount, data.attr());
    int result = blobmsg_parse(kPolicy, kFieldCount, table, begin, static_cast<unsigned>(data.size()));
    Parsed parsed = {result < 0 ? -1 : result, {}};
    for (blob_attr *attr : table)
        parsed.offsets.push_back(attr ? reinterpret_cast<char *>(attr) - begin : -1);
    return parsed;
}

const Bytes kNameValue = value(BLOBMSG_TYPE_STRING, "name", {'a', 0}); // 16 bytes
const Bytes kCountValue = value(BLOBMSG_TYPE_INT32, "count", be32(7)); // 16 bytes

struct ParseRow {
    const char *what;
    Bytes values;
    Parsed expected;
};

const ParseRow kParseRows[] = {
    {"in order", kNameValue + kCountValue, {0, {0, 16, -1, -1}}},
    {"in another order", kCountValue + kNameValue, {0, {16, 0, -1, -1}}},
    {"another type", value(BLOBMSG_TYPE_INT64, "count", be64(7)) + kNameValue, {0, {20, -1, -1, -1}}},
    {"the right type after another one", value(BLOBMSG_TYPE_INT8, "count", {7}) + kCountValue, {0, {-1, 16, -1, -1}}},
    {"a second value of a name", kNameValue + kNameValue, {0, {0, -1, -1, -1}}},
    {"a policy of any type", value(BLOBMSG_TYPE_INT8, "any", {1}), {0, {-1, -1, 0, -1}}},
    {"a null is no string", value(BLOBMSG_TYPE_UNSPEC, "name", {}), {0, {-1, -1, -1, -1}}},
    {"unknown names",
     value(BLOBMSG_TYPE_INT8, "nam", {1}) + value(BLOBMSG_TYPE_INT8, "names", {1}) + kNameValue,
     {0, {32, -1, -1, -1}}},
    {"a name with a NUL in it",
     value(BLOBMSG_TYPE_STRING, std::string_view("name\0x", 6), {'a', 0}),
     {0, {-1, -1, -1, -1}}},
    {"malformed ends it, what came before stays",
     kNameValue + value(BLOBMSG_TYPE_INT32, "x", {1}) + kCountValue,
     {-1, {0, -1, -1, -1}}},
    {"an unknown type is malformed", kNameValue + value(9, "count", be32(7)) + kCountValue, {-1, {0, -1, -1, -1}}},
    {"a string without end", value(BLOBMSG_TYPE_STRING, "name", text("abcd")), {-1, {-1, -1, -1, -1}}},
    {"no name", kNameValue + value(BLOBMSG_TYPE_INT32, "", be32(7)) + kCountValue, {-1, {0, -1, -1, -1}}},
    {"not extended", kNameValue + be32(0x05000008) + be32(0), {-1, {0, -1, -1, -1}}},
    {"a length of nothing", kNameValue + be32(0x85000000) + kCountValue, {-1, {0, -1, -1, -1}}},
    {"a length of less than the tag", kNameValue + be32(0x85000003) + kCountValue, {-1, {0, -1, -1, -1}}},
    {"one that claims too much", kNameValue + be32(0x85000014) + header("count") + be32(7), {0, {0, -1, -1, -1}}},
    {"one that claims the most", kNameValue + be32(0x85ffffff) + header("count") + be32(7), {0, {0, -1, -1, -1}}},
    {"bytes left over", kNameValue + octets(0x85, 0, 0), {0, {0, -1, -1, -1}}},
    {"a list", value(BLOBMSG_TYPE_ARRAY, "list", value(BLOBMSG_TYPE_INT8, "", {1})), {0, {-1, -1, -1, 0}}},
    {"a malformed list is its reader's to check", value(BLOBMSG_TYPE_ARRAY, "list", {1, 2, 3}), {0, {-1, -1, -1, 0}}},
};

TEST(Blobmsg, ParseFollowsThePolicy)
{
    for (const ParseRow &row : kParseRows)
        EXPECT_EQ(parse(Exact(row.values)), row.expected) << row.what;
}

TEST(Blobmsg, ParseOfNothingFailsWithAnEmptyTable)
{
    blob_attr dummy = {};
    for (void *data : {static_cast<void *>(nullptr), static_cast<void *>(&dummy)}) {
        blob_attr *table[kFieldCount];
        std::fill_n(table, kFieldCount, &dummy);
        EXPECT_EQ(blobmsg_parse(kPolicy, kFieldCount, table, data, data ? 0 : 4), -22);
        EXPECT_EQ(std::count(table, table + kFieldCount, nullptr), kFieldCount);
    }
}

TEST(Blobmsg, ParseGivesEqualPoliciesTheSameValue)
{
    const blobmsg_policy policy[] = {{nullptr}, {"n", BLOBMSG_TYPE_INT8}, {"n", BLOBMSG_TYPE_UNSPEC}};
    Exact data(value(BLOBMSG_TYPE_INT8, "n", {1}) + value(BLOBMSG_TYPE_INT8, "n", {2}));
    blob_attr *table[3];
    EXPECT_EQ(blobmsg_parse(policy, 3, table, data.attr(), static_cast<unsigned>(data.size())), 0);
    ASSERT_TRUE(!table[0] && table[1] && table[2]);
    EXPECT_EQ(blobmsg_get_u8(table[1]), 1);
    EXPECT_EQ(blobmsg_get_u8(table[2]), 1);
}

TEST(Blobmsg, ParseOfEveryTruncationFindsWhatIsWhole)
{
    const Bytes whole = kNameValue + kCountValue + value(BLOBMSG_TYPE_TABLE, "any", kNameValue);
    ASSERT_EQ(whole.size(), 60u);
    for (size_t length = 1; length <= whole.size(); length++) {
        Exact data(Bytes(whole.begin(), whole.begin() + static_cast<long>(length)));
        Parsed expected = {0, {16 <= length ? 0 : -1, 32 <= length ? 16 : -1, 60 <= length ? 32 : -1, -1}};
        EXPECT_EQ(parse(data), expected) << length;
    }
}

// Reads every value of a message as a handler would: checked, then by its type.
size_t read_all(const blob_attr *attr)
{
    size_t sum = 0;
    blob_attr *pos;
    size_t rem;
    blobmsg_for_each_attr (pos, attr, rem) {
        if (!blobmsg_check_attr(pos, false))
            continue;
        sum += strlen(blobmsg_name(pos));
        switch (blobmsg_type(pos)) {
        case BLOBMSG_TYPE_STRING:
            sum += strlen(blobmsg_get_string(pos));
            break;
        case BLOBMSG_TYPE_INT64:
        case BLOBMSG_TYPE_DOUBLE:
            sum += blobmsg_get_u64(pos);
            break;
        case BLOBMSG_TYPE_INT32:
            sum += blobmsg_get_u32(pos);
            break;
        case BLOBMSG_TYPE_TABLE:
        case BLOBMSG_TYPE_ARRAY:
            sum += read_all(pos);
            break;
        }
    }
    return sum;
}

TEST(Blobmsg, ReadsNothingBeyondADamagedMessage)
{
    std::mt19937 random(1);
    const Bytes whole = kNameValue + kCountValue + value(BLOBMSG_TYPE_INT64, "any", be64(1)) +
                        value(BLOBMSG_TYPE_ARRAY, "list",
                              value(BLOBMSG_TYPE_STRING, "", {'x', 0}) + value(BLOBMSG_TYPE_TABLE, "", kCountValue));
    size_t sum = 0;
    for (int round = 0; round < 50000; round++) {
        Bytes damaged = whole;
        for (unsigned hits = 1 + random() % 4; hits != 0; hits--)
            damaged[random() % damaged.size()] ^= static_cast<uint8_t>(1u << random() % 8);
        damaged.resize(1 + random() % damaged.size());
        Exact values(damaged);
        parse(values);
        sum += read_all(Exact(message(damaged)).attr());
    }
    EXPECT_NE(sum, 0u);
}

// As parse_array finds them: what stands at each place of the policy, as text.
std::vector<std::string> places(std::vector<enum blobmsg_type> types, const Bytes &elements, int *status)
{
    std::vector<blobmsg_policy> policy;
    for (enum blobmsg_type type : types)
        policy.push_back({nullptr, type});
    std::vector<blob_attr *> table(types.size());
    Exact array(value(BLOBMSG_TYPE_ARRAY, "list", elements));
    *status = blobmsg_parse_array_attr(policy.data(), static_cast<int>(types.size()), table.data(), array.attr());
    std::vector<std::string> found;
    for (blob_attr *attr : table) {
        if (!attr)
            found.emplace_back("-");
        else if (blobmsg_type(attr) == BLOBMSG_TYPE_STRING)
            found.emplace_back(blobmsg_get_string(attr));
        else
            found.push_back(std::to_string(blobmsg_cast_s64(attr)));
    }
    return found;
}

TEST(Blobmsg, ParseOfAnArrayWaitsForAnElementOfItsType)
{
    const Bytes one = value(BLOBMSG_TYPE_STRING, "", {'o', 'n', 'e', 0}), two = value(BLOBMSG_TYPE_INT32, "", be32(2)),
                three = value(BLOBMSG_TYPE_STRING, "", {'t', 'h', 0});
    int status;
    EXPECT_EQ(places({BLOBMSG_TYPE_INT32, BLOBMSG_TYPE_STRING, BLOBMSG_TYPE_STRING}, one + two + three, &status),
              (std::vector<std::string>{"2", "th", "-"}));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(places({BLOBMSG_TYPE_UNSPEC, BLOBMSG_CAST_INT64}, one + two + three, &status),
              (std::vector<std::string>{"one", "2"}));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(places({BLOBMSG_TYPE_STRING, BLOBMSG_TYPE_INT32}, one + value(BLOBMSG_TYPE_INT32, "", {1, 2}), &status),
              (std::vector<std::string>{"one", "-"}));
    EXPECT_EQ(status, -1);
}

TEST(Blobmsg, ParseOfAnAttributeReadsItsContent)
{
    const blobmsg_policy policy = {"n", BLOBMSG_CAST_INT64};
    blob_attr *found;
    for (const Bytes &n : {value(BLOBMSG_TYPE_INT8, "n", {7}), value(BLOBMSG_TYPE_INT64, "n", be64(7))}) {
        Exact table(value(BLOBMSG_TYPE_TABLE, "t", n));
        EXPECT_EQ(blobmsg_parse_attr(&policy, 1, &found, table.attr()), 0);
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(blobmsg_cast_u64(found), 7u);
    }
    EXPECT_EQ(blobmsg_parse_attr(&policy, 1, &found, nullptr), -22);
    EXPECT_EQ(found, nullptr);
}

TEST(Blobmsg, CastsIntegersOfEveryWidth)
{
    Buffer buffer;
    blobmsg_add_u8(&buffer, "a", 0xff);
    blobmsg_add_u16(&buffer, "a", 0xffff);
    blobmsg_add_u32(&buffer, "a", 0xffffffff);
    blobmsg_add_u64(&buffer, "a", UINT64_MAX);
    blobmsg_add_string(&buffer, "a", "1");
    std::vector<uint64_t> without;
    std::vector<int64_t> with;
    blob_attr *attr;
    size_t rem;
    blob_for_each_attr (attr, buffer->head, rem) {
        without.push_back(blobmsg_cast_u64(attr));
        with.push_back(blobmsg_cast_s64(attr));
    }
    EXPECT_EQ(without, (std::vector<uint64_t>{0xff, 0xffff, 0xffffffff, UINT64_MAX, 0}));
    EXPECT_EQ(with, (std::vector<int64_t>{-1, -1, -1, -1, 0}));
}

TEST(Blobmsg, CountsTheElementsOfAnArrayOrTable)
{
    const Bytes one = value(BLOBMSG_TYPE_INT32, "", be32(1)), named = value(BLOBMSG_TYPE_INT32, "n", be32(1)),
                string = value(BLOBMSG_TYPE_STRING, "", {'x', 0});
    const struct {
        const char *what;
        Bytes attribute;
        int type;
        int expected;
    } rows[] = {
        {"array", value(BLOBMSG_TYPE_ARRAY, "a", one + one), BLOBMSG_TYPE_INT32, 2},
        {"empty array", value(BLOBMSG_TYPE_ARRAY, "a", {}), BLOBMSG_TYPE_INT32, 0},
        {"any type", value(BLOBMSG_TYPE_ARRAY, "a", one + string), BLOBMSG_TYPE_UNSPEC, 2},
        {"another type", value(BLOBMSG_TYPE_ARRAY, "a", one + string), BLOBMSG_TYPE_INT32, -1},
        {"table", value(BLOBMSG_TYPE_TABLE, "a", named), BLOBMSG_TYPE_INT32, 1},
        {"nameless in a table", value(BLOBMSG_TYPE_TABLE, "a", named + one), BLOBMSG_TYPE_INT32, -1},
        {"malformed", value(BLOBMSG_TYPE_ARRAY, "a", one + value(BLOBMSG_TYPE_INT32, "", {1})), BLOBMSG_TYPE_UNSPEC,
         -1},
        {"neither", value(BLOBMSG_TYPE_STRING, "a", {'x', 0}), BLOBMSG_TYPE_UNSPEC, -1},
    };
    for (const auto &row : rows) {
        Exact data(row.attribute);
        EXPECT_EQ(blobmsg_check_array(data.attr(), row.type), row.expected) << row.what;
        EXPECT_EQ(blobmsg_check_attr_list(data.attr(), row.type), row.expected >= 0) << row.what;
        EXPECT_EQ(blobmsg_check_array_len(data.attr(), row.type, blob_raw_len(data.attr()) - 1), -1) << row.what;
    }
}

TEST(Blobmsg, PrintsAString)
{
    Buffer buffer, plain;
    EXPECT_EQ(blobmsg_printf(&buffer, "s", "%d and %s", 5, "six"), 9);
    EXPECT_EQ(blobmsg_printf(&buffer, "empty", "%s", ""), 0);
    blobmsg_add_string(&plain, "s", "5 and six");
    blobmsg_add_string(&plain, "empty", "");
    EXPECT_EQ(buffer.bytes(), plain.bytes());
}

TEST(Blobmsg, StringMayBeWrittenInPlace)
{
    Buffer buffer, plain;
    blobmsg_add_u8(&buffer, "before", 1);
    const Bytes before = buffer.bytes();
    auto *text = static_cast<char *>(blobmsg_alloc_string_buffer(&buffer, "s", 10));
    ASSERT_NE(text, nullptr);
    strcpy(text, "ten bytes.");
    EXPECT_EQ(buffer.bytes(), before) << "not yet part of the message";
    text = static_cast<char *>(blobmsg_realloc_string_buffer(&buffer, 5000));
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "ten bytes.");
    memset(text + 10, 'x', 4000);
    text[4010] = '\0';
    blobmsg_add_string_buffer(&buffer);
    blobmsg_add_u8(&buffer, "after", 1);
    blobmsg_add_u8(&plain, "before", 1);
    blobmsg_add_string(&plain, "s", ("ten bytes." + std::string(4000, 'x')).c_str());
    blobmsg_add_u8(&plain, "after", 1);
    EXPECT_EQ(buffer.bytes(), plain.bytes());
}

TEST(Blobmsg, StringWrittenToItsLastByteIsEnded)
{
    Buffer buffer, plain;
    memset(blobmsg_alloc_string_buffer(&buffer, "s", 3), 'x', 4);
    blobmsg_add_string_buffer(&buffer);
    blobmsg_add_string(&plain, "s", "xxx");
    EXPECT_EQ(buffer.bytes(), plain.bytes());
}

} // namespace
