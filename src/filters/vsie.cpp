// wexond.wifi.vsie and its three lists: vendor-specific information elements (IEs) that are sent in beacons (beacontx),
// watched for in probe requests (proberx) and sent in probe responses to one station (proberesp). IE bytes travel on
// the bus as arrays of int32, one element for each byte.

#include "filters/vsie_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"
#include "core/vocabulary.h"

namespace
{

enum { BEACON_SERVICENAME, BEACON_SSIDIDX, BEACON_DURATION, BEACON_LEN, BEACON_IEDATA };

const blobmsg_policy beacontx_add_policy[] = {
    {.name = "servicename", .type = BLOBMSG_TYPE_STRING}, {.name = "ssididx", .type = BLOBMSG_TYPE_INT32},
    {.name = "duration", .type = BLOBMSG_TYPE_INT32},     {.name = "len", .type = BLOBMSG_TYPE_INT32},
    {.name = "iedata", .type = BLOBMSG_TYPE_ARRAY},
};

enum { WATCH_SERVICENAME, WATCH_BAND, WATCH_OUI };

const blobmsg_policy proberx_add_policy[] = {
    {.name = "servicename", .type = BLOBMSG_TYPE_STRING},
    {.name = "band", .type = BLOBMSG_TYPE_INT32},
    {.name = "oui", .type = BLOBMSG_TYPE_ARRAY},
};

enum { FLUSH_SERVICENAME };

const blobmsg_policy flush_policy[] = {
    {.name = "servicename", .type = BLOBMSG_TYPE_STRING},
};

enum { RESPONSE_MAC, RESPONSE_IEDATA };

const blobmsg_policy proberesp_add_policy[] = {
    {.name = "mac", .type = BLOBMSG_TYPE_STRING},
    {.name = "iedata", .type = BLOBMSG_TYPE_ARRAY},
};

// At most 255 of a captured frame's bytes are reported, whatever it holds.
constexpr size_t kMaxFrameBytes = 255;

// Bytes of an array argument, the low eight bits of each element, into as many as fit; how many were given.
template <typename Byte, size_t N> uint32_t parse_bytes(const blob_attr *array, Byte (&bytes)[N])
{
    uint32_t count = 0;
    for (const blob_attr *element : Elements(array)) {
        if (count < N)
            bytes[count] = static_cast<uint8_t>(element_number(element));
        count++;
    }
    return count;
}

// The first `count` bytes of a record, of which `limit` at most, as elements of the open array.
template <typename Byte, size_t N> void add_bytes(const Byte (&bytes)[N], uint32_t count, size_t limit = N)
{
    for (size_t i = 0; i < std::min<size_t>(count, std::min(limit, N)); i++)
        reply_int("", bytes[i]);
}

template <typename Byte, size_t N> void reply_bytes(const char *key, const Byte (&bytes)[N], uint32_t count)
{
    void *array = reply_open_array(key);
    add_bytes(bytes, count);
    reply_close(array);
}

// An add request that the common check judges, and its reply.
template <typename Record> int add_checked(Call &call, uint32_t type, const Record &record, const char *action)
{
    Answer<VsieIndexRecord> answer = ask<VsieIndexRecord>(call, type, record, action);
    if (!answer)
        return send_for_add(call, nullptr);
    uint32_t index = answer->index;
    return send_for_add(call, &index);
}

int wexond_wifivsie_get(Call &call)
{
    if (Answer<VsieLimitsRecord> answer = ask<VsieLimitsRecord>(call, kGetVsieLimits, "get vsie")) {
        reply_start();
        void *table = reply_open_table("wexond.wifi.vsie");
        reply_int("maxbeacontxentry", answer->beacon_entries);
        reply_int("maxbeacontxconcurrent", answer->beacon_concurrent);
        reply_int("maxproberxentry", answer->probe_request_entries);
        reply_int("maxproberespentry", answer->probe_response_entries);
        reply_close(table);
    }
    return send_for_get(call);
}

// --- Sent in beacons. These handlers judge answers themselves; their texts' spellings are the agents'. ---

int parse_beacon_ie(Call &call, const Arguments<5> &arguments, BeaconIeRecord &record)
{
    const blob_attr *data = arguments.array(BEACON_IEDATA);
    // All of them count here, see below.
    if (check_elements(call, data, kNoLimit, BLOBMSG_TYPE_INT32, "iedata"))
        return -1;
    CALL_LOG(call, "servicename:%s / ssididx:%d / duration:%d / len:%d \n\n", arguments.text(BEACON_SERVICENAME),
             arguments.number(BEACON_SSIDIDX), arguments.number(BEACON_DURATION), arguments.number(BEACON_LEN));
    copy_text(record.service_name, arguments.text(BEACON_SERVICENAME));
    record.ssid_index = static_cast<int32_t>(arguments.number(BEACON_SSIDIDX));
    record.duration = static_cast<int32_t>(arguments.number(BEACON_DURATION));
    record.length = arguments.number(BEACON_LEN);
    uint32_t count = parse_bytes(data, record.data);
    if (record.length != count) {
        fail(call, "required parameter: len(%d) != iedata len(%d)", arguments.number(BEACON_LEN), count);
        return -1;
    }
    // More bytes than a record holds are refused, not cut: the IE would not be the one that was given.
    if (count > std::size(record.data)) {
        fail(call, "unrecognized parameter: iedata");
        return -1;
    }
    return 0;
}

int wexond_wifivsie_beacontx_add(Call &call)
{
    Arguments<5> arguments(beacontx_add_policy, call.message);
    BeaconIeRecord record{};
    if (!arguments.require(call) || parse_beacon_ie(call, arguments, record))
        return send_for_add(call, nullptr);
    Answer<VsieIndexRecord> answer = ask<VsieIndexRecord>(kAddBeaconIe, record);
    if (!answer.accepted()) {
        fail(call, "failed to add wifivise beacontx");
        return send_for_add(call, nullptr);
    }
    uint32_t index = answer->index;
    return send_for_add(call, &index);
}

int wexond_wifivsie_beacontx_delete(Call &call)
{
    Arguments<1> arguments(index_policy, call.message);
    if (arguments.require(call)) {
        CALL_LOG(call, "idx:%d \n\n", arguments.number(IDX));
        if (!accepts(kDeleteBeaconIe, VsieIndexRecord{arguments.number(IDX)}))
            fail(call, "failed to del wifivise beacontx");
    }
    return send_for_set(call);
}

int wexond_wifivsie_beacontx_list(Call &call)
{
    Answer<BeaconIeList> answer = ask<BeaconIeList>(kListBeaconIes);
    if (!answer.accepted()) {
        fail(call, "failed to get wifivsie beacontx list");
        return send_for_get(call);
    }
    reply_start();
    void *array = reply_open_array("wexond.wifi.vsie.beacontx");
    for (size_t i = 0; i < entry_count(*answer); i++) {
        const BeaconIeRecord &record = answer->entries[i];
        void *table = reply_open_table("");
        reply_int("idx", record.index);
        reply_text("servicename", record.service_name);
        reply_int("ssididx", static_cast<int32_t>(record.ssid_index));
        reply_int("duration", static_cast<int32_t>(record.duration));
        reply_int("len", record.length);
        reply_bytes("iedata", record.data, record.length);
        reply_close(table);
    }
    reply_close(array);
    return send_for_get(call);
}

// `start` and `stop` are one request with a flag.
struct Run {
    uint32_t flag;
    const char *failure;
};

constexpr Run kStart = {1, "failed to start wifivise beacontx"};
constexpr Run kStop = {0, "failed to stop wifivise beacontx"};

int beacontx_run(Call &call, const Run &run)
{
    Arguments<1> arguments(index_policy, call.message);
    if (arguments.require(call)) {
        CALL_LOG(call, "idx:%d \n\n", arguments.number(IDX));
        if (!accepts(kRunBeaconIe, BeaconIeRunRecord{arguments.number(IDX), run.flag}))
            fail(call, "%s", run.failure);
    }
    return send_for_set(call);
}

// --- Watched for in probe requests ---

int wexond_wifivsie_proberx_add(Call &call)
{
    Arguments<3> arguments(proberx_add_policy, call.message);
    ProbeWatchRecord record{};
    if (!arguments.require(call) ||
        check_elements(call, arguments.array(WATCH_OUI), std::size(record.oui), BLOBMSG_TYPE_INT32, "oui"))
        return send_for_add(call, nullptr);
    CALL_LOG(call, "servicename:%s / band:%d \n\n", arguments.text(WATCH_SERVICENAME), arguments.number(WATCH_BAND));
    copy_text(record.service_name, arguments.text(WATCH_SERVICENAME));
    record.band = arguments.number(WATCH_BAND) != 0;
    parse_bytes(arguments.array(WATCH_OUI), record.oui);
    return add_checked(call, kAddProbeWatch, record, "add for vsie proberx");
}

int wexond_wifivsie_proberx_delete(Call &call)
{
    Arguments<1> arguments(index_policy, call.message);
    if (arguments.require(call)) {
        CALL_LOG(call, "idx:%d \n\n", arguments.number(IDX));
        exchange(call, kDeleteProbeWatch, VsieIndexRecord{arguments.number(IDX)}, "delete for vsie proberx");
    }
    return send_for_set(call);
}

void add_frame(const ProbeWatchRecord &watch, const ProbeFrame &frame)
{
    auto mac = read_text(frame.mac);
    wexond_mac_compact(mac.data);
    void *table = reply_open_table("");
    reply_string("mac", mac.data);
    reply_int("band", frame.band);
    void *array = reply_open_array("vsie");
    add_bytes(watch.oui, std::size(watch.oui));
    add_bytes(frame.data, frame.length, kMaxFrameBytes);
    reply_close(array);
    reply_close(table);
}

void add_watch(const ProbeWatchRecord &watch)
{
    void *table = reply_open_table("");
    reply_int("idx", watch.index);
    reply_text("servicename", watch.service_name);
    reply_int("band", watch.band != 0);
    reply_bytes("oui", watch.oui, std::size(watch.oui));
    void *array = reply_open_array("record");
    for (size_t i = 0; i < std::min<size_t>(watch.frame_count, std::size(watch.frames)); i++)
        add_frame(watch, watch.frames[i]);
    reply_close(array);
    reply_close(table);
}

int wexond_wifivsie_proberx_list(Call &call)
{
    if (Answer<ProbeWatchList> answer = ask<ProbeWatchList>(call, kListProbeWatches, "list for vsie proberx")) {
        reply_start();
        void *array = reply_open_array("wexond.wifi.vsie.proberx");
        for (size_t i = 0; i < entry_count(*answer); i++)
            if (answer->entries[i].index != 0)
                add_watch(answer->entries[i]);
        reply_close(array);
    }
    return send_for_get(call);
}

int wexond_wifivsie_proberx_flush(Call &call)
{
    Arguments<1> arguments(flush_policy, call.message);
    if (arguments.require(call)) {
        CALL_LOG(call, "servicename:%s \n\n", arguments.text(FLUSH_SERVICENAME));
        ProbeFlushRecord record{};
        copy_text(record.service_name, arguments.text(FLUSH_SERVICENAME));
        exchange(call, kFlushProbeWatch, record, "flush for vsie proberx");
    }
    return send_for_set(call);
}

// --- Sent in probe responses ---

int wexond_wifivsie_proberesp_add(Call &call)
{
    Arguments<2> arguments(proberesp_add_policy, call.message);
    ProbeResponseIeRecord record{};
    if (!arguments.require(call) ||
        check_elements(call, arguments.array(RESPONSE_IEDATA), std::size(record.data), BLOBMSG_TYPE_INT32, "iedata"))
        return send_for_add(call, nullptr);
    CALL_LOG(call, "mac:%s \n\n", arguments.text(RESPONSE_MAC));
    copy_text(record.mac, arguments.text(RESPONSE_MAC));
    auto mac = read_text(record.mac);
    wexond_mac_colon(mac.data);
    copy_text(record.mac, mac.data);
    uint32_t count = parse_bytes(arguments.array(RESPONSE_IEDATA), record.data);
    record.length = std::min<uint32_t>(count, std::size(record.data));
    return add_checked(call, kAddProbeResponseIe, record, "add for vsie proberesp");
}

int wexond_wifivsie_proberesp_delete(Call &call)
{
    Arguments<1> arguments(index_policy, call.message);
    if (arguments.require(call)) {
        CALL_LOG(call, "idx:%d \n\n", arguments.number(IDX));
        exchange(call, kDeleteProbeResponseIe, VsieIndexRecord{arguments.number(IDX)}, "delete for vsie proberesp");
    }
    return send_for_set(call);
}

void add_response_ie(const ProbeResponseIeRecord &record)
{
    auto mac = read_text(record.mac);
    wexond_mac_compact(mac.data);
    void *table = reply_open_table("");
    reply_int("idx", record.index);
    reply_string("mac", mac.data);
    reply_int("band", record.band != 0);
    reply_bytes("iedata", record.data, record.length);
    reply_close(table);
}

int wexond_wifivsie_proberesp_list(Call &call)
{
    if (Answer<ProbeResponseIeList> answer =
            ask<ProbeResponseIeList>(call, kListProbeResponseIes, "list for vsie proberesp")) {
        reply_start();
        void *array = reply_open_array("wexond.wifi.vsie.proberesp");
        for (size_t i = 0; i < entry_count(*answer); i++)
            if (answer->entries[i].index != 0)
                add_response_ie(answer->entries[i]);
        reply_close(array);
    }
    return send_for_get(call);
}

const ubus_method vsie_methods[] = {
    UBUS_METHOD_NOARG("get", SERVE(wexond_wifivsie_get)),
};

const ubus_method beacontx_methods[] = {
    UBUS_METHOD("add", SERVE(wexond_wifivsie_beacontx_add), beacontx_add_policy),
    UBUS_METHOD("delete", SERVE(wexond_wifivsie_beacontx_delete), index_policy),
    UBUS_METHOD_NOARG("list", SERVE(wexond_wifivsie_beacontx_list)),
    UBUS_METHOD("start", SERVE_AS("wexond_wifivsie_beacontx_start", beacontx_run, kStart), index_policy),
    UBUS_METHOD("stop", SERVE_AS("wexond_wifivsie_beacontx_stop", beacontx_run, kStop), index_policy),
};

const ubus_method proberx_methods[] = {
    UBUS_METHOD("add", SERVE(wexond_wifivsie_proberx_add), proberx_add_policy),
    UBUS_METHOD("delete", SERVE(wexond_wifivsie_proberx_delete), index_policy),
    UBUS_METHOD_NOARG("list", SERVE(wexond_wifivsie_proberx_list)),
    UBUS_METHOD("flush", SERVE(wexond_wifivsie_proberx_flush), flush_policy),
};

const ubus_method proberesp_methods[] = {
    UBUS_METHOD("add", SERVE(wexond_wifivsie_proberesp_add), proberesp_add_policy),
    UBUS_METHOD("delete", SERVE(wexond_wifivsie_proberesp_delete), index_policy),
    UBUS_METHOD_NOARG("list", SERVE(wexond_wifivsie_proberesp_list)),
};

ubus_object_type vsie_type = bus_object_type("wexond.wifi.vsie", vsie_methods);
ubus_object_type beacontx_type = bus_object_type("wexond.wifi.vsie.beacontx", beacontx_methods);
ubus_object_type proberx_type = bus_object_type("wexond.wifi.vsie.proberx", proberx_methods);
ubus_object_type proberesp_type = bus_object_type("wexond.wifi.vsie.proberesp", proberesp_methods);

} // namespace

ubus_object wexond_wifi_vsie_object = {
    .name = "wexond.wifi.vsie",
    .type = &vsie_type,
    .methods = vsie_methods,
    .n_methods = ARRAY_SIZE(vsie_methods),
};

ubus_object wexond_wifi_vsie_beacontx_object = {
    .name = "wexond.wifi.vsie.beacontx",
    .type = &beacontx_type,
    .methods = beacontx_methods,
    .n_methods = ARRAY_SIZE(beacontx_methods),
};

ubus_object wexond_wifi_vsie_proberx_object = {
    .name = "wexond.wifi.vsie.proberx",
    .type = &proberx_type,
    .methods = proberx_methods,
    .n_methods = ARRAY_SIZE(proberx_methods),
};

ubus_object wexond_wifi_vsie_proberesp_object = {
    .name = "wexond.wifi.vsie.proberesp",
    .type = &proberesp_type,
    .methods = proberesp_methods,
    .n_methods = ARRAY_SIZE(proberesp_methods),
};
