// A client of the bus that need not wait for its answers; there may be many.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

extern "C" {
#include <libubus.h>
}

class Agent
{
  public:
    explicit Agent(const std::filesystem::path &socket);
    ~Agent();
    Agent(const Agent &) = delete;
    Agent &operator=(const Agent &) = delete;

    // Sends a call and returns. Its answer is read by finish(), or by nobody.
    void send(const std::string &object, const std::string &method, std::string_view json = "{}");

    // Waits for the answer to the last call; in the form of BusClient::call.
    std::string finish();

  private:
    ubus_context *context_;
    ubus_request request_ = {};
    std::string path_, method_; // the path is looked up once
    uint32_t id_ = 0;
};
