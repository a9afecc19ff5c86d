#include "sessions.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/random.h>

namespace
{

constexpr std::chrono::seconds kTimeOut{300};
constexpr size_t kMostSessions = 64;
constexpr size_t kMostData = 16384; // of a session, as JSON

enum Status { OK = 0, INVALID_ARGUMENT = 2, NOT_FOUND = 4, DENIED = 6, UNSUPPORTED = 8 };

std::string new_id()
{
    unsigned char bytes[16];
    if (getrandom(bytes, sizeof(bytes), 0) != sizeof(bytes))
        throw std::runtime_error(std::string("getrandom: ") + strerror(errno));
    std::string id;
    for (unsigned char byte : bytes)
        for (int digit : {byte >> 4, byte & 15})
            id += "0123456789abcdef"[digit];
    return id;
}

// In a time that does not tell how much of it is right.
bool is_equal(const std::string &given, const std::string &kept)
{
    unsigned difference = given.size() == kept.size() ? 0 : 1;
    for (size_t i = 0; i < given.size(); i++)
        difference |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(kept[i % kept.size()]);
    return difference == 0;
}

std::chrono::seconds time_out_of(const Json &arguments)
{
    auto found = arguments.find("timeout");
    if (found == arguments.end() || !found->is_number_integer())
        return kTimeOut;
    return std::chrono::seconds(std::clamp<int64_t>(found->get<int64_t>(), 0, INT32_MAX));
}

// The names that `keys` has, or none where there is no such array.
std::optional<std::vector<std::string>> keys_of(const Json &arguments)
{
    auto found = arguments.find("keys");
    if (found == arguments.end() || !found->is_array())
        return std::nullopt;
    std::vector<std::string> keys;
    for (const Json &key : *found)
        if (key.is_string())
            keys.push_back(key.get<std::string>());
    return keys;
}

} // namespace

bool Sessions::may(const std::string &id, const char *scope, const char *object, const char *function)
{
    if (id == kNullSession)
        return allows(lists_.grants_of_unauthenticated(), scope, object, function);
    const Session *session = find(id);
    return session && allows(session->grants, scope, object, function);
}

Grants Sessions::grants_of(const std::string &id)
{
    const Session *session = find(id);
    return session ? session->grants : Grants{};
}

Sessions::Session *Sessions::find(const std::string &id)
{
    auto found = sessions_.find(id);
    if (found == sessions_.end())
        return nullptr;
    Session &session = found->second;
    const Clock::time_point now = Clock::now();
    if (session.time_out.count() > 0 && now - session.used >= session.time_out) {
        sessions_.erase(found);
        return nullptr;
    }
    session.used = now;
    return &session;
}

void Sessions::make_room()
{
    if (sessions_.size() < kMostSessions)
        return;
    sessions_.erase(std::min_element(sessions_.begin(), sessions_.end(), [](const auto &one, const auto &other) {
        return one.second.used < other.second.used;
    }));
}

Json Sessions::describe(const std::string &id, const Session &session) const
{
    return {{"ubus_rpc_session", id},
            {"timeout", session.time_out.count()},
            {"expires", session.time_out.count()}, // it has been used this moment
            {"acls", to_json(session.grants)},
            {"data", session.data}};
}

Sessions::Reply Sessions::login(const Json &arguments)
{
    const std::string *name = text_member(arguments, "username"), *password = text_member(arguments, "password");
    if (!name || !password)
        return {INVALID_ARGUMENT, {}};
    auto user = users_.find(*name);
    if (user == users_.end() || !is_equal(*password, user->second.password))
        return {DENIED, {}};
    make_room();
    const std::string id = new_id();
    Session &session = sessions_[id];
    session = {lists_.grants_of(user->second), {{"username", *name}}, time_out_of(arguments), Clock::now()};
    return {OK, describe(id, session)};
}

Sessions::Reply Sessions::access(const std::string &id, const Json &arguments)
{
    const std::string *object = text_member(arguments, "object"), *function = text_member(arguments, "function");
    const std::string *scope = text_member(arguments, "scope");
    if (object && function)
        return {OK, Json{{"access", may(id, scope ? scope->c_str() : "ubus", object->c_str(), function->c_str())}}};
    const Session *session = find(id);
    return {OK, to_json(session ? session->grants : lists_.grants_of_unauthenticated())};
}

Sessions::Reply Sessions::get(Session &session, const Json &arguments) const
{
    Json values = session.data;
    if (const auto keys = keys_of(arguments)) {
        values = Json::object();
        for (const std::string &key : *keys)
            if (session.data.contains(key))
                values[key] = session.data[key];
    }
    return {OK, Json{{"values", std::move(values)}}};
}

Sessions::Reply Sessions::set(Session &session, const Json &arguments) const
{
    auto values = arguments.find("values");
    if (values == arguments.end() || !values->is_object())
        return {INVALID_ARGUMENT, {}};
    Json data = session.data;
    for (const auto &[name, value] : values->items())
        if (!name.empty())
            data[name] = value;
    if (write_json(data).size() > kMostData)
        return {INVALID_ARGUMENT, {}};
    session.data = std::move(data);
    return {OK, {}};
}

Sessions::Reply Sessions::unset(Session &session, const Json &arguments) const
{
    if (const auto keys = keys_of(arguments))
        for (const std::string &key : *keys)
            session.data.erase(key);
    else
        session.data = Json::object();
    return {OK, {}};
}

// The methods that are not here change grants or make sessions without a password, which no list lets anybody do over
// HTTP.
Sessions::Reply Sessions::call(const std::string &id, const std::string &method, const Json &arguments)
{
    if (method == "login")
        return login(arguments);
    if (method == "access")
        return access(id, arguments);
    if (method == "destroy")
        return {sessions_.erase(id) == 1 ? OK : DENIED, {}};
    Session *session = find(id);
    if (!session)
        return {NOT_FOUND, {}};
    if (method == "list")
        return {OK, describe(id, *session)};
    if (method == "get")
        return get(*session, arguments);
    if (method == "set")
        return set(*session, arguments);
    if (method == "unset")
        return unset(*session, arguments);
    return {signature().contains(method) ? UNSUPPORTED : 3, {}};
}

const Json &Sessions::signature()
{
    static const Json signature = *read_json(R"({
        "create": {"timeout": "number"},
        "list": {"ubus_rpc_session": "string"},
        "grant": {"ubus_rpc_session": "string", "scope": "string", "objects": "array"},
        "revoke": {"ubus_rpc_session": "string", "scope": "string", "objects": "array"},
        "access": {"ubus_rpc_session": "string", "scope": "string", "object": "string", "function": "string"},
        "set": {"ubus_rpc_session": "string", "values": "object"},
        "get": {"ubus_rpc_session": "string", "keys": "array"},
        "unset": {"ubus_rpc_session": "string", "keys": "array"},
        "destroy": {"ubus_rpc_session": "string"},
        "login": {"username": "string", "password": "string", "timeout": "number"}
    })");
    return signature;
}
