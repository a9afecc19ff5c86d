#include "tests/faults/raw_service.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

#include "tests/support/bytes.h"

bool Wire::read(size_t length) const
{
    std::string bytes(length, '\0');
    return length == 0 || recv(fd_, bytes.data(), length, MSG_WAITALL) == static_cast<ssize_t>(length);
}

bool Wire::write(std::string_view bytes) const
{
    return send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

uint32_t Wire::read_request() const
{
    uint8_t header[16];
    if (recv(fd_, header, sizeof(header), MSG_WAITALL) != sizeof(header))
        return 0;
    // No type and no length of these tests takes more than a byte.
    return read(header[12]) ? header[0] : 0;
}

void Wire::wait_until_closed() const
{
    char byte;
    settled_++;
    while (recv(fd_, &byte, sizeof(byte), 0) > 0)
        ;
}

RawService::RawService(const std::filesystem::path &socket, Script script)
    : listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
    strncpy(address.sun_path, socket.c_str(), sizeof(address.sun_path) - 1);
    unlink(address.sun_path);
    if (bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof(address)) || listen(listener_, 16))
        throw std::system_error(errno, std::generic_category(), socket);
    thread_ = std::thread([this, script] { serve(script); });
}

RawService::~RawService()
{
    {
        std::lock_guard lock(mutex_);
        ending_ = true;
        shutdown(listener_, SHUT_RDWR);
        shutdown(client_, SHUT_RDWR);
    }
    thread_.join();
    close(listener_);
}

void RawService::wait_until_settled() const
{
    while (settled_ < connections_)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// False where the service ends already.
bool RawService::begin(int client)
{
    std::lock_guard lock(mutex_);
    client_ = client;
    return !ending_;
}

void RawService::end(int client)
{
    std::lock_guard lock(mutex_);
    client_ = -1;
    close(client);
}

void RawService::serve(const Script &script)
{
    for (int client; (client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        size_t number = ++connections_;
        if (begin(client))
            script(Wire(client, settled_));
        end(client);
        settled_ = number;
    }
}
