// The fixtures of every test that runs the daemon: the real process on a real bus, with a configuration service that
// the test scripts, all in a folder of the test's own.
//
//     class LedSwitchTest : public HandlerTest {};
//
//     TEST_F(LedSwitchTest, ReportsTheSwitch)
//     {
//         service().answer(20, record(Bytes(4).u32(0, 1)));
//         EXPECT_EQ(call("wexond.ledswitch", "get"), table({{"wexond.ledswitch", table({{"status", "on"}})}}));
//         EXPECT_EQ(service().take_requests(), (Requests{{20, 8}}));
//     }
//
// HandlerTest has the daemon up and the recordings empty when the test begins. DaemonTest leaves the start to the test,
// for those that look at start-up itself. Whatever the test did, at its end the broker is stopped and the daemon has to
// end with status 0 and without a word on its standard error, which is also where a sanitizer would report.
//
// - call() returns the whole reply as one line of text, or `(Method not found)` and the like for an error of the bus:
//   see BusClient::call for the form, reply.h for expected ones, blobmsg_bytes.h for the types and for messages written
//   by hand (RawMessage). kSuccess and failure("reason") are the two set-style replies; failure is also that of
//   get-style methods.
// - service() answers by rules for each message type and records requests, whose records are written out by hand with
//   Bytes: see scripted_service.h and bytes.h. Offsets and sizes stand in the test, never taken from the daemon's
//   headers. A Request is {type, expected length, payload, flag}; payload and flag default to none and 1.
// - enable_log() creates the debug flag file; take_log() returns what was written to the console since the last call,
//   with line numbers masked: "[wexond_ledswitch_get.#]: -- Object:[wexond.ledswitch], Method:[get] --\n". entry_log()
//   and reply_log() make the first and the last line of every handler.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>

#include "tests/support/blobmsg_bytes.h"
#include "tests/support/bus.h"
#include "tests/support/bus_client.h"
#include "tests/support/console.h"
#include "tests/support/process.h"
#include "tests/support/reply.h"
#include "tests/support/scripted_service.h"
#include "tests/support/temporary_folder.h"

namespace test_support
{

constexpr const char *kSuccess = R"({"result": "0", "failreason": ""})";

std::string failure(std::string_view reason);

std::string entry_log(std::string_view function, std::string_view object, std::string_view method);

// The last line of set-style and of get-style methods. A reason makes it that of a failure.
std::string set_reply_log(std::string_view reason = "");
std::string get_reply_log(std::string_view reason = "");

class DaemonTest : public testing::Test
{
  protected:
    DaemonTest();
    void TearDown() override;

    // Starts the daemon; a `wrapper` goes before it on the command line (`sh -c 'exec "$0" "$@"'`, say).
    void launch_daemon(std::vector<std::string> wrapper = {},
                       const std::string &program = built_program("wexond-test"));
    // Waits until it takes method calls.
    void wait_until_up();
    // Both; then waits until it takes events, too, and forgets what was recorded so far.
    void start_daemon();
    // Stops the broker and requires the daemon to end well.
    void end_daemon();

    template <typename Message = std::string_view>
    std::string call(const std::string &object, const std::string &method, const Message &message = "{}")
    {
        return client().call(object, method, message);
    }

    ScriptedService &service() { return *service_; }
    // Ends the service as if it had crashed, or puts a new one, without a recording, in its place.
    void end_service() { service_.reset(); }
    void restart_service();

    Process &daemon() { return *daemon_; }
    Bus &bus() { return bus_; }
    // Connected when it is first asked for.
    BusClient &client();
    const TemporaryFolder &folder() const { return folder_; }
    std::filesystem::path event_socket() const { return folder_ / "events.sock"; }

    void enable_log();
    void disable_log();
    std::string take_log() { return console_.take(); }
    // Without the lines of the threads of the event relay, which fall between the others as they like.
    std::string take_bus_thread_log();

    // How the daemon has to end where that is not with status 0 and without a word on its standard error.
    void expect_status(int status) { expected_status_ = status; }
    void expect_standard_error(std::string_view text) { expected_error_ = text; }

  private:
    TemporaryFolder folder_;
    Console console_;
    Bus bus_;
    std::unique_ptr<ScriptedService> service_;
    std::unique_ptr<Process> daemon_;
    std::unique_ptr<BusClient> client_;
    int expected_status_ = 0;
    std::string expected_error_;
};

class HandlerTest : public DaemonTest
{
  protected:
    void SetUp() override { start_daemon(); }
};

} // namespace test_support
