// Load, open ports, and ping and traceroute jobs, whose results come a moment after they were accepted.

#include "checks.h"
#include "events.h"
#include "records.h"
#include "service.h"
#include "system/diagnostics_records.h"

using namespace std::chrono_literals;

static void describe(auto &&field, CpuRateRecord &record)
{
    field("usage", record.usage);
    field("temperature", record.temperature);
}

static void describe(auto &&field, MemoryRateRecord &record)
{
    field("usage", record.usage);
}

static void describe(auto &&field, FlashRateRecord &record)
{
    field("free", record.free);
    field("usage", record.usage);
}

static void describe(auto &&field, PingRecord &record)
{
    field("host", record.host);
    field("count", record.count);
    field("timeout", record.timeout);
    field("block_size", record.block_size);
}

static void describe(auto &&field, TracerouteRecord &record)
{
    field("host", record.host);
    field("tries", record.tries);
    field("timeout", record.timeout);
    field("block_size", record.block_size);
    field("max_hops", record.max_hops);
}

constexpr Name kPingGiven[] = {{2, "count"}, {4, "timeout"}, {8, "block_size"}};
constexpr Name kTracerouteGiven[] = {{4, "timeout"}, {8, "block_size"}, {16, "tries"}, {32, "max_hops"}};

static void describe_message(auto &&field, PingRecord &record)
{
    field("given", record.given_mask, BitSet{kPingGiven});
}

static void describe_message(auto &&field, TracerouteRecord &record)
{
    field("given", record.given_mask, BitSet{kTracerouteGiven});
}

static void describe(auto &&field, OpenPortsRecord &record)
{
    field("ports", record.ports);
}

// The largest block that fits an IP packet.
constexpr uint32_t kMostBytes = 65500;

static void describe(auto &&field, PingResultEvent &event)
{
    field("received", event.received);
    field("loss", event.loss);
    field("average", event.average);
    field("minimum", event.minimum);
    field("maximum", event.maximum);
}

namespace
{

// A number that was given is not zero.
bool fits(uint32_t mask, uint32_t bit, uint32_t value, uint32_t most)
{
    return !(mask & bit) || (value != 0 && value <= most);
}

ReturnCode check_ping(const PingRecord &record)
{
    if (text_of(record.host).empty())
        return kBadAddress;
    return fits(record.given_mask, 2, record.count, 10'000) && fits(record.given_mask, 8, record.block_size, kMostBytes)
               ? kOk
               : kBadRange;
}

ReturnCode check_traceroute(const TracerouteRecord &record)
{
    if (text_of(record.host).empty())
        return kBadAddress;
    return fits(record.given_mask, 8, record.block_size, kMostBytes) && fits(record.given_mask, 16, record.tries, 10) &&
                   fits(record.given_mask, 32, record.max_hops, 255)
               ? kOk
               : kBadRange;
}

// The processor is never twice as busy.
Reply get_cpu_rate(const Json &home)
{
    auto record = to_record<CpuRateRecord>(home.at("load").at("cpu"));
    record.usage = (record.usage + seconds_up() * 7 % 11) % 101;
    return record;
}

Reply get_memory_rate(const Json &home)
{
    return to_record<MemoryRateRecord>(home.at("load").at("memory"));
}

Reply get_flash_rate(const Json &home)
{
    return to_record<FlashRateRecord>(home.at("load").at("flash"));
}

OpenPortsRecord open_ports(const Json &ports)
{
    OpenPortsRecord record{};
    decode(ports, record.ports);
    return record;
}

Reply get_tcp_ports(const Json &home)
{
    return open_ports(home.at("open_ports").at("tcp"));
}

Reply get_udp_ports(const Json &home)
{
    return open_ports(home.at("open_ports").at("udp"));
}

// Hosts below "invalid" cannot be reached, whatever is asked of them.
bool is_reachable(const std::string &host)
{
    constexpr std::string_view kUnreachable = "invalid";
    return !host.empty() && !(host.size() >= kUnreachable.size() &&
                              host.compare(host.size() - kUnreachable.size(), kUnreachable.size(), kUnreachable) == 0);
}

Reply ping(Json &home, const PingRecord &record)
{
    store(home["jobs"]["ping"], record);
    std::string host = read_text(record.host).data;
    uint32_t count = record.count != 0 ? static_cast<uint32_t>(record.count) : 4;
    later(1s, [=](Json &) {
        PingResultEvent result{};
        result.received = is_reachable(host) ? count : 0;
        result.loss = is_reachable(host) ? 0 : 100;
        result.minimum = is_reachable(host) ? 9 : 0;
        result.average = is_reachable(host) ? 12 : 0;
        result.maximum = is_reachable(host) ? 17 : 0;
        announce(kEventPingResult, result);
    });
    return kOk;
}

Reply traceroute(Json &home, const TracerouteRecord &record)
{
    store(home["jobs"]["traceroute"], record);
    std::string host = read_text(record.host).data;
    later(2s, [=](Json &home) {
        std::string text = "1 " + home.at("wan").at("gateway").get<std::string>() + " 2 ms\n2 192.0.2.1 6 ms\n3 ";
        announce(kEventTraceResult, text + (is_reachable(host) ? host + " 11 ms\n" : "*\n"));
    });
    return kOk;
}

// Its record is its text.
std::string make_trace_result(const Json &fields)
{
    return fields.at("result").get<std::string>() + '\0';
}

Json trace_fields(std::string_view record)
{
    return {{"result", encode_text(record.substr(0, record.find('\0')))}};
}

constexpr Event kFamilyEvents[] = {
    event_of<PingResultEvent>("ping-result", kEventPingResult,
                              R"({"received": 4, "loss": 0, "average": 12, "minimum": 9, "maximum": 17})"),
    {kEventTraceResult, "trace-result", R"({"result": "1 203.0.113.1 2 ms"})", make_trace_result, trace_fields},
};

constexpr Row kRows[] = {
    {kGetCpuRate, "ORVC_GET_CPURATE", serve<get_cpu_rate>},
    {kGetMemoryRate, "ORVC_GET_MEMRATE", serve<get_memory_rate>},
    {kGetFlashRate, "ORVC_GET_FLASHRATE", serve<get_flash_rate>},
    {kGetTcpPorts, "ORVC_GET_TCPOPENPORT", serve<get_tcp_ports>},
    {kGetUdpPorts, "ORVC_GET_UDPOPENPORT", serve<get_udp_ports>},
    {kPing, "ORVC_SET_PING", serve<ping, check_ping>},
    {kTraceroute, "ORVC_SET_TRACEROUTE", serve<traceroute, check_traceroute>},
};
const Family family = {kRows, kFamilyEvents};

} // namespace
