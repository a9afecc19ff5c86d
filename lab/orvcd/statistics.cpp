// Counters of interfaces, which one message type asks for: of the WAN port and of access points. They advance while the
// service runs.

#include "records.h"
#include "service.h"
#include "system/wan_info_records.h"
#include "wifi/access_point_records.h"

constexpr uint32_t k2gAccessPoints = 3;
constexpr uint32_t k5gAccessPoints = 4;

static void describe(auto &&field, PortTrafficRecord &record)
{
    field("bytes_sent", record.bytes_sent);
    field("bytes_received", record.bytes_received);
    field("packets_sent", record.packets_sent);
    field("packets_received", record.packets_received);
    field("crc_errors", record.crc_errors);
}

constexpr Name kKinds[] = {{kWanPortKind, "WAN port"}, {k2gAccessPoints, "2.4 GHz"}, {k5gAccessPoints, "5 GHz"}};

static void describe_message(auto &&field, PortTrafficRecord &record)
{
    field("kind", record.kind, Names{kKinds});
    field("port", record.port);
}

static void describe(auto &&field, ApStatisticsRecord &record)
{
    field("kind", record.interface_kind, Names{kKinds});
    field("ap_index", record.ap_index);
    field("tx_bytes", record.tx_bytes);
    field("rx_bytes", record.rx_bytes);
    field("tx_packets", record.tx_packets);
    field("rx_packets", record.rx_packets);
    field("tx_errors", record.tx_errors);
    field("rx_errors", record.rx_errors);
    field("tx_drops", record.tx_drops);
    field("rx_drops", record.rx_drops);
}

namespace
{

Reply port_traffic(const Json &home, const PortTrafficRecord &request)
{
    auto record = to_record<PortTrafficRecord>(home.at("wan_port"));
    record.kind = request.kind;
    record.port = request.port;
    record.bytes_sent = record.bytes_sent + 81'250 * seconds_up();
    record.bytes_received = record.bytes_received + 1'250'000 * seconds_up();
    record.packets_sent = record.packets_sent + 410 * seconds_up();
    record.packets_received = record.packets_received + 880 * seconds_up();
    return record;
}

Reply ap_statistics(const Json &home, const PortTrafficRecord &request)
{
    const Json *radio = radio_of(home, request.kind - k2gAccessPoints);
    const Json *entry = radio ? find_entry(radio->at("access_points"), request.port) : nullptr;
    if (!entry)
        return kNotFound;
    uint64_t seconds = entry->value("enable", false) ? seconds_up() + 3600 : 0;
    ApStatisticsRecord record{};
    record.interface_kind = request.kind;
    record.ap_index = request.port;
    record.tx_bytes = 420'000 * seconds;
    record.rx_bytes = 31'000 * seconds;
    record.tx_packets = 350 * seconds;
    record.rx_packets = 190 * seconds;
    record.tx_errors = seconds / 600;
    record.rx_drops = seconds / 900;
    return record;
}

// The two forms have the same length; their first word tells them apart.
Reply get_statistics(const Json &home, const PortTrafficRecord &request)
{
    static_assert(sizeof(PortTrafficRecord) == sizeof(ApStatisticsRecord));
    if (request.kind == kWanPortKind)
        return port_traffic(home, request);
    if (request.kind == k2gAccessPoints || request.kind == k5gAccessPoints)
        return ap_statistics(home, request);
    return kNotFound;
}

constexpr Row kRows[] = {
    {kGetPortTraffic, "ORVC_GET_PORTTRAFFIC", serve<get_statistics>},
};
const Family family = {kRows};

} // namespace
