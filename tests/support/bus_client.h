// A client of the bus, as an agent would be one.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tests/support/process.h"

namespace test_support
{

// The values of a message, byte by byte (see blobmsg_bytes.h).
struct RawMessage {
    std::string values;
};

// One at a time, and on the test's main thread: the bus library's event loop is the process's only one.
class BusClient
{
  public:
    explicit BusClient(const std::filesystem::path &socket);
    ~BusClient();
    BusClient(const BusClient &) = delete;
    BusClient &operator=(const BusClient &) = delete;

    // Calls a method and returns the reply as the text that to_text makes; replies after the first follow on lines of
    // their own. A call that got none is `(no reply)`, one with an error status `(Method not found)`, say.
    std::string call(const std::string &object, const std::string &method, std::string_view json = "{}");
    std::string call(const std::string &object, const std::string &method, const RawMessage &message);

    // The objects that a look-up of `path` finds (a trailing `*` makes it a prefix), in the broker's order: a line for
    // each object, and below it one for each method with its arguments in order:
    //
    //     wexond.ledswitch
    //       set status:string
    //       get
    std::string list(const std::string &path);

    bool has_object(const std::string &path);
    void wait_for_object(const std::string &path);

    // Puts an object without methods on the bus.
    void publish(const std::string &path);

    // From now on the object's notifications, or the events whose names match the pattern, are kept.
    void subscribe(const std::string &path);
    void listen(const std::string &pattern);

    // The oldest kept one that was not taken yet, as `devicestatus {"devname": "phone"}`; waits for it.
    std::optional<std::string> next_message(Milliseconds limit = kPatience);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace test_support
