#include "client.h"

#include "loop.h"
#include "names.h"
#include "objects.h"

#include <cstdlib>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

avl_tree clients;
LIST_HEAD(busy_clients);
LIST_HEAD(ended_clients);

// A listing goes on, and a client that sends no more comes to its end, when the peer has read what waits for it.
bool has_work(const Client &client)
{
    bool only_sends = client.listing.active || client.finished;
    return only_sends ? !client.blocked : client.readable;
}

void make_busy(Client &client)
{
    if (!client.ended && list_empty(&client.busy)) {
        list_add_tail(&client.busy, &busy_clients);
    }
}

void client_free(Client &client)
{
    input_free(client.input);
    output_free(client.output);
    free(client.user);
    free(client.group);
    close(client.fd);
    free(&client);
}

void client_release(Client &client)
{
    lookup_cancel(client.listing);
    objects_release(client);
    avl_delete(&clients, &client.id.node);
    list_del(&client.busy);
    list_del(&client.unsent);
    client_free(client);
}

void serve_busy()
{
    LIST_HEAD(turn);
    while (!list_empty(&busy_clients)) {
        Client *client = list_first_entry(&busy_clients, Client, busy);
        list_del_init(&client->busy);
        list_add_tail(&client->busy, &turn);
    }
    while (!list_empty(&turn)) {
        Client *client = list_first_entry(&turn, Client, busy);
        list_del_init(&client->busy);
        client_serve(*client);
        if (has_work(*client)) {
            make_busy(*client);
        }
    }
}

// Releasing a client tells others of it, which may end one more.
void release_ended()
{
    if (list_empty(&ended_clients)) {
        return;
    }
    while (!list_empty(&ended_clients)) {
        client_release(*list_first_entry(&ended_clients, Client, busy));
    }
    clients_flush();
    loop_descriptor_freed();
}

void greet(Client &client)
{
    client_send(client, Message(UBUS_MSG_HELLO, 0, client.id.value));
}

} // namespace

void clients_init()
{
    ids_init(clients);
}

void client_open(int fd)
{
    auto *client = static_cast<Client *>(calloc(1, sizeof(Client)));
    if (client == nullptr) {
        close(fd);
        return;
    }
    client->fd = fd;
    INIT_LIST_HEAD(&client->objects);
    INIT_LIST_HEAD(&client->busy);
    INIT_LIST_HEAD(&client->unsent);
    if (loop_add(fd, client) != 0 || ids_add(clients, client->id) != 0) {
        client_free(*client);
        return;
    }
    greet(*client);
}

Client *client_find(uint32_t id)
{
    Id *found = ids_find(clients, id);
    return found == nullptr ? nullptr : container_of(found, Client, id);
}

void client_notice(Client &client, uint32_t events)
{
    constexpr uint32_t kHangUp = EPOLLRDHUP | EPOLLHUP | EPOLLERR;
    if ((events & (EPOLLIN | kHangUp)) != 0 && !client.finished) {
        client.readable = true;
    }
    if ((events & kHangUp) != 0) {
        client.hung_up = true;
    }
    if (client.blocked && (events & (EPOLLOUT | EPOLLHUP | EPOLLERR)) != 0) {
        client_flush(client);
    }
    if (has_work(client)) {
        make_busy(client);
    }
}

void client_end(Client &client)
{
    if (!client.ended) {
        client.ended = true;
        list_del_init(&client.busy);
        list_add_tail(&client.busy, &ended_clients);
    }
}

void client_identify(Client &client)
{
    ucred credentials;
    socklen_t length = sizeof(credentials);
    if (client.identified || getsockopt(client.fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) {
        return;
    }
    free(client.user);
    free(client.group);
    bool user_known = name_of_user(credentials.uid, client.user) == 0;
    bool group_known = name_of_group(credentials.gid, client.group) == 0;
    client.identified = user_known && group_known;
}

bool clients_turn()
{
    serve_busy();
    clients_flush();
    release_ended();
    return !list_empty(&busy_clients);
}
