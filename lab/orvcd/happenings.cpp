#include "happenings.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "events/event_records.h"

Happenings::Happenings() : thread_([this] { run(); }) {}

Happenings::~Happenings()
{
    {
        std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void Happenings::at(Clock::time_point time, std::function<void()> action)
{
    {
        std::lock_guard lock(mutex_);
        due_.emplace(time, std::move(action));
    }
    changed_.notify_one();
}

void Happenings::run()
{
    std::unique_lock lock(mutex_);
    while (!ending_) {
        if (due_.empty()) {
            changed_.wait(lock);
        } else if (Clock::now() < due_.begin()->first) {
            auto next = due_.begin()->first;
            changed_.wait_until(lock, next);
        } else {
            auto action = due_.extract(due_.begin());
            lock.unlock();
            action.mapped()();
            lock.lock();
        }
    }
}

namespace
{

// The daemon receives once: what does not come in one piece is lost to it.
bool send_at_once(int fd, std::string_view batch)
{
    ssize_t sent;
    do
        sent = send(fd, batch.data(), batch.size(), MSG_NOSIGNAL);
    while (sent < 0 && errno == EINTR);
    if (sent >= 0)
        errno = EMSGSIZE; // where not all went
    return sent == static_cast<ssize_t>(batch.size());
}

} // namespace

int push_event(const std::string &socket_path, uint32_t type, const std::string &record)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (socket_path.size() >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    memcpy(address.sun_path, socket_path.data(), socket_path.size());

    EventHeader header{};
    header.type = type;
    header.length = static_cast<uint32_t>(record.size());
    std::string message(reinterpret_cast<const char *>(&header), sizeof(header));
    message += record;
    if (message.size() > kBatchLimit) {
        errno = EMSGSIZE;
        return -1;
    }

    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    timeval limit = {5, 0}; // of a daemon that does not read
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
    bool taken = connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0 && send_at_once(fd, message);
    int error = errno;
    close(fd);
    errno = error;
    return taken ? 0 : -1;
}
