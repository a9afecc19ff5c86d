// JSON as it comes from clients: strict, bounded, and with the keys in the order in which they were written.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

using Json = nlohmann::ordered_json;

// None where the text is no JSON, not UTF-8, deeper than 32 levels, or has an object of more than 1024 members. A text
// is cut at a NUL, as it would be on the bus; an integer beyond 64 bits is the largest or the least of 64 bits.
std::optional<Json> read_json(std::string_view text);

// On one line, without blanks.
std::string write_json(const Json &value);

// The member, where `object` is an object and has it as a text, else null.
const std::string *text_member(const Json &object, const char *name);
