#include "event_command.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "events/event_records.h"
#include "happenings.h"
#include "records.h"

static constexpr Name kBands[] = {{0, "2.4 GHz"}, {1, "5 GHz"}};
static constexpr Name kWanStates[] = {{1, "up"}, {2, "down"}, {3, "address"}};
static constexpr Name kLinks[] = {{0, "down"}, {1, "up"}};
static constexpr Name kBandwidths[] = {{0, "auto"}, {1, "20 MHz"}, {2, "40 MHz"}, {3, "80 MHz"}, {4, "160 MHz"}};

static void describe(auto &&field, SwitchEvent &event)
{
    field("on", event.code, YesNo{});
}

static void describe(auto &&field, WpsSwitchEvent &event)
{
    field("on", event.code, YesNo{});
}

static void describe(auto &&field, PingResultEvent &event)
{
    field("received", event.received);
    field("loss", event.loss);
    field("average", event.average);
    field("minimum", event.minimum);
    field("maximum", event.maximum);
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

static void describe(auto &&field, ChannelChangeEvent &event)
{
    field("band", event.band, Names{kBands});
    field("channel", event.channel);
}

static void describe(auto &&field, SsidChangeEvent &event)
{
    field("band", event.band, Names{kBands});
    field("ap_index", event.ap_index);
    field("ssid", event.ssid);
}

static void describe(auto &&field, StationEvent &event)
{
    field("mac", event.mac);
    field("host_name", event.host_name);
    field("medium", event.medium);
    field("port", event.port);
    field("active", event.active, YesNo{});
    field("virtual_mac", event.virtual_mac);
}

static void describe(auto &&field, PasswordErrorEvent &event)
{
    field("mac", event.mac);
}

static void describe(auto &&field, RoamingEvent &event)
{
    field("mac", event.mac);
    field("bandwidth", event.bandwidth, Names{kBandwidths});
    field("rssi", event.rssi);
    field("connect_time", event.connect_time);
    field("channel", event.channel);
    field("bssid", event.bssid);
    field("support_11k", event.support_11k, YesNo{});
    field("support_11v", event.support_11v, YesNo{});
}

static void describe(auto &&field, VsieRecordEvent &event)
{
    field("mac", event.mac);
    field("band", event.band);
    field("oui", event.oui);
    field("data", event.data);
}

namespace
{

template <typename Event> std::string bytes_of(const Event &event)
{
    return std::string(reinterpret_cast<const char *>(&event), sizeof(event));
}

[[noreturn]] void refuse(const std::string &reason)
{
    throw std::runtime_error(reason);
}

// A value as a record that has room for all of it gives it back.
Json as_kept(Json value)
{
    if (value.is_string())
        return encode_text(value.get<std::string>());
    while (value.is_array() && !value.empty() && value.back() == 0)
        value.erase(value.size() - 1);
    return value;
}

// The record of the fields, which must all have come into it whole.
template <typename Event> Event to_event(const Json &fields)
{
    auto event = to_record<Event>(fields);
    const Json kept = encode(event);
    for (const auto &[field, value] : fields.items())
        if (kept.at(field) != as_kept(value))
            refuse(field + ": the value does not fit its field");
    return event;
}

template <typename Event> std::string make(const Json &fields)
{
    return bytes_of(to_event<Event>(fields));
}

std::string make_probe_record(const Json &fields)
{
    auto event = to_event<VsieRecordEvent>(fields);
    event.length = slot_count(fields.at("data"), event.data);
    return bytes_of(event);
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

struct Kind {
    const char *name;
    uint32_t type;
    const char *defaults; // of the fields, which there are no others of
    std::string (*make)(const Json &fields);
    Json (*fields)(std::string_view record);
};

constexpr Kind kKinds[] = {
    {"new-station", kEventNewStation,
     R"({"mac": "00:00:5E:00:53:50", "host_name": "visitor", "medium": 0, "port": 0, "virtual_mac": ""})",
     make<StationEvent>, fields_of<StationEvent>},
    {"station-state", kEventStationState, R"({"mac": "00:00:5E:00:53:32", "active": true})", make<StationEvent>,
     fields_of<StationEvent>},
    {"wan-address", kEventWanIpChange, R"({"link": "up", "address": "203.0.113.25"})", make<WanIpChangeEvent>,
     fields_of<WanIpChangeEvent>},
    {"wan-link", kEventWanUpDown, R"({"state": "up", "address": "203.0.113.24"})", make<WanUpDownEvent>,
     fields_of<WanUpDownEvent>},
    {"led-switch", kEventLedSwitch, R"({"on": true})", make<SwitchEvent>, fields_of<SwitchEvent>},
    {"wifi-switch", kEventWifiSwitch, R"({"on": true})", make<SwitchEvent>, fields_of<SwitchEvent>},
    {"elink-switch", kEventElinkSwitch, R"({"on": true})", make<SwitchEvent>, fields_of<SwitchEvent>},
    {"wps-switch", kEventWpsSwitch, R"({"on": true})", make<WpsSwitchEvent>, fields_of<WpsSwitchEvent>},
    {"password-error", kEventWifiPasswordError, R"({"mac": "00:00:5E:00:53:51"})", make<PasswordErrorEvent>,
     fields_of<PasswordErrorEvent>},
    {"channel", kEventChannelChange, R"({"band": "2.4 GHz", "channel": 6})", make<ChannelChangeEvent>,
     fields_of<ChannelChangeEvent>},
    {"ssid", kEventSsidChange, R"({"band": "2.4 GHz", "ap_index": 1, "ssid": "Birch Lane 7"})", make<SsidChangeEvent>,
     fields_of<SsidChangeEvent>},
    {"ping-result", kEventPingResult, R"({"received": 4, "loss": 0, "average": 12, "minimum": 9, "maximum": 17})",
     make<PingResultEvent>, fields_of<PingResultEvent>},
    {"trace-result", kEventTraceResult, R"({"result": "1 203.0.113.1 2 ms"})", make_trace_result, trace_fields},
    {"roaming", kEventRoaming,
     R"({"mac": "00:00:5E:00:53:32", "bandwidth": "80 MHz", "rssi": -70, "connect_time": 60, "channel": 44,
         "bssid": "00:00:5E:00:53:21", "support_11k": true, "support_11v": true})",
     make<RoamingEvent>, fields_of<RoamingEvent>},
    {"probe-record", kEventVsieNewRecord,
     R"({"mac": "00:00:5E:00:53:34", "band": 0, "oui": [0, 0, 94], "data": [16, 1, 2, 3]})", make_probe_record,
     fields_of<VsieRecordEvent>},
};

const Kind &find_kind(const std::string &name)
{
    for (const Kind &kind : kKinds)
        if (name == kind.name)
            return kind;
    refuse("there is no event '" + name + "'; orvcd event --help lists them");
}

const Kind *find_kind(uint32_t type)
{
    for (const Kind &kind : kKinds)
        if (type == kind.type)
            return &kind;
    return nullptr;
}

std::string record_of(uint32_t type, const Json &fields)
{
    if (fields.contains("bytes"))
        return decode_text({{"hex", fields.at("bytes")}});
    const Kind *kind = find_kind(type);
    if (!kind)
        refuse("there is no event of type " + std::to_string(type));
    return kind->make(fields);
}

void push(const std::string &socket, uint32_t type, const std::string &record)
{
    if (push_event(socket, type, record))
        refuse(socket + ": " + strerror(errno));
}

// A value as a person writes it: texts as they are, everything else as JSON.
Json parse_value(const std::string &field, const std::string &text, const Json &model)
{
    if (model.is_string())
        return text;
    Json value = Json::parse(text, nullptr, false);
    bool fits = model.is_number() ? value.is_number_integer() : value.type() == model.type();
    if (!fits)
        refuse(field + ": '" + text + "' is no value like " + model.dump());
    return value;
}

void assign(Json &fields, const std::string &assignment)
{
    size_t equals = assignment.find('=');
    std::string field = assignment.substr(0, equals);
    if (equals == std::string::npos || !fields.contains(field))
        refuse("'" + assignment + "' is no FIELD=VALUE of this event; it has " +
               fields.dump(-1, ' ', false, Json::error_handler_t::replace));
    fields[field] = parse_value(field, assignment.substr(equals + 1), fields[field]);
}

} // namespace

std::string list_events()
{
    std::string text = "Events, with their fields as they are where they are not given:\n";
    for (const Kind &kind : kKinds) {
        text += std::string("  ") + kind.name + "\n   ";
        const Json defaults = Json::parse(kind.defaults);
        for (const auto &[field, value] : defaults.items())
            text += " " + field + "=" + (value.is_string() ? value.get<std::string>() : value.dump());
        text += "\n";
    }
    return text;
}

void send_event(const std::string &socket, const std::string &name, const std::vector<std::string> &assignments)
{
    const Kind &kind = find_kind(name);
    Json fields = Json::parse(kind.defaults);
    for (const std::string &assignment : assignments)
        assign(fields, assignment);
    push(socket, kind.type, kind.make(fields));
}

std::string event_name(uint32_t type)
{
    const Kind *kind = find_kind(type);
    return kind ? kind->name : "unknown";
}

Json event_fields(uint32_t type, const std::string &record)
{
    if (const Kind *kind = find_kind(type)) {
        Json fields = kind->fields(record);
        if (fields.is_object() && kind->make(fields) == record)
            return fields;
    }
    return {{"bytes", hex_of(record)}};
}

void push_fields(const std::string &socket, uint32_t type, const Json &fields)
{
    push(socket, type, record_of(type, fields));
}
