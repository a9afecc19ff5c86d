// The bus library with a broker that sends anything: objects, subscribers, event handlers, synchronous and asynchronous
// requests, calls within handlers and callbacks, the loss of the connection and new ones. Objects and requests are
// freed as soon as their owner may free them.
//
// The input is a sequence of steps; act() tells what each is and needs. What the broker sends is described at
// take_traffic(); it sends some, too, whenever the library waits: a byte, 0 closes, 255 interrupts, else a number of
// messages (modulo 4, and one more). Where the wait has a limit, 254 lets it pass, 253 some time before the messages (a
// byte times 0.4 s).

#include <cerrno>
#include <set>
#include <utility>
#include <vector>

#include <libubus.h>

#include "fuzz/bus_message.h"
#include "fuzz/peer.h"
#include "fuzz/sockets.h"

namespace
{

constexpr int kDeepest = 3; // handlers and callbacks within one another
constexpr uint16_t kFirstCall = 0x8000;
constexpr int64_t kNone = INT64_MAX;
constexpr uint8_t kTimePasses = 253;

ubus_context *context; // null once it was freed
FuzzInput *script;
int depth;
size_t most_at_once; // that a send takes; 0 for everything
uint16_t last_call;
int64_t deadline;           // of the call that the program waits in; kNone where it may take any time
Bytes greeting;             // that waits to be read
std::set<uint16_t> handled; // calls that have to get a status

void step();

void step_within()
{
    if (depth < kDeepest)
        step();
}

struct Nesting {
    Nesting() { depth++; }
    ~Nesting() { depth--; }
};

// --- What the broker sends ---

// The number of the current request, or of an older one; for calls each its own.
uint16_t take_seq(uint8_t type)
{
    uint8_t choice = script->u8();
    if (type == UBUS_MSG_INVOKE && choice < 128)
        return ++last_call;
    int latest = context ? context->request_seq : 0;
    return static_cast<uint16_t>(std::max(latest - choice % 16, 0));
}

// A byte (modulo 8): 0 bytes, else a message: type, number of the request (see above), peer, attributes.
Bytes take_traffic()
{
    if (script->choice(8) == 0) {
        std::span<const uint8_t> bytes = script->short_bytes();
        return {bytes.begin(), bytes.end()};
    }
    uint8_t type = script->u8() % (UBUS_MSG_MONITOR + 2);
    uint16_t seq = take_seq(type);
    uint32_t peer = take_id(*script);
    return frame(type, seq, peer, BusMessage(*script));
}

int broker_is_waited_for(Peer &peer, int limit)
{
    REQUIRE(deadline == kNone || (0 <= limit && socket_clock + limit <= deadline));
    if (!greeting.empty()) {
        peer_send(peer, std::exchange(greeting, {}));
        return 0;
    }
    uint8_t choice = script->u8();
    if (choice == 255)
        return EINTR;
    if (choice >= kTimePasses && limit >= 0) {
        int time = choice == kTimePasses ? script->u8() * 400 : limit; // ms
        if (time >= limit)
            return ETIMEDOUT;
        socket_clock += time;
    }
    size_t before = peer.sent.size();
    for (int i = 0; i <= choice % 4 && choice != 0; i++)
        peer_send(peer, take_traffic());
    if (peer.sent.size() == before)
        peer_close(peer);
    return 0;
}

// A byte: 0 refuses, 1 greets by the next bytes, others greet as it should be.
int broker_is_connected_to(Peer &)
{
    uint8_t choice = script->u8();
    if (choice == 0)
        return ECONNREFUSED;
    greeting = frame(UBUS_MSG_HELLO, 0, 0x10000, BusMessage());
    if (choice == 1) {
        std::span<const uint8_t> bytes = script->short_bytes();
        greeting.assign(bytes.begin(), bytes.end());
    }
    return 0;
}

int broker_is_sent_to(Peer &, size_t &limit)
{
    if (most_at_once != 0)
        limit = most_at_once;
    return 0;
}

// --- What the broker gets ---

// The first message of the bytes with its header, or nothing where it is not whole.
std::span<const uint8_t> first_message(std::span<const uint8_t> bytes)
{
    blob_attr prefix;
    if (bytes.size() < sizeof(ubus_msghdr) + sizeof(prefix))
        return {};
    memcpy(&prefix, bytes.data() + sizeof(ubus_msghdr), sizeof(prefix));
    size_t length = sizeof(ubus_msghdr) + blob_raw_len(&prefix);
    return length <= bytes.size() ? bytes.first(length) : std::span<const uint8_t>();
}

void check_attributes(const blob_attr *body)
{
    size_t rem;
    blob_attr *attribute;
    blob_for_each_attr (attribute, body, rem)
        REQUIRE(0 < blob_id(attribute) && blob_id(attribute) < UBUS_ATTR_MAX);
    REQUIRE(rem == 0);
}

bool is_request(uint8_t type)
{
    return type >= UBUS_MSG_LOOKUP && type <= UBUS_MSG_NOTIFY;
}

// Whole messages, each request with a number of its own, each call with one status.
void check_received(const Peer &peer, std::set<uint16_t> &answered)
{
    std::set<uint16_t> requests;
    std::span<const uint8_t> left(peer.received);
    for (std::span<const uint8_t> message; !(message = first_message(left)).empty();
         left = left.subspan(message.size())) {
        ubus_msghdr header;
        memcpy(&header, message.data(), sizeof(header));
        ExactCopy body(message.subspan(sizeof(header)));
        check_attributes(reinterpret_cast<blob_attr *>(body.data()));
        uint16_t seq = be16_to_cpu(header.seq);
        REQUIRE(header.version == 0);
        REQUIRE(is_request(header.type) || header.type == UBUS_MSG_STATUS || header.type == UBUS_MSG_DATA);
        REQUIRE(!is_request(header.type) || requests.insert(seq).second);
        REQUIRE(header.type != UBUS_MSG_STATUS || seq <= kFirstCall || answered.insert(seq).second);
    }
    REQUIRE(left.empty() || peer.fd < 0);
}

// Whether the library has to give up a broker that sent this, once it has read it all.
bool is_malformed(std::span<const uint8_t> sent)
{
    while (sent.size() >= sizeof(ubus_msghdr) + sizeof(blob_attr)) {
        blob_attr prefix;
        memcpy(&prefix, sent.data() + sizeof(ubus_msghdr), sizeof(prefix));
        size_t length = blob_raw_len(&prefix);
        if (sent[0] != 0 || length < sizeof(prefix) || length > UBUS_MAX_MSGLEN)
            return true;
        sent = sent.subspan(std::min(sizeof(ubus_msghdr) + length, sent.size()));
    }
    return false;
}

// --- What is on the bus ---

const blobmsg_policy kPolicy[] = {{"a", BLOBMSG_TYPE_STRING}, {"b", BLOBMSG_TYPE_INT32}};

Bytes bytes_of(const blob_attr *message)
{
    return {reinterpret_cast<const uint8_t *>(message), blob_raw_len(message)};
}

std::vector<ubus_request_data> put_off;

void send_reply(ubus_request_data *request)
{
    BusMessage reply;
    blobmsg_add_string(&reply.buf, "text", script->text().c_str());
    ubus_send_reply(context, request, reply.buf.head);
}

int handle(ubus_context *ctx, ubus_object *, ubus_request_data *request, const char *method, blob_attr *message)
{
    Nesting nesting;
    blob_attr *table[2];
    REQUIRE(ctx == context && request->object != 0 && !request->deferred);
    blobmsg_parse(kPolicy, 2, table, blob_data(message), static_cast<unsigned>(blob_len(message)));
    Bytes before = bytes_of(message);
    std::string name = method, user = request->acl.user ? request->acl.user : "";
    int status = script->u8();
    switch (status % 8) {
    case 1:
        send_reply(request);
        break;
    case 2:
        put_off.emplace_back();
        ubus_defer_request(context, request, &put_off.back());
        break;
    case 3:
        send_reply(request);
        step_within();
        send_reply(request);
        break;
    case 4:
        step_within();
        step_within();
        break;
    }
    if (!request->deferred && !request->no_reply && request->seq > kFirstCall)
        handled.insert(request->seq);
    REQUIRE(name == method && before == bytes_of(message));
    return status;
}

const ubus_method kMethods[] = {UBUS_METHOD("get", handle, kPolicy), UBUS_METHOD_NOARG("set", handle)};
ubus_object_type type = UBUS_OBJECT_TYPE("fuzz", kMethods);

ubus_object *objects[3];
ubus_subscriber *subscribers[3];
ubus_event_handler *events;

void object_subscribed(ubus_context *, ubus_object *)
{
    Nesting nesting;
    step_within();
}

void subscription_ended(ubus_context *, ubus_subscriber *, uint32_t)
{
    Nesting nesting;
    step_within();
}

bool wants_object(ubus_context *, ubus_subscriber *, const char *path)
{
    return path[0] != 'n';
}

void take_event(ubus_context *, ubus_event_handler *, const char *name, blob_attr *message)
{
    Nesting nesting;
    std::string name_before = name;
    Bytes before = bytes_of(message);
    step_within();
    REQUIRE(name_before == name && before == bytes_of(message));
}

// Where a callback has been faster, its object stays in the place.
template <typename Owned> void keep(Owned *&place, Owned *owned, int (*remove)(ubus_context *, Owned *))
{
    if (!place) {
        place = owned;
        return;
    }
    remove(context, owned);
    delete owned;
}

// Nobody else gets to see an object while it is being added.
void add_object(size_t place)
{
    static constexpr const char *kNames[] = {"fuzz.a", "fuzz.b", nullptr};
    if (objects[place])
        return;
    auto *object = new ubus_object{};
    object->name = kNames[place];
    object->type = object->name ? &type : nullptr;
    object->methods = kMethods;
    object->n_methods = ARRAY_SIZE(kMethods);
    object->subscribe_cb = object_subscribed;
    int status = ubus_add_object(context, object);
    REQUIRE((status == UBUS_STATUS_OK) == (object->id != 0));
    keep(objects[place], object, ubus_remove_object);
}

void remove_object(size_t place)
{
    if (ubus_object *object = std::exchange(objects[place], nullptr)) {
        ubus_remove_object(context, object);
        delete object;
    }
}

void register_subscriber(size_t place)
{
    if (subscribers[place])
        return;
    auto *subscriber = new ubus_subscriber{};
    subscriber->cb = handle;
    subscriber->remove_cb = subscription_ended;
    subscriber->new_obj_cb = place > 0 ? wants_object : nullptr;
    ubus_register_subscriber(context, subscriber);
    keep(subscribers[place], subscriber, ubus_unregister_subscriber);
}

void unregister_subscriber(size_t place)
{
    if (ubus_subscriber *subscriber = std::exchange(subscribers[place], nullptr)) {
        ubus_unregister_subscriber(context, subscriber);
        delete subscriber;
    }
}

// --- Requests ---

// One that is not waited for.
struct Pending {
    ubus_request request;
    bool handed_over;
};

Pending *pending[4];

Pending **place_of(const ubus_request *request)
{
    return std::find_if(
        std::begin(pending), std::end(pending),
        [request](const Pending *one) { return one && &one->request == request; });
}

void take_data(ubus_request *, int message_type, blob_attr *message)
{
    Nesting nesting;
    REQUIRE(message_type == UBUS_MSG_DATA);
    Bytes before = bytes_of(message);
    step_within();
    REQUIRE(before == bytes_of(message));
}

void take_end(ubus_request *request, int)
{
    Nesting nesting;
    Pending **place = place_of(request);
    REQUIRE(place != std::end(pending));
    delete std::exchange(*place, nullptr);
    step_within();
}

void start_request(size_t place)
{
    if (pending[place])
        return;
    BusMessage arguments(*script);
    auto *one = pending[place] = new Pending{};
    ubus_invoke_async(context, take_id(*script), "method", arguments.buf.head, &one->request);
    one->request.data_cb = take_data;
    one->request.complete_cb = take_end;
}

void hand_over(size_t place)
{
    if (pending[place] && !pending[place]->handed_over) {
        pending[place]->handed_over = true;
        ubus_complete_request_async(context, &pending[place]->request);
    }
}

void abort(size_t place)
{
    if (Pending *one = std::exchange(pending[place], nullptr)) {
        ubus_abort_request(context, &one->request);
        delete one;
    }
}

void take_object(ubus_context *, ubus_object_data *object, void *)
{
    Nesting nesting;
    std::string path = object->path;
    Bytes signature = object->signature ? bytes_of(object->signature) : Bytes();
    step_within();
    REQUIRE(path == object->path && signature == (object->signature ? bytes_of(object->signature) : Bytes()));
}

// --- Life of the context ---

void lose(ubus_context *ctx)
{
    REQUIRE(depth == 0 && ctx == context);
    switch (script->u8() % 4) {
    case 0:
        return uloop_end();
    case 1:
        ubus_reconnect(context, "/bus");
        return;
    case 2:
        ubus_free(context);
        context = nullptr;
        return;
    }
}

void handle_input()
{
    if (depth > 0 || context->sock.fd < 0)
        return;
    Peer &peer = peer_of(context->sock.fd);
    for (size_t count = script->choice(8); count > 0; count--)
        peer_send(peer, take_traffic());
    uint8_t choice = script->u8();
    if (choice % 8 == 0)
        peer_close(peer);
    if (choice < 128)
        ubus_handle_event(context);
    else
        uloop_run_timeout(0);
}

void reconnect()
{
    if (depth == 0 && ubus_reconnect(context, "/bus") == UBUS_STATUS_OK)
        ubus_add_uloop(context);
}

void notify()
{
    size_t place = script->choice(std::size(objects));
    BusMessage message(*script);
    if (objects[place])
        ubus_notify(context, objects[place], "changed", message.buf.head, script->u8() % 2 ? -1 : 0);
}

void invoke()
{
    BusMessage arguments(*script);
    uint32_t object = take_id(*script);
    int limit = script->u8() % 2 * 60000;
    if (limit > 0)
        deadline = socket_clock + limit;
    ubus_invoke(context, object, "method", arguments.buf.head, take_data, nullptr, limit);
}

void answer_deferred()
{
    if (put_off.empty())
        return;
    ubus_request_data request = put_off.back();
    put_off.pop_back();
    send_reply(&request);
    ubus_complete_deferred_request(context, &request, script->u8());
}

void look_up()
{
    std::string path = script->text();
    uint32_t id = 0;
    if (script->u8() % 2)
        ubus_lookup(context, path.empty() ? nullptr : path.c_str(), take_object, nullptr);
    else if (ubus_lookup_id(context, path.c_str(), &id) == UBUS_STATUS_OK)
        REQUIRE(id != 0);
}

void handle_events()
{
    auto *handler = events ? events : new ubus_event_handler{};
    handler->cb = take_event;
    ubus_register_event_handler(context, handler, script->text().c_str());
    if (handler != events)
        keep(events, handler, ubus_unregister_event_handler);
}

void send_event()
{
    BusMessage data(*script);
    ubus_send_event(context, script->text().c_str(), data.buf.head);
}

void change_subscription()
{
    size_t place = script->choice(std::size(subscribers));
    uint8_t choice = script->u8();
    uint32_t id = take_id(*script);
    if (subscribers[place])
        (choice % 2 ? ubus_subscribe : ubus_unsubscribe)(context, subscribers[place], id);
}

void act()
{
    switch (script->u8() % 20) {
    case 0:
    case 1:
    case 2:
    case 3:
        return handle_input();
    case 4:
        return add_object(script->choice(std::size(objects)));
    case 5:
        return remove_object(script->choice(std::size(objects)));
    case 6:
        return invoke();
    case 7:
        return start_request(script->choice(std::size(pending)));
    case 8:
        return hand_over(script->choice(std::size(pending)));
    case 9:
        return abort(script->choice(std::size(pending)));
    case 10:
        return notify();
    case 11:
        return look_up();
    case 12:
        return register_subscriber(script->choice(std::size(subscribers)));
    case 13:
        return unregister_subscriber(script->choice(std::size(subscribers)));
    case 14:
        return change_subscription();
    case 15:
        return handle_events();
    case 16:
        return send_event();
    case 17:
        return reconnect();
    case 18:
        return answer_deferred();
    case 19:
        most_at_once = script->u8();
        return;
    }
}

// Within another one it has its own time.
void step()
{
    if (!context)
        return;
    int64_t outer = std::exchange(deadline, kNone);
    act();
    deadline = outer;
}

void begin()
{
    depth = 0;
    deadline = kNone;
    most_at_once = 0;
    last_call = kFirstCall;
    greeting.clear();
    handled.clear();
    type.id = 0;
    peers_begin({.connected = broker_is_connected_to, .waits = broker_is_waited_for, .sends = broker_is_sent_to});
    context = ubus_connect("/bus");
    if (!context)
        return;
    context->connection_lost = lose;
    ubus_add_uloop(context);
}

// A broker that has sent what is no message is given up. A turn reads some of it or handles one message.
void read_rest()
{
    constexpr size_t kLeastOfATurn = sizeof(ubus_msghdr) + sizeof(blob_attr);

    if (!context || context->sock.fd < 0 || context->disconnected)
        return;
    int fd = context->sock.fd;
    size_t sent = 0;
    while (context && context->sock.fd == fd && !context->disconnected && sent != peer_of(fd).sent.size()) {
        sent = peer_of(fd).sent.size();
        for (size_t turns = 2 * (sent / kLeastOfATurn + 1); context && turns > 0; turns--)
            ubus_handle_event(context);
    }
    REQUIRE(!context || context->sock.fd != fd || context->disconnected || !is_malformed(peer_of(fd).sent));
}

template <typename Owned, size_t N> void release(Owned *(&places)[N])
{
    for (Owned *&place : places)
        delete std::exchange(place, nullptr);
}

void end()
{
    bool connected_all_the_time = context && !context->disconnected && peers().size() == 1 && peers().front().fd >= 0;
    ubus_free(context);
    context = nullptr;
    release(pending);
    release(objects);
    release(subscribers);
    delete std::exchange(events, nullptr);
    put_off.clear();
    uloop_done();
    std::set<uint16_t> answered;
    for (Peer &peer : peers())
        check_received(peer, answered);
    if (connected_all_the_time)
        for (uint16_t seq : handled)
            REQUIRE(answered.contains(seq));
    peers_end();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input(data, size);
    script = &input;
    begin();
    while (context && !input.empty())
        step();
    read_rest();
    end();
    return 0;
}
