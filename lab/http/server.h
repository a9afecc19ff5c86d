// HTTP by libmicrohttpd on the event loop's one thread: requests that are answered at once or later, event streams, and
// what bounds them all.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "event_loop.h"
#include "request.h"

struct MHD_Connection;
struct MHD_Daemon;

class Server;

// An answer without an end. Who holds it may push at any time, also when the client is gone.
class Stream
{
  public:
    using Text = std::shared_ptr<const std::string>;

    // Pushed pieces are sent in their order. A client that leaves too much unread is ended.
    void push(Text text);
    // At the beginning, when there may be more of it.
    void push_first(Text text);
    // The client reads what was pushed, and then the end.
    void end();
    // Runs once from the event loop, when there is no client any more.
    std::function<void()> gone;

  private:
    friend class Exchange;
    friend class Server;

    long read(char *buffer, size_t room);
    void suspend();
    void resume();
    void tend(long now);
    void release();

    Server *server_ = nullptr;
    MHD_Connection *connection_ = nullptr; // null when it is gone
    std::vector<Text> queue_;
    size_t next_ = 0;   // of the queue
    size_t offset_ = 0; // in it
    size_t queued_ = 0; // bytes
    long pushed_ = 0;   // when
    bool is_ended_ = false;
    bool is_suspended_ = false;
};

// A request on its way, to be answered once.
class Exchange : public std::enable_shared_from_this<Exchange>
{
  public:
    const Request &request() const { return request_; }
    const Destination &destination() const { return destination_; }
    void answer(Answer answer);
    std::shared_ptr<Stream> answer_stream();

  private:
    friend class Server;
    enum class Stage { HEAD, BODY, WORK, END };

    Server *server_ = nullptr;
    MHD_Connection *connection_ = nullptr; // null when it is gone
    Request request_;
    Destination destination_;
    Stage stage_ = Stage::HEAD;
    void resume();
    void leave();

    size_t body_length_ = 0;
    std::optional<Answer> answer_;
    std::shared_ptr<Stream> stream_;
};

class Server
{
  public:
    struct Options {
        std::string address = "127.0.0.1";
        uint16_t port = 0;
        std::vector<std::string> hosts; // further names
        int patience_s = 30;            // for a request to come, and for an answer to be read
        unsigned connections = 512;
        unsigned streams = 256;
    };
    using Serve = std::function<void(const std::shared_ptr<Exchange> &)>;

    // Throws where it cannot listen.
    Server(const Options &options, Serve serve);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    // http://ADDRESS:PORT
    const std::string &url() const { return url_; }

  private:
    friend class Exchange;
    friend class Stream;
    struct Peer;
    struct Callbacks;

    void listen();
    void start();
    void run();
    void watch_time();
    unsigned handle(MHD_Connection *connection, Exchange &exchange, const char *method, const char *data, size_t *size);
    std::optional<Answer> take_head(MHD_Connection *connection, Exchange &exchange, const char *method);
    unsigned take_body(Exchange &exchange, const char *data, size_t *size);
    unsigned work(MHD_Connection *connection, const std::shared_ptr<Exchange> &exchange);
    unsigned queue(MHD_Connection *connection, Exchange &exchange);
    unsigned queue_stream(MHD_Connection *connection, const std::shared_ptr<Stream> &stream);
    void resume(MHD_Connection *connection);
    void drop_departed();

    Options options_;
    Serve serve_;
    std::string url_;
    int socket_ = -1;
    MHD_Daemon *daemon_ = nullptr;
    std::unique_ptr<Reading> reading_;
    Timer again_{[this] { run(); }};
    Timer clock_{[this] { watch_time(); }};
    std::list<Peer> peers_;
    std::list<std::shared_ptr<Stream>> streams_;
    std::set<Exchange *> waiting_; // their connections are suspended
};
