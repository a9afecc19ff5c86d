#include "system_objects.h"

#include <cstring>

#include "client.h"
#include "events.h"
#include "objects.h"

namespace
{

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
    if (object->client != &client || pattern[0] == '\0')
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
    if (strncmp(event, "ubus.", 5) == 0)
        return UBUS_STATUS_PERMISSION_DENIED;
    const blob_attr *data = arguments[SEND_DATA];
    events_send(event, {static_cast<const uint8_t *>(blobmsg_data(data)), blobmsg_data_len(data)}, &client);
    return UBUS_STATUS_OK;
}

} // namespace

int system_object_call(Client &client, const Request &request)
{
    const char *method = request.text(UBUS_ATTR_METHOD);
    if (strcmp(method, "register") == 0)
        return register_pattern(client, request);
    if (strcmp(method, "send") == 0)
        return send_event(client, request);
    return UBUS_STATUS_INVALID_COMMAND;
}
