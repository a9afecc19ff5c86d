#include "wifi/deferred_settings.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <pthread.h>

#include "core/backend.h"
#include "core/clock.h"
#include "core/log.h"

namespace
{

pthread_t gpWEXOND_Apbasic_pthread; // the latest of them

constexpr int kApbasicDelay = 15; // seconds
constexpr uint32_t kMostDeferred = 64;
constexpr size_t kSenderStack = size_t{64} * 1024;

// The senders go one after another, by their tickets: the settings arrive in the order of their calls whichever thread
// wakes first, and however many there are hold one connection between them.
struct Deferred {
    ApBasicRecord basic;
    uint32_t ticket;
};

uint32_t next_ticket; // the bus thread's own
uint32_t turn;        // the ticket whose sender may go on; tickets from here to the next one wait
pthread_mutex_t turn_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t turn_changed = PTHREAD_COND_INITIALIZER;

void wait_for_turn(uint32_t ticket)
{
    pthread_mutex_lock(&turn_mutex);
    while (turn != ticket)
        pthread_cond_wait(&turn_changed, &turn_mutex);
    pthread_mutex_unlock(&turn_mutex);
}

void end_turn()
{
    pthread_mutex_lock(&turn_mutex);
    turn++;
    pthread_cond_broadcast(&turn_changed);
    pthread_mutex_unlock(&turn_mutex);
}

bool has_room_for_another()
{
    pthread_mutex_lock(&turn_mutex);
    uint32_t waiting = next_ticket - turn;
    pthread_mutex_unlock(&turn_mutex);
    return waiting < kMostDeferred;
}

// Owns its record.
void *WEXOND_Send_Apbasic(void *record)
{
    if (!record) {
        WEXOND_LOG("ORV_RET_PARA_NULL\n");
        return nullptr;
    }
    auto *deferred = static_cast<Deferred *>(record);
    pause_seconds(kApbasicDelay);
    wait_for_turn(deferred->ticket);
    free(wexond_send_msg(kSetApBasic, kRequestFlag, &deferred->basic, sizeof(deferred->basic), sizeof(ReturnCode)));
    end_turn();
    free(deferred);
    return nullptr;
}

// 0, or -1 where there is no thread.
int start_sender(Deferred *deferred)
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes))
        return -1;
    // Some processors ask for more than that.
    pthread_attr_setstacksize(&attributes, std::max<size_t>(kSenderStack, PTHREAD_STACK_MIN));
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    int result = pthread_create(&gpWEXOND_Apbasic_pthread, &attributes, WEXOND_Send_Apbasic, deferred);
    pthread_attr_destroy(&attributes);
    return result ? -1 : 0;
}

} // namespace

int WEXOND_Apbasic_ThreadInit(const ApBasicRecord &basic, const char *function)
{
    auto *deferred = static_cast<Deferred *>(malloc(sizeof(Deferred)));
    if (!deferred) {
        WEXOND_LOG_AS(function, "malloc is NULL!\n");
        return 1;
    }
    *deferred = {.basic = basic, .ticket = next_ticket};
    WEXOND_LOG_AS(function, "pthread_create gpWEXOND_Apbasic_pthread\n\n");
    if (!has_room_for_another() || start_sender(deferred)) {
        WEXOND_LOG_AS(function, "Create gpWEXOND_Apbasic_pthread error!\n\n");
        free(deferred);
        return -1;
    }
    next_ticket++;
    return 0;
}
