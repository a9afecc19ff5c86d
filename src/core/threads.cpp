#include "core/threads.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <pthread.h>

#include "core/backend.h"
#include "core/bus.h"
#include "core/catalogue.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/startup.h"

static pthread_t gpWEXOND_pthread;
static pthread_t gpWEXOND_Apbasic_pthread; // the latest of them

constexpr int kApbasicDelay = 15; // seconds

// The bus thread: it alone talks to the bus and runs every handler and timer.
static void *WEXOND_ThreadRun(void *)
{
    WEXOND_LOG("Start wexond\n\n");
    // Without a loop it would publish its objects, answer nobody and end.
    wexond_context = uloop_init() == 0 ? ubus_connect(wexond_paths().bus) : nullptr;
    if (!wexond_context) {
        fputs("Failed to connect to ubus\n", stderr);
        return nullptr;
    }
    // The library's own handler ends the loop only when the broker's end is found by a request; an idle daemon would
    // sleep on.
    wexond_context->connection_lost = wexond_bus_lost;
    ubus_add_uloop(wexond_context);
    wexond_main();
    ubus_free(wexond_context);
    uloop_done();
    WEXOND_LOG("Exit wexond\n\n");
    return nullptr;
}

int WEXOND_ThreadInit()
{
    if (pthread_create(&gpWEXOND_pthread, nullptr, WEXOND_ThreadRun, nullptr)) {
        WEXOND_LOG("Create gpWEXOND_pthread error!\n\n");
        return -1;
    }
    if (WEXOND_Notify_ThreadInit()) {
        WEXOND_LOG("WEXOND_Notify_ThreadInit error\n\n");
        return -1;
    }
    return 0;
}

void WEXOND_ThreadJoin()
{
    pthread_join(gpWEXOND_pthread, nullptr);
}

// Owns its record and touches nothing shared.
static void *WEXOND_Send_Apbasic(void *record)
{
    if (!record) {
        WEXOND_LOG("ORV_RET_PARA_NULL\n");
        return nullptr;
    }
    wexond_pause(kApbasicDelay);
    free(wexond_send_msg(kSetApBasic, kRequestFlag, record, sizeof(ApBasicRecord), sizeof(ReturnCode)));
    free(record);
    return nullptr;
}

int WEXOND_Apbasic_ThreadInit(const ApBasicRecord &basic, const char *function)
{
    auto *record = static_cast<ApBasicRecord *>(malloc(sizeof(ApBasicRecord)));
    if (!record) {
        WEXOND_LOG_AS(function, "malloc is NULL!\n");
        return 1;
    }
    *record = basic;
    WEXOND_LOG_AS(function, "pthread_create gpWEXOND_Apbasic_pthread\n\n");
    if (pthread_create(&gpWEXOND_Apbasic_pthread, nullptr, WEXOND_Send_Apbasic, record)) {
        WEXOND_LOG_AS(function, "Create gpWEXOND_Apbasic_pthread error!\n\n");
        free(record);
        return -1;
    }
    pthread_detach(gpWEXOND_Apbasic_pthread);
    return 0;
}

void wexond_pause(int seconds)
{
    timespec left = {seconds, 0};
    while (nanosleep(&left, &left) && errno == EINTR)
        ;
}
