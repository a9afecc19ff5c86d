// The gateway's one connection to the bus, on the event loop's thread: calls that wait for each other nowhere,
// listings, and subscriptions that any number of streams share. A bus that is gone is looked for until it is back.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "event_loop.h"
#include "json_text.h"

// Methods with their arguments and types by path, in the bus's order.
using Listing = std::vector<std::pair<std::string, Json>>;

class Bus
{
  public:
    struct Reply {
        int status;
        enum { ANSWERED, TIMED_OUT, NOT_SENT } end;
        std::string data; // JSON, empty where there is none
    };
    using Done = std::function<void(const Reply &)>;
    // A notification, as an event stream has it and shared by all that get it; or null at the end.
    using Receive = std::function<void(const std::shared_ptr<const std::string> &event)>;

    // The default socket where the path is empty. It need not be there yet.
    explicit Bus(const std::string &socket);
    ~Bus();
    Bus(const Bus &) = delete;
    Bus &operator=(const Bus &) = delete;

    // The object's id, or 0.
    uint32_t find(const std::string &path);
    uint32_t find_anew(const std::string &path);

    // All objects, those that begin with the path (which then ends in *), or exactly one. A status of the bus.
    int list(const std::string &path, Listing &listing);

    // Calls `done` once, from the event loop or, where the bus does not take the call, at once. `session` goes with the
    // arguments.
    void call(uint32_t object, const std::string &method, const Json &arguments, const std::string &session,
              int time_out_ms, Done done);

    // 0, or a status of the bus. The key takes the subscription away again.
    int subscribe(const std::string &path, Receive receive, uint64_t &key);
    void unsubscribe(uint64_t key);

    // Runs from the event loop when objects may have come.
    std::function<void()> changed;

  private:
    struct Call;
    struct Subject;

    void connect();
    void connected();
    void lost();
    static void objects_changed(ubus_context *, ubus_event_handler *handler, const char *event, blob_attr *message);
    static int notified(ubus_context *, ubus_object *object, ubus_request_data *, const char *name, blob_attr *message);
    static void subject_removed(ubus_context *, ubus_subscriber *subscriber, uint32_t);
    void end(Subject &subject);
    void drop(Subject &subject);
    void give_up(Call &call);
    void finish(Call &call, const Reply &reply);

    std::string socket_;
    ubus_context *bus() { return &context_.item; }

    Tied<ubus_context, Bus> context_;
    bool is_connected_ = false;
    bool was_connected_ = false;
    Timer retry_{[this] { connect(); }};
    Tied<ubus_event_handler, Bus> changes_;
    std::map<std::string, uint32_t> ids_; // of objects that are there: what goes away is told before anything else is
    std::list<Call> calls_;
    std::map<std::string, std::unique_ptr<Subject>> subjects_;
    uint64_t last_key_ = 0;
};
