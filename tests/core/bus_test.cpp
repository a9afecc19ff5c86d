#include "tests/core/bus_test.h"

#include <stdexcept>

#include "core/paths.h"
#include "tests/support/process.h"

using test_support::Bus;
using test_support::BusClient;
using test_support::Milliseconds;
using test_support::Process;

CoreBusTest::CoreBusTest() : bus_(paths().bus), agent_(std::make_unique<BusClient>(bus_.socket()))
{
    wexond_context = ubus_connect(paths().bus);
    if (!wexond_context)
        throw std::runtime_error("no bus");
    ubus_add_uloop(wexond_context);
}

CoreBusTest::~CoreBusTest()
{
    ubus_free(wexond_context);
    wexond_context = nullptr;
}

std::string CoreBusTest::call(const std::string &object, const std::string &method)
{
    Process tool({bus_tool(), "-s", bus_.socket().string(), "-S", "call", object, method});
    while (tool.is_running())
        uloop_run_timeout(10);
    return tool.standard_output() + tool.standard_error();
}
