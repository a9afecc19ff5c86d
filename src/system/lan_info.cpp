// wexond.laninfo and its entry objects wexond.laninfo.<n>: the stations attached to the router. `list` numbers them
// from 1 and keeps their MAC addresses; the entry objects, one per number, act on the station of that number in the
// last `list`.

#include "system/lan_info_records.h"

#include <ctime>

#include "core/arguments.h"
#include "core/call.h"
#include "core/clock.h"
#include "core/entry.h"
#include "core/messaging.h"
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

constexpr uint32_t kMaxStations = // in one answer
    (SOCKET_LENGTH_LIMIT - sizeof(ReturnCode) - sizeof(StationListHeader)) / sizeof(StationRecord);

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
    char text[20];
    write_local_time(text, station.changed_at);
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
    reply_word("downloadspeed", kPlainNumber, station.download_speed);
    reply_word("uploadspeed", kPlainNumber, station.upload_speed);
    reply_int("negorate", rate_unit * station.rate);
    reply_word("duplexmode", kDuplex, station.duplex);
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

// Deliberate: the return code is not looked at, only a missing answer is noticed.
Answer<StationRateLimitRecord> ask_rate_limit(const StationMac &mac)
{
    return ask<StationRateLimitRecord>(kGetRateLimit, record_for<StationRateLimitRecord>(mac));
}

// `list` reports a limit only where one is set, entry `get` whatever the answer holds.
Bandwidths bandwidths_of(const Call &call, const Answer<StationRateLimitRecord> &answer, bool only_if_limited)
{
    if (!answer.present()) {
        CALL_LOG(call, "Failed to get sta rate limit\n");
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

// A service that stops answering costs one `list` one time limit, not one for each station: when the requests without
// an answer have taken this long in all, the rest count as not answered and are not made. Those that fail at once take
// next to nothing and are all made.
constexpr int64_t kPatienceMs = 2000;

// Adds the time that a missing answer took to `waited`.
Bandwidths ask_listed_bandwidths(const Call &call, const StationMac &mac, int64_t &waited)
{
    if (waited >= kPatienceMs)
        return bandwidths_of(call, Answer<StationRateLimitRecord>(nullptr), true);
    int64_t start = monotonic_ms();
    auto answer = ask_rate_limit(mac);
    if (!answer.present())
        waited += monotonic_ms() - start;
    return bandwidths_of(call, answer, true);
}

void add_listed_station(const Call &call, const StationRecord &station, int64_t &waited)
{
    append_mac(station.mac);
    void *table = reply_open_table("");
    reply_int("idx", mac_index.count);
    add_station(station, kListRateUnit);
    add_access(station, ask_listed_bandwidths(call, station.mac, waited));
    reply_close(table);
}

void add_stations(const Call &call, const StationRecord *stations, uint32_t count)
{
    tzset(); // the zone may have been changed, and localtime_r need not look
    reply_start();
    void *array = reply_open_array("wexond.laninfo");
    int64_t waited = 0; // for answers that did not come
    for (uint32_t i = 0; i < count; i++) {
        CALL_LOG(call, "Scan sta[%d]\n", i);
        add_listed_station(call, stations[i], waited);
    }
    reply_close(array);
}

// One entry object for each station number. The called object's own entry is never removed here: where it is one too
// many, it is returned.
Entry *align_entries(const ubus_object *called)
{
    Entry *own = entry_owning(&entry_lists.lan_hosts, called);
    Entry *entry, *next;
    vlist_for_each_element_safe (&entry_lists.lan_hosts, entry, node, next)
        if (entry->index > mac_index.count && entry != own)
            entry_remove(&entry_lists.lan_hosts, entry);
    for (uint32_t number = 1; number <= mac_index.count; number++)
        if (!entry_find(&entry_lists.lan_hosts, number))
            entry_add(&entry_lists.lan_hosts, number);
    // Looked for anew: a number of an equal key may have taken its place.
    own = entry_owning(&entry_lists.lan_hosts, called);
    return own && own->index > mac_index.count ? own : nullptr;
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
Entry *list_stations(Call &call)
{
    constexpr const char *kAction = "get laninfo list";
    Answer<StationCountsRecord> counts = ask<StationCountsRecord>(call, kGetStationCounts, kAction);
    if (!counts) {
        CALL_LOG(call, "Failed to get sta num\n");
        return nullptr;
    }
    uint32_t announced = counts->total;
    CALL_LOG(call, "All Sta num = %d\n", announced);

    Answer<StationListHeader> list = ask_stations(announced);
    if (!list.check(kAction, &call.status)) {
        CALL_LOG(call, "Failed to get sta list\n");
        return nullptr;
    }
    if (reset_mac_index(announced)) {
        CALL_LOG(call, "Failed to malloc mac&index list\n");
        fail(call, "failed to %s", kAction);
        return nullptr;
    }
    // No more than were announced, asked for and delivered.
    uint32_t listed = list->count;
    CALL_LOG(call, "Sta num = %d\n", listed);
    add_stations(call, reinterpret_cast<const StationRecord *>(&*list + 1), std::min(listed, announced));
    return align_entries(call.object);
}

int wexond_laninfo_list(Call &call)
{
    Entry *surplus = list_stations(call);
    if (!surplus)
        return send_for_get(call);
    // The broker carries no answer of an object that is gone: one that its own call withdraws answers to the end first.
    ubus_request_data answered;
    ubus_defer_request(wexond_context, call.request, &answered);
    wexond_send_for_get(&answered, &call.status);
    ubus_complete_deferred_request(wexond_context, &answered, UBUS_STATUS_OK);
    entry_remove(&entry_lists.lan_hosts, surplus);
    return 0;
}

int wexond_terminalnum_get(Call &call)
{
    if (Answer<StationCountsRecord> counts = ask<StationCountsRecord>(call, kGetStationCounts, "get terminalnum")) {
        reply_start();
        void *table = reply_open_table("wexond.laninfo");
        reply_int("wired", counts->wired);
        reply_int("2.4G", counts->wifi_2g);
        reply_int("5G", counts->wifi_5g);
        reply_close(table);
    }
    return send_for_get(call);
}

// --- One station ---

// How finding the station of a called object is logged and reported by each of its two users.
struct Finding {
    const char *found;
    const char *failure;
};

constexpr Finding kGetFinding = {"Succeed to find index", "failed to get laninfo"};
constexpr Finding kSetFinding = {"Succeed to get sta num", "failed to set laninfo"};

// The station number of a called object; 0 for an object that is no entry's.
uint32_t find_number(const ubus_object *object)
{
    const Entry *entry = entry_find_named(&entry_lists.lan_hosts, object->name);
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

// The MAC address of the called object's station; null where the call has failed.
const StationMac *find_station(Call &call, const Finding &finding)
{
    uint32_t number = find_number(call.object);
    if (number == 0) {
        CALL_LOG(call, "Failed to find index\n");
        fail(call, "%s", finding.failure);
        return nullptr;
    }
    CALL_LOG(call, "%s = %d\n", finding.found, number);
    const StationMac *mac = find_mac(number);
    if (!mac) {
        CALL_LOG(call, "Failed to find mac\n");
        fail(call, "%s", finding.failure);
        return nullptr;
    }
    CALL_LOG(call, "Succeed to find mac = %s\n", read_text(*mac).data);
    return mac;
}

int wexond_laninfo1_get(Call &call)
{
    const StationMac *mac = find_station(call, kGetFinding);
    if (!mac)
        return send_for_get(call);
    if (Answer<StationRecord> station =
            ask<StationRecord>(call, kGetStation, record_for<StationRecord>(*mac), "get laninfo")) {
        tzset(); // the zone may have been changed, and localtime_r need not look
        reply_start();
        void *table = reply_open_table(call.object->name);
        add_station(*station, kEntryRateUnit);
        add_access(*station, bandwidths_of(call, ask_rate_limit(*mac), false));
        reply_close(table);
    }
    return send_for_get(call);
}

// Sends a setter's record; false, logged, where it failed.
template <typename Record> bool change(Call &call, uint32_t type, const Record &record, const char *action)
{
    if (exchange(call, type, record, action))
        return true;
    CALL_LOG(call, "Failed to %s\n", action);
    return false;
}

// The setters: each does nothing and succeeds where its arguments are absent.
bool set_name(Call &call, const SetArguments &arguments, const StationMac &mac)
{
    if (!arguments.has(DEVNAME))
        return true;
    CALL_LOG(call, "devname:%s \n\n", arguments.text(DEVNAME));
    auto record = record_for<StationNameRecord>(mac);
    copy_text(record.device_name, arguments.text(DEVNAME));
    return change(call, kSetStationName, record, "set devname");
}

bool set_access(Call &call, const SetArguments &arguments, const StationMac &mac)
{
    if (!arguments.has(INTERNETACCESS))
        return true;
    uint32_t access = arguments.number(INTERNETACCESS);
    CALL_LOG(call, "internetaccess:%d \n\n", access);
    // Deliberate: both requests go out for an unknown access too, then without a station.
    StationAccessRecord internet{}, wifi{};
    if (access <= 2) {
        internet = wifi = record_for<StationAccessRecord>(mac);
        internet.flag = access == 2;
        wifi.flag = access >= 1;
    }
    return change(call, kSetInternetAccess, internet, "set internetaccess") &&
           change(call, kSetWifiAccess, wifi, "set wifiaccess");
}

bool set_storage_access(const Call &call, const SetArguments &arguments)
{
    // Deliberate: storage access can be read but not changed; the argument is taken and nothing is sent.
    if (arguments.has(STORAGEACCESS))
        CALL_LOG(call, "storageaccess:%d \n\n", arguments.number(STORAGEACCESS));
    return true;
}

const Option<StationRateLimitRecord> bandwidth_options[] = {
    {USBANDWIDTH, kChangeStationUpstream, fill_number<&StationRateLimitRecord::upstream>},
    {DSBANDWIDTH, kChangeStationDownstream, fill_number<&StationRateLimitRecord::downstream>},
};

bool set_bandwidth(Call &call, const SetArguments &arguments, const StationMac &mac)
{
    auto record = record_for<StationRateLimitRecord>(mac);
    fill_options(call, arguments, bandwidth_options, record, &StationRateLimitRecord::change_mask);
    return record.change_mask == 0 || change(call, kSetRateLimit, record, "set bandwidth");
}

const Option<StationModelRecord> model_options[] = {
    {BRAND, kChangeBrand, fill_text<&StationModelRecord::brand>},
    {MODEL, kChangeModel, fill_text<&StationModelRecord::model>},
};

bool set_model(Call &call, const SetArguments &arguments, const StationMac &mac)
{
    auto record = record_for<StationModelRecord>(mac);
    fill_options(call, arguments, model_options, record, &StationModelRecord::change_mask);
    return record.change_mask == 0 || change(call, kSetStationModel, record, "set model or brand");
}

int wexond_laninfo1_set(Call &call)
{
    if (const StationMac *mac = find_station(call, kSetFinding)) {
        SetArguments arguments(set_policy, call.message);
        // The first failure ends the sequence; what was changed before it stays changed.
        (void)(set_name(call, arguments, *mac) && set_access(call, arguments, *mac) &&
               set_storage_access(call, arguments) && set_bandwidth(call, arguments, *mac) &&
               set_model(call, arguments, *mac));
    }
    return send_for_set(call);
}

const ubus_method methods[] = {
    UBUS_METHOD_NOARG("list", SERVE(wexond_laninfo_list)),
    UBUS_METHOD_NOARG("getnum", SERVE(wexond_terminalnum_get)),
    UBUS_METHOD("set", SERVE(wexond_laninfo1_set), set_policy),
    UBUS_METHOD_NOARG("get", SERVE(wexond_laninfo1_get)),
};

} // namespace

// Shared, methods and all, by the static object and every entry object.
ubus_object_type wexond_laninfo_type = bus_object_type("wexond.laninfo", methods);

ubus_object wexond_laninfo_object = {
    .name = "wexond.laninfo",
    .type = &wexond_laninfo_type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
