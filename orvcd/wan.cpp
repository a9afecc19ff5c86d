// The WAN side: how the router reaches the internet, which is also its work mode.

#include "core/shared_records.h"
#include "records.h"
#include "service.h"
#include "system/device_info_records.h"

static constexpr Name kModes[] = {{1, "dhcp"}, {2, "pppoe"}, {3, "static"}, {4, "bridge"}, {5, "repeater"}};
static constexpr Name kLinks[] = {{0, "down"}, {1, "up"}};

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

static Reply get_wan_status(const Json &home)
{
    return to_record<WanStatusRecord>(home.at("wan"));
}

static Reply set_dhcp(Json &home, const SetDhcpRecord &)
{
    home["wan"]["mode"] = "dhcp";
    return kOk;
}

static Reply set_bridge(Json &home, const SetBridgeRecord &record)
{
    home["wan"]["mode"] = record.enable == 1 ? "bridge" : "dhcp";
    return kOk;
}

static constexpr Row rows[] = {
    {kGetWanStatus, "ORVC_GET_WANSTATUS", serve<get_wan_status>},
    {kSetDhcp, "ORVC_SET_DHCP", serve<set_dhcp>},
    {kSetBridge, "ORVC_SET_BRIDGE", serve<set_bridge>},
};
const Family kWanFamily = rows;
