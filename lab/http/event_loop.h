// Timers and descriptors of the event loop, and what else of the bus libraries calls back, as members of objects.
#pragma once

#include <functional>

#include "core/bus.h"

// A structure of the bus libraries and whose it is.
template <typename Item, typename Owner> struct Tied {
    Item item = {};
    Owner *owner = nullptr;
};

template <typename Owner, typename Item> Owner &owner_of(Item *item)
{
    return *reinterpret_cast<Tied<Item, Owner> *>(item)->owner;
}

// Runs once each time that it is set. Neither moves nor outlives what it runs on.
class Timer
{
  public:
    explicit Timer(std::function<void()> run) : run_(std::move(run))
    {
        tied_.owner = this;
        tied_.item.cb = [](uloop_timeout *timeout) {
            const std::function<void()> run = owner_of<Timer>(timeout).run_; // which may end its timer
            run();
        };
    }
    ~Timer() { cancel(); }
    Timer(const Timer &) = delete;
    Timer &operator=(const Timer &) = delete;

    void set(int milliseconds) { uloop_timeout_set(&tied_.item, milliseconds); }
    void cancel() { uloop_timeout_cancel(&tied_.item); }
    bool is_set() const { return tied_.item.pending; }

  private:
    Tied<uloop_timeout, Timer> tied_;
    std::function<void()> run_;
};

// Runs whenever the descriptor can be read. The descriptor is its owner's to close, afterwards.
class Reading
{
  public:
    Reading(int descriptor, std::function<void()> run) : run_(std::move(run))
    {
        tied_.owner = this;
        tied_.item.fd = descriptor;
        tied_.item.cb = [](uloop_fd *fd, unsigned) {
            const std::function<void()> run = owner_of<Reading>(fd).run_;
            run();
        };
        uloop_fd_add(&tied_.item, ULOOP_READ | ULOOP_BLOCKING);
    }
    ~Reading() { uloop_fd_delete(&tied_.item); }
    Reading(const Reading &) = delete;
    Reading &operator=(const Reading &) = delete;

  private:
    Tied<uloop_fd, Reading> tied_;
    std::function<void()> run_;
};
