#include "tests/ubox/ubox.h"

#include <gtest/gtest.h>
#include <random>

namespace
{

TEST(Blob, EncodesEveryKindOfAttribute)
{
    Buffer buffer;
    const uint8_t binary[] = {1, 2, 3, 4, 5};

    EXPECT_NE(blob_put_u8(&buffer, 1, 0xfe), nullptr);
    EXPECT_NE(blob_put_u16(&buffer, 2, 0x0102), nullptr);
    EXPECT_NE(blob_put_u32(&buffer, 3, 0x01020304), nullptr);
    EXPECT_NE(blob_put_u64(&buffer, 4, 0x0102030405060708), nullptr);
    EXPECT_NE(blob_put_string(&buffer, 5, "wlan0"), nullptr);
    EXPECT_NE(blob_put(&buffer, 127, binary, sizeof(binary)), nullptr);
    EXPECT_NE(blob_put(&buffer, 6, nullptr, 0), nullptr);

    EXPECT_EQ(buffer.bytes(), (Bytes{
                                  0,    0, 0, 68,                                    //
                                  1,    0, 0, 5,  0xfe, 0,   0,   0,                 //
                                  2,    0, 0, 6,  1,    2,   0,   0,                 //
                                  3,    0, 0, 8,  1,    2,   3,   4,                 //
                                  4,    0, 0, 12, 1,    2,   3,   4,   5,   6, 7, 8, //
                                  5,    0, 0, 10, 'w',  'l', 'a', 'n', '0', 0, 0, 0, //
                                  0x7f, 0, 0, 9,  1,    2,   3,   4,   5,   0, 0, 0, //
                                  6,    0, 0, 4,                                     //
                              }));
}

TEST(Blob, SignedAliasesWriteTheSameBytes)
{
    Buffer buffer;
    blob_put_int8(&buffer, 1, -1);
    blob_put_int16(&buffer, 1, -2);
    blob_put_int32(&buffer, 1, -3);
    blob_put_int64(&buffer, 1, -4);

    EXPECT_EQ(buffer.bytes(), be32(40) + be32(0x01000005) + octets(0xff, 0, 0, 0) + be32(0x01000006) +
                                  octets(0xff, 0xfe, 0, 0) + be32(0x01000008) + be32(0xfffffffd) + be32(0x0100000c) +
                                  be64(0xfffffffffffffffc));
}

TEST(Blob, ReadsIntegersAtAnyAlignment)
{
    const Bytes attribute = be32(0x0100000c) + be64(0xf1f2f3f4f5f6f7f8);
    for (size_t shift = 0; shift < 8; shift++) {
        Bytes memory = Bytes(shift, 0) + attribute;
        auto *attr = reinterpret_cast<blob_attr *>(memory.data() + shift);
        EXPECT_EQ(blob_get_u8(attr), 0xf1);
        EXPECT_EQ(blob_get_u16(attr), 0xf1f2);
        EXPECT_EQ(blob_get_u32(attr), 0xf1f2f3f4);
        EXPECT_EQ(blob_get_u64(attr), 0xf1f2f3f4f5f6f7f8);
        EXPECT_EQ(blob_get_int8(attr), -15);
        EXPECT_EQ(blob_get_int16(attr), -3598);
        EXPECT_EQ(blob_get_int32(attr), -235736076);
        EXPECT_EQ(blob_get_int64(attr), -1012478732780767240);
    }
}

TEST(Blob, SplitsTheTag)
{
    const Bytes tag = be32(0xffabcdef);
    Exact exact(tag);
    EXPECT_TRUE(blob_is_extended(exact.attr()));
    EXPECT_EQ(blob_id(exact.attr()), 0x7fu);
    EXPECT_EQ(blob_raw_len(exact.attr()), 0xabcdefu);
    EXPECT_EQ(blob_len(exact.attr()), 0xabcdebu);
    EXPECT_EQ(blob_pad_len(exact.attr()), 0xabcdf0u);
    EXPECT_FALSE(blob_is_extended(Exact(be32(0x7f000004)).attr()));
}

TEST(Blob, TooShortAnAttributeHasNoPayload)
{
    for (uint32_t length = 0; length <= 4; length++)
        EXPECT_EQ(blob_len(Exact(be32(length)).attr()), 0u) << length;
}

TEST(Blob, InitialisesAgainAsEmpty)
{
    Buffer buffer;
    blob_put_string(&buffer, 5, "a text that is gone afterwards");
    void *memory = buffer->buf;
    EXPECT_EQ(blob_buf_init(&buffer, 3), 0);
    EXPECT_EQ(buffer.bytes(), be32(0x03000004));
    EXPECT_EQ(buffer->buf, memory) << "the memory is used again";
}

TEST(Blob, FreeLeavesAZeroedBuffer)
{
    blob_buf buffer = {};
    blob_buf_init(&buffer, 0);
    blob_put_u32(&buffer, 1, 1);
    blob_buf_free(&buffer);
    EXPECT_EQ(buffer.head, nullptr);
    EXPECT_EQ(buffer.grow, nullptr);
    EXPECT_EQ(buffer.buflen, 0);
    EXPECT_EQ(buffer.buf, nullptr);
    blob_buf_free(&buffer);
}

TEST(Blob, RefusesToAppendBeforeInit)
{
    blob_buf buffer = {};
    EXPECT_EQ(blob_put_u32(&buffer, 1, 1), nullptr);
    EXPECT_EQ(blob_nest_start(&buffer, 1), nullptr);
    blob_nest_end(&buffer, nullptr);
    EXPECT_EQ(buffer.buf, nullptr);
}

TEST(Blob, NewLeavesThePayloadToTheCallerAndZeroesThePadding)
{
    Buffer buffer;
    blob_put(&buffer, 1, "\xff\xff\xff\xff\xff\xff\xff\xff", 8);
    blob_buf_init(&buffer, 0);
    blob_attr *attr = blob_new(&buffer, 2, 2);
    ASSERT_NE(attr, nullptr);
    memcpy(blob_data(attr), "xy", 2);
    EXPECT_EQ(buffer.bytes(), be32(12) + be32(0x02000006) + octets('x', 'y', 0, 0));
    EXPECT_EQ(blob_new(&buffer, 2, -1), nullptr);
    EXPECT_EQ(buffer.bytes().size(), 12u);
}

TEST(Blob, NestsContainers)
{
    Buffer buffer;
    blob_put_u8(&buffer, 9, 9);
    void *outer = blob_nest_start(&buffer, 1);
    blob_put_u8(&buffer, 2, 0xaa);
    void *inner = blob_nest_start(&buffer, 3);
    blob_put_u8(&buffer, 4, 0xbb);
    blob_nest_end(&buffer, inner);
    void *empty = blob_nest_start(&buffer, 5);
    blob_nest_end(&buffer, empty);
    blob_nest_end(&buffer, outer);
    blob_put_u8(&buffer, 6, 0xcc);

    ASSERT_NE(outer, nullptr);
    EXPECT_EQ(buffer.bytes(), be32(48) + be32(0x09000005) + octets(9, 0, 0, 0) +                //
                                  be32(0x0100001c) + be32(0x02000005) + octets(0xaa, 0, 0, 0) + //
                                  be32(0x0300000c) + be32(0x04000005) + octets(0xbb, 0, 0, 0) + //
                                  be32(0x05000004) +                                            //
                                  be32(0x06000005) + octets(0xcc, 0, 0, 0));
}

TEST(Blob, CookieOfTheOutermostContainerIsNotNull)
{
    Buffer buffer;
    EXPECT_NE(blob_nest_start(&buffer, 1), nullptr);
}

TEST(Blob, NestSurvivesTheMovesOfAGrowingBuffer)
{
    Buffer buffer;
    Bytes expected;
    void *cookie = blob_nest_start(&buffer, 1);
    for (uint32_t i = 0; i < 100000; i++) {
        ASSERT_NE(blob_put_u32(&buffer, 2, i), nullptr);
        expected = std::move(expected) + be32(0x02000008) + be32(i);
    }
    blob_nest_end(&buffer, cookie);
    EXPECT_TRUE(buffer.bytes() == be32(800008) + be32(0x01000000 + 800004) + expected);
}

TEST(Blob, NestThatIsNeverEndedStaysTheHead)
{
    Buffer buffer;
    blob_put_u8(&buffer, 9, 9);
    blob_nest_start(&buffer, 1);
    blob_put_u8(&buffer, 2, 2);
    EXPECT_EQ(buffer.bytes(), be32(0x0100000c) + be32(0x02000005) + octets(2, 0, 0, 0));
    // Its neighbours are whole all the same.
    EXPECT_EQ(bytes_of(static_cast<blob_attr *>(buffer->buf)), be32(12) + be32(0x09000005) + octets(9, 0, 0, 0));
}

TEST(Blob, EndingANullCookieOrOneTwiceDoesNothing)
{
    Buffer buffer;
    void *cookie = blob_nest_start(&buffer, 1);
    blob_nest_end(&buffer, nullptr);
    EXPECT_EQ(buffer.bytes(), be32(0x01000004));
    blob_nest_end(&buffer, cookie);
    const Bytes ended = be32(8) + be32(0x01000004);
    EXPECT_EQ(buffer.bytes(), ended);
    blob_nest_end(&buffer, cookie);
    blob_nest_end(&buffer, nullptr);
    EXPECT_EQ(buffer.bytes(), ended);
}

TEST(Blob, EndingTheOuterNestEndsTheInnerOne)
{
    Buffer buffer;
    void *outer = blob_nest_start(&buffer, 1);
    void *inner = blob_nest_start(&buffer, 2);
    blob_put_u32(&buffer, 3, 3);
    blob_nest_end(&buffer, outer);
    const Bytes ended = buffer.bytes();
    EXPECT_EQ(ended.size(), 20u);
    blob_nest_end(&buffer, inner);
    EXPECT_EQ(buffer.bytes(), ended);
}

TEST(Blob, ContainerEndsAtSixteenMegabytes)
{
    constexpr unsigned kFilling = 0xfffffc - 8 - 8; // container, its own header, and room for one more of 8
    Buffer buffer;
    const Bytes filling(kFilling, 'x');
    ASSERT_NE(blob_put(&buffer, 1, filling.data(), kFilling), nullptr);
    EXPECT_EQ(blob_put(&buffer, 2, "12345", 5), nullptr);
    EXPECT_EQ(blob_raw_len(buffer->head), 0xfffffcu - 8);
    EXPECT_NE(blob_put(&buffer, 2, "1234", 4), nullptr);
    EXPECT_EQ(blob_raw_len(buffer->head), 0xfffffcu);
    EXPECT_EQ(blob_put(&buffer, 3, nullptr, 0), nullptr);
    EXPECT_EQ(blob_nest_start(&buffer, 3), nullptr);
    EXPECT_EQ(blob_raw_len(buffer->head), 0xfffffcu);
    EXPECT_EQ(blob_id(buffer->head), 0u);
}

TEST(Blob, LimitCountsWhatStandsAroundANest)
{
    Buffer buffer;
    const Bytes filling(0x800000, 'x');
    ASSERT_NE(blob_put(&buffer, 1, filling.data(), 0x7ffff0), nullptr);
    void *cookie = blob_nest_start(&buffer, 2);
    ASSERT_NE(cookie, nullptr);
    EXPECT_EQ(blob_put(&buffer, 3, filling.data(), 0x7ffffd), nullptr);
    EXPECT_NE(blob_put(&buffer, 3, filling.data(), 0x7ffffc), nullptr);
    EXPECT_EQ(blob_nest_start(&buffer, 4), nullptr);
    blob_nest_end(&buffer, cookie);
    EXPECT_EQ(blob_raw_len(buffer->head), 0xfffffcu);
}

TEST(Blob, RefusesLengthsThatWouldWrapAround)
{
    Buffer buffer;
    for (unsigned length : {0x1000000u, 0x7fffffffu, 0x80000000u, 0xfffffff8u, 0xfffffffcu, 0xffffffffu})
        EXPECT_EQ(blob_put(&buffer, 4, nullptr, length), nullptr) << length;
    EXPECT_EQ(buffer.bytes(), be32(4));
}

// A buffer that may grow so often and no more.
int growths_left;

bool grow_while_allowed(blob_buf *buffer, int minlen)
{
    if (growths_left-- <= 0)
        return false;
    void *memory = realloc(buffer->buf, static_cast<size_t>(buffer->buflen + minlen));
    buffer->buf = memory;
    buffer->buflen += minlen;
    return true;
}

TEST(Blob, FailedGrowthLeavesTheBufferAsItWas)
{
    blob_buf buffer = {};
    buffer.grow = grow_while_allowed;
    growths_left = 0;
    EXPECT_EQ(blob_buf_init(&buffer, 7), -1);
    EXPECT_EQ(blob_put_u32(&buffer, 1, 1), nullptr);

    growths_left = 2;
    ASSERT_EQ(blob_buf_init(&buffer, 7), 0);
    ASSERT_NE(blob_put_u32(&buffer, 1, 1), nullptr);
    const Bytes before = be32(0x0700000c) + be32(0x01000008) + be32(1);
    EXPECT_EQ(blob_put_u32(&buffer, 2, 2), nullptr);
    EXPECT_EQ(blob_new(&buffer, 2, 2), nullptr);
    void *cookie = blob_nest_start(&buffer, 3);
    EXPECT_EQ(cookie, nullptr);
    EXPECT_EQ(bytes_of(buffer.head), before);

    growths_left = 1; // what follows a failed nest goes to its parent, and the nest's end changes nothing
    EXPECT_NE(blob_put_u32(&buffer, 4, 4), nullptr);
    blob_nest_end(&buffer, cookie);
    EXPECT_EQ(bytes_of(buffer.head), be32(0x07000014) + be32(0x01000008) + be32(1) + be32(0x04000008) + be32(4));
    blob_buf_free(&buffer);
}

// -- Walking and parsing

TEST(Blob, WalksUpToWhatDoesNotFit)
{
    struct Row {
        const char *what;
        Bytes message;
        std::vector<unsigned> ids;
    };
    const Bytes one = be32(0x01000005) + octets(1, 0, 0, 0);
    const Row rows[] = {
        {"nothing", be32(4), {}},
        {"one", be32(12) + one, {1}},
        {"an empty one last", be32(16) + one + be32(0x02000004), {1, 2}},
        {"three bytes left", be32(15) + one + octets(2, 0, 0), {1}},
        {"one that claims too much", be32(20) + one + be32(0x02000009) + be32(0), {1}},
        {"one without its padding", be32(17) + one + be32(0x02000005) + octets(2), {1}},
        {"length 0", be32(20) + one + be32(0x02000000) + be32(0x03000004), {1}},
        {"length 3", be32(20) + one + be32(0x02000003) + be32(0x03000004), {1}},
        {"the largest length", be32(20) + one + be32(0x02ffffff) + be32(0x03000004), {1}},
        {"a container shorter than its header", be32(3), {}},
    };
    for (const Row &row : rows) {
        Exact message(row.message);
        std::vector<unsigned> ids;
        blob_attr *pos;
        size_t rem;
        blob_for_each_attr (pos, message.attr(), rem)
            ids.push_back(blob_id(pos));
        EXPECT_EQ(ids, row.ids) << row.what;
    }
}

TEST(Blob, WalksNothingInANullAttribute)
{
    blob_attr *none = nullptr;
    blob_attr *pos;
    size_t rem;
    blob_for_each_attr (pos, none, rem)
        FAIL();
}

enum { kNested = 1, kBinary, kString, kInt8, kInt16, kInt32, kInt64, kDouble, kAny, kIdCount };

const blob_attr_info kInfo[kIdCount] = {
    {},
    {.type = BLOB_ATTR_NESTED},
    {.type = BLOB_ATTR_BINARY},
    {.type = BLOB_ATTR_STRING},
    {.type = BLOB_ATTR_INT8},
    {.type = BLOB_ATTR_INT16},
    {.type = BLOB_ATTR_INT32},
    {.type = BLOB_ATTR_INT64},
    {.type = BLOB_ATTR_DOUBLE},
    {.type = BLOB_ATTR_UNSPEC},
};

// Which ids of a message are found, and whether the count says the same.
std::vector<int> parsed_ids(const Exact &message, const blob_attr_info *info, int max = kIdCount)
{
    std::vector<blob_attr *> table(static_cast<size_t>(max), message.attr());
    int count = blob_parse_untrusted(message.attr(), message.size(), table.data(), info, max);
    std::vector<int> ids;
    for (int id = 0; id < max; id++)
        if (table[static_cast<size_t>(id)])
            ids.push_back(id);
    EXPECT_EQ(count, static_cast<int>(ids.size()));
    return ids;
}

Bytes attribute(unsigned id, const Bytes &payload)
{
    return padded(be32(id << 24 | static_cast<uint32_t>(payload.size() + 4)) + payload);
}

Bytes container(const Bytes &attributes)
{
    return be32(static_cast<uint32_t>(attributes.size() + 4)) + attributes;
}

TEST(Blob, ParseTakesATypeOnlyAtItsWidth)
{
    const std::vector<size_t> widths[kIdCount] = {
        {0, 1, 2, 3, 4, 5, 7, 8, 9},
        {0, 1, 2, 3, 4, 5, 7, 8, 9},
        {0, 1, 2, 3, 4, 5, 7, 8, 9},
        {1, 2, 3, 4, 5, 7, 8, 9},
        {1},
        {2},
        {4},
        {8},
        {8},
        {0, 1, 2, 3, 4, 5, 7, 8, 9},
    };
    for (int id = 0; id < kIdCount; id++) {
        std::vector<size_t> taken;
        for (size_t width : {0, 1, 2, 3, 4, 5, 7, 8, 9}) {
            Exact message(container(attribute(static_cast<unsigned>(id), Bytes(width, 0))));
            if (!parsed_ids(message, kInfo).empty())
                taken.push_back(width);
        }
        EXPECT_EQ(taken, widths[id]) << id;
    }
}

TEST(Blob, ParseTakesAStringOnlyWithItsEnd)
{
    EXPECT_EQ(parsed_ids(Exact(container(attribute(kString, text("abc")))), kInfo), std::vector<int>{});
    EXPECT_EQ(parsed_ids(Exact(container(attribute(kString, octets('a', 0)))), kInfo), std::vector<int>{kString});
    EXPECT_EQ(parsed_ids(Exact(container(attribute(kString, octets(0, 'a')))), kInfo), std::vector<int>{});
}

TEST(Blob, ParseTakesTheLastOfEqualIdsThatIsRight)
{
    const Bytes first = attribute(kInt32, be32(1));
    const Bytes second = attribute(kInt32, be32(2));
    const Bytes wrong = attribute(kInt32, octets(3));
    blob_attr *table[kIdCount];

    Exact message(container(first + second + wrong));
    EXPECT_EQ(blob_parse(message.attr(), table, kInfo, kIdCount), 1);
    ASSERT_NE(table[kInt32], nullptr);
    EXPECT_EQ(blob_get_u32(table[kInt32]), 2u);
}

TEST(Blob, ParsePassesOverIdsBeyondTheTable)
{
    Exact message(container(attribute(kInt16, be16(1)) + attribute(kIdCount, {}) + attribute(127, {}) +
                            attribute(kInt32, be32(1))));
    EXPECT_EQ(parsed_ids(message, kInfo), (std::vector<int>{kInt16, kInt32}));
    EXPECT_EQ(parsed_ids(message, kInfo, kInt32), (std::vector<int>{kInt16}));
    EXPECT_EQ(parsed_ids(message, nullptr), (std::vector<int>{kInt16, kInt32}));
}

TEST(Blob, ParseMindsLengthLimitsAndTheCallersCheck)
{
    const blob_attr_info info[] = {
        {.type = BLOB_ATTR_BINARY, .minlen = 2, .maxlen = 4},
        {.type = BLOB_ATTR_INT32,
         .validate = [](const blob_attr_info *, blob_attr *attr) { return blob_get_u32(attr) == 42; }},
    };
    for (size_t length = 0; length < 7; length++) {
        Exact message(container(attribute(0, Bytes(length, 'x'))));
        EXPECT_EQ(parsed_ids(message, info, 2).size(), 2 <= length && length <= 4 ? 1u : 0u) << length;
    }
    EXPECT_EQ(parsed_ids(Exact(container(attribute(1, be32(42)))), info, 2), std::vector<int>{1});
    EXPECT_EQ(parsed_ids(Exact(container(attribute(1, be32(41)))), info, 2), std::vector<int>{});
}

TEST(Blob, ParseUntrustedRefusesAContainerThatIsNotAllThere)
{
    const Bytes whole = container(attribute(kInt32, be32(1)) + attribute(kString, octets('a', 0)));
    for (size_t length = 0; length < whole.size(); length++) {
        Exact message(Bytes(whole.begin(), whole.begin() + static_cast<long>(length)));
        EXPECT_EQ(parsed_ids(message, kInfo), std::vector<int>{}) << length;
    }
    EXPECT_EQ(parsed_ids(Exact(whole), kInfo), (std::vector<int>{kString, kInt32}));
    EXPECT_EQ(parsed_ids(Exact(whole + octets(1, 2, 3)), kInfo), (std::vector<int>{kString, kInt32}));
}

// Every end of the container, in memory that ends there too: only attributes that are whole are found.
TEST(Blob, ParseFindsWhatIsWholeInATruncatedContainer)
{
    const Bytes attributes = attribute(kInt32, be32(1)) + attribute(kInt16, be16(1)) + attribute(kInt64, be64(1));
    for (size_t length = 0; length <= attributes.size(); length++) {
        Exact message(container(Bytes(attributes.begin(), attributes.begin() + static_cast<long>(length))));
        std::vector<int> expected;
        if (16 <= length)
            expected = {kInt16, kInt32};
        else if (8 <= length)
            expected = {kInt32};
        if (length == attributes.size())
            expected.push_back(kInt64);
        EXPECT_EQ(parsed_ids(message, kInfo), expected) << length;
    }
}

TEST(Blob, ParseReadsNothingBeyondRandomBytes)
{
    std::mt19937 random(1);
    for (int round = 0; round < 50000; round++) {
        Bytes bytes(random() % 64);
        for (uint8_t &byte : bytes)
            byte = static_cast<uint8_t>(random() % 4 == 0 ? random() : random() % 16);
        parsed_ids(Exact(bytes), kInfo);
        parsed_ids(Exact(container(bytes)), kInfo);
    }
}

TEST(Blob, DuplicateIsACopyWithZeroedPadding)
{
    Exact original(be32(0x81000006) + octets('a', 'b'));
    blob_attr *copy = blob_memdup(original.attr());
    ASSERT_NE(copy, nullptr);
    auto *begin = reinterpret_cast<uint8_t *>(copy);
    EXPECT_EQ(Bytes(begin, begin + 8), be32(0x81000006) + octets('a', 'b', 0, 0));
    free(copy);
}

TEST(Blob, TakesAttributesThatAreMade)
{
    Buffer source, buffer, plain;
    blob_put_string(&source, 3, "text");
    blob_put_u8(&source, 4, 1);
    const auto length = static_cast<unsigned>(blob_len(source->head));
    EXPECT_NE(blob_put_raw(&buffer, blob_data(source->head), length), nullptr);
    EXPECT_EQ(buffer.bytes(), source.bytes());
    EXPECT_EQ(blob_put_raw(&buffer, nullptr, 8), nullptr);
    EXPECT_EQ(blob_put_raw(&buffer, blob_data(source->head), 3), nullptr);
    EXPECT_EQ(buffer.bytes(), source.bytes());
    EXPECT_TRUE(blob_attr_equal(buffer->head, source->head));
    EXPECT_FALSE(blob_attr_equal(buffer->head, plain->head));
    EXPECT_FALSE(blob_attr_equal(buffer->head, nullptr));
    EXPECT_TRUE(blob_attr_equal(nullptr, nullptr));
}

TEST(Blob, GrowsWhenAsked)
{
    Buffer buffer;
    const int before = buffer->buflen;
    EXPECT_TRUE(blob_buf_grow(&buffer, 1000));
    EXPECT_LE(before + 1000, buffer->buflen);
    EXPECT_FALSE(blob_buf_grow(&buffer, 1 << 24));
    EXPECT_FALSE(blob_buf_grow(&buffer, -1));
}

} // namespace
