#include "access_lists.h"

#include <algorithm>
#include <fnmatch.h>

namespace
{

bool matches(const std::string &pattern, const char *text)
{
    return fnmatch(pattern.c_str(), text, FNM_NOESCAPE) == 0;
}

bool any_matches(const std::vector<std::string> &patterns, const char *text)
{
    return std::any_of(
        patterns.begin(), patterns.end(), [&](const std::string &pattern) { return matches(pattern, text); });
}

[[noreturn]] void refuse(const std::string &what)
{
    throw std::runtime_error(what);
}

Json read_object(const std::string &text, const char *what)
{
    std::optional<Json> json = read_json(text);
    if (!json || !json->is_object())
        refuse(std::string(what) + ": no JSON object");
    return std::move(*json);
}

std::vector<std::string> texts_of(const Json &array)
{
    std::vector<std::string> texts;
    if (array.is_array())
        for (const Json &element : array)
            if (element.is_string())
                texts.push_back(element.get<std::string>());
    return texts;
}

void add_grant(Grants &grants, const std::string &scope, const std::string &object, const std::string &function)
{
    std::vector<std::string> &functions = grants[scope][object];
    if (std::find(functions.begin(), functions.end(), function) == functions.end())
        functions.push_back(function);
}

// A scope is a table of objects with their functions, or an array of objects whose function is the kind's name.
void add_scopes(Grants &grants, const std::string &group, const char *kind, const Json &scopes)
{
    if (!scopes.is_object())
        return;
    for (const auto &[scope, objects] : scopes.items()) {
        if (!objects.is_structured())
            continue;
        for (const std::string &object : texts_of(objects))
            add_grant(grants, scope, object, kind);
        if (objects.is_object())
            for (const auto &[object, functions] : objects.items())
                for (const std::string &function : texts_of(functions))
                    add_grant(grants, scope, object, function);
        add_grant(grants, "access-group", group, kind);
    }
}

void merge(Grants &grants, const Grants &more)
{
    for (const auto &[scope, objects] : more)
        for (const auto &[object, functions] : objects)
            for (const std::string &function : functions)
                add_grant(grants, scope, object, function);
}

// Refusals are looked at first.
bool has_group(const std::vector<std::string> &patterns, const std::string &group)
{
    for (const std::string &pattern : patterns)
        if (pattern.starts_with('!') && matches(pattern.substr(1), group.c_str()))
            return false;
    return any_matches(patterns, group.c_str());
}

} // namespace

bool allows(const Grants &grants, const char *scope, const char *object, const char *function)
{
    auto objects = grants.find(scope);
    if (objects == grants.end())
        return false;
    return std::any_of(objects->second.begin(), objects->second.end(), [&](const auto &entry) {
        return matches(entry.first, object) && any_matches(entry.second, function);
    });
}

Json to_json(const Grants &grants)
{
    Json json = Json::object();
    for (const auto &[scope, objects] : grants)
        for (const auto &[object, functions] : objects)
            json[scope][object] = functions;
    return json;
}

void AccessLists::add(const std::string &json)
{
    const Json list = read_object(json, "access list");
    for (const auto &[name, group] : list.items()) {
        if (!group.is_object())
            continue;
        Group &kept = groups_[name];
        add_scopes(kept.read, name, "read", group.value("read", Json()));
        add_scopes(kept.write, name, "write", group.value("write", Json()));
    }
}

Grants AccessLists::grants_of(const User &user) const
{
    Grants grants;
    for (const auto &[name, group] : groups_) {
        const bool writes = has_group(user.write, name);
        if (writes || has_group(user.read, name))
            merge(grants, group.read);
        if (writes)
            merge(grants, group.write);
    }
    return grants;
}

Grants AccessLists::grants_of_unauthenticated() const
{
    return grants_of({"", {"unauthenticated"}, {"unauthenticated"}});
}

Users read_users(const std::string &json)
{
    Users users;
    const Json list = read_object(json, "users");
    for (const auto &[name, user] : list.items()) {
        const std::string *password = text_member(user, "password");
        if (!password || password->empty())
            refuse("users: " + name + " has no password");
        users[name] = {*password, texts_of(user.value("read", Json())), texts_of(user.value("write", Json()))};
    }
    return users;
}
