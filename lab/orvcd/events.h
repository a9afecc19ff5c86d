// The daemon's events as people write and read them. The family whose subject an event is about describes its record as
// it describes others, and names it beside its rows:
//
//     constexpr Event kFamilyEvents[] = {
//         event_of<PingResultEvent>("ping-result", kEventPingResult, R"({"received": 4, "loss": 0})"),
//     };
//     const Family family = {kRows, kFamilyEvents};
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "events/event_records.h"
#include "home.h"
#include "records.h"

struct Event {
    uint32_t type;
    const char *name;
    const char *defaults; // of the fields, which there are no others of
    std::string (*make)(const Json &fields);
    Json (*fields)(std::string_view record);
};

// The event of a type, or null.
const Event *find_event(uint32_t type);

// Throws std::runtime_error where a value has not come into the record, whose fields are `kept`, whole.
void expect_kept(const Json &fields, const Json &kept);

template <typename Record> Record to_event(const Json &fields)
{
    auto record = to_record<Record>(fields);
    expect_kept(fields, encode(record));
    return record;
}

template <typename Record> std::string bytes_of(const Record &record)
{
    return std::string(reinterpret_cast<const char *>(&record), sizeof(record));
}

template <typename Record> std::string make_event(const Json &fields)
{
    return bytes_of(to_event<Record>(fields));
}

template <typename Record> constexpr Event event_of(const char *name, uint32_t type, const char *defaults)
{
    return {type, name, defaults, make_event<Record>, fields_of<Record>};
}

// Of more than one family.
void describe(auto &&field, SwitchEvent &event)
{
    field("on", event.code, YesNo{});
}
