// Clients do nothing to each other.
#include "tests/ubusd/raw_bus.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>

namespace
{

const Bytes kPing = wire("0003 0001 00000000 00000004");
const Bytes kPong = wire("0002 0001 00000000 00000004");

class Clients : public testing::Test
{
  protected:
    // That the broker runs and serves.
    void expect_service()
    {
        RawClient other(broker);
        EXPECT_TRUE(other.has_nothing_more());
    }

    Broker broker;
};

TEST_F(Clients, LoseTheConnectionByAMalformedLength)
{
    RawClient bystander(broker);
    for (uint32_t length : {0x000000u, 0x000003u, 0x100001u, 0xffffffu, 0x80000000u, 0x7f000000u}) {
        SCOPED_TRACE(length);
        RawClient client(broker);
        client.send(kPing + wire("0003 0002 00000000 %08x", length));
        EXPECT_BYTES(client.receive(), kPong); // what came before it still counts
        EXPECT_BYTES(client.receive(), status(1, 0, 0));
        EXPECT_TRUE(client.is_closed());
    }
    EXPECT_TRUE(bystander.has_nothing_more());
}

TEST_F(Clients, MaySendTheLongestMessage)
{
    RawClient client(broker);
    const Bytes body = attribute(7, Bytes(1048576 - 8, 0x5a));
    std::thread writer([&] { client.send(message(3, 1, 0, body) + kPing); });
    EXPECT_BYTES(client.receive(), message(2, 1, 0, body));
    EXPECT_BYTES(client.receive(), status(1, 0, 0));
    EXPECT_BYTES(client.receive(), kPong);
    EXPECT_BYTES(client.receive(), status(1, 0, 0));
    writer.join();
}

TEST_F(Clients, MaySendByteByByte)
{
    RawClient client(broker);
    const Bytes request = wire("0003 0102 03040506 00000010 07000009 'abcde' 000000");
    for (int i = 0; i < 3; i++) {
        for (uint8_t byte : request)
            client.send({byte});
        EXPECT_BYTES(client.receive(), wire("0002 0102 03040506 00000010 07000009 'abcde' 000000"));
        EXPECT_BYTES(client.receive(), status(0x102, 0x3040506, 0));
    }
    EXPECT_TRUE(client.has_nothing_more());
}

TEST_F(Clients, MaySendInPiecesOfAnySize)
{
    RawClient client(broker);
    Bytes requests;
    Bytes answers;
    for (unsigned i = 0; i < 200; i++) {
        Bytes body = attribute(7, Bytes(i * 37 % 500, static_cast<uint8_t>(i)));
        requests = requests + message(3, i, i, body);
        answers = answers + message(2, i, i, body) + status(i, i, 0);
    }
    for (size_t piece : {1, 7, 11, 12, 13, 500, 4096, 1 << 20}) {
        std::thread writer([&] {
            for (size_t at = 0; at < requests.size(); at += piece)
                client.send({requests.begin() + at, requests.begin() + std::min(at + piece, requests.size())});
        });
        Bytes received;
        for (unsigned i = 0; i < 400; i++)
            received = received + client.receive();
        writer.join();
        EXPECT_BYTES(received, answers);
    }
    EXPECT_TRUE(client.has_nothing_more());
}

TEST_F(Clients, MaySendMessagesThatAreNoWholeWords)
{
    RawClient client(broker);
    client.send(wire("0003 0001 00000000 00000005 ff") + wire("0003 0002 00000000 0000000e 07000006 'ab' 0000 ffff"));
    client.send(wire("0003 0003 00000000 00000007 ffffff") + kPing);
    EXPECT_BYTES(client.receive(), wire("0002 0001 00000000 00000004"));
    EXPECT_BYTES(client.receive(), status(1, 0, 0));
    EXPECT_BYTES(client.receive(), wire("0002 0002 00000000 0000000c 07000006 'ab' 0000"));
    EXPECT_BYTES(client.receive(), status(2, 0, 0));
    EXPECT_BYTES(client.receive(), wire("0002 0003 00000000 00000004"));
    EXPECT_BYTES(client.receive(), status(3, 0, 0));
    EXPECT_BYTES(client.receive(), kPong);
    EXPECT_BYTES(client.receive(), status(1, 0, 0));
}

TEST_F(Clients, AreNotBlockedByHalfAMessage)
{
    std::vector<RawClient> halves;
    const Bytes request = message(3, 1, 0, attribute(7, Bytes(300, 1)));
    for (size_t length : {1, 8, 11, 12, 13, 100, 315}) {
        halves.emplace_back(broker);
        halves.back().send({request.begin(), request.begin() + length});
    }
    halves.emplace_back(broker);
    halves.back().send(wire("0003 0001 00000000 00100000 07000004")); // claims all there is, and sends next to nothing
    expect_service();
    halves[5].send({request.begin() + 100, request.end()});
    EXPECT_BYTES(halves[5].receive(), message(2, 1, 0, attribute(7, Bytes(300, 1))));
    EXPECT_BYTES(halves[5].receive(), status(1, 0, 0));
}

TEST_F(Clients, AreAnsweredThoughTheySendNoMore)
{
    for (size_t length : {0, 100, 1048568}) { // the longest takes many reads
        RawClient client(broker);
        const Bytes body = attribute(7, Bytes(length, 1));
        client.send(message(3, 1, 0, body) + message(4, 2, 0, attribute(2, "none")));
        shutdown(client.fd(), SHUT_WR);
        EXPECT_BYTES(client.receive(), message(2, 1, 0, body));
        EXPECT_BYTES(client.receive(), status(1, 0, 0));
        EXPECT_BYTES(client.receive(), status(2, 0, 4));
        EXPECT_TRUE(client.is_closed());
    }
}

TEST_F(Clients, AreHeardToTheEndThoughTheyReadNoMore)
{
    RawClient listener(broker);
    uint32_t object = listener.add_anonymous();
    Bytes requests;
    for (int i = 0; i < 2000; i++)
        requests = requests + kPing;
    RawClient client(broker);
    shutdown(client.fd(), SHUT_RD);
    client.send(requests + message(5, 7, object, attribute(3, object) + attribute(4, "last")));
    uint32_t id = client.id();
    client.close();
    EXPECT_BYTES(listener.receive(), message(5, 7, id, attribute(3, object) + attribute(4, "last") + user_and_group()));
}

TEST_F(Clients, SurviveADeathInTheMiddleOfACall)
{
    RawClient owner(broker);
    uint32_t object = owner.add_anonymous();
    const Bytes call = attribute(3, object) + attribute(4, "x");
    RawClient dying(broker);
    dying.send(message(5, 1, object, call));
    EXPECT_BYTES(owner.receive(), message(5, 1, dying.id(), call + user_and_group()));
    uint32_t gone = dying.id();
    dying.close();
    expect_service();
    owner.send(message(1, 1, gone, attribute(1, uint32_t{0}) + attribute(3, object)));
    EXPECT_TRUE(owner.has_nothing_more());

    RawClient caller(broker);
    caller.send(message(5, 2, object, call));
    EXPECT_BYTES(owner.receive(), message(5, 2, caller.id(), call + user_and_group()));
    owner.close();
    EXPECT_TRUE(caller.has_nothing_more()); // the caller's own time-out ends it
    Bytes answer;
    while ((answer = caller.ask(message(5, 3, object, call))) != status(3, object, 4))
        ASSERT_FALSE(answer.empty());
}

TEST_F(Clients, ThatDoNotReadCostNobodyElse)
{
    RawClient lazy(broker);
    uint32_t object = lazy.add_anonymous();
    RawClient caller(broker);
    const Bytes call = message(5, 1, object, attribute(3, object) + attribute(4, "x") + attribute(7, Bytes(50000, 1)));
    int refused = 0;
    for (int i = 0; i < 100; i++) { // 5 MB for somebody who takes nothing
        caller.send(call);
        Bytes answer = caller.ask(kPing);
        if (answer == status(1, object, 7)) {
            refused++;
            answer = caller.receive();
        }
        ASSERT_BYTES(answer, kPong);
        ASSERT_BYTES(caller.receive(), status(1, 0, 0));
    }
    EXPECT_GT(refused, 80);
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(Clients, AreToldOfCallsThatDoNotFitTheOwnersQueue)
{
    RawClient reader(broker);
    uint32_t object = reader.add_anonymous();
    RawClient caller(broker);
    const Bytes data = attribute(7, Bytes(50000, 1));
    const Bytes call = attribute(3, object) + attribute(4, "x") + data;
    for (unsigned i = 0; i < 100; i++)
        caller.send(message(5, i, object, call));
    caller.send(kPing);
    unsigned passed = 0; // the first ones
    Bytes received = caller.receive();
    passed = number_at(received, 0) & 0xffff;
    for (unsigned i = passed; i < 100; i++) {
        ASSERT_BYTES(received, status(i, object, 7));
        received = caller.receive();
    }
    EXPECT_BYTES(received, kPong);
    EXPECT_BYTES(caller.receive(), status(1, 0, 0));
    reader.send(kPing); // its answer comes last
    EXPECT_TRUE(caller.has_nothing_more());
    size_t size = 0;
    unsigned count = 0;
    while ((received = reader.receive()) != kPong) {
        ASSERT_BYTES(received, message(5, count, caller.id(), call + user_and_group()));
        size += received.size();
        count++;
    }
    EXPECT_EQ(count, passed);
    EXPECT_BYTES(reader.receive(), status(1, 0, 0));
    EXPECT_GT(size, 524288u - 60000u); // half a queue, and what the socket itself took
    EXPECT_LT(size, 2 * 1048576u);

    caller.send(message(5, 100, object, call)); // there is room again
    EXPECT_BYTES(reader.receive(), message(5, 100, caller.id(), call + user_and_group()));
    EXPECT_TRUE(reader.has_nothing_more());
}

TEST_F(Clients, GetAMessageOfAnyLengthThroughAnEmptyQueue)
{
    RawClient reader(broker);
    uint32_t object = reader.add_anonymous();
    RawClient caller(broker);
    const Bytes head = attribute(3, object) + attribute(4, "x");
    const Bytes call = head + attribute(7, Bytes(1048576 - 4 - 4 - head.size() - user_and_group().size(), 1));
    caller.send(message(5, 1, object, call));
    EXPECT_TRUE(caller.has_nothing_more());
    EXPECT_BYTES(reader.receive(), message(5, 1, caller.id(), call + user_and_group()));
    EXPECT_TRUE(reader.has_nothing_more());
}

TEST_F(Clients, AreServedBesideABusyOne)
{
    RawClient busy(broker);
    std::atomic<bool> stop = false;
    Bytes many;
    for (int i = 0; i < 5000; i++)
        many = many + kPing;
    std::thread writer([&] {
        while (!stop)
            busy.send(many);
    });
    std::thread reader([&] {
        while (!busy.receive().empty()) {
        }
    });
    for (int i = 0; i < 200; i++) {
        RawClient other(broker);
        EXPECT_TRUE(other.has_nothing_more());
    }
    stop = true;
    writer.join();
    shutdown(busy.fd(), SHUT_RDWR);
    reader.join();
}

TEST_F(Clients, MayPassDescriptorsThatNobodyTakes)
{
    RawClient client(broker);
    Bytes request = kPing;
    iovec piece = {request.data(), request.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr header = {.msg_iov = &piece, .msg_iovlen = 1, .msg_control = control, .msg_controllen = sizeof(control)};
    cmsghdr *passed = CMSG_FIRSTHDR(&header);
    passed->cmsg_level = SOL_SOCKET;
    passed->cmsg_type = SCM_RIGHTS;
    passed->cmsg_len = CMSG_LEN(sizeof(int));
    int descriptor = client.fd();
    memcpy(CMSG_DATA(passed), &descriptor, sizeof(descriptor));
    for (int i = 0; i < 20; i++) {
        ASSERT_EQ(sendmsg(client.fd(), &header, 0), ssize_t(request.size()));
        client.send(kPing); // a receive stops before this one
    }
    for (int i = 0; i < 40; i++) {
        EXPECT_BYTES(client.receive(), kPong);
        EXPECT_BYTES(client.receive(), status(1, 0, 0));
    }
}

TEST_F(Clients, MayBeMany)
{
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < 600)
        GTEST_SKIP() << "only " << limit.rlim_cur << " descriptors";
    std::vector<RawClient> clients;
    std::vector<uint32_t> objects;
    for (int i = 0; i < 500; i++) {
        clients.emplace_back(broker);
        objects.push_back(clients.back().add_named("object." + std::to_string(1000 + i)).object);
    }
    for (size_t i = 0; i < clients.size(); i++) {
        const size_t to = (i + 1) % clients.size();
        clients[i].send(message(5, i, objects[to], attribute(3, objects[to]) + attribute(4, "x")));
    }
    for (size_t i = 0; i < clients.size(); i++) {
        const size_t to = (i + 1) % clients.size();
        const Bytes call = attribute(3, objects[to]) + attribute(4, "x");
        EXPECT_BYTES(clients[to].receive(), message(5, i, clients[i].id(), call + user_and_group()));
    }
    for (size_t i = 0; i < clients.size(); i++) {
        const size_t to = (i + 1) % clients.size();
        const Bytes answer = attribute(1, uint32_t{0}) + attribute(3, objects[to]);
        clients[to].send(message(1, i, clients[i].id(), answer));
        EXPECT_BYTES(clients[i].receive(), message(1, i, objects[to], answer));
    }
    for (size_t i = 0; i < 499; i++)
        clients[i].close();
    RawClient other(broker);
    other.send(wire("0004 0001 00000000 00000004"));
    EXPECT_EQ(number_at(other.receive(), 32), objects[499]);
    EXPECT_BYTES(other.receive(), status(1, 0, 0));
}

} // namespace
