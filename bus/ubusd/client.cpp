#include "client.h"

#include <cstdlib>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "closer.h"
#include "memory.h"
#include "names.h"
#include "watch.h"
#include "work.h"

namespace
{

constexpr unsigned kTrimWork = 128;     // of releasing, after which memory is given back
constexpr size_t kMostToBeClosed = 256; // descriptors of others, before no more are received

avl_tree clients;

unsigned work_since_trim = 0;

// Who has something to do: since the last turn, since earlier turns, and not before descriptors are closed.
LIST_HEAD(fresh_clients);
LIST_HEAD(busy_clients);
LIST_HEAD(pausing_clients);
LIST_HEAD(ended_clients);

// A listing goes on, and a client that sends no more comes to its end, when the peer has read what waits for it.
bool has_work(const Client &client)
{
    if (client_is_behind(client))
        return false;
    if (client.listing)
        return !client.blocked;
    return client.pending || client.readable || (client.finished && !client.blocked);
}

void make_busy(Client &client, list_head &list)
{
    if (!client.ended && list_empty(&client.busy))
        list_add_tail(&client.busy, &list);
}

bool must_pause(const Client &client)
{
    return client.passes && closer_waiting() >= kMostToBeClosed;
}

// Bytes that nobody read of a connection that did not end by itself may hold descriptors, which its close would close.
void close_connection(int fd, bool is_empty)
{
    if (is_empty) {
        close(fd);
        return;
    }
    watch_remove(fd);
    shutdown(fd, SHUT_RDWR);
    closer_close(fd);
}

void client_free(Client &client)
{
    client_forget_input(client);
    client_forget_output(client);
    free(client.user);
    free(client.group);
    if (client.account)
        user_disconnect(client.account);
    close_connection(client.fd, client.finished);
    free(&client);
}

void client_release(Client &client)
{
    work_add(1);
    avl_delete(&clients, &client.id.node);
    list_del(&client.busy);
    list_del(&client.unsent);
    client_free(client);
}

void serve_first(list_head &list)
{
    Client *client = list_first_entry(&list, Client, busy);
    list_del_init(&client->busy);
    if (must_pause(*client)) {
        make_busy(*client, pausing_clients);
        return;
    }
    work_begin_slice();
    client_serve(*client);
    if (has_work(*client))
        make_busy(*client, busy_clients);
}

void move_all(list_head &from, list_head &to)
{
    while (!list_empty(&from)) {
        list_head *first = from.next;
        list_del(first);
        list_add_tail(first, &to);
    }
}

// First those that had nothing to do before: they are few, and mostly have little to ask. Then as many of the others,
// in their order, as the turn has time for.
void serve_busy()
{
    if (!list_empty(&pausing_clients) && closer_waiting() < kMostToBeClosed)
        move_all(pausing_clients, busy_clients);
    LIST_HEAD(turn);
    move_all(busy_clients, turn);
    while (!list_empty(&fresh_clients))
        serve_first(fresh_clients);
    bool goes_on = true;
    while (goes_on && !list_empty(&turn)) {
        serve_first(turn);
        goes_on = !work_turn_is_over();
    }
    move_all(busy_clients, turn);
    move_all(turn, busy_clients);
}

// Takes away what belongs to those who ended, a slice of each in turn. Releasing a client tells others of it, which may
// end one more.
void release_ended()
{
    if (list_empty(&ended_clients))
        return;
    unsigned before = work_of_turn();
    bool goes_on = true;
    while (goes_on && !list_empty(&ended_clients)) {
        Client *client = list_first_entry(&ended_clients, Client, busy);
        work_begin_slice();
        list_del(&client->busy);
        list_add_tail(&client->busy, &ended_clients);
        if (client_hooks.release(*client))
            client_release(*client);
        goes_on = !work_turn_is_over();
    }
    clients_flush();
    work_since_trim += work_of_turn() - before;
    if (list_empty(&ended_clients) && work_since_trim >= kTrimWork) {
        memory_give_back();
        work_since_trim = 0;
    }
}

void greet(Client &client)
{
    client_answer(client, Message(UBUS_MSG_HELLO, 0, client.id.value));
}

} // namespace

ClientHooks client_hooks;

void clients_init(const ClientHooks &hooks)
{
    client_hooks = hooks;
    ids_init(clients);
}

void client_open(int fd)
{
    ucred credentials;
    socklen_t length = sizeof(credentials);
    bool known = getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) == 0;
    User *account = !known ? nullptr : user_connect(credentials.uid);
    auto *client = !account ? nullptr : static_cast<Client *>(calloc(1, sizeof(Client)));
    if (!client) {
        if (account)
            user_disconnect(account);
        close_connection(fd, false);
        return;
    }
    client->fd = fd;
    client->account = account;
    client->group_id = credentials.gid;
    client->descriptor = -1;
    shares_init(client->shares);
    INIT_LIST_HEAD(&client->objects);
    INIT_LIST_HEAD(&client->busy);
    INIT_LIST_HEAD(&client->unsent);
    INIT_LIST_HEAD(&client->keeping);
    INIT_LIST_HEAD(&client->passing);
    if (!client_hooks.admits(*client) || watch_add(fd, client) != 0 || ids_add(clients, client->id) != 0) {
        client_free(*client);
        return;
    }
    greet(*client);
}

Client *client_find(uint32_t id)
{
    Id *found = ids_find(clients, id);
    return !found ? nullptr : container_of(found, Client, id);
}

void client_notice(Client &client, uint32_t events)
{
    constexpr uint32_t kHangUp = EPOLLRDHUP | EPOLLHUP | EPOLLERR;
    if ((events & (EPOLLIN | kHangUp)) != 0 && !client.finished)
        client.readable = true;
    if ((events & kHangUp) != 0)
        client.hung_up = true;
    if (client.blocked && (events & (EPOLLOUT | EPOLLHUP | EPOLLERR)) != 0)
        client_flush(client);
    if (has_work(client))
        make_busy(client, fresh_clients);
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
    if (client.identified || getsockopt(client.fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0)
        return;
    free(client.user);
    free(client.group);
    bool user_known = name_of_user(credentials.uid, client.user) == 0;
    bool group_known = name_of_group(credentials.gid, client.group) == 0;
    client.identified = user_known && group_known;
}

bool clients_turn()
{
    work_begin_turn();
    serve_busy();
    clients_flush();
    release_ended();
    return !list_empty(&fresh_clients) || !list_empty(&busy_clients) || !list_empty(&ended_clients);
}

bool clients_pause()
{
    return !list_empty(&pausing_clients);
}
