// wexond.laninfo and its entry objects wexond.laninfo.<n>: the stations attached to the router. `list` numbers them
// from 1 and keeps their MAC addresses; the entry objects, one per number, act on the station of that number in the
// last `list`.

#include "system/lan_info_records.h"

#include <ctime>

#include "core/arguments.h"
#include "core/call.h"
#include "core/entry.h"
#include "core/reply.h"
#include "core/vocabulary.h"
#include "system/local_time.h"

namespace
{

enum { INTERNETACCESS, STORAGEACCESS, USBANDWIDTH, DSBANDWIDTH, DEVNAME, BRAND, MODEL };

const blobmsg_policy set_policy[] = {
    {.name = "internetaccess", .type = BLOBMSG_TYPE_INT32}, {.name = "storageaccess", .type = BLOBMSG_TYPE_INT32},
    {.name = "usbandwidth", .type = BLOBMSG_TYPE_INT32},    {.name = "dsbandwidth", .type = BLOBMSG_TYPE_INT32},
    {.name = "devname", .type = BLOBMSG_TYPE_STRING},       {.name = "brand", .type = BLOBMSG_TYPE_STRING},
    {.name = "model", .type = BLOBMSG_TYPE_STRING},
};

using SetArguments = Arguments<std::size(set_policy)>;

// The stations of the last `list`.
struct MacIndexItem {
    uint32_t index; // station number, from 1
    StationMac mac;
};

struct MacIndexTable {
    uint32_t count;
    MacIndexItem *items;
};

MacIndexTable mac_index;

// The messaging library carries 1 MiB in one answer.
constexpr uint32_t kMaxStations =
    (size_t{1024} * 1024 - sizeof(ReturnCode) - sizeof(StationListHeader)) / sizeof(StationRecord);

constexpr uint32_t kMediumWifi2g = 0;
constexpr uint32_t kMediumWired = 2;

constexpr uint32_t kListRateUnit = 1000;
constexpr uint32_t kEntryRateUnit = 1;

// --- The station table of `list` and entry `get` ---

void add_identity(const StationRecord &station)
{
    auto mac = read_text(station.mac);
    auto virtual_mac = read_text(station.virtual_mac);
    auto host_name = read_text(station.host_name);
    auto device_name = read_text(station.device_name);
    wexond_mac_compact(mac.data);
    wexond_mac_compact(virtual_mac.data);
    const char *shown_host = host_name.data[0] ? host_name.data : mac.data;

    reply_string("mac", mac.data);
    reply_string("vmac", virtual_mac.data);
    reply_string("hostname", shown_host);
    reply_string("devname", device_name.data[0] ? device_name.data : shown_host);
    reply_text("brand", station.brand);
    reply_text("model", station.model);
    reply_text("ipaddr", station.address);
    reply_text("ipaddr6", station.address6);
    reply_int("storageaccess", station.storage_access == 1);
}

// The time of the last change of state stands under the key of the state that it led to.
void add_state(const StationRecord &station)
{
    char text[80];
    write_local_time(text, sizeof(text), station.changed_at);
    bool active = station.active == 1;

    reply_int("active", active);
    reply_int("onlinetime", station.online_time);
    reply_string("activetime", active ? text : "");
    reply_string("inactivetime", active ? "" : text);
}

void add_link(const StationRecord &station, uint32_t rate_unit)
{
    bool wired = station.medium == kMediumWired;
    const char *band = station.medium == kMediumWifi2g ? "2.4G" : "5G";

    reply_int("connecttype", wired ? 0 : 1);
    reply_int("port", station.port);
    reply_string("band", wired ? "" : band);
    reply_string("ssid", wired ? "" : read_text(station.ssid).data);
    reply_int("rssi", wired ? 0 : static_cast<int32_t>(station.rssi));
    reply_string("downloadspeed", wexond_code_to_str(kPlainNumber, station.download_speed));
    reply_string("uploadspeed", wexond_code_to_str(kPlainNumber, station.upload_speed));
    reply_int("negorate", rate_unit * station.rate);
    reply_string("duplexmode", wexond_code_to_str(kDuplex, station.duplex));
}

void add_counters(const StationRecord &station)
{
    reply_counter("bytessent", station.bytes_sent);
    reply_counter("bytesreceived", station.bytes_received);
    reply_counter("packetssent", station.packets_sent);
    reply_counter("packetsreceived", station.packets_received);
    reply_int("crcerror", 0);
    reply_counter("packetsretryreceived", station.retries_received);
    reply_counter("packetsretrysent", station.retries_sent);
    reply_counter("packetsfailreceived", station.failures_received);
    reply_counter("packetsfailsent", station.failures_sent);
    reply_counter("packetsloss", station.packets_lost);
}

// A record that names its station and is zero otherwise.
template <typename Record> Record record_for(const StationMac &mac)
{
    Record record{};
    memcpy(record.mac, mac, sizeof(record.mac));
    return record;
}

struct Bandwidths {
    uint32_t downstream;
    uint32_t upstream;
};

// Deliberate: the return code is not looked at, only a missing answer is noticed. `list` reports a limit only where one
// is set, entry `get` whatever the answer holds.
Bandwidths ask_bandwidths(const StationMac &mac, bool only_if_limited, const char *function)
{
    auto answer = ask<StationRateLimitRecord>(kGetRateLimit, record_for<StationRateLimitRecord>(mac));
    if (!answer.present()) {
        WEXOND_LOG_AS(function, "Failed to get sta rate limit\n");
        return {0, 0};
    }
    if (only_if_limited && answer->limited != 1)
        return {0, 0};
    return {answer->downstream, answer->upstream};
}

void add_access(const StationRecord &station, const Bandwidths &bandwidths)
{
    reply_int("dsbandwidth", bandwidths.downstream);
    reply_int("usbandwidth", bandwidths.upstream);
    uint32_t wifi_allowed = station.internet_access == 1 ? 2 : 1;
    reply_int("internetaccess", station.wifi_access == 1 ? wifi_allowed : 0);
}

// Deliberate: the rate counts in other units in `list` than in entry `get`.
void add_station(const StationRecord &station, uint32_t rate_unit)
{
    add_identity(station);
    add_state(station);
    add_link(station, rate_unit);
    add_counters(station);
}

// --- list ---

constexpr const char *kListHandler = "wexond_laninfo_list";

int reset_mac_index(uint32_t capacity)
{
    free(mac_index.items);
    mac_index.count = 0;
    mac_index.items = static_cast<MacIndexItem *>(calloc(std::max(capacity, 1u), sizeof(MacIndexItem)));
    return mac_index.items ? 0 : -1;
}

void append_mac(const StationMac &mac)
{
    MacIndexItem &item = mac_index.items[mac_index.count++];
    item.index = mac_index.count;
    memcpy(item.mac, mac, sizeof(item.mac));
}

void add_listed_station(const StationRecord &station)
{
    append_mac(station.mac);
    void *table = reply_open_table("");
    reply_int("idx", mac_index.count);
    add_station(station, kListRateUnit);
    add_access(station, ask_bandwidths(station.mac, true, kListHandler));
    reply_close(table);
}

void add_stations(const StationRecord *stations, uint32_t count)
{
    tzset(); // the zone may have been changed, and localtime_r need not look
    reply_start();
    void *array = reply_open_array("wexond.laninfo");
    for (uint32_t i = 0; i < count; i++) {
        WEXOND_LOG_AS(kListHandler, "Scan sta[%d]\n", i);
        add_listed_station(stations[i]);
    }
    reply_close(array);
}

// One entry object for each station number. The called object's own entry is never removed here: where it is one too
// many, it is returned.
Entry *align_entries(const ubus_object *called)
{
    Entry *entry, *next, *own = nullptr;
    vlist_for_each_element_safe (&entry_lists.lan_hosts, entry, node, next) {
        if (entry->index <= mac_index.count)
            continue;
        if (&entry->object == called)
            own = entry;
        else
            entry_remove(&entry_lists.lan_hosts, entry);
    }
    for (uint32_t number = 1; number <= mac_index.count; number++)
        if (!entry_find(&entry_lists.lan_hosts, number))
            entry_add(&entry_lists.lan_hosts, number);
    return own;
}

// A count that no answer can carry is not asked for and counts as no answer.
Answer<StationListHeader> ask_stations(uint32_t count)
{
    using List = Answer<StationListHeader>;
    if (count > kMaxStations)
        return List(nullptr);
    return List(
        wexond_send_msg(kListStations, kRequestFlag, nullptr, 0, List::kExpected + count * sizeof(StationRecord)));
}

// Builds the reply and brings table and entry objects into line with it. Returns what align_entries does; null, too,
// for a failure.
Entry *list_stations(const ubus_object *called, Status *status)
{
    constexpr const char *action = "get laninfo list";
    Answer<StationCountsRecord> counts = ask<StationCountsRecord>(kGetStationCounts);
    if (!counts.check(action, status)) {
        WEXOND_LOG_AS(kListHandler, "Failed to get sta num\n");
        return nullptr;
    }
    uint32_t announced = counts->total;
    WEXOND_LOG_AS(kListHandler, "All Sta num = %d\n", announced);

    Answer<StationListHeader> list = ask_stations(announced);
    if (!list.check(action, status)) {
        WEXOND_LOG_AS(kListHandler, "Failed to get sta list\n");
        return nullptr;
    }
    if (reset_mac_index(announced)) {
        WEXOND_LOG_AS(kListHandler, "Failed to malloc mac&index list\n");
        wexond_fail(status, "failed to %s", action);
        return nullptr;
    }
    // No more than were announced, asked for and delivered.
    uint32_t listed = list->count;
    WEXOND_LOG_AS(kListHandler, "Sta num = %d\n", listed);
    add_stations(reinterpret_cast<const StationRecord *>(&*list + 1), std::min(listed, announced));
    return align_entries(called);
}

int wexond_laninfo_list(ubus_context *context, ubus_object *object, ubus_request_data *request, const char *method,
                        blob_attr *)
{
    Call call(object, method, __func__);
    Entry *surplus = list_stations(object, &call.status);
    if (!surplus)
        return wexond_send_for_get(request, &call.status);
    // The broker carries no answer of an object that is gone: one that its own call withdraws answers to the end first.
    ubus_request_data answered;
    ubus_defer_request(context, request, &answered);
    wexond_send_for_get(&answered, &call.status);
    ubus_complete_deferred_request(context, &answered, UBUS_STATUS_OK);
    entry_remove(&entry_lists.lan_hosts, surplus);
    return 0;
}

int wexond_terminalnum_get(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                           blob_attr *)
{
    Call call(object, method, __func__);
    Answer<StationCountsRecord> counts = ask<StationCountsRecord>(kGetStationCounts);
    if (counts.check("get terminalnum", &call.status)) {
        reply_start();
        void *table = reply_open_table("wexond.laninfo");
        reply_int("wired", counts->wired);
        reply_int("2.4G", counts->wifi_2g);
        reply_int("5G", counts->wifi_5g);
        reply_close(table);
    }
    return wexond_send_for_get(request, &call.status);
}

// --- One station ---

// How finding the station of a called object is logged and reported by each of its two users.
struct Finding {
    const char *function;
    const char *found;
    const char *failure;
};

constexpr const char *kSetHandler = "wexond_laninfo1_set";

const Finding get_finding = {"wexond_laninfo1_get", "Succeed to find index", "failed to get laninfo"};
const Finding set_finding = {kSetHandler, "Succeed to get sta num", "failed to set laninfo"};

// The station number of a called object; 0 for an object that is no entry's.
uint32_t find_number(const ubus_object *object)
{
    Entry *entry = entry_find_named(&entry_lists.lan_hosts, object->name);
    return entry ? static_cast<uint32_t>(entry->index) : 0;
}

// The MAC address of a station number in the last `list`; null where it has none.
const StationMac *find_mac(uint32_t number)
{
    for (uint32_t i = 0; i < mac_index.count; i++)
        if (mac_index.items[i].index == number)
            return mac_index.items[i].mac[0] ? &mac_index.items[i].mac : nullptr;
    return nullptr;
}

// The MAC address of the called object's station; null with the reason in the status.
const StationMac *find_station(const ubus_object *object, const Finding &finding, Status *status)
{
    uint32_t number = find_number(object);
    if (number == 0) {
        WEXOND_LOG_AS(finding.function, "Failed to find index\n");
        wexond_fail(status, "%s", finding.failure);
        return nullptr;
    }
    WEXOND_LOG_AS(finding.function, "%s = %d\n", finding.found, number);
    const StationMac *mac = find_mac(number);
    if (!mac) {
        WEXOND_LOG_AS(finding.function, "Failed to find mac\n");
        wexond_fail(status, "%s", finding.failure);
        return nullptr;
    }
    WEXOND_LOG_AS(finding.function, "Succeed to find mac = %s\n", read_text(*mac).data);
    return mac;
}

int wexond_laninfo1_get(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                        blob_attr *)
{
    Call call(object, method, __func__);
    const StationMac *mac = find_station(object, get_finding, &call.status);
    if (!mac)
        return wexond_send_for_get(request, &call.status);
    Answer<StationRecord> station = ask<StationRecord>(kGetStation, record_for<StationRecord>(*mac));
    if (station.check("get laninfo", &call.status)) {
        tzset(); // the zone may have been changed, and localtime_r need not look
        reply_start();
        void *table = reply_open_table(object->name);
        add_station(*station, kEntryRateUnit);
        add_access(*station, ask_bandwidths(*mac, false, __func__));
        reply_close(table);
    }
    return wexond_send_for_get(request, &call.status);
}

// Sends a setter's record; false, logged, where it failed.
template <typename Record> bool change(uint32_t type, const Record &record, const char *action, Status *status)
{
    if (exchange(type, record, action, status))
        return true;
    WEXOND_LOG_AS(kSetHandler, "Failed to %s\n", action);
    return false;
}

// The setters: each does nothing and succeeds where its arguments are absent.
bool set_name(const SetArguments &arguments, const StationMac &mac, Status *status)
{
    if (!arguments.has(DEVNAME))
        return true;
    WEXOND_LOG_AS(kSetHandler, "devname:%s \n\n", arguments.text(DEVNAME));
    auto record = record_for<StationNameRecord>(mac);
    copy_text(record.device_name, arguments.text(DEVNAME));
    return change(kSetStationName, record, "set devname", status);
}

bool set_access(const SetArguments &arguments, const StationMac &mac, Status *status)
{
    if (!arguments.has(INTERNETACCESS))
        return true;
    uint32_t access = arguments.number(INTERNETACCESS);
    WEXOND_LOG_AS(kSetHandler, "internetaccess:%d \n\n", access);
    // Deliberate: both requests go out for an unknown access too, then without a station.
    StationAccessRecord internet{}, wifi{};
    if (access <= 2) {
        internet = wifi = record_for<StationAccessRecord>(mac);
        internet.flag = access == 2;
        wifi.flag = access >= 1;
    }
    return change(kSetInternetAccess, internet, "set internetaccess", status) &&
           change(kSetWifiAccess, wifi, "set wifiaccess", status);
}

bool set_storage_access(const SetArguments &arguments)
{
    // Deliberate: storage access can be read but not changed; the argument is taken and nothing is sent.
    if (arguments.has(STORAGEACCESS))
        WEXOND_LOG_AS(kSetHandler, "storageaccess:%d \n\n", arguments.number(STORAGEACCESS));
    return true;
}

bool set_bandwidth(const SetArguments &arguments, const StationMac &mac, Status *status)
{
    auto record = record_for<StationRateLimitRecord>(mac);
    if (arguments.has(USBANDWIDTH)) {
        WEXOND_LOG_AS(kSetHandler, "usbandwidth:%d \n\n", arguments.number(USBANDWIDTH));
        record.upstream = arguments.number(USBANDWIDTH);
        record.change_mask = record.change_mask | 1;
    }
    if (arguments.has(DSBANDWIDTH)) {
        WEXOND_LOG_AS(kSetHandler, "dsbandwidth:%d \n\n", arguments.number(DSBANDWIDTH));
        record.downstream = arguments.number(DSBANDWIDTH);
        record.change_mask = record.change_mask | 2;
    }
    return record.change_mask == 0 || change(kSetRateLimit, record, "set bandwidth", status);
}

bool set_model(const SetArguments &arguments, const StationMac &mac, Status *status)
{
    auto record = record_for<StationModelRecord>(mac);
    if (arguments.has(BRAND)) {
        WEXOND_LOG_AS(kSetHandler, "brand:%s \n\n", arguments.text(BRAND));
        copy_text(record.brand, arguments.text(BRAND));
        record.change_mask = record.change_mask | 1;
    }
    if (arguments.has(MODEL)) {
        WEXOND_LOG_AS(kSetHandler, "model:%s \n\n", arguments.text(MODEL));
        copy_text(record.model, arguments.text(MODEL));
        record.change_mask = record.change_mask | 2;
    }
    return record.change_mask == 0 || change(kSetStationModel, record, "set model or brand", status);
}

int wexond_laninfo1_set(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                        blob_attr *message)
{
    Call call(object, method, __func__);
    if (const StationMac *mac = find_station(object, set_finding, &call.status)) {
        SetArguments arguments(set_policy, message);
        // The first failure ends the sequence; what was changed before it stays changed.
        (void)(set_name(arguments, *mac, &call.status) && set_access(arguments, *mac, &call.status) &&
               set_storage_access(arguments) && set_bandwidth(arguments, *mac, &call.status) &&
               set_model(arguments, *mac, &call.status));
    }
    return wexond_send_for_set(request, &call.status);
}

const ubus_method methods[] = {
    UBUS_METHOD_NOARG("list", wexond_laninfo_list),
    UBUS_METHOD_NOARG("getnum", wexond_terminalnum_get),
    UBUS_METHOD("set", wexond_laninfo1_set, set_policy),
    UBUS_METHOD_NOARG("get", wexond_laninfo1_get),
};

} // namespace

// Shared, methods and all, by the static object and every entry object.
ubus_object_type wexond_laninfo_type = UBUS_OBJECT_TYPE("wexond.laninfo", methods);

ubus_object wexond_laninfo_object = {
    .name = "wexond.laninfo",
    .type = &wexond_laninfo_type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
