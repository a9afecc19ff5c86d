// Who may do what in sessions, by lists of the router's form: groups of grants, and users who have groups.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "json_text.h"

// scope -> object pattern -> function patterns
using Grants = std::map<std::string, std::map<std::string, std::vector<std::string>>>;

bool allows(const Grants &grants, const char *scope, const char *object, const char *function);
Json to_json(const Grants &grants);

struct User {
    std::string password;
    std::vector<std::string> read, write; // patterns of groups; with ! before it, one of those that are refused
};

using Users = std::map<std::string, User>;

class AccessLists
{
  public:
    // Throws where the text is no list. Of several lists that name a group each adds to it.
    void add(const std::string &json);

    Grants grants_of(const User &user) const;
    Grants grants_of_unauthenticated() const;

  private:
    struct Group {
        Grants read, write;
    };

    std::map<std::string, Group> groups_;
};

// Throws where the text is no list of users.
Users read_users(const std::string &json);
