#include "core/paths.h"

const Paths &paths()
{
    static constexpr Paths kPaths = {
        .service = "/tmp/orvc.sock",
        .event_socket = "/tmp/orvc_wexond_event.sock",
        .debug_flag = "/tmp/debug_wexond",
        .console = "/dev/console",
        .bus = nullptr,
    };
    return kPaths;
}
