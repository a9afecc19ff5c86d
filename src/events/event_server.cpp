#include "events/event_server.h"

#include <cstdio>
#include <pthread.h>

#include "core/log.h"
#include "core/messaging.h"
#include "core/paths.h"
#include "events/event_records.h"
#include "events/event_table.h"

namespace
{

constexpr int kReceiveTimeout = 5; // seconds

pthread_t gpWEXOND_MsgRcv_pthread;
uint8_t batch[kBatchLimit]; // clients are served one at a time

// Body of the starter thread.
void *WEXOND_MsgRcv_ThreadInit(void *)
{
    if (pthread_create(&gpWEXOND_MsgRcv_pthread, nullptr, WEXOND_SocketServerRun, nullptr))
        WEXOND_LOG("Create gpWEXOND_MsgRcv_pthread error!\n\n");
    else
        pthread_join(gpWEXOND_MsgRcv_pthread, nullptr);
    return nullptr;
}

} // namespace

int WEXOND_Notify_ThreadInit()
{
    pthread_t starter;
    if (pthread_create(&starter, nullptr, WEXOND_MsgRcv_ThreadInit, nullptr))
        return 1;
    pthread_detach(starter);
    return 0;
}

void *WEXOND_SocketServerRun(void *)
{
    WEXOND_LOG("Run socket server for wexond.\n");
    int listener = SOCKET_InitListenServer(paths().event_socket);
    if (listener < 1) {
        fprintf(stderr, "Failed to listen on %s: %m\n", paths().event_socket);
        WEXOND_LOG("Init failed.\n");
        return nullptr;
    }
    for (;;) {
        int client = SOCKET_AcceptClient(listener);
        if (client > 0) {
            WEXOND_ServerListen(client);
            WEXOND_LOG("Exit socket client of wexond.\n");
            SOCKET_Close(client);
        } else {
            WEXOND_LOG("Accept failed.\n");
        }
    }
}

void WEXOND_ServerListen(int client)
{
    if (client == 0) {
        WEXOND_LOG("Fd error.\n");
        return;
    }
    WEXOND_LOG("Start listen...\n");
    memset(batch, 0, sizeof(batch));
    uint32_t length = 0;
    int result = SOCKET_Recv(client, batch, sizeof(batch), kReceiveTimeout, &length);
    if (result == SOCKET_NOTHING) {
        WEXOND_LOG("Nothing, continue listen...\n");
    } else if (result != 0) {
        WEXOND_LOG("Listen error, close socket.\n");
    } else {
        WEXOND_LOG("Something recv, goto deal.\n");
        WEXOND_ServerRecvDeal(batch, length);
    }
}

void WEXOND_ServerRecvDeal(const void *buffer, uint32_t length)
{
    const auto *bytes = static_cast<const uint8_t *>(buffer);
    uint64_t offset = 0;
    while (offset + sizeof(EventHeader) <= length) {
        const auto &header = *reinterpret_cast<const EventHeader *>(bytes + offset);
        const uint8_t *record = bytes + offset + sizeof(EventHeader);
        offset += sizeof(EventHeader) + uint64_t{header.length};
        if (offset > length) {
            WEXOND_LOG("MSG: len error, uiLen(%d), uiMsgLen(%d)\n\n", static_cast<uint32_t>(offset), length);
            return;
        }
        if (header.type >= kEventTypeLimit)
            WEXOND_LOG("MSG: Type(%d) error \n\n", static_cast<uint32_t>(header.type));
        else
            event_store(header.type, record, header.length);
    }
}
