// wexond.devinfo and wexond.devinfo.ext: what the device is and can. The daemon holds none of it: each `get` collects
// the facts afresh, by a fixed sequence of requests.

#include "system/device_info_records.h"

#include <cstdio>

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"
#include "core/shared_records.h"
#include "core/vocabulary.h"

namespace
{

enum { WORKMODE };

const blobmsg_policy set_policy[] = {
    {.name = "workmode", .type = BLOBMSG_TYPE_STRING},
};

// Codes of the work mode vocabulary.
constexpr uint32_t kRouter = 1;
constexpr uint32_t kBridge = 4;
constexpr uint32_t kRepeater = 5;

// The records that `get` of wexond.devinfo reads after the hardware information.
struct DeviceRecords {
    FwInfoRecord firmware;
    ManageInfoRecord management;
    FuncSupportRecord functions;
    OpvmBasicInfoRecord operator_info;
    ManuInfoRecord manufacture;
    PortNumRecord ports;
    UplinkSupportRecord uplink;
    WanStatusRecord wan;
};

// Deliberate: only a missing answer stops the sequence, a return code is not looked at.
bool read_records(Call &call, DeviceRecords &records)
{
    return read(call, {kGetFwInfo, nullptr, "Failed to get fwinfo\n"}, records.firmware) &&
           read(call, {kGetManageInfo, nullptr, "Failed to get manage info\n"}, records.management) &&
           read(call, {kGetFuncSupport, nullptr, "Failed to func support\n"}, records.functions) &&
           read(call, {kGetOpvmBasicInfo, nullptr, "Failed to opvm basic info\n"}, records.operator_info) &&
           read(call, {kGetManuInfo, nullptr, "Failed to manu info\n"}, records.manufacture) &&
           read(call, {kGetPortNum, nullptr, "Failed to port num\n"}, records.ports) &&
           read(call, {kGetUplinkSupport, nullptr, "Failed to uplink support\n"}, records.uplink) &&
           read(call, {kGetWanStatus, nullptr, "Failed to get wan status\n"}, records.wan);
}

// Port numbers are words of the layout record from `first` on; 0 is no port. Deliberate: a count above the slots of its
// list runs on through the words that follow, to the record's end.
void add_ports(const char *key, const PortNumRecord &ports, size_t first, uint32_t count)
{
    const auto *words = reinterpret_cast<const le32 *>(&ports);
    size_t end = std::min<uint64_t>(first + uint64_t{count}, sizeof(ports) / sizeof(le32));
    void *array = reply_open_array(key);
    for (size_t word = first; word < end; word++)
        if (words[word] != 0)
            reply_int("", words[word]);
    reply_close(array);
}

// The service leaves the last twelve digits of some serial numbers, the MAC address, to be added.
void add_serial_number(const OpvmBasicInfoRecord &info, const char *compact_mac)
{
    constexpr size_t kShortened = 22;
    auto serial = read_text(info.serial_number);
    char text[128];
    snprintf(text, sizeof(text), "%s%s", serial.data, strlen(serial.data) == kShortened ? compact_mac : "");
    reply_string("sn", text);
}

uint32_t mesh_kind(const FuncSupportRecord &functions)
{
    if (functions.mesh1 == 1)
        return 1;
    return functions.mesh2 == 1 ? 2 : 0;
}

void add_device(const HwInfoRecord &hardware, const DeviceRecords &records)
{
    auto mac = read_text(records.manufacture.mac);
    wexond_mac_compact(mac.data);
    bool any_mode = records.uplink.words[0] == 1 && records.uplink.words[3] == 1;

    reply_text("vendor", hardware.vendor);
    reply_text("model", hardware.model);
    reply_text("hdversion", hardware.hardware_version);
    reply_text("url", hardware.url);
    reply_text("description", hardware.description);
    reply_string("devtype", "AP");
    reply_text("swversion", records.firmware.software_version);
    reply_text("ipaddr", records.management.address);
    reply_word("vpn", kYesNo, records.functions.vpn);
    reply_word("usb", kYesNo, records.functions.usb);
    reply_word("dualband", kYesNo, records.functions.dual_band);
    reply_int("mesh", mesh_kind(records.functions));
    reply_text("vunq", records.operator_info.equipment_id);
    reply_text("ifversion", records.operator_info.interface_version);
    reply_string("mac", mac.data);
    add_serial_number(records.operator_info, mac.data);
    add_ports("lanports", records.ports, 1, records.ports.lan_count);
    add_ports("wanports", records.ports, 10, records.ports.wan_count);
    reply_string("suggestworkmode", any_mode ? "any" : "router");
    reply_word("workmode", kWorkMode, records.wan.work_mode);
    reply_string("wireless", records.wan.work_mode == kRepeater ? "yes" : "no");
    reply_string("triband", "no");
}

int wexond_devinfo_set(Call &call)
{
    Arguments<1> arguments(set_policy, call.message);
    if (arguments.require(call)) {
        const char *mode = arguments.text(WORKMODE);
        CALL_LOG(call, "workmode:%s \n\n", mode);
        // Deliberate: a mode that is no word of the vocabulary changes nothing and is reported as a success.
        switch (wexond_str_to_code(kWorkMode, mode)) {
        case kRouter:
            exchange(call, kSetDhcp, SetDhcpRecord{kDhcpValue}, "set devinfo");
            break;
        case kBridge:
            exchange(call, kSetBridge, SetBridgeRecord{1}, "set devinfo");
            break;
        case kRepeater:
            // Deliberate: the vocabulary knows the repeater, this method refuses it.
            CALL_LOG(call, "Repeater is not support\n");
            fail(call, "unrecognized parameter: workmode");
            break;
        }
    }
    return send_for_set(call);
}

int wexond_devinfo_get(Call &call)
{
    reply_start();
    void *table = reply_open_table("wexond.devinfo");
    Answer<HwInfoRecord> hardware = ask<HwInfoRecord>(call, kGetHwInfo, "get devinfo");
    DeviceRecords records;
    if (!hardware) {
        CALL_LOG(call, "Failed to get hwinfo\n");
    } else if (read_records(call, records)) {
        add_device(*hardware, records);
        reply_close(table);
    }
    // Deliberate: after a later request without an answer the table stays open, and the reply decodes to no key at all.
    return send_for_get(call);
}

// The standards that either radio offers, joined by "/", in the order in which agents know them.
struct Standard {
    uint32_t bit;
    const char *name;
};

const Standard standards[] = {{4, "11a"}, {1, "11b"}, {2, "11g"}, {8, "11n"}, {16, "11ac"}, {32, "11ax"}};

void add_wifi_standards(uint32_t offered)
{
    char text[64] = "";
    size_t length = 0;
    for (const Standard &standard : standards)
        if (offered & standard.bit)
            length += snprintf(text + length, sizeof(text) - length, "%s%s", length ? "/" : "", standard.name);
    reply_string("wifispec", text);
}

// The service counts rates in thousands.
constexpr uint32_t kRateUnit = 1000;

int wexond_devinfoext_get(Call &call)
{
    if (Answer<HwInfoRecord> hardware = ask<HwInfoRecord>(call, kGetHwInfo, "get devinfo")) {
        reply_start();
        void *table = reply_open_table("wexond.devinfo.ext");
        add_wifi_standards(hardware->standards1 | hardware->standards2);
        reply_int("wanmaxrate", kRateUnit * hardware->wan_rate);
        reply_int("wifimaxrate", kRateUnit * (hardware->wifi_rate1 + hardware->wifi_rate2));
        void *array = reply_open_array("lanmaxrate");
        for (const le32 &rate : hardware->lan_rates)
            reply_int("", kRateUnit * rate);
        reply_close(array);
        reply_close(table);
    } else {
        CALL_LOG(call, "Failed to get hwinfo\n");
    }
    return send_for_get(call);
}

const ubus_method methods[] = {
    UBUS_METHOD("set", SERVE(wexond_devinfo_set), set_policy),
    UBUS_METHOD_NOARG("get", SERVE(wexond_devinfo_get)),
};

const ubus_method ext_methods[] = {
    UBUS_METHOD_NOARG("get", SERVE(wexond_devinfoext_get)),
};

ubus_object_type type = bus_object_type("wexond.devinfo", methods);
ubus_object_type ext_type = bus_object_type("wexond.devinfo.ext", ext_methods);

} // namespace

ubus_object wexond_devinfo_object = {
    .name = "wexond.devinfo",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};

ubus_object wexond_devinfo_ext_object = {
    .name = "wexond.devinfo.ext",
    .type = &ext_type,
    .methods = ext_methods,
    .n_methods = ARRAY_SIZE(ext_methods),
};
