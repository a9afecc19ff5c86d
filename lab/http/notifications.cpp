#include "notifications.h"

#include <algorithm>

namespace
{

// Objects come in numbers, stations above all.
constexpr int kLookAfterMs = 20;

bool may_subscribe(const Grants &grants, const std::string &path)
{
    return allows(grants, "ubus", path.c_str(), ":subscribe");
}

// Of "event: NAME", "data: MESSAGE" and an empty line.
std::string with_object(const std::string &path, const std::string &event)
{
    constexpr size_t kName = sizeof("event: ") - 1, kMessage = sizeof("\ndata: ") - 1;
    const size_t end = event.find('\n');
    const std::string name = event.substr(kName, end - kName);
    const size_t message = end + kMessage;
    return "data: {\"object\":" + write_json(path) + ",\"name\":" + write_json(name) +
           ",\"message\":" + event.substr(message, event.size() - 2 - message) + "}\n\n";
}

} // namespace

Notifications::Notifications(Bus &bus) : bus_(bus)
{
    bus.changed = [this] {
        if (!listeners_.empty() && !look_.is_set())
            look_.set(kLookAfterMs);
    };
}

void Notifications::add(const std::shared_ptr<Stream> &stream, Grants grants)
{
    listeners_.push_back({stream, std::move(grants)});
    stream->gone = [this, listener = std::prev(listeners_.end())] { remove(listener); };
    look();
}

void Notifications::remove(std::list<Listener>::iterator listener)
{
    listeners_.erase(listener);
    for (auto next = subscriptions_.begin(); next != subscriptions_.end();) {
        const auto subscription = next++;
        if (is_wanted(subscription->first))
            continue;
        bus_.unsubscribe(subscription->second);
        subscriptions_.erase(subscription);
    }
}

void Notifications::look()
{
    Listing objects;
    if (listeners_.empty() || bus_.list("*", objects) != UBUS_STATUS_OK)
        return;
    for (const auto &[path, methods] : objects)
        if (!subscriptions_.contains(path) && is_wanted(path))
            subscribe(path);
}

bool Notifications::is_wanted(const std::string &path) const
{
    return std::any_of(
        listeners_.begin(), listeners_.end(),
        [&](const Listener &listener) { return may_subscribe(listener.grants, path); });
}

void Notifications::subscribe(const std::string &path)
{
    uint64_t key = 0;
    const int status = bus_.subscribe(
        path,
        [this, path](const Stream::Text &event) {
            if (event)
                pass_on(path, event);
            else
                subscriptions_.erase(path);
        },
        key);
    if (status == UBUS_STATUS_OK)
        subscriptions_[path] = key;
}

void Notifications::pass_on(const std::string &path, const Stream::Text &event) const
{
    const auto text = std::make_shared<const std::string>(with_object(path, *event));
    for (const Listener &listener : listeners_)
        if (may_subscribe(listener.grants, path))
            listener.stream->push(text);
}
