#include "tests/support/scripted_service.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace test_support
{

namespace
{

constexpr size_t kWord = 4;
constexpr size_t kHeaderSize = 4 * kWord;
constexpr size_t kPayloadLimit = 16 * 1024 * 1024;

[[noreturn]] void fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

int listen_at(const std::filesystem::path &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    unlink(path.c_str());
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) || listen(fd, 16))
        fail(path);
    return fd;
}

bool receive(int fd, std::string &bytes)
{
    return bytes.empty() || recv(fd, bytes.data(), bytes.size(), MSG_WAITALL) == static_cast<ssize_t>(bytes.size());
}

uint32_t word_at(const std::string &bytes, size_t offset)
{
    uint32_t word = 0;
    for (size_t i = kWord; i-- > 0;)
        word = word << 8 | static_cast<uint8_t>(bytes.at(offset + i));
    return word;
}

bool receive(int fd, Request &request)
{
    std::string header(kHeaderSize, '\0');
    if (!receive(fd, header))
        return false;
    uint32_t length = word_at(header, 12);
    if (length > kPayloadLimit) {
        ADD_FAILURE() << "a request claims a payload of " << length << " bytes";
        return false;
    }
    std::string payload(length, '\0');
    if (!receive(fd, payload))
        return false;
    request = {word_at(header, 0), word_at(header, 8), Bytes(payload), word_at(header, 4)};
    return true;
}

bool send(int fd, uint32_t type, const Answer &answer)
{
    auto size = static_cast<uint32_t>(answer.body.size());
    Bytes header = Bytes(kHeaderSize).u32(0, type).u32(12, answer.claimed_length ? answer.claimed_length : size);
    std::string bytes = header.data() + answer.body.data();
    return ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

} // namespace

std::ostream &operator<<(std::ostream &stream, const Request &request)
{
    return stream << "\n    type " << request.type << ", flag " << request.flag << ", expecting " << request.expected
                  << ", " << request.payload;
}

Answer record(const Bytes &record)
{
    return code(0, record);
}

Answer code(uint32_t code)
{
    return body(Bytes(kWord).u32(0, code));
}

Answer code(uint32_t code, const Bytes &record)
{
    return body(Bytes(kWord + record.size()).u32(0, code).text(kWord, record.data()));
}

Answer body(const Bytes &body)
{
    return {.body = body};
}

Answer no_answer()
{
    return {.is_given = false};
}

Answer after(Milliseconds silence, Answer answer)
{
    answer.silence = silence;
    return answer;
}

ScriptedService::ScriptedService(const std::filesystem::path &socket) : listener_(listen_at(socket))
{
    start_up_answers();
    thread_ = std::thread(&ScriptedService::accept_clients, this);
}

ScriptedService::~ScriptedService()
{
    {
        std::lock_guard lock(mutex_);
        ending_ = true;
        shutdown(listener_, SHUT_RDWR);
        for (const Client &client : clients_)
            shutdown(client.fd, SHUT_RDWR);
        changed_.notify_all();
    }
    thread_.join();
    for (Client &client : clients_) {
        client.thread.join();
        close(client.fd);
    }
    close(listener_);
}

void ScriptedService::answer(uint32_t type, const Answer &answer)
{
    answer_by(type, [answer](const Request &) { return answer; });
}

void ScriptedService::answer_in_turn(uint32_t type, const std::vector<Answer> &answers)
{
    answer_by(type, [answers, turn = size_t{0}](const Request &) mutable {
        return answers[std::min(turn++, answers.size() - 1)];
    });
}

void ScriptedService::answer_by(uint32_t type, Rule rule)
{
    std::lock_guard lock(mutex_);
    rules_[type] = std::move(rule);
}

void ScriptedService::answer_all(const Answer &answer)
{
    std::lock_guard lock(mutex_);
    rules_.clear();
    general_rule_ = [answer](const Request &) { return answer; };
}

void ScriptedService::start_up_answers()
{
    answer(185, record(Bytes(200).u32(8, 1).text(12, "lab"))); // an access point: enabled, its SSID
    answer(181, record(Bytes(48).u32(32, 1)));                 // a radio: one access point
    answer(98, record(Bytes(1156)));                           // no timers
    answer(206, record(Bytes(67844)));                         // no URL filters
    answer(211, record(Bytes(36228)));                         // no DNS filters
    answer(239, record(Bytes(4)));                             // no factory settings
    answer(60, code(0));                                       // a channel scan
}

Requests ScriptedService::take_requests()
{
    std::lock_guard lock(mutex_);
    return std::exchange(requests_, {});
}

Requests ScriptedService::wait_for_requests(size_t count, Milliseconds limit)
{
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, limit, [&] { return requests_.size() >= count; });
    return std::exchange(requests_, {});
}

size_t ScriptedService::connections()
{
    std::lock_guard lock(mutex_);
    return connections_;
}

void ScriptedService::accept_clients()
{
    for (;;) {
        int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        std::lock_guard lock(mutex_);
        if (ending_ || fd < 0) {
            close(fd);
            return;
        }
        forget_done_clients();
        connections_++;
        Client &client = clients_.emplace_back(Client{fd});
        client.thread = std::thread([this, &client] { serve(client); });
    }
}

void ScriptedService::serve(Client &client)
{
    for (Request request; receive(client.fd, request);) {
        Answer answer = judge(request);
        if (!pause(answer.silence) || !answer.is_given || !send(client.fd, request.type, answer) ||
            answer.claimed_length)
            break;
    }
    shutdown(client.fd, SHUT_RDWR);
    std::lock_guard lock(mutex_);
    client.is_done = true;
}

void ScriptedService::forget_done_clients()
{
    for (auto client = clients_.begin(); client != clients_.end();) {
        if (client->is_done) {
            client->thread.join();
            close(client->fd);
            client = clients_.erase(client);
        } else {
            ++client;
        }
    }
}

Answer ScriptedService::judge(const Request &request)
{
    std::lock_guard lock(mutex_);
    requests_.push_back(request);
    changed_.notify_all();
    auto rule = rules_.find(request.type);
    if (rule != rules_.end())
        return rule->second(request);
    if (general_rule_)
        return general_rule_(request);
    ADD_FAILURE() << "a request without a rule:" << request;
    return no_answer();
}

// False where the service ends meanwhile.
bool ScriptedService::pause(Milliseconds time)
{
    std::unique_lock lock(mutex_);
    return !changed_.wait_for(lock, time, [&] { return ending_; });
}

} // namespace test_support
