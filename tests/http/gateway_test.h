// A bus with objects that do as they are asked, and the gateway to it.
#pragma once

#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "tests/http/http_client.h"
#include "tests/support/bus.h"
#include "tests/support/process.h"
#include "tests/support/programs.h"
#include "tests/support/temporary_folder.h"

inline const std::string kNobody(32, '0');

// A program's output so far, once there is a line of it.
std::string first_line(test_support::Process &process);

class GatewayTest : public testing::Test
{
  protected:
    // Who is admin may call all of the test's objects, who is reader may subscribe to them and call test's echo.
    void SetUp() override;
    void TearDown() override;

    void write_file(const std::string &name, const std::string &content);
    void start_object();
    void start_gateway(const std::vector<std::string> &options = {});
    void stop_gateway();

    HttpClient connect() const { return HttpClient(port_); }
    // On a connection of its own.
    Response ask(const std::string &method, const std::string &target, const std::string &body = "",
                 const std::string &more = "") const;
    std::string rpc(const std::string &body) const { return ask("POST", "/ubus", body).body; }
    std::string call(const std::string &session, const std::string &object, const std::string &method,
                     const std::string &arguments = "{}") const;
    // The id of a session.
    std::string login(const std::string &name, const std::string &more = "") const;

    std::string path(const std::string &name) const { return (folder_ / name).string(); }

    test_support::TemporaryFolder folder_;
    std::unique_ptr<test_support::Bus> bus_ = std::make_unique<test_support::Bus>(folder_ / "ubus.sock");
    std::unique_ptr<test_support::Process> object_;
    std::unique_ptr<test_support::Process> gateway_;
    uint16_t port_ = 0;
};

std::string call_body(const std::string &session, const std::string &object, const std::string &method,
                      const std::string &arguments, const std::string &id = "1");
