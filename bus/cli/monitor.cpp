// The command monitor: every message on the bus, a line each.
#include "commands.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

const char *const kTypeNames[] = {"hello",      "status",        "data",      "ping",        "lookup", "invoke",
                                  "add_object", "remove_object", "subscribe", "unsubscribe", "notify"};

const Options *monitored;

struct Shown {
    ubus_msg_attr attribute;
    const char *name;
    int type;
};

const Shown kShown[] = {
    {UBUS_ATTR_STATUS, "status", BLOBMSG_TYPE_INT32},    {UBUS_ATTR_OBJPATH, "objpath", BLOBMSG_TYPE_STRING},
    {UBUS_ATTR_OBJID, "objid", BLOBMSG_TYPE_INT32},      {UBUS_ATTR_METHOD, "method", BLOBMSG_TYPE_STRING},
    {UBUS_ATTR_OBJTYPE, "objtype", BLOBMSG_TYPE_INT32},  {UBUS_ATTR_SIGNATURE, "signature", BLOBMSG_TYPE_TABLE},
    {UBUS_ATTR_DATA, "data", BLOBMSG_TYPE_TABLE},        {UBUS_ATTR_ACTIVE, "active", BLOBMSG_TYPE_BOOL},
    {UBUS_ATTR_NO_REPLY, "no_reply", BLOBMSG_TYPE_BOOL}, {UBUS_ATTR_USER, "user", BLOBMSG_TYPE_STRING},
    {UBUS_ATTR_GROUP, "group", BLOBMSG_TYPE_STRING},
};

// The raw type whose check a shown attribute has to pass.
unsigned int raw_type(int type)
{
    switch (type) {
    case BLOBMSG_TYPE_INT32:
        return BLOB_ATTR_INT32;
    case BLOBMSG_TYPE_STRING:
        return BLOB_ATTR_STRING;
    case BLOBMSG_TYPE_BOOL:
        return BLOB_ATTR_INT8;
    default:
        return BLOB_ATTR_NESTED;
    }
}

// The attributes of the message as JSON, to be freed; null out of memory.
char *format_attributes(blob_attr *message)
{
    blob_attr_info types[UBUS_ATTR_MAX] = {};
    blob_attr *attributes[UBUS_ATTR_MAX];
    blob_buf buf = {};

    for (const Shown &shown : kShown)
        types[shown.attribute].type = raw_type(shown.type);
    blob_parse_untrusted(message, blob_raw_len(message), attributes, types, UBUS_ATTR_MAX);
    if (blob_buf_init(&buf, 0) != 0)
        return nullptr;
    for (const Shown &shown : kShown)
        if (const blob_attr *found = attributes[shown.attribute])
            blobmsg_add_field(&buf, shown.type, shown.name, blob_data(found),
                              static_cast<unsigned int>(blob_len(found)));
    char *text = blobmsg_format_json(buf.head, true);
    blob_buf_free(&buf);
    return text;
}

bool is_shown(uint32_t type, bool sent)
{
    const bool type_is_shown = monitored->types == 0 || (type < ARRAY_SIZE(kTypeNames) && monitored->types >> type & 1);
    return type_is_shown && !(sent ? monitored->only_received : monitored->only_sent);
}

void print_line(bool sent, uint32_t client, uint32_t peer, uint32_t type, blob_attr *message)
{
    char number[16];
    const char *name = number;

    snprintf(number, sizeof(number), "%u", type);
    if (type < ARRAY_SIZE(kTypeNames))
        name = kTypeNames[type];
    if (char *text = format_attributes(message)) {
        printf("%s %08x #%08x %14s: %s\n", sent ? "->" : "<-", client, peer, name, text);
        free(text);
    }
}

void print_monitored(ubus_context *, uint32_t, blob_attr *data)
{
    static const blob_attr_info types[UBUS_MONITOR_MAX] = {
        {.type = BLOB_ATTR_INT32}, {.type = BLOB_ATTR_INT32}, {.type = BLOB_ATTR_INT8},
        {.type = BLOB_ATTR_INT32}, {.type = BLOB_ATTR_INT32}, {.type = BLOB_ATTR_NESTED},
    };
    blob_attr *attributes[UBUS_MONITOR_MAX];

    blob_parse_untrusted(data, blob_raw_len(data), attributes, types, UBUS_MONITOR_MAX);
    if (!attributes[UBUS_MONITOR_CLIENT] || !attributes[UBUS_MONITOR_PEER] || !attributes[UBUS_MONITOR_SEND] ||
        !attributes[UBUS_MONITOR_TYPE] || !attributes[UBUS_MONITOR_DATA]) {
        puts("Invalid monitor msg");
    } else {
        const bool sent = blob_get_u8(attributes[UBUS_MONITOR_SEND]) != 0;
        const uint32_t type = blob_get_u32(attributes[UBUS_MONITOR_TYPE]);
        if (is_shown(type, sent))
            print_line(sent, blob_get_u32(attributes[UBUS_MONITOR_CLIENT]), blob_get_u32(attributes[UBUS_MONITOR_PEER]),
                       type, attributes[UBUS_MONITOR_DATA]);
    }
    fflush(stdout);
}

} // namespace

bool monitor_show_type(Options *options, const char *name)
{
    for (size_t i = 0; i < ARRAY_SIZE(kTypeNames); i++)
        if (strcmp(kTypeNames[i], name) == 0) {
            options->types |= 1u << i;
            return true;
        }
    return false;
}

// Ends by a signal alone.
int monitor_bus(ubus_context *ctx, const Options &options, int, char **)
{
    monitored = &options;
    ctx->monitor_cb = print_monitored;
    const int status = ubus_monitor_start(ctx);
    if (status != UBUS_STATUS_OK)
        return status;
    ctx->connection_lost = [](ubus_context *) {};
    ubus_add_uloop(ctx);
    uloop_run();
    ubus_monitor_stop(ctx);
    return UBUS_STATUS_OK;
}
