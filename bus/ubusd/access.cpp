#include "access.h"

#include <cstdlib>
#include <cstring>
#include <sys/socket.h>

#include "client.h"
#include "work.h"

namespace
{

constexpr unsigned kMostGroups = 65536; // of a process
constexpr unsigned kGroupsThatCount = 64;
constexpr unsigned kRulesPerUnit = 64; // of work

bool everybody_may_all = false;

gid_t groups[kMostGroups];

// Supplementary groups as they were when the peer connected.
std::span<const gid_t> groups_of(const Client &client)
{
    socklen_t length = sizeof(groups);
    if (getsockopt(client.fd, SOL_SOCKET, SO_PEERGROUPS, groups, &length) != 0)
        return {};
    size_t count = length / sizeof(gid_t);
    return {groups, count < kGroupsThatCount ? count : kGroupsThatCount};
}

bool is_superuser(const Client &client)
{
    return client.account->id.value == 0;
}

bool may_all(const Client &client)
{
    return everybody_may_all || is_superuser(client);
}

// Those that hold for the client, found once for each loading.
const ListSet &lists_of(Client &client)
{
    if (client.lists.sequence != access_lists_sequence())
        client.lists = access_lists_of(client.account->id.value, client.group_id, groups_of(client));
    return client.lists;
}

// Calls `use` with each of the client's rules for the name, until it returns true; whether it did.
template <typename Use> bool any_rule(Client &client, Right right, std::string_view name, const Use &use)
{
    const ListSet &mine = lists_of(client);
    std::span<const AccessList> lists = access_lists();
    for (size_t i = 0; i < lists.size(); i++) {
        if (!mine.has(i))
            continue;
        std::span<const Rule> rules = lists[i].rules_of(right);
        work_add(static_cast<unsigned>(rules.size()) / kRulesPerUnit);
        for (const Rule &rule : rules)
            if (rule_matches(rule, name) && use(rule))
                return true;
    }
    return false;
}

// The client's rules for one object.
struct RuleSet {
    const Rule *rules[kMostRules];
    unsigned count;
    bool has_all_methods;
};

RuleSet matching;

void match(Client &client, const char *path)
{
    matching.count = 0;
    matching.has_all_methods = any_rule(client, MAY_CALL, path, [](const Rule &rule) {
        matching.rules[matching.count++] = &rule;
        return rule.has_all_methods;
    });
}

bool matching_allow(const char *method)
{
    work_add(1 + matching.count / kRulesPerUnit);
    for (unsigned i = 0; i < matching.count; i++)
        if (rule_allows_method(*matching.rules[i], method))
            return true;
    return false;
}

// Copies what is allowed of the signature; the result is how many bytes that are. `count` becomes that of all methods.
size_t copy_allowed(const ObjectType &type, uint8_t *copy, unsigned &count)
{
    size_t length = 0, rem = type.length;
    count = 0;
    const auto *method = reinterpret_cast<const blob_attr *>(type.signature);
    while (rem >= sizeof(blob_attr) && blob_pad_len(method) <= rem && blobmsg_check_attr_len(method, true, rem)) {
        size_t size = blob_pad_len(method);
        if (matching_allow(blobmsg_name(method))) {
            memcpy(copy + length, method, size);
            length += size;
        }
        count++;
        rem -= size;
        method = blob_next(method);
    }
    return length;
}

} // namespace

void access_open()
{
    everybody_may_all = true;
}

bool access_admits(Client &client)
{
    if (may_all(client))
        return true;
    client_identify(client);
    return !client.identified || (client.user && client.group);
}

bool access_allows(Client &client, Right right, std::string_view name)
{
    return may_all(client) || any_rule(
                                  client, right, name, [](const Rule &) { return true; });
}

bool access_allows_call(Client &client, const Object &object, const char *method)
{
    if (!object.path || may_all(client))
        return true;
    return any_rule(client, MAY_CALL, object.path,
                    [method](const Rule &rule) { return rule_allows_method(rule, method); });
}

bool access_allows_subscription(Client &client, const Object &target)
{
    if (target.path)
        return access_allows(client, MAY_SUBSCRIBE, target.path);
    // An object without a path is between clients of one user or group; the superuser is no exception.
    const Client &other = *target.client;
    return everybody_may_all || client.account == other.account || client.group_id == other.group_id;
}

bool access_allows_monitor(const Client &client)
{
    return everybody_may_all || (is_superuser(client) && client.group_id == 0);
}

Visible access_visible(Client &client, const Object &object)
{
    const ObjectType &type = *object.type;
    Visible visible = {.signature = {type.signature, type.length}};
    if (may_all(client) || type.length == 0)
        return visible;
    match(client, object.path);
    if (matching.has_all_methods)
        return visible;
    visible.copy = static_cast<uint8_t *>(malloc(type.length));
    visible.has_failed = !visible.copy;
    if (visible.has_failed)
        return visible;
    unsigned count = 0;
    visible.signature = {visible.copy, copy_allowed(type, visible.copy, count)};
    visible.is_hidden = visible.signature.empty() && count != 0;
    return visible;
}
