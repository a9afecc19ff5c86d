#include "tests/core/core_test.h"

#include <fstream>
#include <malloc.h>

#include "core/paths.h"

static std::string service, event_socket, debug_flag, console, bus;
static Paths test_paths;

static const char *keep(std::string &path, const test_support::TemporaryFolder &folder, const char *name)
{
    path = folder / name;
    return path.c_str();
}

const Paths &paths()
{
    return test_paths;
}

CoreTest::CoreTest() : console_(folder_ / "console")
{
    test_paths = {
        .service = keep(service, folder_, "orvc.sock"),
        .event_socket = keep(event_socket, folder_, "events.sock"),
        .debug_flag = keep(debug_flag, folder_, "debug_wexond"),
        .console = keep(console, folder_, "console"),
        .bus = keep(bus, folder_, "ubus.sock"),
    };
}

void CoreTest::enable_log()
{
    std::ofstream flag(debug_flag);
}

size_t heap_in_use()
{
    struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}
