#include "server.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <microhttpd.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>

namespace
{

constexpr size_t kMemoryOfConnection = 32 * 1024; // bounds a request's head
constexpr size_t kMostIgnored = 1024 * 1024;      // of a body that is too long and in pieces
constexpr size_t kMostUnread = 256 * 1024;        // of a stream
constexpr int kRoomToSend = 128 * 1024;
constexpr long kHeartbeat = 15; // seconds
constexpr int kClockMs = 1000;

constexpr std::pair<const char *, const char *> kHeaders[] = {
    {"Content-Security-Policy", "default-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Cache-Control", "no-store"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

const Stream::Text kComment = std::make_shared<const std::string>(":\n\n");

long now()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec;
}

[[noreturn]] void refuse(const std::string &what)
{
    throw std::runtime_error(what + ": " + strerror(errno));
}

union Address {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
};

bool parse_address(const std::string &text, uint16_t port, Address &address)
{
    address = {};
    if (inet_pton(AF_INET, text.c_str(), &address.v4.sin_addr) == 1) {
        address.v4.sin_family = AF_INET;
        address.v4.sin_port = htons(port);
        return true;
    }
    address.v6.sin6_family = AF_INET6;
    address.v6.sin6_port = htons(port);
    return inet_pton(AF_INET6, text.c_str(), &address.v6.sin6_addr) == 1;
}

int descriptor_of(MHD_Connection *connection)
{
    const MHD_ConnectionInfo *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    return info ? info->connect_fd : -1;
}

void add_headers(MHD_Response *response, const char *type)
{
    for (const auto &[name, value] : kHeaders)
        MHD_add_response_header(response, name, value);
    if (type)
        MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, type);
}

// The headers that count. What stands twice, or leaves the length of the body open to two readings, is refused.
struct Head {
    Request *request;
    unsigned hosts = 0, lengths = 0, codings = 0, origins = 0, authorizations = 0;
    bool is_too_long = false;

    bool is_sound() const { return hosts == 1 && lengths + codings <= 1 && origins <= 1 && authorizations <= 1; }
};

MHD_Result take_header(void *context, MHD_ValueKind, const char *name, const char *value)
{
    auto &head = *static_cast<Head *>(context);
    const std::string text = value ? value : "";
    auto is = [&](const char *wanted) { return strcasecmp(name, wanted) == 0; };
    if (is("Host")) {
        head.hosts++;
        head.request->host = text;
    } else if (is("Origin")) {
        head.origins++;
        head.request->origin = text;
    } else if (is("Authorization")) {
        head.authorizations++;
        head.request->authorization = text;
    } else if (is("Last-Event-ID")) {
        head.request->last_event_id = text;
    } else if (is("Content-Length")) {
        head.lengths++;
        head.is_too_long = strtoull(text.c_str(), nullptr, 10) > kMostBody;
    } else if (is("Transfer-Encoding")) {
        head.codings++;
    }
    return MHD_YES;
}

} // namespace

// --- Streams ---

void Stream::push(Text text)
{
    if (!connection_ || is_ended_)
        return;
    if (kMostUnread < queued_ + text->size())
        return end();
    push_first(std::move(text));
}

void Stream::push_first(Text text)
{
    queued_ += text->size();
    queue_.push_back(std::move(text));
    pushed_ = now();
    resume();
}

void Stream::end()
{
    is_ended_ = true;
    resume();
}

void Stream::suspend()
{
    is_suspended_ = true;
    MHD_suspend_connection(connection_);
}

void Stream::resume()
{
    if (connection_ && is_suspended_)
        server_->resume(connection_);
    is_suspended_ = false;
}

long Stream::read(char *buffer, size_t room)
{
    size_t length = 0;
    while (next_ < queue_.size() && length < room) {
        const std::string &text = *queue_[next_];
        const size_t part = std::min(room - length, text.size() - offset_);
        memcpy(buffer + length, text.data() + offset_, part);
        length += part;
        offset_ += part;
        if (offset_ == text.size()) {
            offset_ = 0;
            next_++;
        }
    }
    queued_ -= length;
    if (next_ == queue_.size()) {
        queue_.clear();
        next_ = 0;
    }
    if (length > 0)
        return static_cast<long>(length);
    if (is_ended_)
        return MHD_CONTENT_READER_END_OF_STREAM;
    suspend();
    return 0;
}

// A client of whom nothing is expected is asked whether he is there; he hears that the stream is.
void Stream::tend(long time)
{
    char byte;
    if (is_suspended_ && recv(descriptor_of(connection_), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0)
        end();
    else if (queued_ == 0 && time - pushed_ >= kHeartbeat)
        push(kComment);
}

void Stream::release()
{
    connection_ = nullptr;
    is_suspended_ = false;
    queue_.clear();
}

// --- Exchanges ---

// A stream that has begun is the connection's own to end.
void Exchange::leave()
{
    connection_ = nullptr;
    if (stream_ && stage_ != Stage::END)
        stream_->release();
}

void Exchange::resume()
{
    if (server_->waiting_.erase(this) != 0)
        server_->resume(connection_);
}

void Exchange::answer(Answer answer)
{
    if (!connection_ || answer_ || stream_)
        return;
    answer_ = std::move(answer);
    resume();
}

std::shared_ptr<Stream> Exchange::answer_stream()
{
    if (!connection_ || answer_ || stream_)
        return nullptr;
    if (server_->options_.streams <= server_->streams_.size()) {
        answer(failure(503, "too many streams"));
        return nullptr;
    }
    stream_ = std::make_shared<Stream>();
    stream_->server_ = server_;
    stream_->connection_ = connection_;
    stream_->push(
        kComment); // which the head goes out with: until then the client would not know that there is a stream
    server_->streams_.push_back(stream_);
    resume();
    return stream_;
}

// --- The server ---

// A connection, and since when it owes a request or has an answer to read; below 0 while it waits for us.
struct Server::Peer {
    int descriptor;
    long since;
};

struct Server::Callbacks {
    using Held = std::shared_ptr<Exchange>;

    static void *begin(void *server, const char *target, MHD_Connection *connection)
    {
        auto exchange = std::make_shared<Exchange>();
        exchange->server_ = static_cast<Server *>(server);
        exchange->connection_ = connection;
        exchange->request_.target = target;
        return new Held(std::move(exchange));
    }

    static MHD_Result handle(void *server, MHD_Connection *connection, const char *, const char *method, const char *,
                             const char *data, size_t *size, void **held)
    {
        auto exchange = *static_cast<Held *>(*held);
        try {
            return static_cast<MHD_Result>(
                static_cast<Server *>(server)->handle(connection, *exchange, method, data, size) != 0);
        } catch (const std::exception &error) {
            fprintf(stderr, "labhttpd: %s\n", error.what());
            return MHD_NO;
        }
    }

    static void end(void *, MHD_Connection *connection, void **held, MHD_RequestTerminationCode)
    {
        auto *exchange = static_cast<Held *>(*held);
        if (exchange) {
            (*exchange)->leave();
            delete exchange;
        }
        *held = nullptr;
        if (Peer *peer = peer_of(connection))
            peer->since = now();
    }

    static void connect(void *context, MHD_Connection *connection, void **peer, MHD_ConnectionNotificationCode code)
    {
        auto &server = *static_cast<Server *>(context);
        if (code == MHD_CONNECTION_NOTIFY_STARTED) {
            // Bytes that a client does not read are held here, not by the kernel as well.
            const int room = kRoomToSend;
            setsockopt(descriptor_of(connection), SOL_SOCKET, SO_SNDBUF, &room, sizeof(room));
            *peer = &server.peers_.emplace_back(Peer{descriptor_of(connection), now()});
            if (!server.clock_.is_set())
                server.clock_.set(kClockMs);
        } else {
            server.peers_.remove_if([&](const Peer &one) { return &one == *peer; });
            server.again_.set(0); // so that one who had to wait is let in
        }
    }

    static Peer *peer_of(MHD_Connection *connection)
    {
        const MHD_ConnectionInfo *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
        return info ? static_cast<Peer *>(info->socket_context) : nullptr;
    }

    static ssize_t read(void *stream, uint64_t, char *buffer, size_t room)
    {
        return (*static_cast<std::shared_ptr<Stream> *>(stream))->read(buffer, room);
    }

    static void release(void *stream)
    {
        auto *held = static_cast<std::shared_ptr<Stream> *>(stream);
        (*held)->release();
        delete held;
    }

    // The path is judged as it came.
    static size_t keep_escapes(void *, MHD_Connection *, char *text) { return strlen(text); }

    static void log(void *, const char *, va_list) {}
};

Server::Server(const Options &options, Serve serve) : options_(options), serve_(std::move(serve))
{
    listen();
    start();
}

Server::~Server()
{
    for (const auto &stream : streams_)
        stream->end();
    while (!waiting_.empty())
        (*waiting_.begin())->answer(failure(503, "the gateway ends"));
    for (Peer &peer : peers_)
        shutdown(peer.descriptor, SHUT_RDWR);
    reading_.reset();
    MHD_stop_daemon(daemon_); // which closes the socket
}

void Server::listen()
{
    Address address;
    if (!parse_address(options_.address, options_.port, address))
        throw std::runtime_error(options_.address + ": no address");
    const bool is_v6 = address.any.sa_family == AF_INET6;
    socklen_t length = is_v6 ? sizeof(address.v6) : sizeof(address.v4);
    socket_ = socket(address.any.sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    if (socket_ < 0 || setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0 ||
        bind(socket_, &address.any, length) != 0 || ::listen(socket_, 128) != 0 ||
        getsockname(socket_, &address.any, &length) != 0)
        refuse(options_.address);
    const std::string host = is_v6 ? "[" + options_.address + "]" : options_.address;
    url_ = "http://" + host + ":" + std::to_string(ntohs(is_v6 ? address.v6.sin6_port : address.v4.sin_port));
    for (const std::string &name :
         {options_.address, std::string("127.0.0.1"), std::string("localhost"), std::string("::1")})
        options_.hosts.push_back(name);
}

void Server::start()
{
    daemon_ = MHD_start_daemon(
        MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG, 0, nullptr, nullptr, Callbacks::handle, this,
        MHD_OPTION_EXTERNAL_LOGGER, Callbacks::log, nullptr, MHD_OPTION_LISTEN_SOCKET, socket_,
        MHD_OPTION_CONNECTION_LIMIT, options_.connections, MHD_OPTION_CONNECTION_MEMORY_LIMIT, kMemoryOfConnection,
        MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_UNESCAPE_CALLBACK, Callbacks::keep_escapes, nullptr,
        MHD_OPTION_URI_LOG_CALLBACK, Callbacks::begin, this, MHD_OPTION_NOTIFY_COMPLETED, Callbacks::end, nullptr,
        MHD_OPTION_NOTIFY_CONNECTION, Callbacks::connect, this, MHD_OPTION_END);
    if (!daemon_)
        throw std::runtime_error("the HTTP library does not start");
    const MHD_DaemonInfo *info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD);
    reading_ = std::make_unique<Reading>(info->epoll_fd, [this] { run(); });
}

void Server::run()
{
    MHD_run(daemon_);
    drop_departed();
    MHD_UNSIGNED_LONG_LONG left;
    if (MHD_get_timeout(daemon_, &left) == MHD_YES)
        again_.set(static_cast<int>(std::min<unsigned long long>(left, kClockMs)));
}

// Perhaps from within the HTTP library: the loop has its turn first.
void Server::resume(MHD_Connection *connection)
{
    MHD_resume_connection(connection);
    again_.set(0);
}

// Not from within the HTTP library, since it may come back to it.
void Server::drop_departed()
{
    for (auto next = streams_.begin(); next != streams_.end();) {
        const auto stream = *next;
        if (stream->connection_) {
            ++next;
            continue;
        }
        next = streams_.erase(next);
        if (stream->gone)
            stream->gone();
    }
}

// Who takes too long is cut off; who looks no more is noticed. There is nothing to do while nobody is there.
void Server::watch_time()
{
    const long time = now();
    for (const Peer &peer : peers_)
        if (peer.since >= 0 && time - peer.since > options_.patience_s)
            shutdown(peer.descriptor, SHUT_RDWR);
    for (const auto &stream : streams_)
        if (stream->connection_)
            stream->tend(time);
    if (!peers_.empty())
        clock_.set(kClockMs);
}

unsigned Server::handle(MHD_Connection *connection, Exchange &exchange, const char *method, const char *data,
                        size_t *size)
{
    switch (exchange.stage_) {
    case Exchange::Stage::HEAD:
        exchange.stage_ = Exchange::Stage::BODY;
        exchange.answer_ = take_head(connection, exchange, method);
        return exchange.answer_ ? queue(connection, exchange) : unsigned{MHD_YES};
    case Exchange::Stage::BODY:
        return *size > 0 ? take_body(exchange, data, size) : work(connection, exchange.shared_from_this());
    case Exchange::Stage::WORK:
        return queue(connection, exchange);
    case Exchange::Stage::END:
        break;
    }
    return MHD_NO;
}

// The answer where the body is of no interest.
std::optional<Answer> Server::take_head(MHD_Connection *connection, Exchange &exchange, const char *method)
{
    exchange.request_.method = method;
    Head head{&exchange.request_};
    MHD_get_connection_values(connection, MHD_HEADER_KIND, take_header, &head);
    if (!head.is_sound())
        return Answer{400, "text/html; charset=utf-8", "<h1>Bad Request</h1>"};
    Verdict verdict = judge(exchange.request_, options_.hosts);
    if (auto *answer = std::get_if<Answer>(&verdict))
        return *answer;
    exchange.destination_ = std::get<Destination>(verdict);
    if (head.is_too_long)
        return refuse_long_body(exchange.destination_.route);
    return std::nullopt;
}

// An answer is possible only at the end of a body: what is too long is passed over, but not for ever.
unsigned Server::take_body(Exchange &exchange, const char *data, size_t *size)
{
    exchange.body_length_ += *size;
    if (kMostBody + kMostIgnored < exchange.body_length_)
        return MHD_NO;
    if (exchange.body_length_ <= kMostBody)
        exchange.request_.body.append(data, *size);
    *size = 0;
    return MHD_YES;
}

unsigned Server::work(MHD_Connection *connection, const std::shared_ptr<Exchange> &exchange)
{
    exchange->stage_ = Exchange::Stage::WORK;
    if (Peer *peer = Callbacks::peer_of(connection))
        peer->since = -1;
    if (kMostBody < exchange->body_length_)
        exchange->answer(refuse_long_body(exchange->destination_.route));
    else
        serve_(exchange);
    if (exchange->answer_ || exchange->stream_)
        return queue(connection, *exchange);
    waiting_.insert(exchange.get());
    MHD_suspend_connection(connection);
    return MHD_YES;
}

unsigned Server::queue(MHD_Connection *connection, Exchange &exchange)
{
    exchange.stage_ = Exchange::Stage::END;
    if (exchange.stream_)
        return queue_stream(connection, exchange.stream_);
    if (Peer *peer = Callbacks::peer_of(connection))
        peer->since = now();
    Answer &answer = *exchange.answer_;
    MHD_Response *response =
        MHD_create_response_from_buffer(answer.body.size(), answer.body.data(), MHD_RESPMEM_MUST_COPY);
    if (!response)
        return MHD_NO;
    add_headers(response, answer.type);
    const MHD_Result result = MHD_queue_response(connection, answer.status, response);
    MHD_destroy_response(response);
    return result;
}

unsigned Server::queue_stream(MHD_Connection *connection, const std::shared_ptr<Stream> &stream)
{
    auto *held = new std::shared_ptr<Stream>(stream);
    MHD_Response *response =
        MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, 1024, Callbacks::read, held, Callbacks::release);
    if (!response) {
        Callbacks::release(held);
        return MHD_NO;
    }
    add_headers(response, "text/event-stream");
    const MHD_Result result = MHD_queue_response(connection, MHD_HTTP_OK, response);
    MHD_destroy_response(response);
    return result;
}
