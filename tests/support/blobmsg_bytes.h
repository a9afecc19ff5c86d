// The bus's message format (named, typed values; everything big-endian), written and read by hand, so that tests can
// send what no library would build and see what a library would pass over.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace test_support
{

enum class Type : uint8_t { null, array, table, string, int64, int32, int16, int8, real };

// One value, padded: `payload` is its bytes as they are. Values after one another make a message, a table or an array
// (whose elements have the empty name).
//
//     value(Type::array, "macs", value(Type::string, "", terminated("00:11:22:33:44:55")))
std::string value(Type type, std::string_view name, std::string_view payload);

std::string terminated(std::string_view text); // with its NUL
std::string big_endian32(uint32_t number);
std::string big_endian64(uint64_t number);

// A JSON object as the values of a message, in its order: whole numbers within 32 bits become int32, others int64.
std::string from_json(std::string_view json);

// The values of a message as one line that looks like JSON and tells everything: the order of keys, int64 as `5l`,
// int16 as `5s`, doubles with a `d`, a null as `null`; int8, which is also the boolean, as `false` for 0, `true` for 1,
// else `5b`. Bytes of a text outside the printable ASCII are shown as `\x0A`. Bytes that are no value and end the walk,
// as a reader would end it, are counted: `{<20 stray bytes>}`.
std::string to_text(std::string_view message);

// A text as to_text shows it.
std::string text_in_quotes(std::string_view text);

// The values of a message, table or array. Where bytes that are no value end the walk, `stray` is their number.
struct Value {
    Type type;
    std::string name;
    std::string_view payload;
};
struct Values {
    std::vector<Value> values;
    size_t stray;
};
Values values_in(std::string_view container);

// Of an integer of any width, with its sign.
int64_t integer(std::string_view payload);

} // namespace test_support
