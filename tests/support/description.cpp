#include "tests/support/description.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

namespace test_support
{

namespace
{

Json read_json(const std::filesystem::path &file)
{
    std::ifstream stream(file);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    Json json = Json::parse(text, nullptr, false);
    if (json.is_discarded())
        throw std::runtime_error(file.string() + " is not JSON");
    return json;
}

const Json &common()
{
    static const Json pieces = read_json(API_DIR "/common.json");
    return pieces;
}

Json resolve(Json value)
{
    while (value.is_object() && value.contains("$ref") && value["$ref"].is_string()) {
        std::string reference = value["$ref"];
        Json shared = common().at(Json::json_pointer(reference.substr(reference.find('#') + 1)));
        value.erase("$ref");
        shared.update(value);
        value = std::move(shared);
    }
    if (value.is_structured())
        for (Json &element : value)
            element = resolve(std::move(element));
    return value;
}

std::filesystem::path file_of(const std::string &object)
{
    return std::filesystem::path(API_DIR) / (object + ".json");
}

DescribedObject read_object(const std::string &name)
{
    return {name, resolve(read_json(file_of(name)))};
}

std::vector<DescribedObject> read_objects()
{
    std::vector<DescribedObject> objects;
    for (const auto &entry : std::filesystem::directory_iterator(API_DIR))
        if (entry.path().filename().string().starts_with("wexond"))
            objects.push_back(read_object(entry.path().stem()));
    std::ranges::sort(objects, {}, &DescribedObject::name);
    return objects;
}

std::string lower(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

// The name of the kind that an entry object is of; a name without a number stays as it is.
std::string kind_of(const std::string &path)
{
    size_t digits = path.find_last_not_of("0123456789") + 1;
    return digits < path.size() && path[digits - 1] == '.' ? path.substr(0, digits) + "N" : path;
}

// Most tests meet one or two objects: only what they meet is read.
const DescribedObject *find_description(const std::string &path)
{
    static std::map<std::string, DescribedObject> read; // by name
    for (const std::string &name : {path, kind_of(path)}) {
        if (const auto known = read.find(name); known != read.end())
            return &known->second;
        if (std::filesystem::exists(file_of(name)))
            return &read.emplace(name, read_object(name)).first->second;
    }
    return nullptr;
}

void add_once(std::vector<Json> &values, const Json &value)
{
    if (std::ranges::find(values, value) == values.end())
        values.push_back(value);
}

bool succeeds(const Json &example)
{
    return example["reply"].is_object() && example["reply"].value("result", "0") == "0";
}

std::vector<Json> stated_values(const Json &described)
{
    std::vector<Json> values;
    for (const char *words : {"enum", "x-known"})
        for (const Json &word : described.value(words, Json::array()))
            values.push_back(word);
    for (const char *end : {"minimum", "maximum"})
        if (described.contains(end))
            values.push_back(described[end]);
    return values;
}

// One of its type, where no example has any.
Json any_value(const Json &described)
{
    const std::string type = described.value("x-sent", described.at("x-bus"));
    if (std::vector<Json> stated = stated_values(described); !stated.empty())
        return stated[0];
    if (type == "ARRAY")
        return Json::array({any_value(described["items"])});
    if (type != "TABLE")
        return type == "STRING" ? Json("a") : Json(1);
    Json table = Json::object();
    for (const auto &[key, value] : described["properties"].items())
        table[key] = any_value(value);
    return table;
}

} // namespace

std::string DescribedObject::listing(const std::string &path) const
{
    std::string text = path + '\n';
    for (const auto &[method, described] : methods().items()) {
        text += "  " + method;
        const Json arguments = described.value("arguments", Json::object());
        for (const auto &[argument, value] : arguments.items())
            text += " " + argument + ":" + lower(value.at("x-bus"));
        text += '\n';
    }
    return text;
}

const std::vector<DescribedObject> &described_objects()
{
    static const std::vector<DescribedObject> objects = read_objects();
    return objects;
}

const std::vector<std::string> &registered_objects()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> ordered = common().at("registration");
        for (const DescribedObject &object : described_objects())
            if (!object.is_entry() && std::ranges::count(ordered, object.name) == 0)
                ordered.push_back(object.name);
        return ordered;
    }();
    return names;
}

const DescribedObject *describe(const std::string &path)
{
    if (!path.starts_with("wexond"))
        return nullptr;
    static std::map<std::string, const DescribedObject *> known; // by path: thousands of calls ask again
    auto [place, is_new] = known.try_emplace(path);
    if (is_new)
        place->second = find_description(path);
    return place->second;
}

Json shared_piece(const std::string &name)
{
    return resolve(common().at(name));
}

bool may_be_silent(const Json &method)
{
    return method.contains("silent") || method["reply"].is_null();
}

std::vector<Json> sensible_values(const Json &method, const std::string &argument)
{
    std::vector<Json> values;
    for (const Json &example : method["examples"])
        if (succeeds(example) && example.contains("arguments") && example["arguments"].contains(argument))
            add_once(values, example["arguments"][argument]);
    for (const Json &value : stated_values(method["arguments"][argument]))
        add_once(values, value);
    if (values.empty())
        values.push_back(any_value(method["arguments"][argument]));
    return values;
}

Json sensible_arguments(const Json &method)
{
    Json arguments = Json::object();
    const Json described = method.value("arguments", Json::object());
    for (const auto &[name, argument] : described.items())
        arguments[name] = sensible_values(method, name)[0];
    return arguments;
}

} // namespace test_support
