// The IPTV VLANs with the ports and access points that carry them.

#include "checks.h"
#include "records.h"
#include "service.h"
#include "system/iptv_records.h"

static void describe(auto &&field, IptvVlan &vlan)
{
    field("vlan_id", vlan.vlan_id);
    field("ethernet_ports", vlan.ethernet_mask, BitSet{});
    field("2.4 GHz", vlan.wifi_2g_mask, BitSet{});
    field("5 GHz", vlan.wifi_5g_mask, BitSet{});
}

static void describe(auto &&field, IptvRecord &record)
{
    field("enable", record.enable, YesNo{});
    field("vlans", record.vlans);
}

namespace
{

// 0 is a VLAN that is not in use.
ReturnCode check_iptv(const IptvRecord &record)
{
    if (record.enable > 1)
        return kBadSwitch;
    for (const IptvVlan &vlan : record.vlans)
        if (vlan.vlan_id > 4094)
            return kBadVlan;
    return kOk;
}

Reply get_iptv(const Json &home)
{
    return to_record<IptvRecord>(home.at("iptv"));
}

Reply set_iptv(Json &home, const IptvRecord &record)
{
    store(home["iptv"], record);
    return kOk;
}

constexpr Row kRows[] = {
    {kGetIptv, "ORVC_GET_IPTV", serve<get_iptv>},
    {kSetIptv, "ORVC_SET_IPTV", serve<set_iptv, check_iptv>},
};
const Family family = {kRows};

} // namespace
