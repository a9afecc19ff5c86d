#include "recording.h"

#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr int kIntervalMs = 50;
constexpr size_t kMostLines = 1000;
constexpr size_t kMostBefore = 1024 * 1024;
constexpr size_t kPiece = 1024 * 1024; // a longer line is passed over

std::string event_of(std::string_view line, long long end)
{
    return "id: " + std::to_string(end) + "\ndata: " + std::string(line) + "\n\n";
}

// The events of whole lines, the text beginning at `place`; how much of it they are.
size_t split(std::string_view text, long long place, std::vector<std::string> &events)
{
    size_t begin = 0;
    for (size_t end; (end = text.find('\n', begin)) != std::string_view::npos; begin = end + 1)
        events.push_back(event_of(text.substr(begin, end - begin), place + static_cast<long long>(end) + 1));
    return begin;
}

} // namespace

std::string Recording::read_at(long long place, size_t length) const
{
    std::string text(length, '\0');
    const int descriptor = open(file_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    const ssize_t got = descriptor < 0 ? 0 : pread(descriptor, text.data(), length, place);
    if (descriptor >= 0)
        close(descriptor);
    text.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
    return text;
}

void Recording::read_from_end()
{
    struct stat status = {};
    stat(file_.c_str(), &status);
    inode_ = status.st_ino;
    // A line that is being written counts as new.
    const long long from = std::max<long long>(0, status.st_size - static_cast<long long>(kPiece));
    place_ = from + static_cast<long long>(read_at(from, kPiece).rfind('\n') + 1);
}

std::vector<std::string> Recording::lines_before(size_t count, const std::string &after)
{
    long long begin = std::max<long long>(0, place_ - static_cast<long long>(kMostBefore));
    long long seen = -1;
    std::from_chars(after.data(), after.data() + after.size(), seen);
    const bool goes_on = 0 <= seen && seen <= place_;
    if (goes_on)
        begin = std::max(begin, seen);
    if (!goes_on && count == 0)
        return {};
    // From the line's end before, so that what begins in the middle of a line begins with the next.
    const long long from = std::max<long long>(0, begin - 1);
    const std::string text = read_at(from, static_cast<size_t>(place_ - from));
    const size_t skipped = begin == 0 ? 0 : std::min(text.find('\n'), text.size() - 1) + 1;
    std::vector<std::string> events;
    split(std::string_view(text).substr(std::min(skipped, text.size())), from + static_cast<long long>(skipped),
          events);
    const size_t most = goes_on ? kMostLines : std::min(count, kMostLines);
    if (most < events.size())
        events.erase(events.begin(), events.end() - static_cast<long>(most));
    return events;
}

void Recording::add(const std::shared_ptr<Stream> &stream, size_t count, const std::string &after)
{
    if (timer_.is_set())
        read_on(); // so that all see the same from here
    else
        read_from_end();
    std::string before;
    for (const std::string &event : lines_before(count, after))
        before += event;
    if (!before.empty())
        stream->push_first(std::make_shared<const std::string>(std::move(before)));
    streams_.push_back(stream);
    timer_.set(kIntervalMs);
}

void Recording::read_on()
{
    streams_.remove_if([](const auto &stream) { return stream.expired(); });
    if (streams_.empty())
        return;
    timer_.set(kIntervalMs);
    struct stat status = {};
    if (stat(file_.c_str(), &status) != 0)
        return;
    if (status.st_ino != inode_ || status.st_size < place_) {
        inode_ = status.st_ino;
        place_ = 0;
    }
    if (status.st_size == place_)
        return;
    const std::string text = read_at(place_, kPiece);
    std::vector<std::string> events;
    const size_t length = split(text, place_, events);
    place_ += static_cast<long long>(length == 0 && text.size() == kPiece ? kPiece : length);
    for (const std::string &event : events) {
        const auto shared = std::make_shared<const std::string>(event);
        for (const auto &stream : streams_)
            if (const auto held = stream.lock())
                held->push(shared);
    }
}
