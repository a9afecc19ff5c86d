// The sessions, and the object `session` by which clients log in, ask what they may, and end them.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "access_lists.h"

inline const std::string kNullSession(32, '0');

class Sessions
{
  public:
    using Clock = std::chrono::steady_clock;

    Sessions(const AccessLists &lists, Users users) : lists_(lists), users_(std::move(users)) {}

    // Whether the session is there and may. Every question is a use: the session's time begins anew.
    bool may(const std::string &id, const char *scope, const char *object, const char *function);
    bool is_there(const std::string &id) { return find(id) != nullptr; }
    // All that it may; nothing where it is not there.
    Grants grants_of(const std::string &id);

    // A bus status and, where there is one, the reply.
    struct Reply {
        int status;
        std::optional<Json> data;
    };
    Reply call(const std::string &id, const std::string &method, const Json &arguments);

    // The object `session` as it would list itself, as the bus says it of its objects.
    static const Json &signature();

  private:
    struct Session {
        Grants grants;
        Json data = Json::object();
        std::chrono::seconds time_out{0}; // 0 for never
        Clock::time_point used;
    };

    Session *find(const std::string &id);
    void make_room();
    Json describe(const std::string &id, const Session &session) const;

    Reply login(const Json &arguments);
    Reply access(const std::string &id, const Json &arguments);
    Reply get(Session &session, const Json &arguments) const;
    Reply set(Session &session, const Json &arguments) const;
    Reply unset(Session &session, const Json &arguments) const;

    const AccessLists &lists_;
    Users users_;
    std::map<std::string, Session> sessions_;
};
