// Shared by the tests of the event relay: messages written out by hand, and those who send them.
#pragma once

#include <filesystem>
#include <string>

#include "tests/support/bytes.h"
#include "tests/support/process.h"

// A message: type, two words that nobody examines, the record's length, the record. The second claims another length.
std::string event(uint32_t type, const test_support::Bytes &record);
std::string event(uint32_t type, uint32_t claimed_length, std::string_view record);

// The log of the relay's threads of a client whose batch was received: from its acceptance to its end.
std::string batch_log(std::string_view lines);

// A connection to the event socket.
class EventClient
{
  public:
    explicit EventClient(const std::filesystem::path &socket);
    ~EventClient();
    EventClient(const EventClient &) = delete;
    EventClient &operator=(const EventClient &) = delete;

    // In one piece. False where the daemon has closed the connection.
    bool send(std::string_view bytes);

    // Waits until the daemon has closed the connection; false where it did not in time.
    bool wait_until_closed(test_support::Milliseconds limit = test_support::kPatience);

  private:
    int fd_;
};

// Sends one batch and waits until it is stored.
void send_batch(const std::filesystem::path &socket, std::string_view batch);
