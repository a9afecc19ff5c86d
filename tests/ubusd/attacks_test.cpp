// Attacks of one client on others, who notice nothing. Each attack is bounded in count and time, is
// made beside a bystander who goes on calling, and leaves no memory behind.
#include "tests/ubusd/bystander.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstring>
#include <list>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "tests/support/emulator.h"

using namespace std::chrono_literals;

namespace
{

const Bytes kPing = wire("0003 0001 00000000 00000004");
const Bytes kPong = wire("0002 0001 00000000 00000004");
constexpr unsigned kNoMemory = 11, kTimedOut = 7;

#ifdef __SANITIZE_ADDRESS__
#define ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#define ADDRESS_SANITIZER __has_feature(address_sanitizer)
#else
#define ADDRESS_SANITIZER 0
#endif

// KiB. A sanitizer keeps what was freed for a while, an emulator the code that it has translated.
const long kSlack = ADDRESS_SANITIZER || !kEmulator.empty() ? 1 << 20 : 1024;

Bytes repeated(const Bytes &bytes, size_t count)
{
    Bytes all;
    all.reserve(bytes.size() * count);
    for (size_t i = 0; i < count; i++)
        all.insert(all.end(), bytes.begin(), bytes.end());
    return all;
}

Bytes add_object(unsigned seq, std::string_view path)
{
    return message(6, seq, 0, attribute(2, path) + attribute(6, Bytes{}));
}

Bytes call_of(unsigned seq, uint32_t object, size_t length)
{
    return message(5, seq, object, attribute(3, object) + attribute(4, "x") + attribute(7, Bytes(length, 1)));
}

// Receives up to the message that `is_last` is true of; how many there were, or nothing where they ended before.
template <typename Predicate> std::optional<size_t> receive_until(const RawClient &client, Predicate is_last)
{
    size_t count = 1;
    for (Bytes bytes; !(bytes = client.receive()).empty(); count++)
        if (is_last(bytes))
            return count;
    return std::nullopt;
}

// Takes what has come, without waiting.
void drain(const RawClient &client)
{
    static uint8_t buffer[1 << 16];
    while (recv(client.fd(), buffer, sizeof(buffer), MSG_DONTWAIT) > 0) {
    }
}

void raise_descriptor_limit()
{
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

class Attacks : public testing::Test
{
  protected:
    Attacks()
    {
        raise_descriptor_limit();
        memory_ = own_memory(broker.pid());
        descriptors_ = open_descriptors(broker.pid());
    }

    // The attackers have gone.
    void expect_nothing_left()
    {
        bystander.expect_served();
        for (int i = 0; i < 6000 && !is_back(); i++) // a sanitizer takes its time with what they sent
            std::this_thread::sleep_for(10ms * kSlowness);
        EXPECT_LE(own_memory(broker.pid()), memory_ + kSlack);
        EXPECT_LE(open_descriptors(broker.pid()), descriptors_);
        RawClient other(broker);
        EXPECT_TRUE(other.has_nothing_more());
    }

    Broker broker;
    Bystander bystander{broker};

  private:
    bool is_back() const
    {
        return own_memory(broker.pid()) <= memory_ + kSlack && open_descriptors(broker.pid()) <= descriptors_;
    }

    long memory_;
    size_t descriptors_;
};

// --- Queues ---

TEST_F(Attacks, AnAnswerToAnOwnRequestComesThroughAFloodOfCalls)
{
    RawClient owner(broker), flooder(broker);
    uint32_t object = owner.add_anonymous();
    flooder.send(repeated(call_of(1, object, 20000), 100));
    ASSERT_TRUE(receive_until(flooder, [&](const Bytes &bytes) { return bytes == status(1, object, kTimedOut); }));
    owner.send(add_object(9, "mine"));
    auto answer = [](const Bytes &bytes) { return bytes[1] == 2 && bytes[3] == 9; };
    auto end = [](const Bytes &bytes) { return bytes == status(9, 0, 0); };
    EXPECT_TRUE(receive_until(owner, answer));
    EXPECT_TRUE(receive_until(owner, end));
    flooder.close();
    owner.close();
    expect_nothing_left();
}

TEST_F(Attacks, RequestsWaitForOneThatDoesNotReadItsAnswers)
{
    RawClient greedy(broker);
    const Bytes request = message(3, 1, 0, attribute(7, Bytes(100000, 1)));
    constexpr size_t kRequests = 100;
    long before = own_memory(broker.pid());
    std::thread writer([&] { greedy.send(repeated(request, kRequests)); });
    std::this_thread::sleep_for(200ms);
    EXPECT_LE(own_memory(broker.pid()), before + 2048 + kSlack);
    for (size_t i = 0; i < kRequests; i++) { // none is lost
        ASSERT_BYTES(greedy.receive(), message(2, 1, 0, attribute(7, Bytes(100000, 1))));
        ASSERT_BYTES(greedy.receive(), status(1, 0, 0));
    }
    writer.join();
    greedy.close();
    expect_nothing_left();
}

TEST_F(Attacks, FloodersLeavePoliteCallersRoomInAnOwnersQueue)
{
    RawClient owner(broker), polite(broker);
    uint32_t object = owner.add_anonymous();
    std::list<RawClient> flooders;
    for (int i = 0; i < 10; i++) {
        flooders.emplace_back(broker);
        flooders.back().send(repeated(call_of(1, object, 5000), 300));
        EXPECT_TRUE(
            receive_until(flooders.back(), [&](const Bytes &bytes) { return bytes == status(1, object, kTimedOut); }));
    }
    polite.send(call_of(2, object, 5000));
    EXPECT_TRUE(polite.has_nothing_more()); // it is on its way
    EXPECT_TRUE(receive_until(owner, [&](const Bytes &bytes) { return number_at(bytes, 4) == polite.id(); }));
    flooders.clear();
    polite.close();
    owner.close();
    expect_nothing_left();
}

TEST_F(Attacks, AFloodOfEventsLeavesRoomForCalls)
{
    RawClient owner(broker), flooder(broker), polite(broker);
    uint32_t object = owner.add_anonymous();
    const Bytes registration =
        wire("85000014 0006 'object' 00 000000 %08x 83000012 0007 'pattern' 00 0000 '*' 00 0000", object);
    EXPECT_BYTES(owner.ask(message(5, 1, 1, attribute(3, 1) + attribute(4, "register") + attribute(7, registration))),
                 status(1, 1, 0));
    const Bytes data = wire("0004 'data' 00 00") + attribute(3, Bytes(20000, 1));
    const Bytes event = wire("8300000e 0002 'id' 00 000000 'x' 00 0000") + attribute(0x82, data);
    const Bytes sending = message(5, 2, 1, attribute(3, 1) + attribute(4, "send") + attribute(7, event));
    for (int i = 0; i < 100; i++)
        ASSERT_BYTES(flooder.ask(sending), status(2, 1, 0)); // events are lost without a word
    polite.send(call_of(3, object, 5000));
    EXPECT_TRUE(polite.has_nothing_more());
    EXPECT_TRUE(receive_until(owner, [&](const Bytes &bytes) { return number_at(bytes, 4) == polite.id(); }));
    flooder.close();
    polite.close();
    owner.close();
    expect_nothing_left();
}

TEST_F(Attacks, ManyThatDoNotReadShareWhatQueuesMayHold)
{
    long before = own_memory(broker.pid());
    RawClient flooder(broker);
    std::list<RawClient> lazy;
    for (int i = 0; i < 60; i++) {
        lazy.emplace_back(broker);
        uint32_t object = lazy.back().add_anonymous();
        flooder.send(repeated(call_of(1, object, 30000), 50));
        ASSERT_TRUE(receive_until(flooder, [&](const Bytes &bytes) { return bytes == status(1, object, kTimedOut); }));
        EXPECT_TRUE(receive_until(flooder, [&](const Bytes &) { return true; }));
        flooder.send(kPing);
        EXPECT_TRUE(receive_until(flooder, [&](const Bytes &bytes) { return bytes == status(1, 0, 0); }));
    }
    EXPECT_LE(own_memory(broker.pid()), before + 17 * 1024 + kSlack);
    lazy.clear();
    flooder.close();
    expect_nothing_left();
}

// --- Work ---

TEST_F(Attacks, ManyBusyClientsCostOthersOneTurn)
{
    constexpr int kClients = 200;
    std::list<RawClient> busy;
    for (int i = 0; i < kClients; i++)
        busy.emplace_back(broker);
    const Bytes pings = repeated(kPing, 2000);
    auto end = std::chrono::steady_clock::now() + 1s;
    while (std::chrono::steady_clock::now() < end) {
        for (RawClient &client : busy) {
            ::send(client.fd(), pings.data(), pings.size() / 12 * 12, MSG_DONTWAIT | MSG_NOSIGNAL);
            drain(client);
        }
    }
    busy.clear();
    expect_nothing_left();
}

TEST_F(Attacks, ConnectionsThatComeAndGoCostOthersLittle)
{
    auto end = std::chrono::steady_clock::now() + 1s;
    while (std::chrono::steady_clock::now() < end) {
        int fds[50];
        for (int &fd : fds)
            fd = connect_to(broker.path());
        for (int fd : fds)
            close(fd);
    }
    expect_nothing_left();
}

TEST_F(Attacks, ObjectsThatLeaveBesideManyPatternsCostOthersLittle)
{
    std::list<RawClient> listeners, owners;
    for (int i = 0; i < 8; i++) {
        listeners.emplace_back(broker);
        RawClient &listener = listeners.back();
        uint32_t object = listener.add_anonymous();
        Bytes requests;
        for (int j = 0; j < 512; j++) {
            const std::string pattern = "ubus.object.z" + std::to_string(j);
            Bytes text = wire("0007 'pattern' 00 0000");
            text.insert(text.end(), pattern.c_str(), pattern.c_str() + pattern.size() + 1);
            const Bytes data = wire("85000014 0006 'object' 00 000000 %08x", object) + attribute(0x83, text);
            requests = requests + message(5, j, 1, attribute(3, 1) + attribute(4, "register") + attribute(7, data));
        }
        listener.send(requests);
        for (int j = 0; j < 512; j++)
            ASSERT_BYTES(listener.receive(), status(j, 1, 0));
    }
    for (int i = 0; i < 3; i++) {
        owners.emplace_back(broker);
        std::thread writer([&] {
            for (int j = 0; j < 8000; j++)
                owners.back().send(add_object(1, "a" + std::to_string(i) + "." + std::to_string(j)));
        });
        size_t added = 0;
        for (int j = 0; j < 8000; j++) {
            owners.back().receive();
            added += owners.back().receive() == status(1, 0, 0);
        }
        writer.join();
        EXPECT_EQ(added, 8000u);
    }
    owners.clear();
    std::this_thread::sleep_for(300ms);
    listeners.clear();
    expect_nothing_left();
}

TEST_F(Attacks, ManySubscriptionsAreMadeAndEndedInNoTime)
{
    constexpr unsigned kTargets = 8000;
    RawClient owner(broker), subscriber(broker);
    std::vector<uint32_t> targets;
    std::thread writer([&] { owner.send(repeated(wire("0006 0001 00000000 00000004"), kTargets)); });
    for (unsigned i = 0; i < kTargets; i++) {
        targets.push_back(number_at(owner.receive(), 16));
        ASSERT_BYTES(owner.receive(), status(1, 0, 0));
    }
    writer.join();
    uint32_t object = subscriber.add_anonymous();
    double before = processor_seconds(broker.pid());
    std::thread asker([&] {
        for (uint32_t target : targets)
            subscriber.send(message(8, 2, 0, attribute(3, object) + attribute(8, target)));
    });
    for (unsigned i = 0; i < kTargets; i++) {
        ASSERT_BYTES(subscriber.receive(), status(2, 0, 0));
        if (i % 500 == 0)
            drain(owner);
    }
    asker.join();
    subscriber.close();
    owner.close();
    EXPECT_LT(processor_seconds(broker.pid()) - before, 1.0 * kSlowness * (ADDRESS_SANITIZER ? 5 : 1));
    expect_nothing_left();
}

TEST_F(Attacks, NotificationsToManyCostOthersLittle)
{
    RawClient owner(broker), subscriber(broker);
    uint32_t target = owner.add_anonymous();
    constexpr int kSubscribers = 2000;
    for (int i = 0; i < kSubscribers; i++) {
        uint32_t object = subscriber.add_anonymous();
        ASSERT_BYTES(subscriber.ask(message(8, 2, 0, attribute(3, object) + attribute(8, target))), status(2, 0, 0));
    }
    drain(owner);
    const Bytes notify = message(10, 3, 0, attribute(3, target) + attribute(4, "x") + wire("0a000005 01 000000"));
    const Bytes many = repeated(notify, 300);
    auto end = std::chrono::steady_clock::now() + 1s;
    while (std::chrono::steady_clock::now() < end) {
        ::send(owner.fd(), many.data(), many.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        drain(subscriber);
        std::this_thread::sleep_for(1ms);
    }
    owner.close();
    subscriber.close();
    expect_nothing_left();
}

// --- Bounds ---

TEST_F(Attacks, ObjectsAreBounded)
{
    RawClient client(broker);
    const Bytes request = wire("0006 0001 00000000 00000004");
    std::thread writer([&] { client.send(repeated(request, 8193)); });
    for (int i = 0; i < 8192; i++) {
        client.receive();
        ASSERT_BYTES(client.receive(), status(1, 0, 0));
    }
    EXPECT_BYTES(client.receive(), status(1, 0, kNoMemory));
    writer.join();
    client.close();
    expect_nothing_left();
}

TEST_F(Attacks, WhatWasGivenBackMayBeHeldAgain)
{
    RawClient client(broker);
    for (int i = 0; i < 8193; i++) {
        uint32_t object = client.add_anonymous();
        ASSERT_NE(object, 0u) << i;
        client.send(message(7, 2, 0, attribute(3, object)));
        ASSERT_BYTES(client.receive(), message(2, 2, 0, attribute(3, object)));
        ASSERT_BYTES(client.receive(), status(2, 0, 0));
    }
    client.close();
    expect_nothing_left();
}

TEST_F(Attacks, ObjectsOfAllLeaveRoomForOthers)
{
    std::list<RawClient> clients;
    std::vector<size_t> held;
    for (int i = 0; i < 8; i++) {
        clients.emplace_back(broker);
        std::thread writer([&] { clients.back().send(repeated(wire("0006 0001 00000000 00000004"), 8192)); });
        held.push_back(0);
        for (int requests = 0; requests < 8192;) {
            Bytes answer = clients.back().receive();
            ASSERT_FALSE(answer.empty());
            held.back() += answer == status(1, 0, 0);
            requests += answer[1] == 1;
        }
        writer.join();
    }
    EXPECT_EQ(held[0], 8192u);
    EXPECT_LT(held[7], held[0]);
    RawClient late(broker);
    late.add_named("late");
    clients.clear();
    late.close();
    expect_nothing_left();
}

TEST_F(Attacks, PatternsAreBounded)
{
    RawClient client(broker);
    uint32_t object = client.add_anonymous();
    const Bytes data =
        wire("85000014 0006 'object' 00 000000 %08x 83000012 0007 'pattern' 00 0000 'x' 00 0000", object);
    const Bytes request = message(5, 1, 1, attribute(3, 1) + attribute(4, "register") + attribute(7, data));
    for (int i = 0; i < 1024; i++)
        ASSERT_BYTES(client.ask(request), status(1, 1, 0));
    EXPECT_BYTES(client.ask(request), status(1, 1, kNoMemory));
    EXPECT_BYTES(client.ask(message(7, 2, 0, attribute(3, object))), message(2, 2, 0, attribute(3, object)));
    client.close();
    expect_nothing_left();
}

TEST_F(Attacks, SubscriptionsAreBounded)
{
    RawClient owner(broker), client(broker);
    uint32_t targets[2] = {owner.add_anonymous(), owner.add_anonymous()};
    unsigned code = 0;
    unsigned made = 0;
    for (; code == 0 && made < 9000; made += code == 0) {
        uint32_t object = made % 2 == 0 ? client.add_anonymous() : 0;
        static uint32_t last;
        last = object == 0 ? last : object;
        Bytes answer = client.ask(message(8, 1, 0, attribute(3, last) + attribute(8, targets[made % 2])));
        code = number_at(answer, 16);
    }
    EXPECT_EQ(made, 8192u);
    EXPECT_EQ(code, kNoMemory);
    client.close();
    owner.close();
    expect_nothing_left();
}

TEST_F(Attacks, NamesAreBounded)
{
    std::list<RawClient> clients;
    size_t held = 0;
    for (int i = 0; i < 8; i++) {
        clients.emplace_back(broker);
        unsigned code = 0;
        for (int j = 0; code == 0 && j < 20; j++) {
            std::string path = std::to_string(i) + "." + std::to_string(j) + std::string(1000000, 'x');
            Bytes answer = clients.back().ask(add_object(1, path));
            if (answer[1] == 2)
                answer = clients.back().receive();
            code = number_at(answer, 16);
            held += code == 0;
        }
        EXPECT_EQ(code, kNoMemory);
    }
    EXPECT_LE(held, 33u);
    EXPECT_LE(own_memory(broker.pid()), 40 * 1024 + kSlack);
    clients.clear();
    expect_nothing_left();
}

TEST_F(Attacks, HalfMessagesAreBounded)
{
    const Bytes whole = message(3, 1, 0, attribute(7, Bytes(1000000, 1)));
    const Bytes half(whole.begin(), whole.end() - 1);
    long before = own_memory(broker.pid());
    std::list<RawClient> halves;
    for (int i = 0; i < 40; i++) {
        halves.emplace_back(broker);
        halves.back().send(half);
    }
    EXPECT_LE(own_memory(broker.pid()), before + 18 * 1024 + kSlack);
    EXPECT_TRUE(halves.front().is_closed()); // it was silent for longest
    halves.back().send({whole.back()});
    EXPECT_BYTES(halves.back().receive(), message(2, 1, 0, attribute(7, Bytes(1000000, 1))));
    halves.clear();
    expect_nothing_left();
}

// --- Connections ---

TEST(ConnectionAttacks, OneUserLeavesOthersRoom)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs a second user";
    Broker broker({.limits = {.descriptors = 64}});
    std::vector<int> hogs;
    ASSERT_EQ(seteuid(65534), 0);
    for (int i = 0; i < 100; i++)
        hogs.push_back(connect_to(broker.path()));
    ASSERT_EQ(seteuid(0), 0);
    RawClient client(broker);
    EXPECT_TRUE(client.has_nothing_more());
    for (int fd : hogs)
        close(fd);
}

// --- Descriptors ---

// Whether it was sent.
bool send_with(int fd, Bytes bytes, const std::vector<int> &descriptors)
{
    iovec piece = {bytes.data(), bytes.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(253 * sizeof(int))] = {};
    msghdr header = {.msg_iov = &piece, .msg_iovlen = 1, .msg_control = control};
    header.msg_controllen = CMSG_SPACE(descriptors.size() * sizeof(int));
    cmsghdr *passed = CMSG_FIRSTHDR(&header);
    passed->cmsg_level = SOL_SOCKET;
    passed->cmsg_type = SCM_RIGHTS;
    passed->cmsg_len = CMSG_LEN(descriptors.size() * sizeof(int));
    memcpy(CMSG_DATA(passed), descriptors.data(), descriptors.size() * sizeof(int));
    return sendmsg(fd, &header, MSG_NOSIGNAL) == ssize_t(bytes.size());
}

// Receives a message; the descriptor that came with its first byte, or -1.
int receive_with(const RawClient &client, const Bytes &expected)
{
    Bytes bytes(12);
    iovec piece = {bytes.data(), bytes.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr header = {.msg_iov = &piece, .msg_iovlen = 1, .msg_control = control, .msg_controllen = sizeof(control)};
    EXPECT_EQ(recvmsg(client.fd(), &header, MSG_WAITALL), 12);
    bytes.resize(expected.size());
    EXPECT_EQ(recv(client.fd(), bytes.data() + 12, bytes.size() - 12, MSG_WAITALL), ssize_t(bytes.size() - 12));
    EXPECT_BYTES(bytes, expected);
    int descriptor = -1;
    if (cmsghdr *passed = CMSG_FIRSTHDR(&header))
        memcpy(&descriptor, CMSG_DATA(passed), sizeof(descriptor));
    return descriptor;
}

// The end of a pipe, by what arrives at the other one.
class Pipe
{
  public:
    Pipe() { EXPECT_EQ(pipe(ends_), 0); }
    ~Pipe()
    {
        close(ends_[0]);
        close(ends_[1]);
    }
    int writing() const { return ends_[1]; }
    void expect_same(int descriptor) const
    {
        ASSERT_GE(descriptor, 0);
        char byte = 'x';
        EXPECT_EQ(write(descriptor, &byte, 1), 1);
        EXPECT_EQ(read(ends_[0], &byte, 1), 1);
        close(descriptor);
    }

  private:
    int ends_[2];
};

class Descriptors : public Attacks
{
  protected:
    Bytes call(unsigned seq) const { return message(5, seq, object, attribute(3, object) + attribute(4, "x")); }
    Bytes forwarded(unsigned seq) const
    {
        return message(5, seq, caller.id(), attribute(3, object) + attribute(4, "x") + user_and_group());
    }

    // A TCP connection with unsent data, whose close would wait for half a minute.
    int lingering_socket()
    {
        int listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}};
        socklen_t length = sizeof(address);
        bind(listening, reinterpret_cast<sockaddr *>(&address), sizeof(address));
        listen(listening, 1);
        getsockname(listening, reinterpret_cast<sockaddr *>(&address), &length);
        int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address));
        peers.push_back(accept(listening, nullptr, nullptr));
        close(listening);
        linger patience = {.l_onoff = 1, .l_linger = 30};
        EXPECT_EQ(setsockopt(fd, SOL_SOCKET, SO_LINGER, &patience, sizeof(patience)), 0);
        static const char data[1 << 16] = {};
        for (int i = 0; i < 1000 && send(fd, data, sizeof(data), MSG_DONTWAIT | MSG_NOSIGNAL) > 0; i++) {
        }
        return fd;
    }

    void stop_broker() const
    {
        int how;
        kill(broker.pid(), SIGSTOP);
        waitpid(broker.pid(), &how, WUNTRACED);
    }

    void pass_lingering(const RawClient &client, const Bytes &bytes)
    {
        int lingering = lingering_socket();
        send_with(client.fd(), bytes, {lingering});
        close(lingering);
    }

    Descriptors()
    {
        for (int i = 0; i < 20; i++)
            ready.emplace_back(broker);
    }

    ~Descriptors() override
    {
        for (int fd : peers)
            close(fd);
    }

    RawClient owner{broker};
    RawClient caller{broker};
    uint32_t object = owner.add_anonymous();
    std::vector<int> peers;
    std::list<RawClient> ready;
};

TEST_F(Descriptors, GoToTheOwnerWithACallAndBackWithItsStatus)
{
    Pipe first, second;
    send_with(caller.fd(), call(1), {first.writing()});
    first.expect_same(receive_with(owner, forwarded(1)));
    const Bytes answer = attribute(1, uint32_t{0}) + attribute(3, object);
    send_with(owner.fd(), message(1, 1, caller.id(), answer), {second.writing()});
    second.expect_same(receive_with(caller, message(1, 1, object, answer)));
}

TEST_F(Descriptors, BelongToTheMessageTheyCameWith)
{
    Pipe pipe;
    caller.send(call(1) + call(2));
    send_with(caller.fd(), call(3), {pipe.writing()});
    caller.send(call(4));
    EXPECT_EQ(receive_with(owner, forwarded(1)), -1);
    EXPECT_EQ(receive_with(owner, forwarded(2)), -1);
    pipe.expect_same(receive_with(owner, forwarded(3)));
    EXPECT_EQ(receive_with(owner, forwarded(4)), -1);
}

TEST_F(Descriptors, WaitInTheOwnersQueueWithTheirMessage)
{
    Pipe pipe;
    RawClient flooder(broker);
    flooder.send(repeated(call_of(1, object, 20000), 18));
    EXPECT_TRUE(flooder.has_nothing_more());
    send_with(caller.fd(), call(5), {pipe.writing()});
    EXPECT_TRUE(caller.has_nothing_more());
    flooder.send(call_of(2, object, 10));
    EXPECT_TRUE(flooder.has_nothing_more());
    const Bytes head = attribute(3, object) + attribute(4, "x");
    for (int i = 0; i < 18; i++)
        ASSERT_BYTES(owner.receive(),
                     message(5, 1, flooder.id(), head + attribute(7, Bytes(20000, 1)) + user_and_group()));
    pipe.expect_same(receive_with(owner, forwarded(5)));
    EXPECT_BYTES(owner.receive(), message(5, 2, flooder.id(), head + attribute(7, Bytes(10, 1)) + user_and_group()));
}

TEST_F(Descriptors, WaitEightInAQueueAndSixtyFourInAll)
{
    Pipe pipe;
    RawClient flooder(broker);
    std::list<RawClient> owners;
    for (int queue = 0; queue < 9; queue++) {
        RawClient &reader = owners.emplace_back(broker);
        uint32_t theirs = reader.add_anonymous();
        const Bytes with = message(5, 5, theirs, attribute(3, theirs) + attribute(4, "x"));
        flooder.send(repeated(call_of(1, theirs, 20000), 18));
        EXPECT_TRUE(flooder.has_nothing_more());
        for (int waiting = 0; queue < 8 && waiting < 8; waiting++)
            send_with(caller.fd(), with, {pipe.writing()});
        EXPECT_TRUE(caller.has_nothing_more()) << "queue " << queue;
        send_with(caller.fd(), with, {pipe.writing()});
        EXPECT_BYTES(caller.receive(), status(5, theirs, kTimedOut));
        caller.send(with);
        EXPECT_TRUE(caller.has_nothing_more()) << "queue " << queue;
    }
}

TEST_F(Descriptors, AreClosedWhereNobodyTakesThem)
{
    size_t before = open_descriptors(broker.pid());
    Pipe pipe;
    const Bytes requests[] = {kPing, wire("0006 0001 00000000 00000004"),
                              message(5, 1, 9, attribute(3, 9) + attribute(4, "x")),
                              message(2, 1, caller.id(), attribute(3, object) + attribute(7, Bytes{}))};
    for (const Bytes &request : requests)
        for (int i = 0; i < 20; i++)
            send_with(caller.fd(), request, std::vector<int>(1 + i * 10, pipe.writing()));
    caller.send(wire("0003 0063 00000000 00000004"));
    EXPECT_TRUE(receive_until(caller, [](const Bytes &bytes) { return bytes == status(0x63, 0, 0); }));
    for (int i = 0; i < 500 && open_descriptors(broker.pid()) > before; i++)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(open_descriptors(broker.pid()), before);
}

// The broker's copies are the last ones: it stands still until those of the test are closed.
TEST_F(Descriptors, ThatLingerStopNobody)
{
    for (int i = 0; i < 20; i++) {
        stop_broker();
        // By itself, in the queue of a socket, and in that of a connection that is
        // dropped.
        RawClient dropped(std::move(ready.back()));
        ready.pop_back();
        pass_lingering(caller, kPing);
        int sockets[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
        int lingering = lingering_socket();
        send_with(sockets[0], kPing, {lingering});
        send_with(caller.fd(), kPing, {sockets[1]});
        close(lingering);
        close(sockets[0]);
        close(sockets[1]);
        dropped.send(wire("0003 0001 00000000 00000001"));
        pass_lingering(dropped, kPing);
        kill(broker.pid(), SIGCONT);
        EXPECT_BYTES(caller.receive(), kPong);
        EXPECT_BYTES(caller.receive(), status(1, 0, 0));
        EXPECT_BYTES(caller.receive(), kPong);
        EXPECT_BYTES(caller.receive(), status(1, 0, 0));
    }
    owner.close();
    caller.close();
    ready.clear();
    std::this_thread::sleep_for(300ms);
    expect_nothing_left();
}

TEST_F(Descriptors, ThatLingerDoNotHoldUpTheBrokersEnd)
{
    bystander.expect_served();
    stop_broker();
    for (int i = 0; i < 50; i++)
        pass_lingering(caller, kPing);
    kill(broker.pid(), SIGCONT);
    EXPECT_BYTES(caller.receive(), kPong);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(broker.end(SIGTERM), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s * kSlowness);
}

TEST_F(Descriptors, ThatCannotBePassedOnAreLeftOut)
{
    // Sockets in each other's queues, deeper than the system passes them.
    int inner[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, inner), 0);
    for (int depth = 0; depth < 4; depth++) {
        int outer[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, outer), 0);
        char byte = 0;
        iovec piece = {&byte, 1};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        msghdr header = {.msg_iov = &piece, .msg_iovlen = 1, .msg_control = control, .msg_controllen = sizeof(control)};
        cmsghdr *passed = CMSG_FIRSTHDR(&header);
        passed->cmsg_level = SOL_SOCKET;
        passed->cmsg_type = SCM_RIGHTS;
        passed->cmsg_len = CMSG_LEN(sizeof(int));
        memcpy(CMSG_DATA(passed), &inner[1], sizeof(int));
        sendmsg(outer[0], &header, MSG_NOSIGNAL);
        close(inner[0]);
        close(inner[1]);
        inner[0] = outer[0];
        inner[1] = outer[1];
    }
    send_with(caller.fd(), call(1), {inner[1]});
    close(inner[0]);
    close(inner[1]);
    int descriptor = receive_with(owner, forwarded(1));
    if (descriptor >= 0)
        close(descriptor);
    EXPECT_TRUE(caller.has_nothing_more());
    EXPECT_TRUE(owner.has_nothing_more());
}

} // namespace
