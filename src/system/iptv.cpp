// wexond.iptv: the IPTV VLAN and the Ethernet ports and access points that carry it. The record holds two VLANs; `set`
// writes the first and clears the second, `get` reports both.

#include "system/iptv_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"

namespace
{

enum { ENABLE, VLANID, ETHPORT, WIFI_2G, WIFI_5G };

const blobmsg_policy set_policy[] = {
    {.name = "enable", .type = BLOBMSG_TYPE_STRING}, {.name = "vlanid", .type = BLOBMSG_TYPE_INT32},
    {.name = "ethport", .type = BLOBMSG_TYPE_ARRAY}, {.name = "2.4G", .type = BLOBMSG_TYPE_ARRAY},
    {.name = "5G", .type = BLOBMSG_TYPE_ARRAY},
};

// One of the three memberships of a VLAN: its argument and reply key, and how many low bits of its mask `get` reports.
struct Membership {
    size_t argument;
    const char *key;
    const char *log_word;
    le32 IptvVlan::*mask;
    uint32_t reported_bits;
};

const Membership memberships[] = {
    {ETHPORT, "ethport", "eth", &IptvVlan::ethernet_mask, 8},
    {WIFI_2G, "2.4G", "2.4G", &IptvVlan::wifi_2g_mask, 4},
    {WIFI_5G, "5G", "5G", &IptvVlan::wifi_5g_mask, 4},
};

// Deliberate: an element counts by its low eight bits, whatever its type; what is no bit of the mask sets none.
uint32_t parse_mask(const Call &call, const blob_attr *ports, const char *log_word)
{
    uint32_t mask = 0;
    for (const blob_attr *element : Elements(ports)) {
        uint32_t port = element_number(element);
        CALL_LOG(call, "%s port:%d \n\n", log_word, port);
        if ((port & 0xFF) < 32)
            mask |= 1u << (port & 0xFF);
    }
    return mask;
}

void add_mask(uint32_t mask, uint32_t bits)
{
    for (uint32_t bit = 0; bit < bits; bit++)
        if (mask & (1u << bit))
            reply_int("", bit);
}

int wexond_iptv_set(Call &call)
{
    Arguments<5> arguments(set_policy, call.message);
    if (arguments.require(call)) {
        CALL_LOG(call, "enable:%s / vlanid:%d \n\n", arguments.text(ENABLE), arguments.number(VLANID));
        IptvRecord record{};
        record.enable = strcmp(arguments.text(ENABLE), "yes") == 0;
        record.vlans[0].vlan_id = arguments.number(VLANID);
        for (const Membership &membership : memberships)
            record.vlans[0].*membership.mask =
                parse_mask(call, arguments.array(membership.argument), membership.log_word);
        exchange(call, kSetIptv, record, "set iptv");
    }
    return send_for_set(call);
}

int wexond_iptv_get(Call &call)
{
    if (Answer<IptvRecord> answer = ask<IptvRecord>(call, kGetIptv, "get iptv")) {
        reply_start();
        void *table = reply_open_table("wexond.iptv");
        reply_int("vlanid", answer->vlans[0].vlan_id);
        for (const Membership &membership : memberships) {
            void *array = reply_open_array(membership.key);
            for (const IptvVlan &vlan : answer->vlans)
                if (vlan.vlan_id != 0)
                    add_mask(vlan.*membership.mask, membership.reported_bits);
            reply_close(array);
        }
        // Deliberate: agents expect this key of a third radio; it is always empty.
        reply_close(reply_open_array("5G-2"));
        reply_close(table);
    }
    return send_for_get(call);
}

const ubus_method methods[] = {
    UBUS_METHOD("set", SERVE(wexond_iptv_set), set_policy),
    UBUS_METHOD_NOARG("get", SERVE(wexond_iptv_get)),
};

ubus_object_type type = bus_object_type("wexond.iptv", methods);

} // namespace

ubus_object wexond_iptv_object = {
    .name = "wexond.iptv",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
