#include "bench/soak_events.h"

#include <chrono>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "bench/soak_messages.h"
#include "events/event_records.h"

namespace
{

constexpr std::chrono::milliseconds kBetweenBatches{2};
constexpr size_t kTextSize = 400; // of an event that is a text

std::string message_of(uint32_t type, const std::string &record, uint32_t length)
{
    EventHeader header{};
    header.type = type;
    header.length = length;
    return std::string(reinterpret_cast<char *>(&header), sizeof(header)) + record;
}

// Small numbers, addresses and words where they may be, or any bytes.
std::string make_record(Random &random, size_t size)
{
    static const std::string kText = "00:00:5E:00:53:32";
    std::string record(size, '\0');
    switch (below(random, 3)) {
    case 0:
        for (size_t i = 0; i < size; i += 4)
            record[i] = static_cast<char>(below(random, 4));
        break;
    case 1:
        for (size_t i = 0; i < size; i++)
            record[i] = kText[i % kText.size()];
        break;
    default:
        for (char &byte : record)
            byte = static_cast<char>(below(random, 256));
    }
    return record;
}

std::string make_event(Random &random)
{
    const auto &kind = kEvents[below(random, std::size(kEvents))];
    std::string record = make_record(random, kind.size == 0 ? kTextSize : kind.size);
    return message_of(kind.type, record, static_cast<uint32_t>(record.size()));
}

std::string make_malformed(Random &random)
{
    std::string event = make_event(random);
    const auto &kind = kEvents[below(random, std::size(kEvents))];
    switch (below(random, 6)) {
    case 0: // cut anywhere
        return event.substr(0, below(random, event.size()));
    case 1: // shorter or longer than its kind
        return message_of(kind.type, std::string(below(random, 600), 'x'), static_cast<uint32_t>(below(random, 600)));
    case 2:
        return message_of(kind.type, "", UINT32_MAX - static_cast<uint32_t>(below(random, 20)));
    case 3:
        return message_of(static_cast<uint32_t>(below(random, kEventTypeLimit)), "", 0);
    case 4:
        return message_of(kEventTypeLimit + static_cast<uint32_t>(below(random, 1000)), "", 0) + event;
    default:
        return make_record(random, below(random, 20000)); // more than one batch can be
    }
}

bool send_batch(const std::string &path, const std::string &batch)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // The daemon takes what fits in one batch and closes.
    bool sent = connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0 &&
                (send(fd, batch.data(), batch.size(), MSG_NOSIGNAL) >= 0 || errno == EPIPE);
    close(fd);
    return sent;
}

} // namespace

EventStream::EventStream(const std::string &socket) : socket_(socket), thread_([this] { run(); }) {}

EventStream::~EventStream()
{
    {
        std::lock_guard lock(mutex_);
        ended_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void EventStream::pause()
{
    std::lock_guard lock(mutex_);
    paused_ = true;
}

void EventStream::resume()
{
    {
        std::lock_guard lock(mutex_);
        paused_ = false;
    }
    changed_.notify_all();
}

// A batch is sent under the lock, so that whoever pauses waits for it.
void EventStream::run()
{
    Random random(1);
    std::unique_lock lock(mutex_);
    while (!ended_) {
        changed_.wait(lock, [this] { return ended_ || !paused_; });
        if (ended_)
            return;
        std::string batch;
        for (size_t count = below(random, 20); count > 0; count--, events_++)
            batch += make_event(random);
        if (below(random, 4) == 0) {
            batch += make_malformed(random);
            malformed_++;
        }
        refused_ += !send_batch(socket_, batch);
        batches_++;
        changed_.wait_for(lock, kBetweenBatches, [this] { return ended_ || paused_; });
    }
}
