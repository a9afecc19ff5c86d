// The daemon's connection to a broker of the test's own, and an agent's beside it.
#pragma once

#include <memory>

#include "core/bus.h"
#include "tests/core/core_test.h"
#include "tests/support/bus.h"
#include "tests/support/bus_client.h"

class CoreBusTest : public CoreTest
{
  protected:
    CoreBusTest();
    ~CoreBusTest() override;

    test_support::Bus &bus() { return bus_; }
    test_support::BusClient &agent() { return *agent_; }

    // Objects with their methods, as BusClient::list shows them.
    std::string objects(const std::string &path = "wexond.*") { return agent_->list(path); }

    // The bus tool's output of a call that the daemon's code answers here meanwhile.
    std::string call(const std::string &object, const std::string &method);

  private:
    test_support::Bus bus_;
    std::unique_ptr<test_support::BusClient> agent_;
};
