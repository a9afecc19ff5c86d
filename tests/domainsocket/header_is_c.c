/* The interface is one of C, and may be included twice. */
#include "domainsocket.h"

void *(*const send_from_c)(const char *, uint32_t, uint32_t, const void *, uint32_t, uint32_t) = SOCKET_SendMsgByType;
const struct SOCKET_Request request_in_c = {0, 0, 0, 0};
