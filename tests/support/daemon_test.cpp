#include "tests/support/daemon_test.h"

#include <fstream>
#include <regex>

#include "tests/support/listening.h"

namespace test_support
{

std::string failure(std::string_view reason)
{
    return table({{"result", "1"}, {"failreason", reason}});
}

std::string entry_log(std::string_view function, std::string_view object, std::string_view method)
{
    return "[" + std::string(function) + ".#]: -- Object:[" + std::string(object) + "], Method:[" +
           std::string(method) + "] --\n";
}

static std::string reply_log(const std::string &function, std::string_view reason)
{
    return "[" + function + ".#]: " + (reason.empty() ? "success" : "failed") + " , " + std::string(reason) + " \n\n";
}

std::string set_reply_log(std::string_view reason)
{
    return reply_log("wexond_send_for_set", reason);
}

std::string get_reply_log(std::string_view reason)
{
    return reply_log("wexond_send_for_get", reason);
}

DaemonTest::DaemonTest()
    : console_(folder_ / "console"), bus_(folder_ / "ubus.sock"),
      service_(std::make_unique<ScriptedService>(folder_ / "orvc.sock"))
{
}

void DaemonTest::TearDown()
{
    if (daemon_)
        end_daemon();
}

void DaemonTest::launch_daemon(std::vector<std::string> wrapper, const std::string &program)
{
    wrapper.push_back(program);
    daemon_ = std::make_unique<Process>(wrapper, Process::Environment{{"WEXOND_TEST_DIR", folder_.path().string()}});
}

// A method that nobody has is refused by the bus library, without a word from the daemon, as soon as its loop runs.
void DaemonTest::wait_until_up()
{
    const std::string last_object = "wexond.devinfo.ext";
    client().wait_for_object(last_object);
    EXPECT_EQ(call(last_object, "?"), "(Method not found)");
}

void DaemonTest::start_daemon()
{
    launch_daemon();
    wait_until_up();
    wait_until_listening(event_socket());
    service().take_requests();
    take_log();
}

void DaemonTest::end_daemon()
{
    bus_.stop();
    EXPECT_EQ(daemon_->wait(), expected_status_) << "the daemon's exit status";
    EXPECT_EQ(daemon_->standard_error(), expected_error_);
    daemon_.reset();
    std::filesystem::remove(event_socket());
}

void DaemonTest::restart_service()
{
    service_ = std::make_unique<ScriptedService>(folder_ / "orvc.sock");
}

BusClient &DaemonTest::client()
{
    if (!client_)
        client_ = std::make_unique<BusClient>(bus_.socket());
    return *client_;
}

std::string DaemonTest::take_bus_thread_log()
{
    static const std::regex relay_line(R"(\[WEXOND_(Socket|Server)\w*\.#\]: [^[]*)");
    return std::regex_replace(take_log(), relay_line, "");
}

void DaemonTest::enable_log()
{
    std::ofstream flag(folder_ / "debug_wexond");
}

void DaemonTest::disable_log()
{
    std::filesystem::remove(folder_ / "debug_wexond");
}

} // namespace test_support
