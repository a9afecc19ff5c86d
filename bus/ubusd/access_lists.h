// The access lists' rules. A list is for a user or for a group; its rules allow, nothing forbids.
#pragma once

#include <span>
#include <string_view>
#include <sys/types.h>

#include "access_files.h"

enum Right { MAY_CALL, MAY_PUBLISH, MAY_SUBSCRIBE, MAY_LISTEN, MAY_SEND, RIGHT_COUNT };

// For names that are equal to a text, or begin with it.
struct Rule {
    std::string_view text;
    bool is_prefix;
    bool has_all_methods;
    const blob_attr *methods; // of MAY_CALL only, may be null
    const blob_attr *acl;     // the same; handed to the owners of objects
};

struct AccessList {
    bool is_group;
    uint32_t id;      // of the user or group
    const char *name; // of it, as the file has it
    blob_buf content; // in which all texts stand
    Rule *rules;      // by right
    unsigned begin[RIGHT_COUNT + 1];

    std::span<const Rule> rules_of(Right right) const
    {
        return {rules + begin[right], begin[right + 1] - begin[right]};
    }
};

inline constexpr unsigned kMostRules = 4096; // of all lists

// Which of the lists hold for a client, as of a loading. Zeroed: none, as before the first one.
struct ListSet {
    uint32_t sequence;
    uint64_t bits[kMostLists / 64];

    bool has(size_t list) const { return (bits[list / 64] >> list % 64 & 1) != 0; }
};

// Reads the folder anew. True where lists are other ones now: not where the folder has no file, nor where it could not
// be read for want of memory or descriptors.
bool access_lists_load(const char *folder);

// How often that was true.
uint32_t access_lists_sequence();

std::span<const AccessList> access_lists();

ListSet access_lists_of(uid_t user, gid_t group, std::span<const gid_t> groups);

bool rule_matches(const Rule &rule, std::string_view name);
bool rule_allows_method(const Rule &rule, const char *method);
