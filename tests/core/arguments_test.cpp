// Arguments by policy, and array elements, which nobody has looked at before: both from messages written by hand.
#include "core/arguments.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/blobmsg_bytes.h"

using namespace std::string_literals;
using test_support::big_endian32;
using test_support::big_endian64;
using test_support::from_json;
using test_support::terminated;
using test_support::to_text;
using test_support::Type;
using test_support::value;

namespace
{

// An attribute in memory of exactly its bytes, so that a sanitizer sees whoever reads behind them.
class Attribute
{
  public:
    explicit Attribute(const std::string &bytes) : memory_(new char[bytes.size()])
    {
        memcpy(memory_.get(), bytes.data(), bytes.size());
    }
    blob_attr *get() const { return reinterpret_cast<blob_attr *>(memory_.get()); }

  private:
    std::unique_ptr<char[]> memory_;
};

Attribute message(const std::string &values)
{
    return Attribute(big_endian32(static_cast<uint32_t>(4 + values.size())) + values);
}

// --- Arguments ---

enum { NAME, COUNT, MACS, MODE };

const blobmsg_policy policy[] = {
    {.name = "name", .type = BLOBMSG_TYPE_STRING},
    {.name = "count", .type = BLOBMSG_TYPE_INT32},
    {.name = "macs", .type = BLOBMSG_TYPE_ARRAY},
    {.name = "mode", .type = BLOBMSG_TYPE_STRING},
};

// The reason for which all four arguments of a message, or the first `count`, are refused; "" where they are not.
std::string refusal(const std::string &values, size_t count = 4)
{
    Attribute attribute = message(values);
    Arguments<4> arguments(policy, attribute.get());
    Call call{};
    bool complete = arguments.require(call, count);
    EXPECT_EQ(complete, call.status.failed == 0);
    return call.status.reason;
}

TEST(Arguments, AreFoundByNameInAnyOrder)
{
    Attribute attribute =
        message(from_json(R"({"mode": "a", "macs": ["x"], "other": 1, "count": -2, "name": "phone"})"));
    Arguments<4> arguments(policy, attribute.get());
    EXPECT_TRUE(arguments.has(NAME) && arguments.has(COUNT) && arguments.has(MACS) && arguments.has(MODE));
    EXPECT_STREQ(arguments.text(NAME), "phone");
    EXPECT_EQ(arguments.number(COUNT), 0xFFFFFFFEu);
    EXPECT_STREQ(arguments.text(MODE), "a");
    EXPECT_EQ(blobmsg_type(arguments.array(MACS)), BLOBMSG_TYPE_ARRAY);
    Call call{};
    EXPECT_TRUE(arguments.require(call));
}

TEST(Arguments, ThatWereNotGivenAreAbsent)
{
    Attribute attribute = message(from_json(R"({"mode": ""})"));
    Arguments<4> arguments(policy, attribute.get());
    EXPECT_FALSE(arguments.has(NAME) || arguments.has(COUNT) || arguments.has(MACS));
    EXPECT_TRUE(arguments.has(MODE));
    EXPECT_EQ(arguments.text(NAME), nullptr);
    EXPECT_EQ(arguments.array(MACS), nullptr);
    EXPECT_STREQ(arguments.text(MODE), "");
}

TEST(Arguments, RequiredOnesAreNamedInPolicyOrder)
{
    EXPECT_EQ(refusal(from_json(R"({})")), "required parameter: name");
    EXPECT_EQ(refusal(from_json(R"({"mode": "a"})")), "required parameter: name");
    EXPECT_EQ(refusal(from_json(R"({"mode": "a", "name": "b"})")), "required parameter: count");
    EXPECT_EQ(refusal(from_json(R"({"count": 0, "name": "b"})")), "required parameter: macs");
    EXPECT_EQ(refusal(from_json(R"({"count": 0, "name": "b", "macs": []})")), "required parameter: mode");
    EXPECT_EQ(refusal(from_json(R"({"count": 0, "name": "", "macs": [], "mode": ""})")), "");
}

TEST(Arguments, OnlyTheFirstOnesAreRequired)
{
    EXPECT_EQ(refusal("", 0), "");
    EXPECT_EQ(refusal(from_json(R"({"name": "b"})"), 1), "");
    EXPECT_EQ(refusal(from_json(R"({"name": "b"})"), 2), "required parameter: count");
    EXPECT_EQ(refusal(from_json(R"({"count": 1})"), 1), "required parameter: name");
    EXPECT_EQ(refusal(from_json(R"({"count": 1, "name": "b"})"), 3), "required parameter: macs");
}

TEST(Arguments, OfAnotherTypeAreAbsent)
{
    const char *others[] = {R"({"name": 1})",  R"({"name": true})", R"({"name": null})",
                            R"({"name": []})", R"({"name": {}})",   R"({"name": 5000000000})"};
    for (const char *json : others)
        EXPECT_EQ(refusal(from_json(json), 1), "required parameter: name") << json;

    std::string name = from_json(R"({"name": "b"})");
    for (const char *json :
         {R"({"count": "1"})", R"({"count": true})", R"({"count": 5000000000})", R"({"count": 1.5})"})
        EXPECT_EQ(refusal(name + from_json(json), 2), "required parameter: count") << json;
    EXPECT_EQ(refusal(name + from_json(R"({"count": 1, "macs": {"a": "b"}})"), 3), "required parameter: macs");
}

TEST(Arguments, TheFirstOfARightTypeCounts)
{
    Attribute attribute =
        message(from_json(R"({"name": 5})") + from_json(R"({"name": "first"})") + from_json(R"({"name": "second"})"));
    Arguments<4> arguments(policy, attribute.get());
    EXPECT_STREQ(arguments.text(NAME), "first");
}

TEST(Arguments, BehindAMalformedValueAreAbsent)
{
    std::string unterminated = value(Type::string, "mode", "abcd");
    std::string short_number = value(Type::int32, "count", "abc");
    for (const std::string &malformed : {unterminated, short_number}) {
        Attribute attribute = message(from_json(R"({"name": "kept"})") + malformed + from_json(R"({"macs": []})"));
        Arguments<4> arguments(policy, attribute.get());
        EXPECT_STREQ(arguments.text(NAME), "kept");
        EXPECT_FALSE(arguments.has(MACS) || arguments.has(MODE) || arguments.has(COUNT));
    }
}

TEST(Arguments, OfAMessageCutAnywhereAreWholeOrAbsent)
{
    std::string values = from_json(R"({"name": "phone", "count": 7, "macs": ["a", 2], "mode": "m"})");
    size_t ends[] = {from_json(R"({"name": "phone"})").size(), from_json(R"({"name": "phone", "count": 7})").size(),
                     from_json(R"({"name": "phone", "count": 7, "macs": ["a", 2]})").size(), values.size()};
    for (size_t length = 0; length <= values.size(); length++) {
        Attribute attribute = message(values.substr(0, length));
        Arguments<4> arguments(policy, attribute.get());
        for (size_t i = 0; i < 4; i++)
            EXPECT_EQ(arguments.has(i), ends[i] <= length) << length << " bytes, argument " << i;
    }
}

TEST(Arguments, AreFoundInATableToo)
{
    Attribute table(value(Type::table, "t", from_json(R"({"count": 7, "name": "inner"})")));
    Arguments<4> arguments(policy, blobmsg_data(table.get()), blobmsg_data_len(table.get()));
    EXPECT_STREQ(arguments.text(NAME), "inner");
    EXPECT_EQ(arguments.number(COUNT), 7u);
    EXPECT_FALSE(arguments.has(MACS));
    Arguments<4> none(policy, nullptr, 0);
    EXPECT_FALSE(none.has(NAME) || none.has(COUNT) || none.has(MACS) || none.has(MODE));
}

// --- Elements ---

// The elements that the walk visits, as a text; each is touched to its last byte.
std::string visited(const blob_attr *array)
{
    std::string elements;
    for (const blob_attr *element : Elements(array)) {
        size_t length = blob_pad_len(element);
        elements += std::string(reinterpret_cast<const char *>(element), length);
    }
    return to_text(elements);
}

// An array attribute around `payload`, without the padding that would follow it.
Attribute array_of(const std::string &payload)
{
    std::string bytes = value(Type::array, "array", payload);
    bytes.resize(4 + 8 + payload.size());
    return Attribute(bytes);
}

std::string elements(std::initializer_list<std::string> values)
{
    std::string payload;
    for (const std::string &value : values)
        payload += value;
    return payload;
}

std::string text_element(const std::string &text)
{
    return value(Type::string, "", terminated(text));
}

std::string number_element(uint32_t number)
{
    return value(Type::int32, "", big_endian32(number));
}

TEST(Elements, VisitsEveryOneInOrder)
{
    EXPECT_EQ(visited(array_of("").get()), "{}");
    EXPECT_EQ(visited(array_of(text_element("a")).get()), R"({"": "a"})");
    std::string all = elements({
        text_element(""),
        text_element("a longer text"),
        number_element(5),
        value(Type::int64, "", big_endian64(6)),
        value(Type::int16, "", "\0\7"s),
        value(Type::int8, "", "\1"),
        value(Type::real, "", big_endian64(0)),
        value(Type::null, "", ""),
        value(Type::array, "", text_element("inner")),
        value(Type::table, "", from_json(R"({"key": "value"})")),
        value(Type::string, "named", terminated("too")),
    });
    EXPECT_EQ(visited(array_of(all).get()), to_text(all));
}

TEST(Elements, OfATableAreItsValues)
{
    Attribute table(value(Type::table, "t", from_json(R"({"a": "1", "b": 2})")));
    EXPECT_EQ(visited(table.get()), R"({"a": "1", "b": 2})");
}

TEST(Elements, OfAnAbsentArrayAreNone)
{
    EXPECT_EQ(visited(nullptr), "{}");
}

TEST(Elements, EndsAtEveryTruncation)
{
    std::vector<std::string> whole = {text_element("abcde"), number_element(5), text_element("xyz"),
                                      value(Type::table, "", from_json(R"({"k": "v"})")), text_element("")};
    std::string payload;
    std::vector<size_t> ends;
    for (const std::string &element : whole)
        ends.push_back((payload += element).size());
    for (size_t length = 0; length <= payload.size(); length++) {
        size_t expected = 0;
        for (size_t end : ends)
            expected = end <= length ? end : expected;
        EXPECT_EQ(visited(array_of(payload.substr(0, length)).get()), to_text(payload.substr(0, expected))) << length;
    }
}

TEST(Elements, EndsAtTheFirstMalformedOne)
{
    std::string before = text_element("before"), after = text_element("after");
    std::string good = number_element(5);
    auto with_header = [&](uint32_t id_len) { return big_endian32(id_len) + good.substr(4); };
    const std::pair<const char *, std::string> malformed[] = {
        {"no length", with_header(0x85000000)},
        {"a length of one", with_header(0x85000001)},
        {"a length below the header", with_header(0x85000003)},
        {"nothing behind the header", with_header(0x85000004)},
        {"no room for the name's length", with_header(0x85000005)},
        {"no room for the name", with_header(0x85000006)},
        {"a number without its bytes", with_header(0x85000008)},
        {"a number that lacks a byte", with_header(0x8500000B)},
        {"a number with a byte too many", with_header(0x8500000D)},
        {"more than there is", with_header(0x85000400)},
        {"the largest length", with_header(0x85FFFFFF)},
        {"no name header", with_header(0x0500000C)},
        {"an unknown type", with_header(0x8900000C)},
        {"the last unknown type", with_header(0xFF00000C)},
        {"a text without an end", value(Type::string, "", "abc")},
        {"a text without a byte", value(Type::string, "", "")},
        {"a short int64", value(Type::int64, "", "1234567")},
        {"a long int8", value(Type::int8, "", "12")},
        {"a name longer than the element", big_endian32(0x8500000C) + "\xFF\xFF\0\0\0\0\0\5"s},
        {"a name as long as the element", big_endian32(0x8500000C) + "\0\6\0\0\0\0\0\5"s},
        {"a name without its end", big_endian32(0x8500000C) + "\0\1aa\0\0\0\5"s},
    };
    for (const auto &[what, element] : malformed) {
        EXPECT_EQ(visited(array_of(before + element + after).get()), to_text(before)) << what;
        EXPECT_EQ(visited(array_of(element + after).get()), "{}") << what;
        EXPECT_EQ(visited(array_of(before + element).get()), to_text(before)) << what;
    }
}

// The walk must end for whatever stands in the bytes, and never look behind them.
TEST(Elements, EndsForEveryChangedByte)
{
    const std::string payload = elements({text_element("abc"), number_element(5), text_element("xyz")});
    for (size_t position = 0; position < payload.size(); position++) {
        for (unsigned byte = 0; byte < 256; byte++) {
            std::string changed = payload;
            changed[position] = static_cast<char>(byte);
            Attribute array = array_of(changed);
            size_t length = 0;
            for (const blob_attr *element : Elements(array.get())) {
                length += blob_pad_len(element);
                element_number(element);
                const char *text = element_text(element);
                EXPECT_LT(strlen(text ? text : ""), payload.size());
            }
            EXPECT_LE(length, payload.size());
        }
    }
}

// --- Single elements ---

TEST(ElementText, IsNullForWhatIsNoString)
{
    EXPECT_STREQ(element_text(Attribute(text_element("00:11")).get()), "00:11");
    EXPECT_STREQ(element_text(Attribute(text_element("")).get()), "");
    for (Type type :
         {Type::null, Type::array, Type::table, Type::int64, Type::int32, Type::int16, Type::int8, Type::real})
        EXPECT_EQ(element_text(Attribute(value(type, "", terminated("abcdefg"))).get()), nullptr);
}

TEST(ElementNumber, IsTheFirstWordOfAnyType)
{
    struct {
        std::string element;
        uint32_t number;
    } rows[] = {
        {number_element(5), 5},
        {number_element(0xFFFFFFFE), 0xFFFFFFFE},
        {value(Type::int64, "", big_endian64(0x0102030405060708)), 0x01020304},
        {value(Type::int16, "", "\x01\x02"), 0x01020000},
        {value(Type::int8, "", "\x05"), 0x05000000},
        {value(Type::real, "", big_endian64(0x3FF8000000000000)), 0x3FF80000},
        {value(Type::null, "", ""), 0},
        {value(Type::array, "", ""), 0},
        {value(Type::table, "", ""), 0},
        {value(Type::array, "", number_element(5)), 0x8500000C},
        {value(Type::table, "", from_json(R"({"k": "v"})")), 0x8300000A},
        {text_element(""), 0},
        {text_element("A"), 0x41000000},
        {text_element("AB"), 0x41420000},
        {text_element("ABCD"), 0x41424344},
        {text_element("ABCDEFGH"), 0x41424344},
        {value(Type::int32, "named", big_endian32(7)), 7},
    };
    for (const auto &row : rows) {
        // Bytes after the value, be they padding, are no part of it.
        std::string element = row.element.substr(0, static_cast<unsigned char>(row.element[3]));
        EXPECT_EQ(element_number(Attribute(element).get()), row.number) << to_text(row.element);
        EXPECT_EQ(element_number(Attribute(element + "####").get()), row.number) << to_text(row.element);
    }
}

TEST(CheckElements, RequiresOneTypeOfAll)
{
    struct {
        int type;
        std::string payload;
        bool passes;
    } rows[] = {
        {BLOBMSG_TYPE_STRING, "", true},
        {BLOBMSG_TYPE_STRING, text_element("a") + text_element("bcdef"), true},
        {BLOBMSG_TYPE_STRING, text_element("a") + number_element(1), false},
        {BLOBMSG_TYPE_STRING, number_element(1) + text_element("a"), false},
        {BLOBMSG_TYPE_STRING, text_element("a") + value(Type::string, "", "abc"), false},
        {BLOBMSG_TYPE_STRING, text_element("a") + "\0"s, false},
        {BLOBMSG_TYPE_STRING, text_element("a") + "\0\0\0\0"s, false},
        {BLOBMSG_TYPE_INT32, number_element(1) + number_element(2), true},
        {BLOBMSG_TYPE_INT32, value(Type::int64, "", big_endian64(1)), false},
        {BLOBMSG_TYPE_INT32, value(Type::null, "", ""), false},
        {BLOBMSG_TYPE_INT32, number_element(1).substr(0, 11), false},
        {BLOBMSG_TYPE_UNSPEC, number_element(1) + text_element("a") + value(Type::array, "", ""), true},
        {BLOBMSG_TYPE_UNSPEC, number_element(1) + number_element(1).substr(0, 11), false},
    };
    for (const auto &row : rows) {
        Call call{};
        Attribute array = array_of(row.payload);
        EXPECT_EQ(check_elements(call, array.get(), kNoLimit, row.type, "macs"), row.passes ? 0 : -1)
            << to_text(row.payload);
        EXPECT_EQ(call.status.failed, row.passes ? 0u : 1u);
        EXPECT_STREQ(call.status.reason, row.passes ? "" : "unrecognized parameter: macs");
    }
    Call call{};
    EXPECT_EQ(check_elements(call, nullptr, kNoLimit, BLOBMSG_TYPE_STRING, "macs"), 0);
}

TEST(CheckElements, LooksAtNoneBeyondTheLimit)
{
    Call call{};
    const std::string two = text_element("a") + text_element("b");
    for (const std::string &beyond : {text_element("c"), number_element(1), value(Type::string, "", "abc"), "\0"s})
        for (size_t limit = 0; limit < 5; limit++)
            EXPECT_EQ(check_elements(call, array_of(two + beyond).get(), limit, BLOBMSG_TYPE_STRING, "macs"),
                      limit <= 2 || beyond == text_element("c") ? 0 : -1)
                << limit << " of " << to_text(two + beyond);
}

TEST(TakeElements, JudgesEachBeforeTheNext)
{
    const std::string payload = text_element("ok") + text_element("wrong") + number_element(1);
    std::string taken;
    Call call{};
    auto take = [&](const blob_attr *element, size_t position) {
        taken += std::to_string(position) + element_text(element) + " ";
        if (strcmp(element_text(element), "wrong") != 0)
            return 0;
        fail(call, "wrong text");
        return -1;
    };
    EXPECT_EQ(take_elements(call, array_of(payload).get(), 3, BLOBMSG_TYPE_STRING, "macs", take), -1);
    EXPECT_STREQ(call.status.reason, "wrong text");
    EXPECT_EQ(taken, "0ok 1wrong ");
    taken.clear();
    EXPECT_EQ(take_elements(call, array_of(number_element(1) + payload).get(), 3, BLOBMSG_TYPE_STRING, "macs", take),
              -1);
    EXPECT_STREQ(call.status.reason, "unrecognized parameter: macs");
    EXPECT_EQ(taken, "");
}

TEST(TakeElements, EndsWhereTheTakerHasEnough)
{
    Call call{};
    auto take = [](const blob_attr *, size_t position) { return position == 1 ? 1 : 0; };
    std::string payload = text_element("a") + text_element("b") + number_element(1);
    EXPECT_EQ(take_elements(call, array_of(payload).get(), kNoLimit, BLOBMSG_TYPE_STRING, "macs", take), 0);
    EXPECT_EQ(call.status.failed, 0u);
}

// --- The check itself ---

TEST(CheckRequired, LooksNoFurtherThanTheCount)
{
    Attribute attribute(text_element("given"));
    blob_attr *table[] = {attribute.get(), nullptr, attribute.get()};
    Status status{};
    EXPECT_EQ(wexond_check_required(policy, table, 0, &status), 0);
    EXPECT_EQ(wexond_check_required(policy, table, 1, &status), 0);
    EXPECT_EQ(status.failed, 0u);
    EXPECT_STREQ(status.reason, "");
    EXPECT_EQ(wexond_check_required(policy, table, 2, &status), -1);
    EXPECT_EQ(status.failed, 1u);
    EXPECT_STREQ(status.reason, "required parameter: count");
    EXPECT_EQ(wexond_check_required(policy, table, 3, nullptr), -1);
}

} // namespace
