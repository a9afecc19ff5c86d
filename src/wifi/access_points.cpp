// wexond.wifi.<band>.ap and their entry objects wexond.wifi.<band>.ap.<n>: the access points of the 2.4 GHz radio (band
// 1) and of the 5 GHz radio (band 2). The daemon knows which access points there are; their settings are read from the
// service each time.

#include "wifi/access_point_records.h"

#include <cstdio>

#include "core/arguments.h"
#include "core/call.h"
#include "core/entry.h"
#include "core/reply.h"
#include "core/startup.h"
#include "core/threads.h"
#include "core/vocabulary.h"

namespace
{

enum { ENABLE, SSID, KEY, AUTH, ENCRYPT, HIDE, ACCESSMODE, ACCESSRULE, ALLOWEDIPPORT, USBANDWIDTH, DSBANDWIDTH };

const blobmsg_policy settings_policy[] = {
    {.name = "enable", .type = BLOBMSG_TYPE_STRING},        {.name = "ssid", .type = BLOBMSG_TYPE_STRING},
    {.name = "key", .type = BLOBMSG_TYPE_STRING},           {.name = "auth", .type = BLOBMSG_TYPE_STRING},
    {.name = "encrypt", .type = BLOBMSG_TYPE_STRING},       {.name = "hide", .type = BLOBMSG_TYPE_INT32},
    {.name = "accessmode", .type = BLOBMSG_TYPE_INT32},     {.name = "accessrule", .type = BLOBMSG_TYPE_INT32},
    {.name = "allowedipport", .type = BLOBMSG_TYPE_STRING}, {.name = "usbandwidth", .type = BLOBMSG_TYPE_INT32},
    {.name = "dsbandwidth", .type = BLOBMSG_TYPE_INT32},
};

using SettingsArguments = Arguments<std::size(settings_policy)>;

// The bands are one implementation; this is what differs.
struct Band {
    uint32_t index;  // in records, and of the entry list
    uint32_t number; // in object names
    uint32_t interface_kind;
    bool defers_and_syncs; // entry `set` sends some settings later, and others to the twin of the other band
    const char *object;
    const char *default_ssid_format;
    const char *add_action;
    const char *delete_action;
    const char *get_action;
    const char *stats_action;
    const char *set_not_found;
    const char *set_rate_limit_failure;
    const char *add_name;
    const char *delete_name;
    const char *list_name;
    const char *stats_name;
    const char *entry_set_name;
    const char *entry_get_name;
    const char *entry_stats_name;
};

constexpr Band k2g = {
    .index = 0,
    .number = 1,
    .interface_kind = 3,
    .defers_and_syncs = true,
    .object = "wexond.wifi.1.ap",
    .default_ssid_format = "KVQ_%d",
    .add_action = "add 2.4G wifi ap",
    .delete_action = "delete 2.4G ap",
    .get_action = "get 2.4G ap",
    .stats_action = "get 2.4G ap status",
    .set_not_found = "failed to set 2.4G ap",
    .set_rate_limit_failure = "Failed to set rate limit\n",
    .add_name = "wexond_wifi1ap_add",
    .delete_name = "wexond_wifi1ap_delete",
    .list_name = "wexond_wifi1ap_list",
    .stats_name = "wexond_wifi1ap_status",
    .entry_set_name = "wexond_wifi1ap1_set",
    .entry_get_name = "wexond_wifi1ap1_get",
    .entry_stats_name = "wexond_wifi1ap1_status",
};

constexpr Band k5g = {
    .index = 1,
    .number = 2,
    .interface_kind = 4,
    .defers_and_syncs = false,
    .object = "wexond.wifi.2.ap",
    .default_ssid_format = "KVQ_5G_%d",
    .add_action = "add 5G wifi ap",
    .delete_action = "delete 5G ap",
    .get_action = "get 5G ap",
    .stats_action = "get 5G ap status",
    .set_not_found = "failed to set 5G ap",
    .set_rate_limit_failure = "Failed to set ap rate limit\n",
    .add_name = "wexond_wifi2ap_add",
    .delete_name = "wexond_wifi2ap_delete",
    .list_name = "wexond_wifi2ap_list",
    .stats_name = "wexond_wifi2ap_status",
    .entry_set_name = "wexond_wifi2ap1_set",
    .entry_get_name = "wexond_wifi2ap1_get",
    .entry_stats_name = "wexond_wifi2ap1_status",
};

vlist_tree *list_of(const Band &band)
{
    return &entry_lists.wifi_aps[band.index];
}

// A record that names its access point and is zero otherwise.
template <typename Record> Record record_for(const Band &band, uint32_t ap_index)
{
    Record record{};
    record.band = band.index;
    record.ap_index = ap_index;
    return record;
}

// --- Settings from arguments ---

struct Settings {
    ApBasicRecord basic;
    ApAccessModeRecord access_mode;
    ApAccessRuleRecord access_rule;
    ApRateLimitRecord rate_limit;
};

// One address and port of the allow list. Deliberate: the part at position 1 is the port, of the others the last one is
// the address; a port that is no number is 0.
void parse_allowed(char *piece, AllowedAddress &allowed)
{
    char *rest;
    size_t position = 0;
    for (char *part = strtok_r(piece, ":", &rest); part; part = strtok_r(nullptr, ":", &rest), position++) {
        if (position == 1)
            allowed.port = static_cast<uint32_t>(strtol(part, nullptr, 10));
        else
            copy_text(allowed.address, part);
    }
}

// "192.168.1.10:8080,192.168.1.11:80". Pieces beyond the record's entries are dropped.
void parse_allow_list(const char *text, ApAccessRuleRecord &record)
{
    Text<128> work;
    Text<31> piece;
    snprintf(work.data, sizeof(work.data), "%s", text);
    uint32_t count = 0;
    char *rest;
    for (char *next = strtok_r(work.data, ",", &rest); next && count < std::size(record.entries);
         next = strtok_r(nullptr, ",", &rest)) {
        snprintf(piece.data, sizeof(piece.data), "%s", next);
        parse_allowed(piece.data, record.entries[count++]);
    }
    record.count = count;
}

void parse_basic(const SettingsArguments &arguments, const char *function, ApBasicRecord &basic)
{
    uint32_t mask = 0;
    if (arguments.has(ENABLE)) {
        WEXOND_LOG_AS(function, "enable:%s \n\n", arguments.text(ENABLE));
        basic.enable = wexond_str_to_code(kYesNo, arguments.text(ENABLE));
        mask |= kChangeApEnable;
    }
    if (arguments.has(SSID)) {
        WEXOND_LOG_AS(function, "ssid:%s \n\n", arguments.text(SSID));
        copy_text(basic.ssid, arguments.text(SSID));
        mask |= kChangeApSsid;
    }
    if (arguments.has(KEY)) {
        WEXOND_LOG_AS(function, "key:%s \n\n", arguments.text(KEY));
        copy_text(basic.key, arguments.text(KEY));
        mask |= kChangeApKey;
    }
    if (arguments.has(AUTH)) {
        WEXOND_LOG_AS(function, "auth:%s \n\n", arguments.text(AUTH));
        basic.auth = wexond_str_to_code(kAuth, arguments.text(AUTH));
        mask |= kChangeApAuth;
    }
    if (arguments.has(ENCRYPT)) {
        WEXOND_LOG_AS(function, "encrypt:%s \n\n", arguments.text(ENCRYPT));
        basic.encrypt = wexond_str_to_code(kEncrypt, arguments.text(ENCRYPT));
        mask |= kChangeApEncrypt;
    }
    if (arguments.has(HIDE)) {
        WEXOND_LOG_AS(function, "hide:%d \n\n", arguments.number(HIDE));
        basic.hide = wexond_ubus_to_code(kFlag, arguments.number(HIDE));
        mask |= kChangeApHide;
    }
    basic.change_mask = mask;
}

void parse_access(const SettingsArguments &arguments, const char *function, Settings &settings)
{
    if (arguments.has(ACCESSMODE)) {
        WEXOND_LOG_AS(function, "accessmode:%d \n\n", arguments.number(ACCESSMODE));
        settings.access_mode.mode = arguments.number(ACCESSMODE);
    }
    if (!arguments.has(ACCESSRULE))
        return;
    WEXOND_LOG_AS(function, "accessrule:%d \n\n", arguments.number(ACCESSRULE));
    settings.access_rule.rule = arguments.number(ACCESSRULE);
    if (arguments.has(ALLOWEDIPPORT)) {
        // Deliberate: the log misspells the argument.
        WEXOND_LOG_AS(function, "allowdipport:%s \n\n", arguments.text(ALLOWEDIPPORT));
        parse_allow_list(arguments.text(ALLOWEDIPPORT), settings.access_rule);
    }
}

void parse_rate_limit(const SettingsArguments &arguments, const char *function, ApRateLimitRecord &limit)
{
    if (arguments.has(USBANDWIDTH)) {
        WEXOND_LOG_AS(function, "usbandwidth:%d \n\n", arguments.number(USBANDWIDTH));
        limit.upstream = arguments.number(USBANDWIDTH);
        limit.change_mask = limit.change_mask | kChangeUpstream;
    }
    if (arguments.has(DSBANDWIDTH)) {
        WEXOND_LOG_AS(function, "dsbandwidth:%d \n\n", arguments.number(DSBANDWIDTH));
        limit.downstream = arguments.number(DSBANDWIDTH);
        limit.change_mask = limit.change_mask | kChangeDownstream;
    }
}

Settings parse_settings(const Band &band, uint32_t ap_index, const SettingsArguments &arguments, const char *function)
{
    Settings settings = {
        .basic = record_for<ApBasicRecord>(band, ap_index),
        .access_mode = record_for<ApAccessModeRecord>(band, ap_index),
        .access_rule = record_for<ApAccessRuleRecord>(band, ap_index),
        .rate_limit = record_for<ApRateLimitRecord>(band, ap_index),
    };
    parse_basic(arguments, function, settings.basic);
    parse_access(arguments, function, settings);
    parse_rate_limit(arguments, function, settings.rate_limit);
    return settings;
}

// Deliberate: of what follows the basic settings only a missing answer is noticed, and only logged.
template <typename Record>
void send_unchecked(uint32_t type, const Record &record, const char *function, const char *failure)
{
    Answer<ReturnCode> answer(wexond_send_msg(type, kRequestFlag, &record, sizeof(record), sizeof(ReturnCode)));
    if (!answer.present())
        WEXOND_LOG_AS(function, "%s", failure);
}

void send_rest(const SettingsArguments &arguments, const Settings &settings, const char *function,
               const char *rate_limit_failure)
{
    if (arguments.has(ACCESSMODE))
        send_unchecked(kSetApAccessMode, settings.access_mode, function, "Failed to set ap access mode\n");
    if (arguments.has(ACCESSRULE))
        send_unchecked(kSetApAccessRule, settings.access_rule, function, "Failed to set ap access rule\n");
    send_unchecked(kSetApRateLimit, settings.rate_limit, function, rate_limit_failure);
}

// --- Settings in replies ---

// Reads one record of an access point. It names the access point and is zero otherwise, and stays so where that fails.
template <typename Record>
void read_part(const Band &band, uint32_t type, Record &record, const char *function, const char *failure,
               Status *status)
{
    Answer<Record> answer = ask<Record>(type, record);
    if (answer.check(band.get_action, status))
        record = *answer;
    else
        WEXOND_LOG_AS(function, "%s", failure);
}

Settings read_settings(const Band &band, uint32_t ap_index, const char *function, Status *status)
{
    Settings settings = {
        .basic = record_for<ApBasicRecord>(band, ap_index),
        .access_mode = record_for<ApAccessModeRecord>(band, ap_index),
        .access_rule = record_for<ApAccessRuleRecord>(band, ap_index),
        .rate_limit = record_for<ApRateLimitRecord>(band, ap_index),
    };
    read_part(band, kGetApBasic, settings.basic, function, "Failed to get ap basic\n", status);
    read_part(band, kGetApAccessMode, settings.access_mode, function, "Failed to get ap access mode\n", status);
    read_part(band, kGetApAccessRule, settings.access_rule, function, "Failed to get ap access rule\n", status);
    read_part(band, kGetApRateLimit, settings.rate_limit, function, "Failed to get ap rate limit\n", status);
    return settings;
}

void add_allow_list(const ApAccessRuleRecord &record)
{
    char text[128] = "";
    size_t length = 0;
    size_t count = record.rule == kRuleAllowList ? entry_count(record) : 0;
    for (size_t i = 0; i < count && length < sizeof(text); i++)
        length += snprintf(text + length, sizeof(text) - length, "%s%s:%d", i ? "," : "",
                           read_text(record.entries[i].address).data, static_cast<int>(record.entries[i].port));
    reply_string("allowedipport", text);
}

void add_settings(const Settings &settings)
{
    auto bssid = read_text(settings.basic.bssid);
    wexond_mac_compact(bssid.data);
    reply_string("enable", wexond_code_to_str(kYesNo, settings.basic.enable));
    reply_int("hide", settings.basic.hide);
    reply_text("key", settings.basic.key);
    reply_text("ssid", settings.basic.ssid);
    reply_string("auth", wexond_code_to_str(kAuth, settings.basic.auth));
    reply_string("encrypt", wexond_code_to_str(kEncrypt, settings.basic.encrypt));
    reply_string("bssid", bssid.data);
    reply_int("accessmode", settings.access_mode.mode);
    reply_int("accessrule", settings.access_rule.rule);
    add_allow_list(settings.access_rule);
    reply_int("usbandwidth", settings.rate_limit.upstream);
    reply_int("dsbandwidth", settings.rate_limit.downstream);
}

// --- Statistics ---

Answer<ApStatisticsRecord> ask_statistics(const Band &band, uint32_t ap_index)
{
    ApStatisticsRecord request{};
    request.interface_kind = band.interface_kind;
    request.ap_index = ap_index;
    return ask<ApStatisticsRecord>(kGetApStatistics, request);
}

void add_statistics(const char *table_name, const ApStatisticsRecord &statistics)
{
    void *table = reply_open_table(table_name);
    reply_counter("txbytes", statistics.tx_bytes);
    reply_counter("rxbytes", statistics.rx_bytes);
    reply_counter("txpackets", statistics.tx_packets);
    reply_counter("rxpackets", statistics.rx_packets);
    reply_int64("txerrors", statistics.tx_errors);
    reply_int64("rxerrors", statistics.rx_errors);
    reply_int64("txdrops", statistics.tx_drops);
    reply_int64("rxdrops", statistics.rx_drops);
    reply_close(table);
}

// --- The band objects ---

// The lowest index that is free, in a list of ascending indices.
uint32_t free_index(const Band &band)
{
    uint32_t candidate = 1;
    Entry *entry;
    vlist_for_each_element (list_of(band), entry, node) {
        if (entry->index != candidate)
            break;
        candidate++;
    }
    return candidate;
}

int ap_add(const Band &band, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *message)
{
    Call call(object, method, band.add_name);
    SettingsArguments arguments(settings_policy, message);
    uint32_t index = free_index(band);
    Settings settings = parse_settings(band, index, arguments, band.add_name);
    if (exchange(kSetApBasic, settings.basic, band.add_action, &call.status)) {
        send_rest(arguments, settings, band.add_name, "Failed to set ap rate limit\n");
        entry_add(list_of(band), index, band.number);
    } else {
        WEXOND_LOG_AS(band.add_name, "Failed to set ap basic\n");
        index = 0;
    }
    return send_for_add(request, call.status, band.add_name, &index);
}

// Deleting gives an access point its default settings back.
bool reset_ap(const Band &band, uint32_t ap_index, Status *status)
{
    auto record = record_for<ApBasicRecord>(band, ap_index);
    char ssid[sizeof(record.ssid)];
    snprintf(ssid, sizeof(ssid), band.default_ssid_format, ap_index);
    copy_text(record.ssid, ssid);
    record.change_mask = kChangeApAll;
    return exchange(kSetApBasic, record, band.delete_action, status);
}

int ap_delete(const Band &band, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *message)
{
    Call call(object, method, band.delete_name);
    Arguments<1> arguments(index_policy, message);
    if (arguments.require(&call.status)) {
        uint32_t index = arguments.number(IDX);
        WEXOND_LOG_AS(band.delete_name, "idx:%d \n\n", index);
        Entry *entry = entry_find(list_of(band), index);
        if (!entry) {
            WEXOND_LOG_AS(band.delete_name, "Failed to find idx\n");
            wexond_fail(&call.status, "failed to %s", band.delete_action);
        } else if (reset_ap(band, index, &call.status)) {
            entry_remove(list_of(band), entry);
        }
    }
    return wexond_send_for_set(request, &call.status);
}

int ap_list(const Band &band, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *)
{
    Call call(object, method, band.list_name);
    reply_start();
    void *array = reply_open_array(band.object);
    Entry *entry;
    vlist_for_each_element (list_of(band), entry, node) {
        Settings settings = read_settings(band, entry->index, band.list_name, &call.status);
        void *table = reply_open_table("");
        reply_int("idx", entry->index);
        add_settings(settings);
        reply_close(table);
    }
    reply_close(array);
    // Deliberate: whatever failed, the array is the whole reply.
    WEXOND_LOG_AS(band.list_name, "success \n\n");
    reply_send(request);
    return 0;
}

int ap_stats(const Band &band, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *)
{
    Call call(object, method, band.stats_name);
    reply_start();
    void *array = reply_open_array(band.object);
    Entry *entry;
    vlist_for_each_element (list_of(band), entry, node) {
        Answer<ApStatisticsRecord> answer = ask_statistics(band, entry->index);
        if (answer.check(band.stats_action, &call.status))
            add_statistics("", *answer);
        else
            WEXOND_LOG_AS(band.stats_name, "Failed to get ap[%d] status\n", static_cast<uint32_t>(entry->index));
    }
    reply_close(array);
    reply_send(request);
    return 0;
}

// --- The entry objects ---

// The access point of the called object; null, logged, where it has none.
const Entry *find_ap(const Band &band, const ubus_object *object, const char *function)
{
    const Entry *entry = entry_find_named(list_of(band), object->name);
    if (!entry)
        WEXOND_LOG_AS(function, "Failed to find idx\n");
    return entry;
}

int ap1_get(const Band &band, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *)
{
    Call call(object, method, band.entry_get_name);
    if (const Entry *entry = find_ap(band, object, band.entry_get_name)) {
        Settings settings = read_settings(band, entry->index, band.entry_get_name, &call.status);
        reply_start();
        void *table = reply_open_table(object->name);
        add_settings(settings);
        reply_close(table);
    } else {
        wexond_fail(&call.status, "failed to %s", band.get_action);
    }
    return wexond_send_for_get(request, &call.status);
}

int ap1_status(const Band &band, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *)
{
    Call call(object, method, band.entry_stats_name);
    if (const Entry *entry = find_ap(band, object, band.entry_stats_name)) {
        Answer<ApStatisticsRecord> answer = ask_statistics(band, entry->index);
        if (answer.check(band.stats_action, &call.status)) {
            reply_start();
            add_statistics(object->name, *answer);
        }
    } else {
        wexond_fail(&call.status, "failed to %s", band.stats_action);
    }
    return wexond_send_for_get(request, &call.status);
}

// The first accepted change of an access point ends the factory settings.
void clear_factory_flag(const char *function, Status *status)
{
    if (wexond_factory_flag != 1)
        return;
    if (exchange(kSetFactoryFlag, FactoryFlagRecord{}, "set factoryflag", status))
        wexond_factory_flag = 0;
    else
        WEXOND_LOG_AS(function, "Failed to set factoryflag\n");
}

bool send_basic(const ApBasicRecord &basic, const char *function, Status *status)
{
    if (!exchange(kSetApBasic, basic, "set ap basic", status))
        return false;
    clear_factory_flag(function, status);
    return true;
}

// A sync switch that cannot be read counts as off, and is reported.
bool reads_dual_band_sync(const char *function, Status *status)
{
    Answer<DualBandSyncRecord> answer = ask<DualBandSyncRecord>(kGetDualBandSync);
    if (answer.check("get dualbandsync.", status))
        return answer->enable == 1;
    WEXOND_LOG_AS(function, "Failed to get dualbandsync.\n");
    return false;
}

void send_basic_now(const Band &band, const ApBasicRecord &basic, Status *status)
{
    if (band.defers_and_syncs && reads_dual_band_sync(band.entry_set_name, status)) {
        ApBasicRecord twin = basic;
        twin.band = k5g.index;
        send_basic(twin, band.entry_set_name, status);
    }
    if (!send_basic(basic, band.entry_set_name, status))
        WEXOND_LOG_AS(band.entry_set_name, "Failed to set ap basic\n");
}

// Switching a secondary access point off (or not saying that it is on) is sent later, so that the caller, who may be on
// it, still gets the reply.
bool is_deferred(const Band &band, const ApBasicRecord &basic)
{
    return band.defers_and_syncs && basic.enable == 0 && basic.ap_index >= 2;
}

int ap1_set(const Band &band, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *message)
{
    Call call(object, method, band.entry_set_name);
    SettingsArguments arguments(settings_policy, message);
    const Entry *entry = find_ap(band, object, band.entry_set_name);
    if (!entry) {
        wexond_fail(&call.status, "%s", band.set_not_found);
        return wexond_send_for_set(request, &call.status);
    }
    Settings settings = parse_settings(band, entry->index, arguments, band.entry_set_name);
    if (is_deferred(band, settings.basic)) {
        // Deliberate: a sender that cannot be started ends the call without a reply.
        if (int result = WEXOND_Apbasic_ThreadInit(settings.basic, band.entry_set_name))
            return result;
    } else {
        send_basic_now(band, settings.basic, &call.status);
    }
    send_rest(arguments, settings, band.entry_set_name, band.set_rate_limit_failure);
    return wexond_send_for_set(request, &call.status);
}

constexpr auto wexond_wifi1ap_add = handle_with<ap_add, k2g>;
constexpr auto wexond_wifi1ap_delete = handle_with<ap_delete, k2g>;
constexpr auto wexond_wifi1ap_list = handle_with<ap_list, k2g>;
constexpr auto wexond_wifi1ap_status = handle_with<ap_stats, k2g>;
constexpr auto wexond_wifi1ap1_set = handle_with<ap1_set, k2g>;
constexpr auto wexond_wifi1ap1_get = handle_with<ap1_get, k2g>;
constexpr auto wexond_wifi1ap1_status = handle_with<ap1_status, k2g>;
constexpr auto wexond_wifi2ap_add = handle_with<ap_add, k5g>;
constexpr auto wexond_wifi2ap_delete = handle_with<ap_delete, k5g>;
constexpr auto wexond_wifi2ap_list = handle_with<ap_list, k5g>;
constexpr auto wexond_wifi2ap_status = handle_with<ap_stats, k5g>;
constexpr auto wexond_wifi2ap1_set = handle_with<ap1_set, k5g>;
constexpr auto wexond_wifi2ap1_get = handle_with<ap1_get, k5g>;
constexpr auto wexond_wifi2ap1_status = handle_with<ap1_status, k5g>;

const ubus_method wifi1ap_methods[] = {
    UBUS_METHOD("add", wexond_wifi1ap_add, settings_policy),
    UBUS_METHOD("delete", wexond_wifi1ap_delete, index_policy),
    UBUS_METHOD_NOARG("list", wexond_wifi1ap_list),
    UBUS_METHOD_NOARG("stats", wexond_wifi1ap_status),
};

const ubus_method wifi2ap_methods[] = {
    UBUS_METHOD("add", wexond_wifi2ap_add, settings_policy),
    UBUS_METHOD("delete", wexond_wifi2ap_delete, index_policy),
    UBUS_METHOD_NOARG("list", wexond_wifi2ap_list),
    UBUS_METHOD_NOARG("stats", wexond_wifi2ap_status),
};

const ubus_method wifi1ap1_methods[] = {
    UBUS_METHOD("set", wexond_wifi1ap1_set, settings_policy),
    UBUS_METHOD_NOARG("get", wexond_wifi1ap1_get),
    UBUS_METHOD_NOARG("stats", wexond_wifi1ap1_status),
};

const ubus_method wifi2ap1_methods[] = {
    UBUS_METHOD("set", wexond_wifi2ap1_set, settings_policy),
    UBUS_METHOD_NOARG("get", wexond_wifi2ap1_get),
    UBUS_METHOD_NOARG("stats", wexond_wifi2ap1_status),
};

ubus_object_type wifi1ap_type = UBUS_OBJECT_TYPE("wexond.wifi.1.ap", wifi1ap_methods);
ubus_object_type wifi2ap_type = UBUS_OBJECT_TYPE("wexond.wifi.2.ap", wifi2ap_methods);

} // namespace

ubus_object_type wexond_wifi1ap_entry_type = UBUS_OBJECT_TYPE("wexond.wifi.1.ap.", wifi1ap1_methods);
ubus_object_type wexond_wifi2ap_entry_type = UBUS_OBJECT_TYPE("wexond.wifi.2.ap.", wifi2ap1_methods);

ubus_object wexond_wifi1ap_object = {
    .name = "wexond.wifi.1.ap",
    .type = &wifi1ap_type,
    .methods = wifi1ap_methods,
    .n_methods = ARRAY_SIZE(wifi1ap_methods),
};

ubus_object wexond_wifi2ap_object = {
    .name = "wexond.wifi.2.ap",
    .type = &wifi2ap_type,
    .methods = wifi2ap_methods,
    .n_methods = ARRAY_SIZE(wifi2ap_methods),
};
