#include "core/backend.h"

#include <cstdarg>
#include <cstdio>
#include <domainsocket.h>

#include "core/log.h"
#include "core/paths.h"

// NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks the arguments against the format
void wexond_fail(Status *status, const char *format, ...)
{
    if (!status)
        return;
    status->failed = 1;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(status->reason, sizeof(status->reason), format, arguments);
    va_end(arguments);
}

void *wexond_send_msg(uint32_t type, uint32_t flag, const void *payload, uint32_t length, uint32_t expected)
{
    return SOCKET_SendMsgByType(wexond_paths().service, type, flag, payload, length, expected);
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
    wexond_fail(status, "failed to %s", action ? action : "");
    return -1;
}

bool exchange(uint32_t type, const void *payload, uint32_t length, const char *action, Status *status)
{
    void *response = wexond_send_msg(type, kRequestFlag, payload, length, sizeof(ReturnCode));
    bool accepted = wexond_check_ret(&response, status, action) == 0;
    free(response);
    return accepted;
}
