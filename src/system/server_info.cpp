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

// Fields keep their NUL: a longer text is refused, not cut.
bool fits(const char *text)
{
    return text && strlen(text) < sizeof(Field);
}

template <Field ServerInfoRecord::*field> bool fill_server(const Call &, ServerInfoRecord &record, blob_attr *value)
{
    const char *text = blobmsg_get_string(value);
    if (!fits(text))
        return false;
    copy_text(record.*field, text);
    return true;
}

bool fill_backup(const Call &call, ServerInfoRecord &record, blob_attr *servers)
{
    uint32_t count = 0;
    for (const blob_attr *element : Elements(servers)) {
        const char *text = element_text(element);
        CALL_LOG(call, "backup[%u]: %s \n\n", count, text ? text : "");
        if (!fits(text) || count == std::size(record.backup))
            return false;
        copy_text(record.backup[count++], text);
    }
    return true;
}

const Option<ServerInfoRecord> options[] = {
    {BSSADDR, kGivenBssaddr, fill_server<&ServerInfoRecord::bssaddr>},
    {ABIADDR, kGivenAbiaddr, fill_server<&ServerInfoRecord::abiaddr>},
    {DEVTOKEN, kGivenDevtoken, fill_server<&ServerInfoRecord::devtoken>},
    {DEVID, kGivenDevid, fill_server<&ServerInfoRecord::devid>},
    {BACKUP, kGivenBackup, fill_backup},
};

int wexond_serverinfo_set(Call &call)
{
    Arguments<5> arguments(set_policy, call.message);
    ServerInfoRecord record{};
    if (fill_options(call, arguments, options, record, &ServerInfoRecord::given_mask) == 0)
        exchange(call, kSetServerInfo, record, "set serverinfo");
    return send_for_set(call);
}

int wexond_serverinfo_get(Call &call)
{
    if (Answer<ServerInfoRecord> answer = ask<ServerInfoRecord>(call, kGetServerInfo, "get serverinfo")) {
        reply_start();
        void *table = reply_open_table("wexond.serverinfo");
        reply_text("bssaddr", answer->bssaddr);
        reply_text("abiaddr", answer->abiaddr);
        reply_text("devtoken", answer->devtoken);
        reply_text("devid", answer->devid);
        void *backup = reply_open_array("backup");
        for (const Field &server : answer->backup) {
            if (!server[0])
                break;
            reply_text("", server);
        }
        reply_close(backup);
        reply_close(table);
    }
    return send_for_get(call);
}

const ubus_method methods[] = {
    UBUS_METHOD("set", SERVE(wexond_serverinfo_set), set_policy),
    UBUS_METHOD_NOARG("get", SERVE(wexond_serverinfo_get)),
};

ubus_object_type type = bus_object_type("wexond.serverinfo", methods);

} // namespace

ubus_object wexond_serverinfo_object = {
    .name = "wexond.serverinfo",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
