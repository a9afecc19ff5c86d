#include "core/backend.h"

#include "core/log.h"
#include "core/messaging.h"
#include "core/paths.h"

void *wexond_send_msg(uint32_t type, uint32_t flag, const void *payload, uint32_t length, uint32_t expected)
{
    return SOCKET_SendMsgByType(paths().service, type, flag, payload, length, expected);
}

int wexond_check_ret(void **response, Status *status, const char *action)
{
    if (!*response) {
        WEXOND_LOG("Msg return buf = NULL\n");
    } else {
        uint32_t code = static_cast<const ReturnCode *>(*response)->code;
        if (code == ORV_RET_OK)
            return 0;
        WEXOND_LOG("Msg retcode = %d\n", code);
        free(*response);
        *response = nullptr;
    }
    if (status)
        fail(*status, "failed to %s", action ? action : "");
    return -1;
}

void *ask_for(Call &call, uint32_t type, const void *payload, uint32_t length, uint32_t expected, const char *action)
{
    void *response = wexond_send_msg(type, kRequestFlag, payload, length, expected);
    wexond_check_ret(&response, &call.status, action);
    return response;
}

bool read_record(Call &call, const Reading &reading, const void *payload, uint32_t length, void *record, uint32_t size)
{
    void *response = wexond_send_msg(reading.type, kRequestFlag, payload, length, sizeof(ReturnCode) + size);
    if (reading.action)
        wexond_check_ret(&response, &call.status, reading.action);
    if (response)
        memcpy(record, static_cast<char *>(response) + sizeof(ReturnCode), size);
    else
        CALL_LOG(call, "%s", reading.failure);
    bool is_read = response;
    free(response);
    return is_read;
}

bool exchange(Call &call, uint32_t type, const void *payload, uint32_t length, const char *action)
{
    void *response = ask_for(call, type, payload, length, sizeof(ReturnCode), action);
    bool is_accepted = response;
    free(response);
    return is_accepted;
}

bool accepts(uint32_t type, const void *payload, uint32_t length)
{
    Answer<ReturnCode> answer(wexond_send_msg(type, kRequestFlag, payload, length, sizeof(ReturnCode)));
    return answer.accepted();
}
