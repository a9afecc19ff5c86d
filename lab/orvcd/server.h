// The service's socket: every client has a thread of its own, so that one that stops halfway keeps nobody waiting.
#pragma once

#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>

#include "faults.h"
#include "journal.h"
#include "service.h"

class Server
{
  public:
    Server(Service &service, Journal &journal) : service_(service), journal_(journal) {}
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
    bool answer(int descriptor, const Request &request, const Fault &fault);
    bool answer_command(int descriptor, const std::string &words);
    bool wait(std::chrono::milliseconds time);
    void remove_ended();

    Service &service_;
    Journal &journal_;
    Faults faults_;
    std::mutex mutex_; // of the list, and of every client's descriptor while others may shut it down
    std::list<Client> clients_;
    std::condition_variable end_;
    bool ending_ = false;
};
