#include "event_command.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "events.h"
#include "events/event_records.h"
#include "happenings.h"
#include "records.h"

namespace
{

[[noreturn]] void refuse(const std::string &reason)
{
    throw std::runtime_error(reason);
}

const Event &event_named(const std::string &name)
{
    for (const EventKind &kind : kEvents)
        if (const Event *event = find_event(kind.type); event && name == event->name)
            return *event;
    refuse("there is no event '" + name + "'; orvcd event --help lists them");
}

std::string record_of(uint32_t type, const Json &fields)
{
    if (fields.contains("bytes"))
        return decode_text({{"hex", fields.at("bytes")}});
    const Event *event = find_event(type);
    if (!event)
        refuse("there is no event of type " + std::to_string(type));
    return event->make(fields);
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
    for (const EventKind &kind : kEvents) {
        const Event &event = *find_event(kind.type);
        text += std::string("  ") + event.name + "\n   ";
        const Json defaults = Json::parse(event.defaults);
        for (const auto &[field, value] : defaults.items())
            text += " " + field + "=" + (value.is_string() ? value.get<std::string>() : value.dump());
        text += "\n";
    }
    return text;
}

void send_event(const std::string &socket, const std::string &name, const std::vector<std::string> &assignments)
{
    const Event &event = event_named(name);
    Json fields = Json::parse(event.defaults);
    for (const std::string &assignment : assignments)
        assign(fields, assignment);
    push(socket, event.type, event.make(fields));
}

std::string event_name(uint32_t type)
{
    const Event *event = find_event(type);
    return event ? event->name : "unknown";
}

Json event_fields(uint32_t type, const std::string &record)
{
    if (const Event *event = find_event(type)) {
        Json fields = event->fields(record);
        if (fields.is_object() && event->make(fields) == record)
            return fields;
    }
    return {{"bytes", hex_of(record)}};
}

void push_fields(const std::string &socket, uint32_t type, const Json &fields)
{
    push(socket, type, record_of(type, fields));
}
