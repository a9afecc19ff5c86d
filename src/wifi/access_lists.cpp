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

// What differs between the lists.
struct AccessList {
    const char *object;
    uint32_t add_type;
    uint32_t delete_type;
    uint32_t list_type;
    const char *add_action;
    const char *delete_action;
    const char *list_action;
    const char *add_name;
    const char *delete_name;
    const char *list_name;
};

constexpr AccessList kBlacklist = {
    .object = "wexond.wifi.blacklist",
    .add_type = kAddBlacklist,
    .delete_type = kDeleteBlacklist,
    .list_type = kListBlacklist,
    .add_action = "add wifi blacklist",
    .delete_action = "delete wifi blacklist",
    .list_action = "list wifi blacklist",
    .add_name = "wexond_wifiblacklist_add",
    .delete_name = "wexond_wifiblacklist_delete",
    .list_name = "wexond_wifiblacklist_list",
};

constexpr AccessList kWhitelist = {
    .object = "wexond.wifi.whitelist",
    .add_type = kAddWhitelist,
    .delete_type = kDeleteWhitelist,
    .list_type = kListWhitelist,
    .add_action = "add wifi whitelist",
    .delete_action = "delete wifi whitelist",
    .list_action = "list wifi whitelist",
    .add_name = "wexond_wifiwhitelist_add",
    .delete_name = "wexond_wifiwhitelist_delete",
    .list_name = "wexond_wifiwhitelist_list",
};

// The service assigns the index.
bool add_station(const AccessList &list, const Arguments<2> &arguments, uint32_t &index, Status *status)
{
    WEXOND_LOG_AS(list.add_name, "mac:%s / name:%s \n\n", arguments.text(MAC), arguments.text(NAME));
    AccessListRecord record{};
    copy_text(record.name, arguments.text(NAME));
    copy_text(record.mac, arguments.text(MAC));
    Answer<AccessListRecord> answer = ask<AccessListRecord>(list.add_type, record);
    if (!answer.check(list.add_action, status))
        return false;
    index = answer->index;
    return true;
}

int access_list_add(const AccessList &list, ubus_object *object, ubus_request_data *request, const char *method,
                    blob_attr *message)
{
    Call call(object, method, list.add_name);
    Arguments<2> arguments(add_policy, message);
    uint32_t index;
    bool added = arguments.require(&call.status) && add_station(list, arguments, index, &call.status);
    return send_for_add(request, call.status, list.add_name, added ? &index : nullptr);
}

int access_list_delete(const AccessList &list, ubus_object *object, ubus_request_data *request, const char *method,
                       blob_attr *message)
{
    Call call(object, method, list.delete_name);
    Arguments<1> arguments(index_policy, message);
    if (arguments.require(&call.status)) {
        WEXOND_LOG_AS(list.delete_name, "idx:%d \n\n", arguments.number(IDX));
        exchange(list.delete_type, AccessListIndexRecord{arguments.number(IDX)}, list.delete_action, &call.status);
    }
    return wexond_send_for_set(request, &call.status);
}

int access_list_list(const AccessList &list, ubus_object *object, ubus_request_data *request, const char *method,
                     blob_attr *)
{
    Call call(object, method, list.list_name);
    Answer<AccessListAnswer> answer = ask<AccessListAnswer>(list.list_type);
    if (answer.check(list.list_action, &call.status)) {
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
    return wexond_send_for_get(request, &call.status);
}

constexpr auto wexond_wifiblacklist_add = handle_with<access_list_add, kBlacklist>;
constexpr auto wexond_wifiblacklist_delete = handle_with<access_list_delete, kBlacklist>;
constexpr auto wexond_wifiblacklist_list = handle_with<access_list_list, kBlacklist>;
constexpr auto wexond_wifiwhitelist_add = handle_with<access_list_add, kWhitelist>;
constexpr auto wexond_wifiwhitelist_delete = handle_with<access_list_delete, kWhitelist>;
constexpr auto wexond_wifiwhitelist_list = handle_with<access_list_list, kWhitelist>;

const ubus_method blacklist_methods[] = {
    UBUS_METHOD("add", wexond_wifiblacklist_add, add_policy),
    UBUS_METHOD("delete", wexond_wifiblacklist_delete, index_policy),
    UBUS_METHOD_NOARG("list", wexond_wifiblacklist_list),
};

const ubus_method whitelist_methods[] = {
    UBUS_METHOD("add", wexond_wifiwhitelist_add, add_policy),
    UBUS_METHOD("delete", wexond_wifiwhitelist_delete, index_policy),
    UBUS_METHOD_NOARG("list", wexond_wifiwhitelist_list),
};

ubus_object_type blacklist_type = UBUS_OBJECT_TYPE("wexond.wifi.blacklist", blacklist_methods);
ubus_object_type whitelist_type = UBUS_OBJECT_TYPE("wexond.wifi.whitelist", whitelist_methods);

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
