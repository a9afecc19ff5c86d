#include "events.h"

#include "client.h"
#include "objects.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

namespace
{

struct Pattern {
    list_head in_all;
    list_head in_object;
    Object *object;
    bool is_prefix;
    size_t length;
    char text[]; // without the `*` of a prefix
};

LIST_HEAD(patterns);
uint64_t events_told = 0;

bool matches(const Pattern &pattern, const char *event)
{
    // A whole name is compared with its NUL.
    return strncmp(pattern.text, event, pattern.length + (pattern.is_prefix ? 0 : 1)) == 0;
}

int add_pattern(Object &object, const char *text)
{
    size_t length = strlen(text);
    bool is_prefix = text[length - 1] == '*';
    length -= is_prefix;
    auto *pattern = static_cast<Pattern *>(calloc(1, sizeof(Pattern) + length + 1));
    if (pattern == nullptr) {
        return UBUS_STATUS_NO_MEMORY;
    }
    pattern->object = &object;
    pattern->is_prefix = is_prefix;
    pattern->length = length;
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result): the NUL is there
    memcpy(pattern->text, text, length);
    list_add_tail(&pattern->in_all, &patterns);
    list_add_tail(&pattern->in_object, &object.patterns);
    return UBUS_STATUS_OK;
}

// Tells each object once that has a matching pattern, except those of `sender` (which may be null).
void distribute(const char *event, const void *data, size_t length, const Client *sender)
{
    Message message(UBUS_MSG_INVOKE, 0, 0);
    message.put_u32(UBUS_ATTR_OBJID, 0);
    message.put_text(UBUS_ATTR_METHOD, event);
    message.put(UBUS_ATTR_DATA, data, length);
    events_told++;
    Pattern *pattern;
    list_for_each_entry (pattern, &patterns, in_all) {
        Object &object = *pattern->object;
        if (object.client == sender || object.last_event == events_told || !matches(*pattern, event)) {
            continue;
        }
        object.last_event = events_told;
        message.set_first_u32(object.id.value);
        client_send(*object.client, message);
    }
}

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
    if (data == nullptr) {
        return false;
    }
    blobmsg_parse(policy, count, arguments, blob_data(data), static_cast<unsigned>(blob_len(data)));
    for (const blob_attr *argument : arguments) {
        if (argument == nullptr) {
            return false;
        }
    }
    return true;
}

int call_register(Client &client, const Request &request)
{
    blob_attr *arguments[REGISTER_COUNT];
    if (!parse_all(kRegisterPolicy, request, arguments)) {
        return UBUS_STATUS_INVALID_ARGUMENT;
    }
    uint32_t id = blobmsg_get_u32(arguments[REGISTER_OBJECT]);
    if (id < UBUS_SYSTEM_OBJECT_MAX) {
        return UBUS_STATUS_PERMISSION_DENIED;
    }
    Object *object = object_find(id);
    if (object == nullptr) {
        return UBUS_STATUS_NOT_FOUND;
    }
    const char *pattern = blobmsg_get_string(arguments[REGISTER_PATTERN]);
    if (object->client != &client || pattern[0] == '\0') {
        return UBUS_STATUS_PERMISSION_DENIED;
    }
    return add_pattern(*object, pattern);
}

int call_send(Client &client, const Request &request)
{
    blob_attr *arguments[SEND_COUNT];
    if (!parse_all(kSendPolicy, request, arguments)) {
        return UBUS_STATUS_INVALID_ARGUMENT;
    }
    // Names of this kind are the broker's own.
    const char *event = blobmsg_get_string(arguments[SEND_ID]);
    if (strncmp(event, "ubus.", 5) == 0) {
        return UBUS_STATUS_PERMISSION_DENIED;
    }
    distribute(event, blobmsg_data(arguments[SEND_DATA]), blobmsg_data_len(arguments[SEND_DATA]), &client);
    return UBUS_STATUS_OK;
}

} // namespace

int events_call(Client &client, const Request &request)
{
    const char *method = request.text(UBUS_ATTR_METHOD);
    if (strcmp(method, "register") == 0) {
        return call_register(client, request);
    }
    if (strcmp(method, "send") == 0) {
        return call_send(client, request);
    }
    return UBUS_STATUS_INVALID_COMMAND;
}

void events_tell_path(const char *event, const Object &object)
{
    if (list_empty(&patterns)) {
        return;
    }
    blob_buf data = {};
    if (blob_buf_init(&data, 0) == 0 && blobmsg_add_u32(&data, "id", object.id.value) == 0 &&
        blobmsg_add_string(&data, "path", object.path) == 0) {
        distribute(event, blob_data(data.head), blob_len(data.head), nullptr);
    }
    blob_buf_free(&data);
}

void events_forget(Object &object)
{
    Pattern *pattern, *next;
    list_for_each_entry_safe (pattern, next, &object.patterns, in_object) {
        list_del(&pattern->in_all);
        list_del(&pattern->in_object);
        free(pattern);
    }
}
