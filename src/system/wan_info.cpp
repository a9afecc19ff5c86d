// wexond.waninfo and wexond.ipv6: how the router reaches the internet, and how that goes. Link and counters are those
// of the first WAN port of the port layout.

#include "system/wan_info_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"
#include "core/shared_records.h"
#include "core/vocabulary.h"

namespace
{

enum { NETWORKTYPE, PPPOENAME, PPPOEPWD };

const blobmsg_policy waninfo_set_policy[] = {
    {.name = "networktype", .type = BLOBMSG_TYPE_STRING},
    {.name = "pppoename", .type = BLOBMSG_TYPE_STRING},
    {.name = "pppoepwd", .type = BLOBMSG_TYPE_STRING},
};

enum { ENABLE };

const blobmsg_policy ipv6_set_policy[] = {
    {.name = "enable", .type = BLOBMSG_TYPE_STRING},
};

constexpr uint32_t kPppoeConnection = 2; // of the connection type vocabulary
constexpr uint32_t kRateUnit = 1000;     // the service counts the negotiated rate in thousands

struct WanReadings {
    WanStatusRecord status;
    PppoeRecord pppoe; // zero unless the connection is PPPoE
    RunTimeRecord run_time;
    PortNumRecord ports;
    PortStatusRecord port_status;
    PortRateRecord port_rate;
    PortTrafficRecord port_traffic;
    Ipv6InfoRecord ipv6;
};

// A checked answer copied into its record; a failure is logged under the reading handler's name.
template <typename Record>
bool take(Answer<Record> answer, Record &record, const char *action, const char *failure, Status *status)
{
    if (!answer.check(action, status)) {
        WEXOND_LOG_AS("wexond_waninfo_get", "%s", failure);
        return false;
    }
    record = *answer;
    return true;
}

// The requests for the WAN port carry the answer's own record. A layout without a WAN port asks for port 0.
template <typename Record> Answer<Record> ask_port(uint32_t type, const PortNumRecord &ports)
{
    Record request{};
    request.kind = kWanPortKind;
    request.port = ports.wan_ports[0];
    return ask<Record>(type, request);
}

bool read_pppoe(WanReadings &r, Status *status)
{
    return r.status.work_mode != kPppoeConnection ||
           take(ask<PppoeRecord>(kGetPppoe), r.pppoe, "get waninfo", "Failed to get PPPoE\n", status);
}

bool read_port(WanReadings &r, Status *status)
{
    return take(ask<PortNumRecord>(kGetPortNum, PortNumRecord{}), r.ports, "get wanindex", "Failed to get port index\n",
                status) &&
           take(ask_port<PortStatusRecord>(kGetPortStatus, r.ports), r.port_status, "get waninfo",
                "Failed to get port status\n", status) &&
           take(ask_port<PortRateRecord>(kGetPortRate, r.ports), r.port_rate, "get waninfo",
                "Failed to get port rate\n", status) &&
           take(ask_port<PortTrafficRecord>(kGetPortTraffic, r.ports), r.port_traffic, "get waninfo",
                "Failed to get port traffic\n", status);
}

// The first failure ends the sequence.
bool read_wan(WanReadings &r, Status *status)
{
    return take(ask<WanStatusRecord>(kGetWanStatus), r.status, "get waninfo", "Failed to get wanstatus\n", status) &&
           read_pppoe(r, status) &&
           take(ask<RunTimeRecord>(kGetRunTime), r.run_time, "get waninfo", "Failed to get run time\n", status) &&
           read_port(r, status) &&
           take(ask<Ipv6InfoRecord>(kGetIpv6Info), r.ipv6, "get waninfo", "Failed to get IPv6 info\n", status);
}

void add_ipv6_addresses(const Ipv6InfoRecord &ipv6)
{
    reply_text("ipaddr6", ipv6.address);
    reply_text("prefix6", ipv6.prefix);
    reply_string("prefixlen6", wexond_code_to_str(kPlainNumber, ipv6.prefix_length));
    reply_text("gateway6", ipv6.gateway);
    reply_text("dns61", ipv6.dns1);
    reply_text("dns62", ipv6.dns2);
}

void add_ipv6_link(const Ipv6InfoRecord &ipv6)
{
    reply_string("status6", wexond_code_to_str(kLinkState, ipv6.link));
}

void add_wan(const WanReadings &r)
{
    reply_text("ipaddr", r.status.address);
    reply_text("subnetmask", r.status.subnet_mask);
    reply_text("gateway", r.status.gateway);
    reply_text("dns1", r.status.dns1);
    reply_text("dns2", r.status.dns2);
    reply_string("status", wexond_code_to_str(kLinkState, r.status.link));
    reply_string("networktype", wexond_code_to_str(kConnectionType, r.status.work_mode));
    reply_text("pppoename", r.pppoe.name);
    reply_text("pppoepwd", r.pppoe.password);
    reply_int("onlinetime", r.run_time.online_time);
    reply_int("negorate", kRateUnit * r.port_status.rate);
    reply_string("duplexmode", wexond_code_to_str(kDuplex, r.port_status.duplex));
    reply_counter("downloadspeed", r.port_rate.download);
    reply_counter("uploadspeed", r.port_rate.upload);
    reply_counter("bytessent", r.port_traffic.bytes_sent);
    reply_counter("bytesreceived", r.port_traffic.bytes_received);
    reply_counter("packetssent", r.port_traffic.packets_sent);
    reply_counter("packetsreceived", r.port_traffic.packets_received);
    // Deliberate: a number, unlike the other counters.
    reply_int64("crcerror", r.port_traffic.crc_errors);
    add_ipv6_addresses(r.ipv6);
    add_ipv6_link(r.ipv6);
}

constexpr const char *kSetHandler = "wexond_waninfo_set";

void set_pppoe(const Arguments<3> &arguments, Status *status)
{
    if (!arguments.has(PPPOENAME) || !arguments.has(PPPOEPWD)) {
        wexond_fail(status, "required parameter: %s or %s", "pppoename", "pppoepwd");
        return;
    }
    WEXOND_LOG_AS(kSetHandler, "pppoename:%s / pppoepwd:%s \n\n", arguments.text(PPPOENAME), arguments.text(PPPOEPWD));
    PppoeRecord record{};
    copy_text(record.name, arguments.text(PPPOENAME));
    copy_text(record.password, arguments.text(PPPOEPWD));
    record.value = kPppoeValue;
    if (!exchange(kSetPppoe, record, "set PPPoE", status))
        WEXOND_LOG_AS(kSetHandler, "Failed to set PPPoE\n");
}

void set_dhcp(Status *status)
{
    if (!exchange(kSetDhcp, SetDhcpRecord{kDhcpValue}, "set DHCP", status))
        WEXOND_LOG_AS(kSetHandler, "Failed to set DHCP\n");
}

int wexond_waninfo_set(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                       blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<3> arguments(waninfo_set_policy, message);
    if (arguments.require(&call.status, 1)) {
        const char *network_type = arguments.text(NETWORKTYPE);
        WEXOND_LOG("networktype:%s \n\n", network_type);
        // "STATIC" is read back by `get` but cannot be chosen here.
        if (strcmp(network_type, "PPPOE") == 0)
            set_pppoe(arguments, &call.status);
        else if (strcmp(network_type, "DHCP") == 0)
            set_dhcp(&call.status);
        else
            wexond_fail(&call.status, "unrecognized parameter: networktype");
    }
    return wexond_send_for_set(request, &call.status);
}

int wexond_waninfo_get(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *)
{
    Call call(object, method, __func__);
    WanReadings readings{};
    if (read_wan(readings, &call.status)) {
        reply_start();
        void *table = reply_open_table("wexond.waninfo");
        add_wan(readings);
        reply_close(table);
    }
    return wexond_send_for_get(request, &call.status);
}

// 1, 0, or -1 for an argument that is missing or neither "yes" nor "no".
int parse_enable(const Arguments<1> &arguments)
{
    if (!arguments.has(ENABLE))
        return -1;
    if (strcmp(arguments.text(ENABLE), "yes") == 0)
        return 1;
    return strcmp(arguments.text(ENABLE), "no") == 0 ? 0 : -1;
}

int wexond_ipv6_set(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                    blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<1> arguments(ipv6_set_policy, message);
    int enable = parse_enable(arguments);
    if (enable < 0) {
        wexond_fail(&call.status, "required parameter: %s", "enable");
        return wexond_send_for_set(request, &call.status);
    }
    WEXOND_LOG("IPv6Enable: %s \n\n", arguments.text(ENABLE));
    Ipv6EnableRecord record{};
    record.enable = enable;
    Answer<ReturnCode> answer(wexond_send_msg(kSetIpv6Enable, 0, &record, sizeof(record), sizeof(ReturnCode)));
    // Deliberate: a request that fails is only logged, the caller is told of success.
    if (!answer.check("set IPv6 enable", nullptr))
        WEXOND_LOG("Failed to set IPv6Enable.\n");
    return wexond_send_for_set(request, &call.status);
}

int wexond_ipv6_get(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *)
{
    Call call(object, method, __func__);
    Answer<Ipv6InfoRecord> answer = ask<Ipv6InfoRecord>(kGetIpv6Info);
    if (answer.check("get ipv6 info.", &call.status)) {
        reply_start();
        void *table = reply_open_table("wexond.ipv6");
        reply_string("enable", wexond_code_to_str(kYesNo, answer->enable));
        add_ipv6_link(*answer);
        add_ipv6_addresses(*answer);
        reply_close(table);
    } else {
        WEXOND_LOG("Failed to get ipv6 info.\n");
    }
    return wexond_send_for_get(request, &call.status);
}

const ubus_method waninfo_methods[] = {
    UBUS_METHOD("set", wexond_waninfo_set, waninfo_set_policy),
    UBUS_METHOD_NOARG("get", wexond_waninfo_get),
};

const ubus_method ipv6_methods[] = {
    UBUS_METHOD("set", wexond_ipv6_set, ipv6_set_policy),
    UBUS_METHOD_NOARG("get", wexond_ipv6_get),
};

ubus_object_type waninfo_type = UBUS_OBJECT_TYPE("wexond.waninfo", waninfo_methods);
ubus_object_type ipv6_type = UBUS_OBJECT_TYPE("wexond.ipv6", ipv6_methods);

} // namespace

ubus_object wexond_waninfo_object = {
    .name = "wexond.waninfo",
    .type = &waninfo_type,
    .methods = waninfo_methods,
    .n_methods = ARRAY_SIZE(waninfo_methods),
};

ubus_object wexond_ipv6_object = {
    .name = "wexond.ipv6",
    .type = &ipv6_type,
    .methods = ipv6_methods,
    .n_methods = ARRAY_SIZE(ipv6_methods),
};
