// The configuration service as a test wants it: it records every request and answers by the test's rules. Its framing
// is its own code, so that the bytes on the socket are judged independently of the daemon's messaging library:
//
//     request: u32 type, u32 flag, u32 expected length, u32 payload length, then the payload
//     answer:  u32 type, u32 0, u32 0, u32 body length, then the body: u32 return code and the record
#pragma once

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <ostream>
#include <thread>
#include <vector>

#include "tests/support/bytes.h"
#include "tests/support/process.h"

namespace test_support
{

struct Request {
    uint32_t type;
    uint32_t expected; // bytes of the answer's body that the daemon asks for
    Bytes payload = {};
    uint32_t flag = 1;

    bool operator==(const Request &) const = default;
};

using Requests = std::vector<Request>;

std::ostream &operator<<(std::ostream &stream, const Request &request);

// The service's treatment of a request. Made by the functions below.
struct Answer {
    Bytes body = {};
    bool is_given = true;        // otherwise the connection is closed without an answer
    Milliseconds silence{0};     // before anything happens
    uint32_t claimed_length = 0; // in the header, where it is not the body's length; the connection is closed after it
};

Answer record(const Bytes &record); // return code 0 and the record
Answer code(uint32_t code);         // a return code alone
Answer code(uint32_t code, const Bytes &record);
Answer body(const Bytes &body); // neither added: the bytes as they are
Answer no_answer();
Answer after(Milliseconds silence, Answer answer);

class ScriptedService
{
  public:
    using Rule = std::function<Answer(const Request &)>;

    // Listens at `socket`, which it replaces, and serves any number of connections until it is destroyed. It comes with
    // the rules of start_up_answers().
    explicit ScriptedService(const std::filesystem::path &socket);
    ~ScriptedService();
    ScriptedService(const ScriptedService &) = delete;
    ScriptedService &operator=(const ScriptedService &) = delete;

    // How requests of a type are answered from now on: always alike; in turn, the last one for good; or by a function,
    // which runs on a thread of the service. A request of a type without a rule fails the test and gets no answer.
    void answer(uint32_t type, const Answer &answer);
    void answer_in_turn(uint32_t type, const std::vector<Answer> &answers);
    void answer_by(uint32_t type, Rule rule);

    // The rule for all types, in place of every other.
    void answer_all(const Answer &answer);

    // Lets the daemon come up at once: one access point on each band, no timers and filters, the factory flag cleared.
    void start_up_answers();

    // The requests since the last call, in the order in which they came. The second waits until there are `count`.
    Requests take_requests();
    Requests wait_for_requests(size_t count, Milliseconds limit = kPatience);

    // How many connections have been accepted so far.
    size_t connections();

  private:
    // A connection and the thread that serves it.
    struct Client {
        int fd;
        std::thread thread = {};
        bool is_done = false;
    };

    void accept_clients();
    void serve(Client &client);
    void forget_done_clients();
    Answer judge(const Request &request);
    bool pause(Milliseconds time);

    int listener_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<uint32_t, Rule> rules_;
    Rule general_rule_;
    Requests requests_;
    std::list<Client> clients_;
    size_t connections_ = 0;
    bool ending_ = false;
    std::thread thread_;
};

} // namespace test_support
