// The WAN side: how the router reaches the internet, which is also its work mode, and how that goes.

#include "checks.h"
#include "core/shared_records.h"
#include "events.h"
#include "records.h"
#include "service.h"
#include "system/device_info_records.h"
#include "system/wan_info_records.h"

using namespace std::chrono_literals;

constexpr Name kModes[] = {{1, "dhcp"}, {2, "pppoe"}, {3, "static"}, {4, "bridge"}, {5, "repeater"}};
constexpr Name kLinks[] = {{0, "down"}, {1, "up"}};
constexpr Name kWanStates[] = {{1, "up"}, {2, "down"}, {3, "address"}};
constexpr Name kDuplexes[] = {{1, "full"}, {2, "half"}, {3, "auto"}};

static void describe(auto &&field, WanStatusRecord &record)
{
    field("mode", record.work_mode, Names{kModes});
    field("link", record.link, Names{kLinks});
    field("address", record.address);
    field("subnet_mask", record.subnet_mask);
    field("gateway", record.gateway);
    field("dns1", record.dns1);
    field("dns2", record.dns2);
}

static void describe(auto &&field, PppoeRecord &record)
{
    field("name", record.name);
    field("password", record.password);
}

static void describe(auto &&field, RunTimeRecord &record)
{
    field("online_time", record.online_time);
}

static void describe(auto &&field, PortStatusRecord &record)
{
    field("duplex", record.duplex, Names{kDuplexes});
    field("rate", record.rate);
}

static void describe(auto &&field, PortRateRecord &record)
{
    field("download", record.download);
    field("upload", record.upload);
}

static void describe(auto &&field, Ipv6InfoRecord &record)
{
    field("enable", record.enable, YesNo{});
    field("link", record.link, Names{kLinks});
    field("address", record.address);
    field("prefix", record.prefix);
    field("prefix_length", record.prefix_length);
    field("gateway", record.gateway);
    field("dns1", record.dns1);
    field("dns2", record.dns2);
}

static void describe(auto &&field, SetDhcpRecord &record)
{
    field("value", record.value);
}

static void describe(auto &&field, SetBridgeRecord &record)
{
    field("enable", record.enable, YesNo{});
}

static void describe(auto &&field, Ipv6EnableRecord &record)
{
    field("enable", record.enable, YesNo{});
}

namespace
{

// Which port a message is about.
void describe_port(auto &&field, auto &record)
{
    field("kind", record.kind);
    field("port", record.port);
}

} // namespace

static void describe_message(auto &&field, PortStatusRecord &record)
{
    describe_port(field, record);
}

static void describe_message(auto &&field, PortRateRecord &record)
{
    describe_port(field, record);
}

static void describe(auto &&field, WanUpDownEvent &event)
{
    field("state", event.state, Names{kWanStates});
    field("address", event.address);
}

static void describe(auto &&field, WanIpChangeEvent &event)
{
    field("link", event.status, Names{kLinks});
    field("address", event.address);
}

namespace
{

ReturnCode check_bridge(const SetBridgeRecord &record)
{
    return check_switch(record.enable);
}

ReturnCode check_pppoe(const PppoeRecord &record)
{
    return text_of(record.name).empty() ? kBadName : kOk;
}

ReturnCode check_ipv6_enable(const Ipv6EnableRecord &record)
{
    return check_switch(record.enable);
}

Reply get_wan_status(const Json &home)
{
    return to_record<WanStatusRecord>(home.at("wan"));
}

// Tells the daemon of the link as it is now.
void announce_link(const Json &home)
{
    auto status = to_record<WanStatusRecord>(home.at("wan"));
    WanUpDownEvent event{};
    event.state = status.link == 1 ? 1 : 2;
    memcpy(event.address, status.address, sizeof(event.address));
    announce(kEventWanUpDown, event);
}

void announce_address(const Json &home)
{
    auto status = to_record<WanStatusRecord>(home.at("wan"));
    WanIpChangeEvent event{};
    event.status = status.link;
    memcpy(event.address, status.address, sizeof(event.address));
    announce(kEventWanIpChange, event);
}

// The link goes down at once and comes back a moment later, with the address that the new connection gives.
void reconnect(Json &home, const char *mode, const char *address)
{
    home["wan"]["mode"] = mode;
    home["wan"]["link"] = "down";
    announce_link(home);
    later(1500ms, [mode = std::string(mode), address = std::string(address)](Json &home) {
        if (home["wan"]["mode"] != mode || home["wan"]["link"] != "down")
            return; // something else was asked for since
        bool is_new = home["wan"]["address"] != address;
        home["wan"]["link"] = "up";
        home["wan"]["address"] = address;
        announce_link(home);
        if (is_new)
            announce_address(home);
    });
}

Reply set_dhcp(Json &home, const SetDhcpRecord &)
{
    reconnect(home, "dhcp", "203.0.113.24");
    return kOk;
}

Reply set_bridge(Json &home, const SetBridgeRecord &record)
{
    home["wan"]["mode"] = record.enable == 1 ? "bridge" : "dhcp";
    return kOk;
}

Reply get_pppoe(const Json &home)
{
    return to_record<PppoeRecord>(home.at("pppoe"));
}

Reply set_pppoe(Json &home, const PppoeRecord &record)
{
    store(home["pppoe"], record);
    reconnect(home, "pppoe", "198.51.100.77");
    return kOk;
}

Reply get_run_time(const Json &home)
{
    auto record = to_record<RunTimeRecord>(home.at("wan"));
    record.online_time = static_cast<uint32_t>(record.online_time + seconds_up());
    return record;
}

// The answer to a request for the WAN port keeps the request's first two words.
template <typename Record> Reply port_record(const Json &home, const Record &request)
{
    auto record = to_record<Record>(home.at("wan_port"));
    record.kind = request.kind;
    record.port = request.port;
    return record;
}

Reply get_port_status(const Json &home, const PortStatusRecord &request)
{
    return port_record(home, request);
}

Reply get_port_rate(const Json &home, const PortRateRecord &request)
{
    return port_record(home, request);
}

Reply get_ipv6_info(const Json &home)
{
    return to_record<Ipv6InfoRecord>(home.at("ipv6"));
}

Reply set_ipv6_enable(Json &home, const Ipv6EnableRecord &record)
{
    home["ipv6"]["enable"] = record.enable == 1;
    home["ipv6"]["link"] = record.enable == 1 ? "up" : "down";
    return kOk;
}

constexpr Event kFamilyEvents[] = {
    event_of<WanIpChangeEvent>("wan-address", kEventWanIpChange, R"({"link": "up", "address": "203.0.113.25"})"),
    event_of<WanUpDownEvent>("wan-link", kEventWanUpDown, R"({"state": "up", "address": "203.0.113.24"})"),
};

constexpr Row kRows[] = {
    {kGetRunTime, "ORVC_GET_RUNTIME", serve<get_run_time>},
    {kGetWanStatus, "ORVC_GET_WANSTATUS", serve<get_wan_status>},
    {kSetIpv6Enable, "ORVC_SET_IPV6ENABLE", serve<set_ipv6_enable, check_ipv6_enable>},
    {kGetIpv6Info, "ORVC_GET_IPV6INFO", serve<get_ipv6_info>},
    {kSetDhcp, "ORVC_SET_DHCP", serve<set_dhcp>},
    {kGetPppoe, "ORVC_GET_PPPOE", serve<get_pppoe>},
    {kSetPppoe, "ORVC_SET_PPPOE", serve<set_pppoe, check_pppoe>},
    {kSetBridge, "ORVC_SET_BRIDGE", serve<set_bridge, check_bridge>},
    {kGetPortStatus, "ORVC_GET_PORTSTATUS", serve<get_port_status>},
    {kGetPortRate, "ORVC_GET_PORTRATE", serve<get_port_rate>},
};
const Family family = {kRows, kFamilyEvents};

} // namespace
