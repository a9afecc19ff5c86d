#include "core/threads.h"

#include <cstdio>
#include <pthread.h>

#include "core/bus.h"
#include "core/families.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/startup.h"

namespace
{

pthread_t gpWEXOND_pthread;

// The bus thread: it alone talks to the bus and runs every handler and timer.
void *WEXOND_ThreadRun(void *)
{
    WEXOND_LOG("Start wexond\n\n");
    // Without a loop it would publish its objects, answer nobody and end.
    wexond_context = uloop_init() == 0 ? ubus_connect(paths().bus) : nullptr;
    if (!wexond_context) {
        fputs("Failed to connect to ubus\n", stderr);
        return nullptr;
    }
    // The library's own handler ends the loop only when the broker's end is found by a request; an idle daemon would
    // sleep on.
    wexond_context->connection_lost = end_with_bus;
    ubus_add_uloop(wexond_context);
    wexond_main();
    ubus_free(wexond_context);
    uloop_done();
    WEXOND_LOG("Exit wexond\n\n");
    return nullptr;
}

} // namespace

int WEXOND_ThreadInit()
{
    if (pthread_create(&gpWEXOND_pthread, nullptr, WEXOND_ThreadRun, nullptr)) {
        WEXOND_LOG("Create gpWEXOND_pthread error!\n\n");
        return -1;
    }
    if (families.start_events()) {
        WEXOND_LOG("WEXOND_Notify_ThreadInit error\n\n");
        return -1;
    }
    return 0;
}

void WEXOND_ThreadJoin()
{
    pthread_join(gpWEXOND_pthread, nullptr);
}
