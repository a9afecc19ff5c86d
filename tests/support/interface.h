// The described interface (the files of api/), against which every reply and every notification is held that a test
// gets: a key, type, value or failure text that the description lacks fails the test.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/description.h"

namespace test_support
{

// A message is given by its values (see blobmsg_bytes.h). A reply of several messages, or of none, is told apart by
// their number.
void check_reply(const std::string &object, const std::string &method, const std::vector<std::string> &messages);

// A call that ended with an error status of the bus.
void check_error(const std::string &object, const std::string &method);

// A notification of one of these objects.
void check_notification(const std::vector<std::string> &objects, const std::string &name, std::string_view message);

// The same for a reply and a notification as the tool `ubus` prints them, where a number does not tell its width.
void check_printed_reply(const std::string &object, const std::string &method, std::string_view json);
void check_printed_notification(const std::string &object, const std::string &name, const Json &message);

// Whether a reply or message equals that of an example, but for the values that vary; `keys` describes it.
bool equals_example(const Json &keys, const Json &example, const Json &found);

} // namespace test_support
