// The mesh: this router as its controller, and two agents.

#include "checks.h"
#include "core/shared_records.h"
#include "records.h"
#include "service.h"
#include "wifi/mesh_records.h"

constexpr Name kModes[] = {{2, "controller"}, {3, "agent"}, {4, "off"}};
constexpr Name kLinks[] = {{0, "ethernet"}, {1, "2.4 GHz"}, {2, "5 GHz"}};
constexpr Name kAuthModes[] = {{0, "open"}, {5, "wpa2psk"}};
constexpr Name kEncryptions[] = {{0, "none"}, {3, "aes"}};

static void describe(auto &&field, MeshRecord &record)
{
    field("mode", record.mode, Names{kModes});
    field("al_mac", record.al_mac);
    field("online_time", record.online_time);
    field("status", record.status, YesNo{});
}

static void describe(auto &&field, MeshRoamingRecord &record)
{
    field("roaming", record.roaming, YesNo{});
}

static void describe(auto &&field, BackhaulBssRecord &record)
{
    field("ssid", record.ssid);
    field("key", record.key);
    field("auth", record.auth, Names{kAuthModes});
    field("encrypt", record.encrypt, Names{kEncryptions});
}

static void describe(auto &&field, TopologyMapEntry &entry)
{
    field("device_mac", entry.device_mac);
    field("topology_mac", entry.topology_mac);
}

static void describe(auto &&field, TopologyBss &bss)
{
    field("bssid", bss.bssid);
    field("ssid", bss.ssid);
}

static void describe(auto &&field, TopologyStation &station)
{
    field("link", station.link, Names{kLinks});
    field("bss_index", station.bss_index);
    field("mac", station.mac);
    field("seconds", station.seconds);
    field("up_rate", station.up_rate);
    field("down_rate", station.down_rate);
}

static void describe(auto &&field, TopologyRecord &record)
{
    field("backhaul_al_mac", record.backhaul_al_mac);
    field("backhaul_type", record.backhaul_type, Names{kLinks});
    field("up_rate", record.up_rate);
    field("down_rate", record.down_rate);
}

constexpr Name kMeshChanges[] = {{kChangeMeshMode, "mode"}};
constexpr Name kRoamingChanges[] = {{kChangeMeshRoaming, "roaming"}};

static void describe_message(auto &&field, MeshRecord &record)
{
    field("changes", record.change_mask, BitSet{kMeshChanges});
}

static void describe_message(auto &&field, MeshRoamingRecord &record)
{
    field("changes", record.change_mask, BitSet{kRoamingChanges});
}

static void describe_message(auto &&field, TopologyRecord &record)
{
    field("bss_2.4_GHz", record.band_2g.entries);
    field("bss_5_GHz", record.band_5g.entries);
    field("stations", record.stations.entries);
}

static void describe(auto &&field, TopologyRequest &record)
{
    field("mac", record.mac);
}

namespace
{

// Only a word that the daemon does not know switches the mesh off.
ReturnCode check_mesh(const MeshRecord &record)
{
    return (record.change_mask & kChangeMeshMode) && record.mode != 2 && record.mode != 3 ? kBadMode : kOk;
}

ReturnCode check_mesh_roaming(const MeshRoamingRecord &record)
{
    return check_switch(record.roaming);
}

Reply get_mesh(const Json &home)
{
    auto record = to_record<MeshRecord>(home.at("mesh"));
    record.online_time = static_cast<uint32_t>(record.online_time + seconds_up());
    return record;
}

Reply set_mesh(Json &home, const MeshRecord &request)
{
    if (request.change_mask & kChangeMeshMode)
        home["mesh"]["mode"] = Names{kModes}.encode(request.mode);
    return kOk;
}

Reply get_mesh_roaming(const Json &home)
{
    return to_record<MeshRoamingRecord>(home.at("mesh"));
}

Reply set_mesh_roaming(Json &home, const MeshRoamingRecord &request)
{
    if (request.change_mask & kChangeMeshRoaming)
        store(home["mesh"], request);
    return kOk;
}

Reply get_backhaul_bss(const Json &home)
{
    return to_record<BackhaulBssRecord>(home.at("mesh").at("backhaul_bss"));
}

Reply get_topology_map(const Json &home)
{
    return to_list<TopologyMap>(home.at("mesh").at("map"));
}

// The node that the request names in the topology, or this one where it names none.
Reply get_topology(const Json &home, const TopologyRequest &request)
{
    std::string mac = read_text(request.mac).data;
    for (const Json &node : home.at("mesh").at("nodes")) {
        if (!mac.empty() && node.at("topology_mac") != mac)
            continue;
        auto record = to_record<TopologyRecord>(node);
        record.band_2g = to_list<TopologyBand>(node.at("bss_2.4_GHz"));
        record.band_5g = to_list<TopologyBand>(node.at("bss_5_GHz"));
        record.stations = to_list<TopologyStations>(node.at("stations"));
        return record;
    }
    return kNotFound;
}

constexpr Row kRows[] = {
    {kSetMesh, "ORVC_SET_MESH", serve<set_mesh, check_mesh>},
    {kGetMesh, "ORVC_GET_MESH", serve<get_mesh>},
    {kGetBackhaulBss, "ORVC_GET_MESHBACKHAULBSS", serve<get_backhaul_bss>},
    {kGetTopology, "ORVC_GET_MESHTOPO", serve<get_topology>},
    {kGetTopologyMap, "ORVC_GET_MESHTOPOAPMAP", serve<get_topology_map>},
    {kSetMeshRoaming, "ORVC_SET_MESHROAMING", serve<set_mesh_roaming, check_mesh_roaming>},
    {kGetMeshRoaming, "ORVC_GET_MESHROAMING", serve<get_mesh_roaming>},
};
const Family family = {kRows};

} // namespace
