// `orvcd event NAME [FIELD=VALUE ...]`: one event of any kind, sent by hand.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "home.h"

// A line for each kind with its fields and what they hold where they are not given.
std::string list_events();

// The name of a type's event, or "unknown".
std::string event_name(uint32_t type);

// The fields of an event's record; {"bytes": "..."} in hexadecimal where fields do not tell all of it.
Json event_fields(uint32_t type, const std::string &record);

// Pushes an event of such fields. Throws std::runtime_error as send_event does.
void push_fields(const std::string &socket, uint32_t type, const Json &fields);

// Sends one event to the daemon's socket. Throws std::runtime_error for an unknown kind, an unknown field, a value that
// does not fit its field, and where nobody takes the event.
void send_event(const std::string &socket, const std::string &name, const std::vector<std::string> &assignments);
