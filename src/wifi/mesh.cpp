// wexond.wifi.mesh: the router's place in a mesh of access points. Its mode and roaming, the network that mesh nodes
// use among themselves, and what hangs on this node.

#include "wifi/mesh_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"
#include "core/shared_records.h"
#include "core/vocabulary.h"

namespace
{

enum { MODE, ROAMING };

const blobmsg_policy set_policy[] = {
    {.name = "mode", .type = BLOBMSG_TYPE_STRING},
    {.name = "roaming", .type = BLOBMSG_TYPE_STRING},
};

// Links of a station in the topology.
constexpr uint32_t kLinkEthernet = 0;
constexpr uint32_t kLink2g = 1;
constexpr uint32_t kLink5g = 2;

// The networks of the backhaul, left out of the topology by name, whatever their band.
constexpr const char *kBackhaulSsids[] = {"KVQ-EasyMesh-5G", "KVQ-EasyMesh-2G"};

int wexond_mesh_set(Call &call)
{
    Arguments<2> arguments(set_policy, call.message);
    if (arguments.require(call)) {
        CALL_LOG(call, "mode:%s\n", arguments.text(MODE));
        MeshRecord mesh{};
        mesh.mode = wexond_str_to_code(kMeshMode, arguments.text(MODE));
        mesh.change_mask = kChangeMeshMode;
        CALL_LOG(call, "roaming:%s\n", arguments.text(ROAMING));
        MeshRoamingRecord roaming{};
        roaming.roaming = wexond_str_to_code(kYesNo, arguments.text(ROAMING));
        roaming.change_mask = kChangeMeshRoaming;
        if (!accepts(kSetMesh, mesh))
            fail(call, "failed to set wifi mesh");
        else if (!accepts(kSetMeshRoaming, roaming))
            fail(call, "failed to set wifi meshroaming");
    }
    return send_for_set(call);
}

// The first failure ends the reading.
bool read_mesh(Call &call, MeshRecord &mesh, MeshRoamingRecord &roaming)
{
    return read(call, {kGetMesh, "get wifi mesh", "failed to get wifi mesh\n"}, mesh) &&
           read(call, {kGetMeshRoaming, "get wifi mesh roaming", "failed to get wifi mesh roaming\n"}, roaming);
}

int wexond_mesh_get(Call &call)
{
    MeshRecord mesh;
    MeshRoamingRecord roaming;
    if (read_mesh(call, mesh, roaming)) {
        auto al_mac = read_text(mesh.al_mac);
        wexond_mac_compact(al_mac.data);
        reply_start();
        void *table = reply_open_table("wexond.wifi.mesh");
        // Deliberate: the mode is read with another vocabulary than it is written with.
        reply_word("mode", kMeshRole, mesh.mode);
        reply_string("almac", al_mac.data);
        reply_int("onlinetime", mesh.online_time);
        reply_word("roaming", kYesNo, roaming.roaming);
        reply_word("status", kYesNo, mesh.status);
        reply_close(table);
    }
    return send_for_get(call);
}

int wexond_mesh_backhaulbss(Call &call)
{
    Answer<BackhaulBssRecord> answer = ask<BackhaulBssRecord>(kGetBackhaulBss);
    if (answer.accepted()) {
        reply_start();
        reply_text("ssid", answer->ssid);
        reply_text("key", answer->key);
        reply_word("auth", kAuth, answer->auth);
        reply_word("encrypt", kEncrypt, answer->encrypt);
    } else {
        fail(call, "failed to get wifi mesh backhaulbss");
    }
    return send_for_get(call);
}

// --- Topology ---

// The name of this device in the topology: the last map entry of its own MAC address gives it. No entry, or no map,
// leaves the request's text empty.
TopologyRequest find_self(Call &call, const ManuInfoRecord &self)
{
    TopologyRequest request{};
    Answer<TopologyMap> map = ask<TopologyMap>(call, kGetTopologyMap, "get MeshTopoApMap.");
    if (!map) {
        CALL_LOG(call, "Failed to get MeshTopoApMap.\n");
        return request;
    }
    CALL_LOG(call, "get topo ap map succ!\n");
    for (size_t i = 0; i < entry_count(*map); i++) {
        const TopologyMapEntry &entry = map->entries[i];
        CALL_LOG(call, "manu mac = %s, topodev mac=%s\n", read_text(self.mac).data, read_text(entry.topology_mac).data);
        if (strncmp(entry.device_mac, self.mac, sizeof(entry.device_mac)) == 0)
            copy_text(request.mac, entry.topology_mac, sizeof(request.mac) - 1);
    }
    return request;
}

void add_topology_station(const TopologyStation &station)
{
    void *table = reply_open_table("");
    reply_text("mac", station.mac);
    reply_int("seconds", station.seconds);
    reply_int("uprate", station.up_rate);
    reply_int("downrate", station.down_rate);
    reply_close(table);
}

bool is_backhaul(const TopologyBss &bss)
{
    for (const char *ssid : kBackhaulSsids)
        if (strcmp(read_text(bss.ssid).data, ssid) == 0)
            return true;
    return false;
}

void add_bss(const TopologyBss &bss, uint32_t position, uint32_t link, const TopologyStations &stations)
{
    void *table = reply_open_table("");
    reply_text("bssid", bss.bssid);
    reply_text("ssid", bss.ssid);
    void *array = reply_open_array("sta");
    for (size_t i = 0; i < entry_count(stations); i++)
        if (stations.entries[i].link == link && stations.entries[i].bss_index == position)
            add_topology_station(stations.entries[i]);
    reply_close(array);
    reply_close(table);
}

// Networks keep their positions, by which stations name them, when backhaul networks are left out.
void add_topology_band(const char *key, const TopologyBand &band, uint32_t link, const TopologyStations &stations)
{
    void *array = reply_open_array(key);
    for (size_t i = 0; i < entry_count(band); i++)
        if (!is_backhaul(band.entries[i]))
            add_bss(band.entries[i], i, link, stations);
    reply_close(array);
}

void add_topology(const TopologyRecord &topology)
{
    void *table = reply_open_table("bhinfo");
    reply_word("type", kLinkMedium, topology.backhaul_type);
    reply_text("bhalmac", topology.backhaul_al_mac);
    reply_int("uprate", topology.up_rate);
    reply_int("downrate", topology.down_rate);
    add_topology_band("2.4G", topology.band_2g, kLink2g, topology.stations);
    add_topology_band("5G", topology.band_5g, kLink5g, topology.stations);
    void *array = reply_open_array("eth");
    for (size_t i = 0; i < entry_count(topology.stations); i++)
        if (topology.stations.entries[i].link == kLinkEthernet)
            add_topology_station(topology.stations.entries[i]);
    reply_close(array);
    reply_close(table);
}

int wexond_mesh_topo(Call &call)
{
    // Deliberate: of the identity only a missing answer is noticed.
    Answer<ManuInfoRecord> self = ask<ManuInfoRecord>(kGetManuInfo);
    if (!self.present()) {
        CALL_LOG(call, "Failed to manu info\n");
        fail(call, "failed to get wifi mesh topo");
        return send_for_get(call);
    }
    // Deliberate: without a map the topology is asked for all the same, and the map's failure reported.
    TopologyRequest self_in_topology = find_self(call, *self);
    Answer<TopologyRecord> topology = ask<TopologyRecord>(kGetTopology, self_in_topology);
    if (topology.accepted()) {
        reply_start();
        add_topology(*topology);
    } else {
        fail(call, "failed to get wifi mesh topo");
    }
    return send_for_get(call);
}

const ubus_method methods[] = {
    UBUS_METHOD("set", SERVE(wexond_mesh_set), set_policy),
    UBUS_METHOD_NOARG("get", SERVE(wexond_mesh_get)),
    UBUS_METHOD_NOARG("backhaulbss", SERVE(wexond_mesh_backhaulbss)),
    UBUS_METHOD_NOARG("topo", SERVE(wexond_mesh_topo)),
};

ubus_object_type type = bus_object_type("wexond.wifi.mesh", methods);

} // namespace

ubus_object wexond_wifi_mesh_object = {
    .name = "wexond.wifi.mesh",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
