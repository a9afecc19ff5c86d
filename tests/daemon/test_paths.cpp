#include "core/paths.h"

#include <cstdio>
#include <cstdlib>

// Every path below the folder that the environment variable WEXOND_TEST_DIR names.
static const char *path_of(const char *name)
{
    char *path;
    const char *folder = getenv("WEXOND_TEST_DIR");
    if (!folder || asprintf(&path, "%s/%s", folder, name) < 0)
        abort();
    return path;
}

static Paths test_paths;

// Filled before any thread runs.
__attribute__((constructor)) static void fill_test_paths()
{
    test_paths = {
        .service = path_of("orvc.sock"),
        .event_socket = path_of("events.sock"),
        .debug_flag = path_of("debug_wexond"),
        .console = path_of("console"),
        .bus = path_of("ubus.sock"),
    };
}

const Paths &paths()
{
    return test_paths;
}
