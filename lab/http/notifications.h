// The notifications of all objects as one event stream: a browser opens no more than six connections to a host. The bus
// is subscribed to while somebody listens.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>

#include "access_lists.h"
#include "bus.h"
#include "server.h"

class Notifications
{
  public:
    explicit Notifications(Bus &bus);

    // The stream gets what the grants let subscribe to, now and when an object comes.
    void add(const std::shared_ptr<Stream> &stream, Grants grants);

  private:
    struct Listener {
        std::shared_ptr<Stream> stream;
        Grants grants;
    };

    void look();
    bool is_wanted(const std::string &path) const;
    void subscribe(const std::string &path);
    void pass_on(const std::string &path, const Stream::Text &event) const;
    void remove(std::list<Listener>::iterator listener);

    Bus &bus_;
    std::list<Listener> listeners_;
    std::map<std::string, uint64_t> subscriptions_; // their keys, by path
    Timer look_{[this] { look(); }};
};
