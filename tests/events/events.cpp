#include "tests/events/events.h"

#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

using test_support::Bytes;

constexpr uint32_t kUnexamined = 0xDEADBEEF;

std::string event(uint32_t type, uint32_t claimed_length, std::string_view record)
{
    Bytes header = Bytes(16).u32(0, type).u32(4, kUnexamined).u32(8, kUnexamined).u32(12, claimed_length);
    return header.data() + std::string(record);
}

std::string event(uint32_t type, const Bytes &record)
{
    return event(type, static_cast<uint32_t>(record.size()), record.data());
}

std::string batch_log(std::string_view lines)
{
    return "[WEXOND_ServerListen.#]: Start listen...\n"
           "[WEXOND_ServerListen.#]: Something recv, goto deal.\n" +
           std::string(lines) + "[WEXOND_SocketServerRun.#]: Exit socket client of wexond.\n";
}

EventClient::EventClient(const std::filesystem::path &socket) : fd_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    socket.string().copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0)
        return;
    int error = errno;
    close(fd_);
    throw std::system_error(error, std::generic_category(), socket);
}

EventClient::~EventClient()
{
    close(fd_);
}

bool EventClient::send(std::string_view bytes)
{
    return ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// The daemon writes nothing: what can be read is the end, or a reset where it left bytes unread.
bool EventClient::wait_until_closed(test_support::Milliseconds limit)
{
    pollfd entry = {fd_, POLLIN, 0};
    return poll(&entry, 1, static_cast<int>(limit.count())) == 1;
}

void send_batch(const std::filesystem::path &socket, std::string_view batch)
{
    EventClient client(socket);
    if (!client.send(batch) || !client.wait_until_closed())
        throw std::runtime_error("the daemon did not take the batch");
}
