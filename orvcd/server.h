// The service's socket: every client has a thread of its own, so that one that stops halfway keeps nobody waiting.
#pragma once

#include "service.h"

#include <list>
#include <mutex>
#include <thread>

class Server
{
  public:
    // With `log`, every request is a line on standard output.
    Server(Service &service, bool log) : service_(service), log_(log) {}
    ~Server(); // hangs up on every client

    // Serves clients of `listener` until the descriptor `end` is readable.
    void run(int listener, int end);

  private:
    struct Client {
        int descriptor;
        std::thread thread;
        bool ended = false;
    };

    void start(int descriptor);
    void serve(Client &client);
    bool serve_request(int descriptor, char *payload);
    void remove_ended();

    Service &service_;
    const bool log_;
    std::mutex mutex_; // of the list, and of every client's descriptor while others may shut it down
    std::list<Client> clients_;
};
