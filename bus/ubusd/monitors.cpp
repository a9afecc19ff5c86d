#include "monitors.h"

#include <algorithm>

#include "client.h"

namespace
{

constexpr unsigned kMostMonitors = 8; // each makes every message cost as much again

struct Monitor {
    Client *client;
    uint16_t told;
};

Monitor monitors[kMostMonitors];
unsigned count = 0;

Monitor *find(const Client &client)
{
    Monitor *end = monitors + count;
    Monitor *found =
        std::find_if(monitors, end, [&client](const Monitor &monitor) { return monitor.client == &client; });
    return found == end ? nullptr : found;
}

// `put_content` adds the attributes of the message that it is about.
template <typename PutContent>
void tell(const Client &client, bool is_sent, const ubus_msghdr &header, const PutContent &put_content)
{
    for (Monitor &monitor : std::span(monitors, count)) {
        Message message(UBUS_MSG_MONITOR, ++monitor.told, 0);
        message.put_u32(UBUS_MONITOR_CLIENT, client.id.value);
        message.put_u32(UBUS_MONITOR_PEER, header.peer);
        message.put_u32(UBUS_MONITOR_SEQ, header.seq);
        message.put_u32(UBUS_MONITOR_TYPE, header.type);
        message.put_u8(UBUS_MONITOR_SEND, is_sent);
        put_content(message);
        if (message.fits()) // of the longest messages there is no telling
            client_send(*monitor.client, message, 0);
    }
}

void tell_sent(const Client &client, const Message &sent)
{
    const ubus_msghdr header = sent.header();
    if (header.type != UBUS_MSG_MONITOR)
        tell(client, true, header, [&sent](Message &message) { message.put_content(UBUS_MONITOR_DATA, sent); });
}

} // namespace

bool monitors_exist()
{
    return count != 0;
}

int monitors_add(Client &client)
{
    Monitor *monitor = find(client);
    if (!monitor && count == kMostMonitors)
        return UBUS_STATUS_NO_MEMORY;
    if (!monitor)
        monitor = &monitors[count++];
    *monitor = {.client = &client, .told = 0};
    clients_observe(tell_sent);
    return UBUS_STATUS_OK;
}

void monitors_remove(const Client &client)
{
    Monitor *monitor = find(client);
    if (!monitor)
        return;
    *monitor = monitors[--count];
    if (count == 0)
        clients_observe(nullptr);
}

void monitors_tell_received(const Client &client, const Request &request)
{
    const ubus_msghdr header = {.type = request.type, .seq = request.seq, .peer = request.peer};
    tell(client, false, header, [&request](Message &message) {
        message.put(UBUS_MONITOR_DATA, request.payload.data(), request.payload.size());
    });
}
