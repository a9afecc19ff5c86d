// A broker that says what the test writes out, and keeps what the library sends.
//
// The library writes a request before it reads, so a test puts the answers into the socket first, then makes the
// request, and looks at what was sent last. Sequence numbers count from 1.
#pragma once

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <libubus.h>
#include <string>

#include "bytes.h"

class TemporaryFolder
{
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    const std::string path;
};

class FakeBroker
{
  public:
    FakeBroker();
    ~FakeBroker();

    // Takes one client, and says the greeting to it, while the function runs.
    void serve(const std::function<void()> &connecting, const Bytes &greeting);

    void say(const Bytes &data);
    // All that has come by now.
    Bytes heard();
    void hang_up();

    TemporaryFolder folder;
    const std::string path;
    std::atomic<int> client = -1;

  private:
    int listener;
};

// A hand-written HELLO of client id 0x11223344.
Bytes greeting();

Bytes status(const char *seq_and_peer, int32_t value);

// A context connected to a fake broker, and in the event loop.
class BusClient : public testing::Test
{
  protected:
    void SetUp() override;
    void TearDown() override;

    // A turn of the event loop, and all that it leaves to do: one call in each further turn.
    static void turn();
    // One object, registered as 0x1001, of which no trace is left in the socket. A type gets the id 0x2001.
    void add(ubus_object *object);

    FakeBroker broker;
    ubus_context *ctx = nullptr;
};
