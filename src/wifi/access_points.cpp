// wexond.wifi.<band>.ap and their entry objects wexond.wifi.<band>.ap.<n>: the access points of the 2.4 GHz radio (band
// 1) and of the 5 GHz radio (band 2). The daemon knows which access points there are; their settings are read from the
// service each time.

#include "wifi/access_point_records.h"

#include <cstdio>

#include "core/arguments.h"
#include "core/bands.h"
#include "core/call.h"
#include "core/entry.h"
#include "core/reply.h"
#include "core/startup.h"
#include "core/vocabulary.h"
#include "wifi/deferred_settings.h"

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
    const RadioBand &radio;
    uint32_t interface_kind;
    bool defers_and_syncs; // entry `set` sends some settings later, and others to the twin of the other band
    const char *object;
    const char *add_action;
    const char *delete_action;
    const char *get_action;
    const char *stats_action;
    const char *set_not_found;
    const char *set_rate_limit_failure;
};

constexpr Band k2g = {
    .radio = kRadioBands[0],
    .interface_kind = 3,
    .defers_and_syncs = true,
    .object = "wexond.wifi.1.ap",
    .add_action = "add 2.4G wifi ap",
    .delete_action = "delete 2.4G ap",
    .get_action = "get 2.4G ap",
    .stats_action = "get 2.4G ap status",
    .set_not_found = "failed to set 2.4G ap",
    .set_rate_limit_failure = "Failed to set rate limit\n",
};

constexpr Band k5g = {
    .radio = kRadioBands[1],
    .interface_kind = 4,
    .defers_and_syncs = false,
    .object = "wexond.wifi.2.ap",
    .add_action = "add 5G wifi ap",
    .delete_action = "delete 5G ap",
    .get_action = "get 5G ap",
    .stats_action = "get 5G ap status",
    .set_not_found = "failed to set 5G ap",
    .set_rate_limit_failure = "Failed to set ap rate limit\n",
};

vlist_tree *list_of(const Band &band)
{
    return &entry_lists.wifi_aps[band.radio.index];
}

// A record that names its access point and is zero otherwise.
template <typename Record> Record record_for(const Band &band, uint32_t ap_index)
{
    Record record{};
    record.band = band.radio.index;
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
    for (char *part = strtok_r(piece, ":", &rest); part; part = strtok_r(nullptr, ":", &rest), position++)
        if (position == 1)
            allowed.port = static_cast<uint32_t>(strtol(part, nullptr, 10));
        else
            copy_text(allowed.address, part);
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

const Option<ApBasicRecord> basic_options[] = {
    {ENABLE, kChangeApEnable, fill_word<&ApBasicRecord::enable, kYesNo>},
    {SSID, kChangeApSsid, fill_text<&ApBasicRecord::ssid>},
    {KEY, kChangeApKey, fill_text<&ApBasicRecord::key>},
    {AUTH, kChangeApAuth, fill_word<&ApBasicRecord::auth, kAuth>},
    {ENCRYPT, kChangeApEncrypt, fill_word<&ApBasicRecord::encrypt, kEncrypt>},
    {HIDE, kChangeApHide, fill_code<&ApBasicRecord::hide, kFlag>},
};

const Option<ApRateLimitRecord> rate_limit_options[] = {
    {USBANDWIDTH, kChangeUpstream, fill_number<&ApRateLimitRecord::upstream>},
    {DSBANDWIDTH, kChangeDownstream, fill_number<&ApRateLimitRecord::downstream>},
};

void parse_access(const Call &call, const SettingsArguments &arguments, Settings &settings)
{
    if (arguments.has(ACCESSMODE)) {
        CALL_LOG(call, "accessmode:%d \n\n", arguments.number(ACCESSMODE));
        settings.access_mode.mode = arguments.number(ACCESSMODE);
    }
    if (!arguments.has(ACCESSRULE))
        return;
    CALL_LOG(call, "accessrule:%d \n\n", arguments.number(ACCESSRULE));
    settings.access_rule.rule = arguments.number(ACCESSRULE);
    if (arguments.has(ALLOWEDIPPORT)) {
        // Deliberate: the log misspells the argument.
        CALL_LOG(call, "allowdipport:%s \n\n", arguments.text(ALLOWEDIPPORT));
        parse_allow_list(arguments.text(ALLOWEDIPPORT), settings.access_rule);
    }
}

// The records of an access point, which name it and are zero otherwise.
Settings settings_of(const Band &band, uint32_t ap_index)
{
    return {
        .basic = record_for<ApBasicRecord>(band, ap_index),
        .access_mode = record_for<ApAccessModeRecord>(band, ap_index),
        .access_rule = record_for<ApAccessRuleRecord>(band, ap_index),
        .rate_limit = record_for<ApRateLimitRecord>(band, ap_index),
    };
}

Settings parse_settings(Call &call, const Band &band, uint32_t ap_index, const SettingsArguments &arguments)
{
    Settings settings = settings_of(band, ap_index);
    fill_options(call, arguments, basic_options, settings.basic, &ApBasicRecord::change_mask);
    parse_access(call, arguments, settings);
    fill_options(call, arguments, rate_limit_options, settings.rate_limit, &ApRateLimitRecord::change_mask);
    return settings;
}

// Deliberate: of what follows the basic settings only a missing answer is noticed, and only logged.
template <typename Record> void send_unchecked(Call &call, uint32_t type, const Record &record, const char *failure)
{
    Answer<ReturnCode> answer(wexond_send_msg(type, kRequestFlag, &record, sizeof(record), sizeof(ReturnCode)));
    if (!answer.present())
        CALL_LOG(call, "%s", failure);
}

void send_rest(Call &call, const SettingsArguments &arguments, const Settings &settings, const char *rate_limit_failure)
{
    if (arguments.has(ACCESSMODE))
        send_unchecked(call, kSetApAccessMode, settings.access_mode, "Failed to set ap access mode\n");
    if (arguments.has(ACCESSRULE))
        send_unchecked(call, kSetApAccessRule, settings.access_rule, "Failed to set ap access rule\n");
    send_unchecked(call, kSetApRateLimit, settings.rate_limit, rate_limit_failure);
}

// --- Settings in replies ---

// A record that cannot be read stays as settings_of made it.
Settings read_settings(Call &call, const Band &band, uint32_t ap_index)
{
    const char *action = band.get_action;
    Settings s = settings_of(band, ap_index);
    // NOLINTBEGIN(bugprone-unused-return-value): the handlers' own read, not the system's
    read(call, {kGetApBasic, action, "Failed to get ap basic\n"}, s.basic, s.basic);
    read(call, {kGetApAccessMode, action, "Failed to get ap access mode\n"}, s.access_mode, s.access_mode);
    read(call, {kGetApAccessRule, action, "Failed to get ap access rule\n"}, s.access_rule, s.access_rule);
    read(call, {kGetApRateLimit, action, "Failed to get ap rate limit\n"}, s.rate_limit, s.rate_limit);
    // NOLINTEND(bugprone-unused-return-value)
    return s;
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
    reply_word("enable", kYesNo, settings.basic.enable);
    reply_int("hide", settings.basic.hide);
    reply_text("key", settings.basic.key);
    reply_text("ssid", settings.basic.ssid);
    reply_word("auth", kAuth, settings.basic.auth);
    reply_word("encrypt", kEncrypt, settings.basic.encrypt);
    reply_mac("bssid", settings.basic.bssid);
    reply_int("accessmode", settings.access_mode.mode);
    reply_int("accessrule", settings.access_rule.rule);
    add_allow_list(settings.access_rule);
    reply_int("usbandwidth", settings.rate_limit.upstream);
    reply_int("dsbandwidth", settings.rate_limit.downstream);
}

// --- Statistics ---

Answer<ApStatisticsRecord> ask_statistics(Call &call, const Band &band, uint32_t ap_index)
{
    ApStatisticsRecord request{};
    request.interface_kind = band.interface_kind;
    request.ap_index = ap_index;
    return ask<ApStatisticsRecord>(call, kGetApStatistics, request, band.stats_action);
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

// The first number that has no entry. One whose key another has taken is passed over: its entry would have no object,
// and it may well be an access point that the equal key keeps out of the list.
uint32_t free_index(const Band &band)
{
    uint32_t candidate = 1;
    while (entry_key_is_taken(list_of(band), candidate))
        candidate++;
    return candidate;
}

int ap_add(Call &call, const Band &band)
{
    SettingsArguments arguments(settings_policy, call.message);
    uint32_t index = free_index(band);
    Settings settings = parse_settings(call, band, index, arguments);
    if (exchange(call, kSetApBasic, settings.basic, band.add_action)) {
        send_rest(call, arguments, settings, "Failed to set ap rate limit\n");
        entry_add(list_of(band), index, band.radio.number);
    } else {
        CALL_LOG(call, "Failed to set ap basic\n");
        index = 0;
    }
    return send_for_add(call, &index);
}

// Deleting gives an access point its default settings back.
bool reset_ap(Call &call, const Band &band, uint32_t ap_index)
{
    auto record = record_for<ApBasicRecord>(band, ap_index);
    char ssid[sizeof(record.ssid)];
    snprintf(ssid, sizeof(ssid), band.radio.default_ssid, ap_index);
    copy_text(record.ssid, ssid);
    record.change_mask = kChangeApAll;
    return exchange(call, kSetApBasic, record, band.delete_action);
}

int ap_delete(Call &call, const Band &band)
{
    Arguments<1> arguments(index_policy, call.message);
    if (arguments.require(call)) {
        uint32_t index = arguments.number(IDX);
        CALL_LOG(call, "idx:%d \n\n", index);
        Entry *entry = entry_find(list_of(band), index);
        if (!entry) {
            CALL_LOG(call, "Failed to find idx\n");
            fail(call, "failed to %s", band.delete_action);
        } else if (reset_ap(call, band, index)) {
            entry_remove(list_of(band), entry);
        }
    }
    return send_for_set(call);
}

int ap_list(Call &call, const Band &band)
{
    reply_start();
    void *array = reply_open_array(band.object);
    Entry *entry;
    vlist_for_each_element (list_of(band), entry, node) {
        Settings settings = read_settings(call, band, entry->index);
        void *table = reply_open_table("");
        reply_int("idx", entry->index);
        add_settings(settings);
        reply_close(table);
    }
    reply_close(array);
    // Deliberate: whatever failed, the array is the whole reply.
    CALL_LOG(call, "success \n\n");
    reply_send(call.request);
    return 0;
}

int ap_stats(Call &call, const Band &band)
{
    reply_start();
    void *array = reply_open_array(band.object);
    Entry *entry;
    vlist_for_each_element (list_of(band), entry, node)
        if (Answer<ApStatisticsRecord> answer = ask_statistics(call, band, entry->index))
            add_statistics("", *answer);
        else
            CALL_LOG(call, "Failed to get ap[%d] status\n", static_cast<uint32_t>(entry->index));
    reply_close(array);
    reply_send(call.request);
    return 0;
}

// --- The entry objects ---

// The access point of the called object; null, logged, where it has none.
const Entry *find_ap(const Call &call, const Band &band)
{
    const Entry *entry = entry_find_named(list_of(band), call.object->name);
    if (!entry)
        CALL_LOG(call, "Failed to find idx\n");
    return entry;
}

int ap1_get(Call &call, const Band &band)
{
    if (const Entry *entry = find_ap(call, band)) {
        Settings settings = read_settings(call, band, entry->index);
        reply_start();
        void *table = reply_open_table(call.object->name);
        add_settings(settings);
        reply_close(table);
    } else {
        fail(call, "failed to %s", band.get_action);
    }
    return send_for_get(call);
}

int ap1_status(Call &call, const Band &band)
{
    if (const Entry *entry = find_ap(call, band)) {
        if (Answer<ApStatisticsRecord> answer = ask_statistics(call, band, entry->index)) {
            reply_start();
            add_statistics(call.object->name, *answer);
        }
    } else {
        fail(call, "failed to %s", band.stats_action);
    }
    return send_for_get(call);
}

// The first accepted change of an access point ends the factory settings.
void clear_factory_flag(Call &call)
{
    if (wexond_factory_flag != 1)
        return;
    if (exchange(call, kSetFactoryFlag, FactoryFlagRecord{}, "set factoryflag"))
        wexond_factory_flag = 0;
    else
        CALL_LOG(call, "Failed to set factoryflag\n");
}

bool send_basic(Call &call, const ApBasicRecord &basic)
{
    if (!exchange(call, kSetApBasic, basic, "set ap basic"))
        return false;
    clear_factory_flag(call);
    return true;
}

// A sync switch that cannot be read counts as off, and is reported.
bool reads_dual_band_sync(Call &call)
{
    if (Answer<DualBandSyncRecord> answer = ask<DualBandSyncRecord>(call, kGetDualBandSync, "get dualbandsync."))
        return answer->enable == 1;
    CALL_LOG(call, "Failed to get dualbandsync.\n");
    return false;
}

void send_basic_now(Call &call, const Band &band, const ApBasicRecord &basic)
{
    if (band.defers_and_syncs && reads_dual_band_sync(call)) {
        ApBasicRecord twin = basic;
        twin.band = k5g.radio.index;
        send_basic(call, twin);
    }
    if (!send_basic(call, basic))
        CALL_LOG(call, "Failed to set ap basic\n");
}

// Switching a secondary access point off (or not saying that it is on) is sent later, so that the caller, who may be on
// it, still gets the reply.
bool is_deferred(const Band &band, const ApBasicRecord &basic)
{
    return band.defers_and_syncs && basic.enable == 0 && basic.ap_index >= 2;
}

int ap1_set(Call &call, const Band &band)
{
    SettingsArguments arguments(settings_policy, call.message);
    const Entry *entry = find_ap(call, band);
    if (!entry) {
        fail(call, "%s", band.set_not_found);
        return send_for_set(call);
    }
    Settings settings = parse_settings(call, band, entry->index, arguments);
    if (is_deferred(band, settings.basic)) {
        // Deliberate: a sender that cannot be started ends the call without a reply.
        if (int result = WEXOND_Apbasic_ThreadInit(settings.basic, call.function))
            return result;
    } else {
        send_basic_now(call, band, settings.basic);
    }
    send_rest(call, arguments, settings, band.set_rate_limit_failure);
    return send_for_set(call);
}

const ubus_method wifi1ap_methods[] = {
    UBUS_METHOD("add", SERVE_AS("wexond_wifi1ap_add", ap_add, k2g), settings_policy),
    UBUS_METHOD("delete", SERVE_AS("wexond_wifi1ap_delete", ap_delete, k2g), index_policy),
    UBUS_METHOD_NOARG("list", SERVE_AS("wexond_wifi1ap_list", ap_list, k2g)),
    UBUS_METHOD_NOARG("stats", SERVE_AS("wexond_wifi1ap_status", ap_stats, k2g)),
};

const ubus_method wifi2ap_methods[] = {
    UBUS_METHOD("add", SERVE_AS("wexond_wifi2ap_add", ap_add, k5g), settings_policy),
    UBUS_METHOD("delete", SERVE_AS("wexond_wifi2ap_delete", ap_delete, k5g), index_policy),
    UBUS_METHOD_NOARG("list", SERVE_AS("wexond_wifi2ap_list", ap_list, k5g)),
    UBUS_METHOD_NOARG("stats", SERVE_AS("wexond_wifi2ap_status", ap_stats, k5g)),
};

const ubus_method wifi1ap1_methods[] = {
    UBUS_METHOD("set", SERVE_AS("wexond_wifi1ap1_set", ap1_set, k2g), settings_policy),
    UBUS_METHOD_NOARG("get", SERVE_AS("wexond_wifi1ap1_get", ap1_get, k2g)),
    UBUS_METHOD_NOARG("stats", SERVE_AS("wexond_wifi1ap1_status", ap1_status, k2g)),
};

const ubus_method wifi2ap1_methods[] = {
    UBUS_METHOD("set", SERVE_AS("wexond_wifi2ap1_set", ap1_set, k5g), settings_policy),
    UBUS_METHOD_NOARG("get", SERVE_AS("wexond_wifi2ap1_get", ap1_get, k5g)),
    UBUS_METHOD_NOARG("stats", SERVE_AS("wexond_wifi2ap1_status", ap1_status, k5g)),
};

ubus_object_type wifi1ap_type = bus_object_type("wexond.wifi.1.ap", wifi1ap_methods);
ubus_object_type wifi2ap_type = bus_object_type("wexond.wifi.2.ap", wifi2ap_methods);

} // namespace

ubus_object_type wexond_wifi1ap_entry_type = bus_object_type("wexond.wifi.1.ap.", wifi1ap1_methods);
ubus_object_type wexond_wifi2ap_entry_type = bus_object_type("wexond.wifi.2.ap.", wifi2ap1_methods);

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
