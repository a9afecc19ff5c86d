#include "answers.h"

#include "client.h"

void answer_status(Client &client, uint16_t seq, uint32_t peer, int status)
{
    Message message(UBUS_MSG_STATUS, seq, peer);
    message.put_u32(UBUS_ATTR_STATUS, static_cast<uint32_t>(status));
    client_answer(client, message);
}
