#include "schema.h"

#include <algorithm>
#include <numeric>
#include <regex>

extern const char home_schema_text[]; // api/home.schema.json

namespace
{

const Json &home_schema()
{
    static const Json schema = Json::parse(home_schema_text);
    return schema;
}

const Json &resolve(const Json &schema)
{
    const Json *inner = &schema;
    while (inner->contains("$ref"))
        inner = &home_schema().at(Json::json_pointer(inner->at("$ref").get<std::string>().substr(1)));
    return *inner;
}

// How many letters have to be added, left out or exchanged to make one word of another.
size_t distance(const std::string &from, const std::string &to)
{
    std::vector<size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (size_t i = 0; i < from.size(); i++) {
        size_t diagonal = row[0]++;
        for (size_t j = 0; j < to.size(); j++) {
            size_t exchanged = diagonal + (from[i] != to[j]);
            diagonal = row[j + 1];
            row[j + 1] = std::min({exchanged, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

std::string nearest_key(const std::string &key, const Json &properties)
{
    std::string nearest;
    for (const auto &[known, schema] : properties.items())
        if (nearest.empty() || distance(key, known) < distance(key, nearest))
            nearest = known;
    return nearest;
}

// The values that may stand in a place, for people.
std::string expectation(const Json &given)
{
    const Json &schema = resolve(given);
    if (schema.contains("title"))
        return schema.at("title");
    std::string text;
    if (schema.contains("anyOf")) {
        for (const Json &choice : schema.at("anyOf"))
            text += (text.empty() ? "" : ", or ") + expectation(choice);
        return text;
    }
    if (schema.contains("enum")) {
        for (const Json &word : schema.at("enum"))
            text += (text.empty() ? "one of " : ", ") + word.get<std::string>();
        return text;
    }
    const std::string type = schema.value("type", "");
    return type == "array" ? "a list" : type == "object" ? "an object" : "a " + type;
}

bool has_type(const Json &value, const std::string &type)
{
    if (type == "object")
        return value.is_object();
    if (type == "array")
        return value.is_array();
    if (type == "string")
        return value.is_string();
    if (type == "boolean")
        return value.is_boolean();
    return value.is_number_integer();
}

bool is_within(const Json &number, const Json &schema)
{
    if (number.is_number_unsigned() && number.get<uint64_t>() > INT64_MAX)
        return !schema.contains("maximum");
    auto value = number.get<int64_t>();
    return value >= schema.value("minimum", INT64_MIN) && value <= schema.value("maximum", INT64_MAX);
}

// A value that is neither a list nor an object.
bool fits(const Json &value, const Json &given)
{
    const Json &schema = resolve(given);
    if (schema.contains("anyOf"))
        return std::any_of(schema.at("anyOf").begin(), schema.at("anyOf").end(),
                           [&](const Json &choice) { return fits(value, choice); });
    if (schema.contains("enum"))
        return std::find(schema.at("enum").begin(), schema.at("enum").end(), value) != schema.at("enum").end();
    if (!has_type(value, schema.value("type", "")))
        return false;
    if (value.is_object() && schema.contains("required") && !value.contains(schema.at("required")[0]))
        return false;
    if (value.is_number())
        return is_within(value, schema);
    if (!value.is_string())
        return true;
    auto text = value.get<std::string>();
    return text.size() <= schema.value("maxLength", SIZE_MAX) &&
           (!schema.contains("pattern") || std::regex_match(text, std::regex(schema.at("pattern").get<std::string>())));
}

void judge(const Json &value, const Json &given, const std::string &place, std::vector<Problem> &problems);

void judge_object(const Json &value, const Json &schema, const std::string &place, std::vector<Problem> &problems)
{
    const Json &properties = schema.at("properties");
    for (const auto &[key, inner] : value.items()) {
        if (properties.contains(key))
            judge(inner, properties.at(key), place + "/" + key, problems);
        else
            problems.push_back(
                {place + "/" + key + " is no key of a home; the nearest is \"" + nearest_key(key, properties) + "\"",
                 true});
    }
}

void judge(const Json &value, const Json &given, const std::string &place, std::vector<Problem> &problems)
{
    const Json &schema = resolve(given);
    if (!fits(value, schema)) {
        std::string found = value.dump(-1, ' ', false, Json::error_handler_t::replace);
        problems.push_back({place + " is " + found + ", not " + expectation(schema), false});
    } else if (value.is_array()) {
        for (size_t at = 0; at < value.size(); at++)
            judge(value[at], schema.at("items"), place + "/" + std::to_string(at), problems);
        if (value.size() > schema.value("maxItems", SIZE_MAX))
            problems.push_back({place + " has " + std::to_string(value.size()) + " entries, of which " +
                                    schema.at("maxItems").dump() + " count",
                                false});
    } else if (value.is_object() && schema.contains("properties")) {
        judge_object(value, schema, place, problems);
    }
}

} // namespace

std::vector<Problem> judge_home(const Json &home)
{
    std::vector<Problem> problems;
    judge(home, home_schema(), "", problems);
    return problems;
}
