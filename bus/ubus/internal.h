// Shared by the parts of the library; nothing of it leaves the library.
#pragma once

#include <libubus.h>

// A received message, the header in the host's byte order.
struct Message {
    ubus_msghdr header;
    blob_attr *body;
    mutable int fd = -1; // came with it; whoever takes it leaves -1, else it is closed behind the message
};

// A copy of a message that has to wait for its turn, in one piece of memory to be freed as a whole.
struct KeptMessage {
    list_head list;
    Message message;
};

// How long to wait: until the monotonic clock (milliseconds) says so, or the event loop is told to end meanwhile. Where
// it had been told so before, requests still get their answers, but a signal ends the wait.
struct Patience {
    int64_t deadline;
    bool loop_had_ended;
};

// -- connection.cpp: the stream to the broker

// Connects and takes the broker's greeting. On failure nothing is left open: UBUS_STATUS_CONNECTION_FAILED without a
// broker, UBUS_STATUS_UNKNOWN_ERROR without a greeting.
int connection_open(ubus_context *ctx, const char *path);
void connection_close(ubus_context *ctx);

// Takes the next whole message out of the receive buffer. Its body stays where it is as long as the buffer is held.
bool take_message(ubus_context *ctx, Message *message);
bool message_is_buffered(const ubus_context *ctx);

// One receive of what is there, without waiting: whether anything came.
bool receive_available(ubus_context *ctx);

// Ends all requests with an error and has connection_lost called.
void lose_connection(ubus_context *ctx);

Patience patience_of(int timeout_ms); // 0 and below: for ever
int wait_for_input(ubus_context *ctx, const Patience &patience);

// An empty message in `ctx->message`, to be filled and sent; false out of memory.
bool begin_message(ubus_context *ctx);
// The data of a call or an answer: of a null message none, but its attribute is there.
bool put_data(blob_buf *message, blob_attr *data);
int send_message(ubus_context *ctx, ubus_msg_type type, uint16_t seq, uint32_t peer);
// The same with a descriptor, which stays the caller's.
int send_message_fd(ubus_context *ctx, ubus_msg_type type, uint16_t seq, uint32_t peer, int fd);
// The same, but a short message may wait to leave in one write with the next one, or with flush_held.
int send_message_soon(ubus_context *ctx, ubus_msg_type type, uint16_t seq, uint32_t peer);
void flush_held(ubus_context *ctx);

// Keeps the buffer, and with it the messages in it, in place while one of them is being handled.
class HeldBuffer
{
  public:
    explicit HeldBuffer(ubus_context *ctx);
    ~HeldBuffer();
    HeldBuffer(const HeldBuffer &) = delete;
    HeldBuffer &operator=(const HeldBuffer &) = delete;

  private:
    ubus_receive_buffer *buffer;
};

// -- messages.cpp: attributes and queues

using Attributes = blob_attr *[UBUS_ATTR_MAX];

// Attributes that are missing, malformed or of another type are null.
void parse_attributes(const blob_attr *body, Attributes &attributes);

bool keep_message(list_head *queue, const Message &message);
KeptMessage *next_kept(list_head *queue); // null when empty; to be freed
void drop_kept(list_head *queue);

// -- requests.cpp

// Sends `ctx->message`, if it could be built, as a request to be completed; refuses what the broker would. The
// descriptor is closed once that was tried.
int start_request(ubus_context *ctx, ubus_request *req, ubus_msg_type type, uint32_t peer, bool built, int fd = -1);
// The same to the broker itself, and waits: where nothing of the answer comes for ten seconds, the connection is lost.
// `raw_data_cb` may be null.
int ask_broker(ubus_context *ctx, ubus_msg_type type, bool built, ubus_data_handler_t raw_data_cb, void *priv);
// A call of one of the broker's own objects, waited for in the same way.
int call_broker(ubus_context *ctx, uint32_t obj, const char *method, blob_attr *msg);

void handle_answer(ubus_context *ctx, const Message &message);
void fail_requests(ubus_context *ctx);

// -- objects.cpp

void handle_object_message(ubus_context *ctx, const Message &message);
// Whether it is a call that somebody waits for, not an event, a notification or word of the broker's own.
bool wants_answer(const Message &message);
// Answers a call that cannot be handled.
void refuse_call(ubus_context *ctx, const Message &message, int status);
void register_objects_again(ubus_context *ctx);

// -- subscribers.cpp

void target_removed(ubus_context *ctx, ubus_object *subscriber, uint32_t target);
void subscribe_automatically_again(ubus_context *ctx);

// -- acl.cpp

// With the context goes what ubus_register_acl registered, so that another one may register it.
void forget_listener(const ubus_context *ctx);

// -- context.cpp

enum class Dispatched { kNothing, kCall, kOther };

// Handles one message that was received, if there is one: kCall where something of the program's own ran for an object.
Dispatched dispatch_message(ubus_context *ctx);
// Forgets the calls that wait for their turn and whose callers will not see the answer.
void drop_kept_calls(ubus_context *ctx);
// Has the event loop handle what was left lying while a synchronous request waited.
void schedule_rest(ubus_context *ctx);
