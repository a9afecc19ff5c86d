// wexond.wifi.blacklist and wexond.wifi.whitelist: the stations that are refused, or alone admitted. The lists are kept
// by the service; both objects are one implementation.

#include "wifi/access_list_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"
#include "core/vocabulary.h"

namespace
{

enum { MAC, NAME };

const blobmsg_policy add_policy[] = {
    {.name = "mac", .type = BLOBMSG_TYPE_STRING},
    {.name = "name", .type = BLOBMSG_TYPE_STRING},
};

// The differences between the lists.
struct AccessList {
    const char *object;
    uint32_t add_type;
    uint32_t delete_type;
    uint32_t list_type;
    const char *add_action;
    const char *delete_action;
    const char *list_action;
};

constexpr AccessList kBlacklist = {
    .object = "wexond.wifi.blacklist",
    .add_type = kAddBlacklist,
    .delete_type = kDeleteBlacklist,
    .list_type = kListBlacklist,
    .add_action = "add wifi blacklist",
    .delete_action = "delete wifi blacklist",
    .list_action = "list wifi blacklist",
};

constexpr AccessList kWhitelist = {
    .object = "wexond.wifi.whitelist",
    .add_type = kAddWhitelist,
    .delete_type = kDeleteWhitelist,
    .list_type = kListWhitelist,
    .add_action = "add wifi whitelist",
    .delete_action = "delete wifi whitelist",
    .list_action = "list wifi whitelist",
};

// The service assigns the index.
bool add_station(Call &call, const AccessList &list, const Arguments<2> &arguments, uint32_t &index)
{
    CALL_LOG(call, "mac:%s / name:%s \n\n", arguments.text(MAC), arguments.text(NAME));
    AccessListRecord record{};
    copy_text(record.name, arguments.text(NAME));
    copy_text(record.mac, arguments.text(MAC));
    Answer<AccessListRecord> answer = ask<AccessListRecord>(call, list.add_type, record, list.add_action);
    if (!answer)
        return false;
    index = answer->index;
    return true;
}

int access_list_add(Call &call, const AccessList &list)
{
    Arguments<2> arguments(add_policy, call.message);
    uint32_t index;
    bool added = arguments.require(call) && add_station(call, list, arguments, index);
    return send_for_add(call, added ? &index : nullptr);
}

int access_list_delete(Call &call, const AccessList &list)
{
    Arguments<1> arguments(index_policy, call.message);
    if (arguments.require(call)) {
        CALL_LOG(call, "idx:%d \n\n", arguments.number(IDX));
        exchange(call, list.delete_type, AccessListIndexRecord{arguments.number(IDX)}, list.delete_action);
    }
    return send_for_set(call);
}

int access_list_list(Call &call, const AccessList &list)
{
    if (Answer<AccessListAnswer> answer = ask<AccessListAnswer>(call, list.list_type, list.list_action)) {
        reply_start();
        void *array = reply_open_array(list.object);
        for (size_t i = 0; i < entry_count(*answer); i++) {
            auto mac = read_text(answer->entries[i].mac);
            wexond_mac_compact(mac.data);
            void *table = reply_open_table("");
            reply_int("idx", answer->entries[i].index);
            reply_string("mac", mac.data);
            reply_text("name", answer->entries[i].name);
            reply_close(table);
        }
        reply_close(array);
    }
    return send_for_get(call);
}

const ubus_method blacklist_methods[] = {
    UBUS_METHOD("add", SERVE_AS("wexond_wifiblacklist_add", access_list_add, kBlacklist), add_policy),
    UBUS_METHOD("delete", SERVE_AS("wexond_wifiblacklist_delete", access_list_delete, kBlacklist), index_policy),
    UBUS_METHOD_NOARG("list", SERVE_AS("wexond_wifiblacklist_list", access_list_list, kBlacklist)),
};

const ubus_method whitelist_methods[] = {
    UBUS_METHOD("add", SERVE_AS("wexond_wifiwhitelist_add", access_list_add, kWhitelist), add_policy),
    UBUS_METHOD("delete", SERVE_AS("wexond_wifiwhitelist_delete", access_list_delete, kWhitelist), index_policy),
    UBUS_METHOD_NOARG("list", SERVE_AS("wexond_wifiwhitelist_list", access_list_list, kWhitelist)),
};

ubus_object_type blacklist_type = bus_object_type("wexond.wifi.blacklist", blacklist_methods);
ubus_object_type whitelist_type = bus_object_type("wexond.wifi.whitelist", whitelist_methods);

} // namespace

ubus_object wexond_wifi_blacklist_object = {
    .name = "wexond.wifi.blacklist",
    .type = &blacklist_type,
    .methods = blacklist_methods,
    .n_methods = ARRAY_SIZE(blacklist_methods),
};

ubus_object wexond_wifi_whitelist_object = {
    .name = "wexond.wifi.whitelist",
    .type = &whitelist_type,
    .methods = whitelist_methods,
    .n_methods = ARRAY_SIZE(whitelist_methods),
};
