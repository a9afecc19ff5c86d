#include "server.h"

#include "domainsocket.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

static constexpr size_t kMostClients = 256;

Server::~Server()
{
    {
        std::lock_guard lock(mutex_);
        for (Client &client : clients_)
            shutdown(client.descriptor, SHUT_RDWR);
    }
    for (Client &client : clients_)
        client.thread.join();
}

void Server::run(int listener, int end)
{
    pollfd entries[] = {{end, POLLIN, 0}, {listener, POLLIN, 0}};
    for (;;) {
        if (poll(entries, 2, -1) < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "poll");
        if (entries[0].revents != 0)
            return;
        remove_ended();
        if (entries[1].revents != 0)
            start(SOCKET_AcceptClient(listener));
    }
}

void Server::start(int descriptor)
{
    if (descriptor < 0)
        return; // the library has paused where there was need to
    if (clients_.size() >= kMostClients) {
        fprintf(stderr, "orvcd: more than %zu clients, turned one away\n", kMostClients);
        SOCKET_Close(descriptor);
        return;
    }
    std::lock_guard lock(mutex_);
    Client &client = clients_.emplace_back();
    client.descriptor = descriptor;
    try {
        client.thread = std::thread([this, &client] { serve(client); });
    } catch (const std::system_error &error) {
        fprintf(stderr, "orvcd: turned a client away: %s\n", error.what());
        SOCKET_Close(descriptor);
        clients_.pop_back();
    }
}

void Server::serve(Client &client)
{
    auto payload = std::make_unique_for_overwrite<char[]>(SOCKET_LENGTH_LIMIT);
    while (serve_request(client.descriptor, payload.get())) {
    }
    std::lock_guard lock(mutex_);
    SOCKET_Close(client.descriptor);
    client.descriptor = -1;
    client.ended = true;
}

// Returns whether the client is worth listening to any longer.
bool Server::serve_request(int descriptor, char *payload)
{
    SOCKET_Request header;
    int result = SOCKET_RecvRequest(descriptor, &header, payload, SOCKET_LENGTH_LIMIT, -1);
    if (result == SOCKET_ERROR)
        fprintf(stderr, "orvcd: hung up on a client that sent no whole request\n");
    if (result != 0)
        return false;
    Reply reply = service_.answer({header.type, header.flag, header.expected, {payload, header.length}});
    if (log_) {
        const Row *row = find_row(header.type);
        printf("%u %s flag %u request %u expected %u code %u\n", header.type, row ? row->name : "unknown", header.flag,
               header.length, header.expected, reply.code);
    }
    return SOCKET_SendAnswer(descriptor, header.type, reply.code, reply.record.data(),
                             static_cast<uint32_t>(reply.record.size())) == 0;
}

void Server::remove_ended()
{
    std::lock_guard lock(mutex_);
    clients_.remove_if([](Client &client) {
        if (client.ended)
            client.thread.join();
        return client.ended;
    });
}
