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

bool read_pppoe(Call &call, WanReadings &r)
{
    return r.status.work_mode != kPppoeConnection ||
           read(call, {kGetPppoe, "get waninfo", "Failed to get PPPoE\n"}, r.pppoe);
}

// The requests for the WAN port carry the answer's own record. A layout without a WAN port asks for port 0.
template <typename Record>
bool read_port(Call &call, const Reading &reading, const PortNumRecord &ports, Record &record)
{
    record.kind = kWanPortKind;
    record.port = ports.wan_ports[0];
    return read(call, reading, record, record);
}

bool read_ports(Call &call, WanReadings &r)
{
    return read(call, {kGetPortNum, "get wanindex", "Failed to get port index\n"}, PortNumRecord{}, r.ports) &&
           read_port(call, {kGetPortStatus, "get waninfo", "Failed to get port status\n"}, r.ports, r.port_status) &&
           read_port(call, {kGetPortRate, "get waninfo", "Failed to get port rate\n"}, r.ports, r.port_rate) &&
           read_port(call, {kGetPortTraffic, "get waninfo", "Failed to get port traffic\n"}, r.ports, r.port_traffic);
}

// The first failure ends the sequence. The readings begin as zero.
bool read_wan(Call &call, WanReadings &r)
{
    return read(call, {kGetWanStatus, "get waninfo", "Failed to get wanstatus\n"}, r.status) && read_pppoe(call, r) &&
           read(call, {kGetRunTime, "get waninfo", "Failed to get run time\n"}, r.run_time) && read_ports(call, r) &&
           read(call, {kGetIpv6Info, "get waninfo", "Failed to get IPv6 info\n"}, r.ipv6);
}

void add_ipv6_addresses(const Ipv6InfoRecord &ipv6)
{
    reply_text("ipaddr6", ipv6.address);
    reply_text("prefix6", ipv6.prefix);
    reply_word("prefixlen6", kPlainNumber, ipv6.prefix_length);
    reply_text("gateway6", ipv6.gateway);
    reply_text("dns61", ipv6.dns1);
    reply_text("dns62", ipv6.dns2);
}

void add_ipv6_link(const Ipv6InfoRecord &ipv6)
{
    reply_word("status6", kLinkState, ipv6.link);
}

void add_wan(const WanReadings &r)
{
    reply_text("ipaddr", r.status.address);
    reply_text("subnetmask", r.status.subnet_mask);
    reply_text("gateway", r.status.gateway);
    reply_text("dns1", r.status.dns1);
    reply_text("dns2", r.status.dns2);
    reply_word("status", kLinkState, r.status.link);
    reply_word("networktype", kConnectionType, r.status.work_mode);
    reply_text("pppoename", r.pppoe.name);
    reply_text("pppoepwd", r.pppoe.password);
    reply_int("onlinetime", r.run_time.online_time);
    reply_int("negorate", kRateUnit * r.port_status.rate);
    reply_word("duplexmode", kDuplex, r.port_status.duplex);
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

void set_pppoe(Call &call, const Arguments<3> &arguments)
{
    if (!arguments.has(PPPOENAME) || !arguments.has(PPPOEPWD)) {
        fail(call, "required parameter: %s or %s", "pppoename", "pppoepwd");
        return;
    }
    CALL_LOG(call, "pppoename:%s / pppoepwd:%s \n\n", arguments.text(PPPOENAME), arguments.text(PPPOEPWD));
    PppoeRecord record{};
    copy_text(record.name, arguments.text(PPPOENAME));
    copy_text(record.password, arguments.text(PPPOEPWD));
    record.value = kPppoeValue;
    if (!exchange(call, kSetPppoe, record, "set PPPoE"))
        CALL_LOG(call, "Failed to set PPPoE\n");
}

void set_dhcp(Call &call)
{
    if (!exchange(call, kSetDhcp, SetDhcpRecord{kDhcpValue}, "set DHCP"))
        CALL_LOG(call, "Failed to set DHCP\n");
}

int wexond_waninfo_set(Call &call)
{
    Arguments<3> arguments(waninfo_set_policy, call.message);
    if (arguments.require(call, 1)) {
        const char *network_type = arguments.text(NETWORKTYPE);
        CALL_LOG(call, "networktype:%s \n\n", network_type);
        // "STATIC" is read back by `get` but cannot be chosen here.
        if (strcmp(network_type, "PPPOE") == 0)
            set_pppoe(call, arguments);
        else if (strcmp(network_type, "DHCP") == 0)
            set_dhcp(call);
        else
            fail(call, "unrecognized parameter: networktype");
    }
    return send_for_set(call);
}

int wexond_waninfo_get(Call &call)
{
    WanReadings readings{};
    if (read_wan(call, readings)) {
        reply_start();
        void *table = reply_open_table("wexond.waninfo");
        add_wan(readings);
        reply_close(table);
    }
    return send_for_get(call);
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

int wexond_ipv6_set(Call &call)
{
    Arguments<1> arguments(ipv6_set_policy, call.message);
    int enable = parse_enable(arguments);
    if (enable < 0) {
        fail(call, "required parameter: %s", "enable");
        return send_for_set(call);
    }
    CALL_LOG(call, "IPv6Enable: %s \n\n", arguments.text(ENABLE));
    Ipv6EnableRecord record{};
    record.enable = enable;
    Answer<ReturnCode> answer(wexond_send_msg(kSetIpv6Enable, 0, &record, sizeof(record), sizeof(ReturnCode)));
    // Deliberate: a request that fails is only logged, the caller is told of success.
    if (!answer.check("set IPv6 enable"))
        CALL_LOG(call, "Failed to set IPv6Enable.\n");
    return send_for_set(call);
}

int wexond_ipv6_get(Call &call)
{
    if (Answer<Ipv6InfoRecord> answer = ask<Ipv6InfoRecord>(call, kGetIpv6Info, "get ipv6 info.")) {
        reply_start();
        void *table = reply_open_table("wexond.ipv6");
        reply_word("enable", kYesNo, answer->enable);
        add_ipv6_link(*answer);
        add_ipv6_addresses(*answer);
        reply_close(table);
    } else {
        CALL_LOG(call, "Failed to get ipv6 info.\n");
    }
    return send_for_get(call);
}

const ubus_method waninfo_methods[] = {
    UBUS_METHOD("set", SERVE(wexond_waninfo_set), waninfo_set_policy),
    UBUS_METHOD_NOARG("get", SERVE(wexond_waninfo_get)),
};

const ubus_method ipv6_methods[] = {
    UBUS_METHOD("set", SERVE(wexond_ipv6_set), ipv6_set_policy),
    UBUS_METHOD_NOARG("get", SERVE(wexond_ipv6_get)),
};

ubus_object_type waninfo_type = bus_object_type("wexond.waninfo", waninfo_methods);
ubus_object_type ipv6_type = bus_object_type("wexond.ipv6", ipv6_methods);

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
