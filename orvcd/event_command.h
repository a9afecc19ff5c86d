// `orvcd event NAME [FIELD=VALUE ...]`: one event of any kind, sent by hand.
#pragma once

#include <string>
#include <vector>

// A line for each kind with its fields and what they hold where they are not given.
std::string list_events();

// Sends one event to the daemon's socket. Throws std::runtime_error for an unknown kind, an unknown field, a value that
// does not fit its field, and where nobody takes the event.
void send_event(const std::string &socket, const std::string &name, const std::vector<std::string> &assignments);
