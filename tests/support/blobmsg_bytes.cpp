#include "tests/support/blobmsg_bytes.h"

#include <bit>
#include <cctype>
#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>

namespace test_support
{

namespace
{

constexpr size_t kWord = 4;
constexpr uint32_t kExtended = 0x80000000;
constexpr uint32_t kLengthMask = 0x00FFFFFF;

size_t padded(size_t length)
{
    return (length + kWord - 1) / kWord * kWord;
}

std::string big_endian(uint64_t number, size_t bytes)
{
    std::string text;
    while (bytes-- > 0)
        text.push_back(static_cast<char>(number >> (8 * bytes)));
    return text;
}

uint64_t number_of(std::string_view bytes)
{
    uint64_t number = 0;
    for (unsigned char byte : bytes)
        number = number << 8 | byte;
    return number;
}

// From JSON

std::string values_of(const nlohmann::ordered_json &container);

std::string value_of(std::string_view name, const nlohmann::ordered_json &json)
{
    if (json.is_null())
        return value(Type::null, name, "");
    if (json.is_boolean())
        return value(Type::int8, name, json.get<bool>() ? std::string_view("\1", 1) : std::string_view("\0", 1));
    if (json.is_string())
        return value(Type::string, name, terminated(json.get<std::string>()));
    if (json.is_number_float())
        return value(Type::real, name, big_endian64(std::bit_cast<uint64_t>(json.get<double>())));
    if (json.is_structured())
        return value(json.is_array() ? Type::array : Type::table, name, values_of(json));
    auto number = json.get<int64_t>();
    bool fits = number >= std::numeric_limits<int32_t>::min() && number <= std::numeric_limits<int32_t>::max();
    return fits ? value(Type::int32, name, big_endian32(static_cast<uint32_t>(number)))
                : value(Type::int64, name, big_endian64(static_cast<uint64_t>(number)));
}

std::string values_of(const nlohmann::ordered_json &container)
{
    std::string values;
    for (const auto &item : container.items())
        values += value_of(container.is_array() ? "" : item.key(), item.value());
    return values;
}

// To text

struct Parsed {
    Type type;
    std::string name;
    std::string_view payload;
    size_t length; // of all of it, with padding
};

// The value at the start of `bytes`, or nothing where there is none that is whole.
std::optional<Parsed> parse(std::string_view bytes)
{
    if (bytes.size() < kWord)
        return {};
    auto id_length = static_cast<uint32_t>(number_of(bytes.substr(0, kWord)));
    size_t length = id_length & kLengthMask, type = id_length >> 24 & 0x7F;
    if (!(id_length & kExtended) || type > static_cast<size_t>(Type::real) || length < kWord + 2 ||
        length > bytes.size())
        return {};
    size_t name_length = number_of(bytes.substr(kWord, 2));
    size_t header = kWord + padded(2 + name_length + 1);
    if (header > length || bytes[kWord + 2 + name_length] != '\0')
        return {};
    return Parsed{static_cast<Type>(type), std::string(bytes.substr(kWord + 2, name_length)),
                  bytes.substr(header, length - header), std::min(padded(length), bytes.size())};
}

std::string integer_text(std::string_view payload, size_t width, const char *suffix)
{
    if (payload.size() != width)
        return "<" + std::to_string(payload.size()) + " bytes>";
    return std::to_string(integer(payload)) + suffix;
}

std::string boolean_text(std::string_view payload)
{
    std::string number = integer_text(payload, 1, "b");
    return number == "0b" ? "false" : number == "1b" ? "true" : number;
}

std::string string_text(std::string_view payload)
{
    if (payload.empty() || payload.back() != '\0')
        return "<unterminated>" + text_in_quotes(payload);
    return text_in_quotes(payload.substr(0, payload.size() - 1));
}

std::string container_text(std::string_view values, bool is_array);

std::string payload_text(Type type, std::string_view payload)
{
    switch (type) {
    case Type::null:
        return "null";
    case Type::array:
    case Type::table:
        return container_text(payload, type == Type::array);
    case Type::string:
        return string_text(payload);
    case Type::int64:
        return integer_text(payload, 8, "l");
    case Type::int32:
        return integer_text(payload, 4, "");
    case Type::int16:
        return integer_text(payload, 2, "s");
    case Type::int8:
        return boolean_text(payload);
    case Type::real:
        return std::to_string(std::bit_cast<double>(number_of(payload))) + "d";
    }
    return "";
}

std::string container_text(std::string_view values, bool is_array)
{
    std::string result(1, is_array ? '[' : '{');
    const char *separator = "";
    while (!values.empty()) {
        result += separator;
        separator = ", ";
        std::optional<Parsed> parsed = parse(values);
        if (!parsed) {
            result += "<" + std::to_string(values.size()) + " stray bytes>";
            break;
        }
        if (!is_array || !parsed->name.empty())
            result += text_in_quotes(parsed->name) + ": ";
        result += payload_text(parsed->type, parsed->payload);
        values.remove_prefix(parsed->length);
    }
    return result + (is_array ? ']' : '}');
}

} // namespace

std::string text_in_quotes(std::string_view text)
{
    std::string result = "\"";
    for (unsigned char byte : text) {
        char escaped[8];
        snprintf(escaped, sizeof(escaped), "\\x%02X", byte);
        if (byte == '"' || byte == '\\')
            result += {'\\', static_cast<char>(byte)};
        else if (std::isprint(byte))
            result += static_cast<char>(byte);
        else
            result += escaped;
    }
    return result + '"';
}

std::string value(Type type, std::string_view name, std::string_view payload)
{
    std::string header = big_endian(name.size(), 2).append(name);
    header.resize(padded(header.size() + 1));
    uint32_t length = static_cast<uint32_t>(kWord + header.size() + payload.size());
    std::string bytes = big_endian32(kExtended | static_cast<uint32_t>(type) << 24 | length) + header;
    bytes.append(payload).resize(padded(length));
    return bytes;
}

std::string terminated(std::string_view text)
{
    return std::string(text) + '\0';
}

std::string big_endian32(uint32_t number)
{
    return big_endian(number, 4);
}

std::string big_endian64(uint64_t number)
{
    return big_endian(number, 8);
}

std::string from_json(std::string_view json)
{
    return values_of(nlohmann::ordered_json::parse(json));
}

std::string to_text(std::string_view message)
{
    return container_text(message, false);
}

Values values_in(std::string_view container)
{
    Values found = {{}, 0};
    while (!container.empty()) {
        std::optional<Parsed> parsed = parse(container);
        if (!parsed)
            return {found.values, container.size()};
        found.values.push_back({parsed->type, parsed->name, parsed->payload});
        container.remove_prefix(parsed->length);
    }
    return found;
}

int64_t integer(std::string_view payload)
{
    if (payload.empty() || payload.size() > sizeof(int64_t))
        return 0;
    auto unused_bits = 64 - 8 * payload.size();
    return static_cast<int64_t>(number_of(payload) << unused_bits) >> unused_bits;
}

} // namespace test_support
