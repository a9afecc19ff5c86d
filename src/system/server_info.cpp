// wexond.serverinfo: the addresses of the operator's management servers and this device's identity towards them.

#include "system/server_info_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"

namespace
{

enum { BSSADDR, ABIADDR, DEVTOKEN, DEVID, BACKUP };

const blobmsg_policy set_policy[] = {
    {.name = "bssaddr", .type = BLOBMSG_TYPE_STRING},  {.name = "abiaddr", .type = BLOBMSG_TYPE_STRING},
    {.name = "devtoken", .type = BLOBMSG_TYPE_STRING}, {.name = "devid", .type = BLOBMSG_TYPE_STRING},
    {.name = "backup", .type = BLOBMSG_TYPE_ARRAY},
};

using Field = char[65];

// The single texts: argument name and reply key, argument, field. The argument's place is also its bit in the mask.
struct TextField {
    const char *name;
    size_t argument;
    Field ServerInfoRecord::*field;
};

const TextField text_fields[] = {
    {"bssaddr", BSSADDR, &ServerInfoRecord::bssaddr},
    {"abiaddr", ABIADDR, &ServerInfoRecord::abiaddr},
    {"devtoken", DEVTOKEN, &ServerInfoRecord::devtoken},
    {"devid", DEVID, &ServerInfoRecord::devid},
};

// Fields keep their NUL: a longer text is refused, not cut.
bool fits(const char *text)
{
    return text && strlen(text) < sizeof(Field);
}

void refuse(const char *name, Status *status)
{
    wexond_fail(status, "unrecognized parameter: %s", name);
}

void give(ServerInfoRecord &record, size_t argument)
{
    record.given_mask = record.given_mask | 1u << argument;
}

int fill_backup(const blob_attr *servers, ServerInfoRecord &record)
{
    uint32_t count = 0;
    for (const blob_attr *element : Elements(servers)) {
        const char *text = element_text(element);
        WEXOND_LOG_AS("wexond_serverinfo_set", "backup[%u]: %s \n\n", count, text ? text : "");
        if (!fits(text) || count == std::size(record.backup))
            return -1;
        copy_text(record.backup[count++], text);
    }
    return 0;
}

// 0 when every given text was taken; -1 with the first refused one in the status.
int fill(const Arguments<5> &arguments, ServerInfoRecord &record, Status *status)
{
    for (const TextField &field : text_fields) {
        if (!arguments.has(field.argument))
            continue;
        const char *text = arguments.text(field.argument);
        WEXOND_LOG_AS("wexond_serverinfo_set", "%s:%s \n\n", field.name, text);
        if (!fits(text)) {
            refuse(field.name, status);
            return -1;
        }
        copy_text(record.*field.field, text);
        give(record, field.argument);
    }
    if (arguments.has(BACKUP)) {
        if (fill_backup(arguments.array(BACKUP), record)) {
            refuse("backup", status);
            return -1;
        }
        give(record, BACKUP);
    }
    return 0;
}

int wexond_serverinfo_set(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                          blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<5> arguments(set_policy, message);
    ServerInfoRecord record{};
    if (fill(arguments, record, &call.status) == 0)
        exchange(kSetServerInfo, record, "set serverinfo", &call.status);
    return wexond_send_for_set(request, &call.status);
}

int wexond_serverinfo_get(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                          blob_attr *)
{
    Call call(object, method, __func__);
    Answer<ServerInfoRecord> answer = ask<ServerInfoRecord>(kGetServerInfo);
    if (answer.check("get serverinfo", &call.status)) {
        reply_start();
        void *table = reply_open_table("wexond.serverinfo");
        for (const TextField &field : text_fields)
            reply_text(field.name, (*answer).*field.field);
        void *backup = reply_open_array("backup");
        for (const Field &server : answer->backup) {
            if (!server[0])
                break;
            reply_text("", server);
        }
        reply_close(backup);
        reply_close(table);
    }
    return wexond_send_for_get(request, &call.status);
}

const ubus_method methods[] = {
    UBUS_METHOD("set", wexond_serverinfo_set, set_policy),
    UBUS_METHOD_NOARG("get", wexond_serverinfo_get),
};

ubus_object_type type = UBUS_OBJECT_TYPE("wexond.serverinfo", methods);

} // namespace

ubus_object wexond_serverinfo_object = {
    .name = "wexond.serverinfo",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
