#include "server.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <poll.h>
#include <random>
#include <sys/socket.h>
#include <system_error>

#include "domainsocket.h"

constexpr size_t kMostClients = 256;

// Milliseconds between two looks at the state file. Looking costs less than being told: the system watches no more
// files for one user than there may be labs.
constexpr int kStatePause = 250;

Server::~Server()
{
    {
        std::lock_guard lock(mutex_);
        ending_ = true;
        for (Client &client : clients_)
            shutdown(client.descriptor, SHUT_RDWR);
    }
    end_.notify_all();
    for (Client &client : clients_)
        client.thread.join();
}

void Server::run(int listener, int end)
{
    pollfd entries[] = {{end, POLLIN, 0}, {listener, POLLIN, 0}};
    const int pause = service_.has_state_file() ? kStatePause : -1;
    for (;;) {
        entries[0].revents = entries[1].revents = 0;
        if (poll(entries, 2, pause) < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "poll");
        if (entries[0].revents != 0)
            return;
        service_.look_at_state_file();
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
    Request request = {header.type, header.flag, header.expected, {payload, header.length}};
    if (request.type == kFaultCommand)
        return answer_command(descriptor, std::string(request.payload));
    return answer(descriptor, request, faults_.take(request.type));
}

namespace
{

// A record under a fault. Its bytes are other ones each time, the same in every run.
void spoil(Reply &reply, const Fault &fault)
{
    static std::atomic<uint32_t> seed = 1;
    std::string &record = reply.record;
    if (fault.kind == Fault::SHORT) {
        record.erase(record.size() - std::min<size_t>(fault.value, record.size()));
    } else if (fault.kind == Fault::LONG) {
        record.append(fault.value, '\x5a');
    } else {
        std::minstd_rand random(seed++);
        for (char &byte : record)
            byte = static_cast<char>(random() >> 8);
    }
    reply.decode = nullptr;
}

} // namespace

bool Server::answer(int descriptor, const Request &request, const Fault &fault)
{
    const auto start = std::chrono::steady_clock::now();
    Reply reply = kOk;
    if (fault.kind == Fault::CODE)
        reply = static_cast<ReturnCode>(fault.value);
    else if (fault.kind != Fault::SILENT && fault.kind != Fault::CLOSE)
        reply = service_.answer(request);
    if (fault.kind == Fault::SHORT || fault.kind == Fault::LONG || fault.kind == Fault::GARBAGE)
        spoil(reply, fault);
    if (fault.kind == Fault::DELAY && !wait(std::chrono::milliseconds(fault.value)))
        return false;
    auto latency = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
    journal_.add_request(request, reply, latency, text_of(fault));
    if (fault.kind == Fault::SILENT || fault.kind == Fault::DROP)
        return true;
    return fault.kind != Fault::CLOSE && SOCKET_SendAnswer(descriptor, request.type, reply.code, reply.record.data(),
                                                           static_cast<uint32_t>(reply.record.size())) == 0;
}

bool Server::answer_command(int descriptor, const std::string &words)
{
    uint32_t code = 0;
    std::string text;
    try {
        text = faults_.command(words);
    } catch (const std::exception &error) {
        code = 1;
        text = error.what();
    }
    return SOCKET_SendAnswer(descriptor, kFaultCommand, code, text.data(), static_cast<uint32_t>(text.size())) == 0;
}

// False where the service ends meanwhile.
bool Server::wait(std::chrono::milliseconds time)
{
    std::unique_lock lock(mutex_);
    return !end_.wait_for(lock, time, [this] { return ending_; });
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
