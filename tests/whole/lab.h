// The daemon with the lab's configuration service, used through the `ubus` tool as a person would.
#pragma once

#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>

#include "tests/support/bus.h"
#include "tests/support/interface.h"
#include "tests/support/listening.h"
#include "tests/support/process.h"
#include "tests/support/temporary_folder.h"

constexpr const char *kSuccess = R"({"result":"0","failreason":""})";

inline std::string failure(const std::string &reason)
{
    return R"({"result":"1","failreason":")" + reason + "\"}";
}

class Lab : public testing::Test
{
  protected:
    void SetUp() override
    {
        start_service();
        start_daemon();
    }

    void TearDown() override
    {
        bus_.stop();
        EXPECT_EQ(daemon_->wait(), 0);
        EXPECT_EQ(daemon_->standard_error(), "");
        if (service_)
            stop_service();
    }

    void start_service()
    {
        service_ = std::make_unique<test_support::Process>(
            std::vector<std::string>{built_program("orvcd"), "--socket", folder_ / "orvc.sock", "--state",
                                     folder_ / "home.json", "--life", "0"});
        test_support::wait_until_listening(folder_ / "orvc.sock");
    }

    void start_daemon()
    {
        daemon_ = std::make_unique<test_support::Process>(
            std::vector<std::string>{built_program("wexond-test")},
            test_support::Process::Environment{{"WEXOND_TEST_DIR", folder_.path().string()}});
        EXPECT_EQ(ubus({"wait_for", "wexond.devinfo.ext"}), "");
    }

    void kill_daemon()
    {
        daemon_->send_signal(SIGKILL);
        daemon_->wait();
    }

    void stop_service()
    {
        service_->send_signal(SIGTERM);
        EXPECT_EQ(service_->wait(), 0);
        EXPECT_EQ(service_->standard_error(), "");
        service_.reset();
    }

    // The tool's output, without the last line end; where it fails, its status and its complaint instead.
    std::string ubus(const std::vector<std::string> &arguments)
    {
        std::vector<std::string> command = {bus_tool(), "-s", bus_.socket(), "-t", "60"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        test_support::Process tool(command);
        int status = tool.wait().value_or(-1);
        std::string text = status ? "status " + std::to_string(status) + ": " + tool.standard_error()
                                  : tool.standard_output() + tool.standard_error();
        return text.ends_with('\n') ? text.substr(0, text.size() - 1) : text;
    }

    // The reply, on one line, as the interface describes it.
    std::string call(const std::string &object, const std::string &method, const std::string &arguments = "{}")
    {
        std::string reply = ubus({"-S", "call", object, method, arguments});
        if (reply.starts_with('{'))
            test_support::check_printed_reply(object, method, reply);
        return reply;
    }

    // A command of the service's program to the running one.
    std::string orvcd(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), built_program("orvcd"));
        test_support::Process tool(arguments);
        EXPECT_EQ(tool.wait(), 0) << tool.standard_error();
        return tool.standard_output();
    }
    std::string path(const std::string &name) const { return folder_ / name; }
    std::string bus() const { return bus_.socket(); }

    std::string state()
    {
        std::ostringstream text;
        text << std::ifstream(folder_ / "home.json").rdbuf();
        return text.str();
    }

  private:
    test_support::TemporaryFolder folder_;
    test_support::Bus bus_{folder_ / "ubus.sock"};
    std::unique_ptr<test_support::Process> service_, daemon_;
};
