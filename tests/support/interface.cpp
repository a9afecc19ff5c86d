#include "tests/support/interface.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <unistd.h>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include "tests/support/blobmsg_bytes.h"

namespace test_support
{

namespace
{

// --- What was met ---

// Written when the process ends, for the report on what no test has met: to a file named after the test, or after the
// process where that runs several.
class Met : public testing::Environment
{
  public:
    void TearDown() override
    {
        const std::string filter = testing::GTEST_FLAG(filter);
        bool is_one = filter.find_first_of("*?:") == std::string::npos;
        std::string name = is_one ? filter : "process-" + std::to_string(getpid());
        std::ranges::replace(name, '/', '+');
        std::error_code error;
        std::filesystem::create_directories(API_MET_DIR, error);
        std::ofstream file(std::filesystem::path(API_MET_DIR) / name);
        file << "checked\t" << checked_ << '\n';
        for (const std::string &line : lines_)
            file << line << '\n';
    }
    void add(const std::string &line) { lines_.insert(line); }

    // Counts a message; false for one that was judged before.
    bool is_new(const std::string &text)
    {
        checked_++;
        return seen_.insert(std::hash<std::string>()(text)).second;
    }

  private:
    std::set<std::string> lines_;
    std::set<size_t> seen_;
    size_t checked_ = 0;
};

// Owned by the test library from then on.
Met &met = static_cast<Met &>(*testing::AddGlobalTestEnvironment(new Met));

// --- Comparison ---

// How a message is judged, and what is said of it.
struct Judgement {
    std::string where;        // what the description calls it, as `reply wexond.laninfo list`
    std::string object;       // the called one, whose name stands for "N" in keys
    bool knows_widths = true; // of numbers
    std::vector<std::string> complaints = {};
    std::vector<std::string> keys = {}; // met

    void complain(const std::string &path, const std::string &what)
    {
        complaints.push_back((path.empty() ? "the message" : path) + ": " + what);
    }
};

const std::map<std::string, Type> kTypes = {
    {"STRING", Type::string}, {"INT32", Type::int32}, {"INT64", Type::int64}, {"INT16", Type::int16},
    {"BOOL", Type::int8},     {"DOUBLE", Type::real}, {"ARRAY", Type::array}, {"TABLE", Type::table},
};

bool has_type(const Value &value, const std::string &name, const Judgement &judgement)
{
    Type type = kTypes.at(name);
    return value.type == type || (!judgement.knows_widths && type == Type::int64 && value.type == Type::int32);
}

// A key that ends in ".N" stands for the called object's name.
std::string key_of(const std::string &described, const Judgement &judgement)
{
    return described.ends_with(".N") ? judgement.object : described;
}

void match_keys(const Json &keys, const Values &found, const std::string &path, Judgement &judgement);

// Types and order, which JSON Schema does not know.
void match_value(const Json &described, const Value &value, const std::string &path, Judgement &judgement)
{
    judgement.keys.push_back(path);
    const std::string type = described.at("x-bus");
    if (!has_type(value, type, judgement)) {
        judgement.complain(path, "not of type " + type);
        return;
    }
    if (value.type == Type::table) {
        match_keys(described.at("properties"), values_in(value.payload), path + ".", judgement);
    } else if (value.type == Type::array) {
        Values elements = values_in(value.payload);
        if (elements.stray)
            judgement.complain(path, "stray bytes");
        for (const Value &element : elements.values) {
            if (!element.name.empty())
                judgement.complain(path, "an element with a name");
            match_value(described.at("items"), element, path + "[]", judgement);
        }
    }
}

void match_keys(const Json &keys, const Values &found, const std::string &path, Judgement &judgement)
{
    auto value = found.values.begin();
    for (const auto &[key, described] : keys.items()) {
        if (value != found.values.end() && value->name == key_of(key, judgement))
            match_value(described, *value++, path + key, judgement);
        else if (!described.contains("optional"))
            judgement.complain(path + key, "missing, or not in its place");
    }
    for (; value != found.values.end(); ++value)
        judgement.complain(path + value->name, "not described there");
    // A table that was left open is bytes that are no value; all that the description says then is that no key is
    // there.
    if (found.stray && !(path.empty() && found.values.empty()))
        judgement.complain(path, "stray bytes");
}

// The description in JSON Schema's own words.
nlohmann::json schema_of_keys(const Json &keys, const Judgement &judgement);

nlohmann::json schema_of(const Json &described, const Judgement &judgement)
{
    static const std::map<std::string, const char *> kJsonTypes = {
        {"STRING", "string"}, {"INT32", "integer"}, {"INT64", "integer"}, {"INT16", "integer"},
        {"BOOL", "boolean"},  {"DOUBLE", "number"}, {"ARRAY", "array"},   {"TABLE", "object"},
    };
    nlohmann::json schema = nlohmann::json::object();
    if (described.contains("properties"))
        schema = schema_of_keys(described["properties"], judgement);
    schema["type"] = kJsonTypes.at(described.at("x-bus"));
    for (const char *word : {"enum", "minimum", "maximum", "minLength", "maxLength", "minItems", "maxItems", "pattern"})
        if (described.contains(word))
            schema[word] = described[word];
    if (described.contains("items"))
        schema["items"] = schema_of(described["items"], judgement);
    return schema;
}

nlohmann::json schema_of_keys(const Json &keys, const Judgement &judgement)
{
    nlohmann::json schema = {{"type", "object"}, {"properties", nlohmann::json::object()}};
    for (const auto &[key, described] : keys.items())
        schema["properties"][key_of(key, judgement)] = schema_of(described, judgement);
    return schema;
}

nlohmann::json to_json(const Value &value);

nlohmann::json to_json_object(const Values &found)
{
    nlohmann::json object = nlohmann::json::object();
    for (const Value &value : found.values)
        object[value.name] = to_json(value);
    return object;
}

// A text's bytes each as a character of its own, so that lengths are in bytes.
std::string as_latin1(std::string_view bytes)
{
    std::string text;
    for (unsigned char byte : bytes) {
        if (byte < 0x80) {
            text += static_cast<char>(byte);
        } else {
            text += static_cast<char>(0xC0 | byte >> 6);
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}

nlohmann::json to_json(const Value &value)
{
    switch (value.type) {
    case Type::string:
        return as_latin1(value.payload.substr(0, value.payload.find('\0')));
    case Type::table:
        return to_json_object(values_in(value.payload));
    case Type::array: {
        nlohmann::json array = nlohmann::json::array();
        for (const Value &element : values_in(value.payload).values)
            array.push_back(to_json(element));
        return array;
    }
    case Type::int8:
        return integer(value.payload) != 0;
    default:
        return integer(value.payload);
    }
}

// Words of the description are UTF-8.
void as_latin1(nlohmann::json &json)
{
    if (json.is_string())
        json = as_latin1(json.get<std::string>());
    else if (json.is_structured())
        for (nlohmann::json &element : json)
            as_latin1(element);
}

void validate(const Json &keys, const Values &found, Judgement &judgement)
{
    using valijson::adapters::NlohmannJsonAdapter;
    static std::map<std::string, std::unique_ptr<valijson::Schema>> schemas;
    auto &schema = schemas[judgement.where + judgement.object];
    if (!schema) {
        nlohmann::json document = schema_of_keys(keys, judgement);
        as_latin1(document);
        schema = std::make_unique<valijson::Schema>();
        valijson::SchemaParser(valijson::SchemaParser::kDraft7).populateSchema(NlohmannJsonAdapter(document), *schema);
    }
    nlohmann::json document = to_json_object(found);
    valijson::ValidationResults results;
    if (valijson::Validator().validate(*schema, NlohmannJsonAdapter(document), &results))
        return;
    for (valijson::ValidationResults::Error error; results.popError(error);) {
        std::string path;
        for (const std::string &step : error.context)
            path += step;
        judgement.complain(path, error.description);
    }
}

void judge(const Json &keys, const Values &found, Judgement &judgement)
{
    match_keys(keys, found, "", judgement);
    validate(keys, found, judgement);
}

void tell(const Judgement &judgement, std::string_view message)
{
    for (const std::string &key : judgement.keys)
        met.add(judgement.where + "\t" + key);
    if (judgement.complaints.empty())
        return;
    std::string text = "The description lacks a " + judgement.where + " of " + judgement.object + ":\n";
    for (const std::string &complaint : judgement.complaints)
        text += "  " + complaint + '\n';
    ADD_FAILURE() << text << to_text(message);
}

std::regex failure_pattern(const std::string &text, const Json &arguments)
{
    static const std::regex special(R"([.^$|()\[\]*+?\\])");
    std::string names;
    for (const auto &[name, described] : arguments.items())
        names += (names.empty() ? "" : "|") + std::regex_replace(name, special, R"(\$&)");
    std::string pattern;
    size_t position = 0;
    while (position < text.size()) {
        size_t start = text.find('{', position), end = text.find('}', position);
        pattern += std::regex_replace(text.substr(position, start - position), special, R"(\$&)");
        if (start == std::string::npos || end == std::string::npos)
            break;
        pattern += text.substr(start, end - start + 1) == "{argument}" ? "(" + names + ")" : R"([^]*)";
        position = end + 1;
    }
    return std::regex(pattern);
}

// The failure text of a reply has to be one of the method's.
void judge_failure(const Json &method, const Values &found, Judgement &judgement)
{
    std::string result, reason;
    for (const Value &value : found.values) {
        std::string text(value.payload.substr(0, value.payload.find('\0')));
        if (value.name == "result")
            result = text;
        else if (value.name == "failreason")
            reason = text;
    }
    if (result == "0" && !reason.empty())
        judgement.complain("failreason", "a success with a reason");
    if (result != "1")
        return;
    for (const Json &failure : method.at("failures")) {
        const std::string text = failure.at("text");
        if (std::regex_match(reason, failure_pattern(text, method.value("arguments", Json::object())))) {
            met.add("failure" + judgement.where.substr(judgement.where.find(' ')) + "\t" + text);
            return;
        }
    }
    judgement.complain("failreason", "not described: " + reason);
}

bool is_failure(const Json &keys, const Values &found)
{
    return !keys.contains("result") && !found.values.empty() && found.values[0].name == "result";
}

void check_message(const std::string &object, const std::string &method, std::string_view message, bool knows_widths)
{
    const DescribedObject *described = describe(object);
    if (!described || !described->description["methods"].contains(method))
        return;
    if (!met.is_new(object + '\n' + method + '\n' + std::string(message)))
        return;
    const Json &what = described->description["methods"][method];
    Judgement judgement{"reply " + described->name + " " + method, object, knows_widths};
    const Json &keys = what.at("reply");
    Values found = values_in(message);
    if (is_failure(keys, found)) {
        judgement.where = "failed " + judgement.where;
        static const Json failure_keys = shared_piece("failure_reply");
        judge(failure_keys, found, judgement);
        judgement.keys.clear();
        judgement.where = judgement.where.substr(judgement.where.find(' ') + 1);
        judge_failure(what, found, judgement);
    } else if (keys.is_null()) {
        judgement.complain("", "there should be none");
    } else {
        judge(keys, found, judgement);
        if (keys.contains("result") && keys.contains("failreason"))
            judge_failure(what, found, judgement);
    }
    tell(judgement, message);
}

Judgement judge_notification(const std::string &object, const std::string &name, std::string_view message,
                             bool knows_widths)
{
    const DescribedObject *described = describe(object);
    Judgement judgement{"notification " + (described ? described->name : object) + " " + name, object, knows_widths};
    if (described && described->description["notifications"].contains(name))
        judge(described->description["notifications"][name].at("message"), values_in(message), judgement);
    else
        judgement.complain(name, "no notification of " + object);
    return judgement;
}

} // namespace

void check_reply(const std::string &object, const std::string &method, const std::vector<std::string> &messages)
{
    const DescribedObject *described = describe(object);
    if (!described || !described->description["methods"].contains(method))
        return;
    const Json &what = described->description["methods"][method];
    const std::string where = described->name + " " + method;
    if (messages.empty()) {
        EXPECT_TRUE(may_be_silent(what)) << "no reply to " << method << " of " << object;
        met.add("silence " + where + "\t");
    }
    EXPECT_LE(messages.size(), 1u) << "several replies to " << method << " of " << object;
    for (const std::string &message : messages)
        check_message(object, method, message, true);
}

// Says nothing against the description, which tells when a method ends so: a broker can always end a call.
void check_error(const std::string &object, const std::string &method)
{
    if (const DescribedObject *described = describe(object))
        met.add("silence " + described->name + " " + method + "\t");
}

void check_notification(const std::vector<std::string> &objects, const std::string &name, std::string_view message)
{
    if (!met.is_new(name + '\n' + std::string(message)))
        return;
    Judgement best{"notification", "nobody"};
    bool is_first = true;
    for (const std::string &object : objects) {
        if (!describe(object))
            return; // an object of the test's own: anything may come from there
        Judgement judgement = judge_notification(object, name, message, true);
        if (is_first || judgement.complaints.empty())
            best = judgement;
        is_first = false;
    }
    if (!is_first)
        tell(best, message);
}

void check_printed_reply(const std::string &object, const std::string &method, std::string_view json)
{
    check_message(object, method, from_json(json), false);
}

void check_printed_notification(const std::string &object, const std::string &name, const Json &message)
{
    const std::string values = from_json(message.dump());
    tell(judge_notification(object, name, values, false), values);
}

namespace
{

bool equals_value(const Json &described, const Json &example, const Json &found)
{
    if (described.contains("x-varies"))
        return true;
    if (described.contains("properties"))
        return equals_example(described["properties"], example, found);
    if (!described.contains("items"))
        return example == found;
    return example.is_array() && found.is_array() && example.size() == found.size() &&
           std::equal(example.begin(), example.end(), found.begin(),
                      [&](const Json &said, const Json &is) { return equals_value(described["items"], said, is); });
}

} // namespace

bool equals_example(const Json &keys, const Json &example, const Json &found)
{
    if (!example.is_object() || !found.is_object() || example.size() != found.size())
        return false;
    for (auto said = example.begin(), is = found.begin(); said != example.end(); ++said, ++is) {
        if (said.key() != is.key())
            return false;
        const std::string entry = std::regex_replace(said.key(), std::regex(R"(\.\d+$)"), ".N");
        const std::string &key = keys.contains(said.key()) ? said.key() : entry;
        if (!keys.contains(key) ? said.value() != is.value() : !equals_value(keys[key], said.value(), is.value()))
            return false;
    }
    return true;
}

} // namespace test_support
