#include "system_objects.h"

#include <cstring>

#include "access.h"
#include "client.h"
#include "events.h"
#include "monitors.h"
#include "objects.h"
#include "work.h"

namespace
{

// --- Events ---

enum { REGISTER_OBJECT, REGISTER_PATTERN, REGISTER_COUNT };
constexpr blobmsg_policy kRegisterPolicy[] = {
    {.name = "object", .type = BLOBMSG_TYPE_INT32},
    {.name = "pattern", .type = BLOBMSG_TYPE_STRING},
};

enum { SEND_ID, SEND_DATA, SEND_COUNT };
constexpr blobmsg_policy kSendPolicy[] = {
    {.name = "id", .type = BLOBMSG_TYPE_STRING},
    {.name = "data", .type = BLOBMSG_TYPE_TABLE},
};

// Fills `arguments` from the request; false where one is missing.
template <size_t count>
bool parse_all(const blobmsg_policy (&policy)[count], const Request &request, blob_attr *(&arguments)[count])
{
    blob_attr *data = request.attributes[UBUS_ATTR_DATA];
    if (!data)
        return false;
    blobmsg_parse(policy, count, arguments, blob_data(data), static_cast<unsigned>(blob_len(data)));
    for (const blob_attr *argument : arguments)
        if (!argument)
            return false;
    return true;
}

// The pattern is taken for a name without its `*`: who may listen to `a` may also listen to `a*`.
bool may_listen(Client &client, std::string_view pattern)
{
    if (pattern.ends_with('*'))
        pattern.remove_suffix(1);
    return access_allows(client, MAY_LISTEN, pattern);
}

int register_pattern(Client &client, const Request &request)
{
    blob_attr *arguments[REGISTER_COUNT];
    if (!parse_all(kRegisterPolicy, request, arguments))
        return UBUS_STATUS_INVALID_ARGUMENT;
    uint32_t id = blobmsg_get_u32(arguments[REGISTER_OBJECT]);
    if (id < UBUS_SYSTEM_OBJECT_MAX)
        return UBUS_STATUS_PERMISSION_DENIED;
    Object *object = object_find(id);
    if (!object)
        return UBUS_STATUS_NOT_FOUND;
    const char *pattern = blobmsg_get_string(arguments[REGISTER_PATTERN]);
    if (object->client != &client || pattern[0] == '\0' || !may_listen(client, pattern))
        return UBUS_STATUS_PERMISSION_DENIED;
    return events_register(*object, pattern);
}

int send_event(Client &client, const Request &request)
{
    blob_attr *arguments[SEND_COUNT];
    if (!parse_all(kSendPolicy, request, arguments))
        return UBUS_STATUS_INVALID_ARGUMENT;
    // Names of this kind are the broker's own.
    const char *event = blobmsg_get_string(arguments[SEND_ID]);
    if (strncmp(event, "ubus.", 5) == 0 || !access_allows(client, MAY_SEND, event))
        return UBUS_STATUS_PERMISSION_DENIED;
    const blob_attr *data = arguments[SEND_DATA];
    events_send(event, {static_cast<const uint8_t *>(blobmsg_data(data)), blobmsg_data_len(data)}, &client);
    return UBUS_STATUS_OK;
}

// --- Access ---

// Adds what a list says of an object, for its owner.
bool add_rule(blob_buf &data, const Object &object, const AccessList &list, const Rule &rule)
{
    void *table = blobmsg_open_table(&data, nullptr);
    bool added = table && blobmsg_add_string(&data, "obj", object.path) == 0 &&
                 blobmsg_add_string(&data, list.is_group ? "group" : "user", list.name) == 0 &&
                 blobmsg_add_field(&data, BLOBMSG_TYPE_TABLE, "acl", blobmsg_data(rule.acl),
                                   static_cast<unsigned>(blobmsg_len(rule.acl))) == 0;
    if (table)
        blobmsg_close_table(&data, table);
    return added && blob_raw_len(data.head) < UBUS_MAX_MSGLEN;
}

bool add_rules_of(blob_buf &data, const Object &object)
{
    for (const AccessList &list : access_lists()) {
        work_add(1);
        for (const Rule &rule : list.rules_of(MAY_CALL))
            if (rule.acl && rule_matches(rule, object.path) && !add_rule(data, object, list, rule))
                return false;
    }
    return true;
}

bool add_all_rules(blob_buf &data, const Client &client)
{
    void *array = blobmsg_open_array(&data, "acl");
    bool added = array;
    const Object *object;
    list_for_each_entry (object, &client.objects, in_client)
        added = added && (!object->path || add_rules_of(data, *object));
    if (array)
        blobmsg_close_array(&data, array);
    return added;
}

int query_access(Client &client, const Request &request)
{
    blob_buf data = {};
    bool complete = blob_buf_init(&data, 0) == 0 && blobmsg_add_u32(&data, "seq", access_lists_sequence()) == 0 &&
                    add_all_rules(data, client);
    if (complete) {
        Message message(UBUS_MSG_DATA, request.seq, UBUS_SYSTEM_OBJECT_ACL);
        message.put_u32(UBUS_ATTR_OBJID, UBUS_SYSTEM_OBJECT_ACL);
        message.put(UBUS_ATTR_DATA, blob_data(data.head), blob_len(data.head));
        complete = message.fits() && client_answer(client, message) == 0;
    }
    blob_buf_free(&data);
    return complete ? UBUS_STATUS_OK : UBUS_STATUS_NO_MEMORY;
}

// --- Monitors ---

int add_monitor(Client &client, const Request &)
{
    return monitors_add(client);
}

int remove_monitor(Client &client, const Request &)
{
    monitors_remove(client);
    return UBUS_STATUS_OK;
}

struct Method {
    uint32_t object;
    const char *name;
    int (*call)(Client &client, const Request &request);
};

constexpr Method kMethods[] = {
    {UBUS_SYSTEM_OBJECT_EVENT, "register", register_pattern}, {UBUS_SYSTEM_OBJECT_EVENT, "send", send_event},
    {UBUS_SYSTEM_OBJECT_ACL, "query", query_access},          {UBUS_SYSTEM_OBJECT_MONITOR, "add", add_monitor},
    {UBUS_SYSTEM_OBJECT_MONITOR, "remove", remove_monitor},
};

} // namespace

int system_object_call(Client &client, const Object &object, const Request &request)
{
    bool is_monitor = object.id.value == UBUS_SYSTEM_OBJECT_MONITOR;
    if (is_monitor && !access_allows_monitor(client))
        return UBUS_STATUS_PERMISSION_DENIED;
    for (const Method &method : kMethods)
        if (method.object == object.id.value && strcmp(method.name, request.text(UBUS_ATTR_METHOD)) == 0)
            return method.call(client, request);
    return is_monitor ? UBUS_STATUS_METHOD_NOT_FOUND : UBUS_STATUS_INVALID_COMMAND;
}

void system_object_tell_access()
{
    blob_buf data = {};
    if (blob_buf_init(&data, 0) == 0 && blobmsg_add_u32(&data, "sequence", access_lists_sequence()) == 0)
        events_send("ubus.acl.sequence", payload_of(data.head), nullptr);
    blob_buf_free(&data);
}
