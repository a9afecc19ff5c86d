#include "records.h"

#include <cstdio>
#include <stdexcept>

namespace
{

constexpr Name kWeekdayNames[] = {{1, "sunday"},    {2, "monday"},  {4, "tuesday"},  {8, "wednesday"},
                                  {16, "thursday"}, {32, "friday"}, {64, "saturday"}};
constexpr Name kStandardNames[] = {{1, "b"}, {2, "g"}, {4, "a"}, {8, "n"}, {16, "ac"}, {32, "ax"}};

[[noreturn]] void refuse(const Json &value, const std::string &expected)
{
    std::string found = value.dump(-1, ' ', false, Json::error_handler_t::replace);
    throw std::runtime_error(found + " stands where " + expected + " belongs");
}

const Name *find_code(std::span<const Name> names, uint32_t code)
{
    auto found = std::find_if(names.begin(), names.end(), [code](const Name &name) { return name.code == code; });
    return found == names.end() ? nullptr : &*found;
}

uint32_t code_of(std::span<const Name> names, const Json &value)
{
    std::string choice;
    for (const Name &name : names) {
        if (value == name.text)
            return name.code;
        choice += std::string(choice.empty() ? "" : ", ") + name.text;
    }
    refuse(value, "one of: " + choice);
}

} // namespace

const std::span<const Name> kWeekdays = kWeekdayNames;
const std::span<const Name> kStandards = kStandardNames;

std::string hex_of(std::string_view bytes)
{
    std::string hex;
    char digits[3];
    for (char byte : bytes) {
        snprintf(digits, sizeof(digits), "%02x", static_cast<unsigned char>(byte));
        hex += digits;
    }
    return hex;
}

Json encode_text(std::string_view text)
{
    Json value = std::string(text);
    try {
        value.dump();
        return value;
    } catch (const Json::type_error &) { // no UTF-8
        return {{"hex", hex_of(text)}};
    }
}

std::string decode_text(const Json &value)
{
    if (value.is_null())
        return "";
    if (value.is_string())
        return value.get<std::string>();
    if (!value.is_object() || !value.contains("hex") || !value.at("hex").is_string())
        refuse(value, "a text");
    std::string text;
    std::string hex = value.at("hex").get<std::string>();
    for (size_t at = 0; at + 2 <= hex.size(); at += 2)
        text += static_cast<char>(strtoul(hex.substr(at, 2).c_str(), nullptr, 16));
    return text;
}

uint64_t decode_number(const Json &value)
{
    if (value.is_null())
        return 0;
    if (!value.is_number_integer())
        refuse(value, "a number");
    return value.is_number_unsigned() ? value.get<uint64_t>() : static_cast<uint64_t>(value.get<int64_t>());
}

Json YesNo::encode(uint32_t code) const
{
    return code > 1 ? Json(code) : Json(code == 1);
}

uint32_t YesNo::decode(const Json &value) const
{
    return value.is_boolean() ? value.get<bool>() : static_cast<uint32_t>(decode_number(value));
}

Json Names::encode(uint32_t code) const
{
    const Name *name = find_code(names, code);
    return name ? Json(name->text) : Json(code);
}

uint32_t Names::decode(const Json &value) const
{
    return value.is_string() ? code_of(names, value) : static_cast<uint32_t>(decode_number(value));
}

Json BitSet::encode(uint32_t mask) const
{
    Json list = Json::array();
    for (uint32_t bit = 0; bit < 32; bit++) {
        if (mask >> bit & 1) {
            const Name *name = find_code(names, 1u << bit);
            list.push_back(name ? Json(name->text) : Json(bit));
        }
    }
    return list;
}

uint32_t BitSet::decode(const Json &list) const
{
    uint32_t mask = 0;
    for (const Json &value : list)
        mask |= value.is_string() ? code_of(names, value) : 1u << (decode_number(value) & 31);
    return mask;
}

Json TimeOfDay::encode(uint32_t seconds) const
{
    char text[32];
    int length = snprintf(text, sizeof(text), "%02u:%02u", seconds / 3600, seconds / 60 % 60);
    if (seconds % 60 != 0)
        snprintf(text + length, sizeof(text) - static_cast<size_t>(length), ":%02u", seconds % 60);
    return text;
}

uint32_t TimeOfDay::decode(const Json &value) const
{
    unsigned hours = 0;
    unsigned minutes = 0;
    unsigned seconds = 0;
    if (value.is_null())
        return 0;
    if (!value.is_string() || sscanf(value.get<std::string>().c_str(), "%u:%u:%u", &hours, &minutes, &seconds) < 2)
        refuse(value, "a time of day");
    return hours * 3600 + minutes * 60 + seconds;
}
