// Object 3: clients that are told of every message.
#include "tests/ubusd/raw_bus.h"

#include <algorithm>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include "tests/support/other_user.h"

namespace
{

class Monitor : public testing::Test
{
  protected:
    static Bytes call(unsigned seq, std::string_view method)
    {
        return message(5, seq, 3, attribute(3, 3) + attribute(4, method) + attribute(7, Bytes{}));
    }

    // A copy of a message.
    static Bytes copy(unsigned number, bool is_sent, uint32_t client, const Bytes &original)
    {
        return message(11, number, 0,
                       attribute(0, client) + attribute(1, number_at(original, 4)) +
                           attribute(3, static_cast<uint32_t>(original[2] << 8 | original[3])) +
                           attribute(4, uint32_t{original[1]}) + attribute(2, Bytes{is_sent}) +
                           attribute(5, Bytes(original.begin() + 12, original.end())));
    }

    void begin()
    {
        Bytes answer = status(1, 3, 0);
        EXPECT_BYTES(monitor.ask(call(1, "add")), copy(1, true, monitor.id(), answer));
        EXPECT_BYTES(monitor.receive(), answer);
    }

    void expect(unsigned number, bool is_sent, const RawClient &client, const Bytes &original)
    {
        EXPECT_BYTES(monitor.receive(), copy(number, is_sent, client.id(), original));
    }

    Broker broker;
    RawClient monitor{broker};
    RawClient client{broker};
    RawClient owner{broker};
};

TEST_F(Monitor, IsToldOfEveryMessage)
{
    uint32_t object = owner.add_named("test").object;
    begin();
    const Bytes request = attribute(3, object) + attribute(4, "get") + attribute(7, Bytes{});
    client.send(message(5, 7, object, request));
    Bytes passed = owner.receive();
    const Bytes data = message(2, 7, client.id(), attribute(3, object) + attribute(7, attribute(1, "x")));
    const Bytes answer = message(1, 7, client.id(), attribute(1, uint32_t{0}) + attribute(3, object));
    owner.send(data);
    client.receive();
    owner.send(answer);
    client.receive();
    auto replied = [&](Bytes bytes) {
        const Bytes peer = wire("%08x", object);
        std::copy(peer.begin(), peer.end(), bytes.begin() + 4);
        return bytes;
    };
    expect(2, false, client, message(5, 7, object, request));
    expect(3, true, owner, passed);
    expect(4, false, owner, data);
    expect(5, true, client, replied(data));
    expect(6, false, owner, answer);
    expect(7, true, client, replied(answer));

    RawClient newcomer(broker);
    expect(8, true, newcomer, wire("0000 0000 %08x 00000004", newcomer.id()));
    client.send(message(77, 9, 5, attribute(2, "what is this?")));
    expect(9, false, client, message(77, 9, 5, attribute(2, "what is this?")));
    expect(10, true, client, status(9, 5, 1));
}

TEST_F(Monitor, IsToldOfItsOwnRemovalLast)
{
    begin();
    EXPECT_BYTES(monitor.ask(call(2, "remove")), copy(2, false, monitor.id(), call(2, "remove")));
    EXPECT_BYTES(monitor.receive(), status(2, 3, 0));
    EXPECT_TRUE(client.has_nothing_more());
    EXPECT_TRUE(monitor.has_nothing_more());
    EXPECT_BYTES(monitor.ask(call(3, "remove")), status(3, 3, 0));
}

TEST_F(Monitor, StartsAnewWhenItIsAddedAgain)
{
    begin();
    EXPECT_BYTES(monitor.ask(call(2, "add")), copy(2, false, monitor.id(), call(2, "add")));
    expect(1, true, monitor, status(2, 3, 0));
    EXPECT_BYTES(monitor.receive(), status(2, 3, 0));
}

TEST_F(Monitor, HasNoOtherMethods)
{
    EXPECT_BYTES(monitor.ask(call(1, "list")), status(1, 3, 3));
}

TEST_F(Monitor, IsOneOfEight)
{
    std::vector<RawClient> others;
    for (int i = 0; i < 8; i++) {
        const RawClient &other = others.emplace_back(broker);
        EXPECT_BYTES(other.ask(call(1, "add")), copy(1, true, other.id(), status(1, 3, 0)));
        EXPECT_BYTES(other.receive(), status(1, 3, 0));
    }
    EXPECT_BYTES(monitor.ask(call(1, "add")), status(1, 3, 11));
    others.clear();
    for (Bytes answer; answer != copy(1, true, monitor.id(), status(2, 3, 0));) {
        answer = monitor.ask(call(2, "add"));
        ASSERT_FALSE(answer.empty());
    }
}

TEST_F(Monitor, IsForTheSuperuserInItsGroupOnly)
{
    NEEDS_OTHER_USERS();
    Broker guarded({.arguments = {"-A", "/nowhere"}});
    RawClient root(guarded);
    EXPECT_BYTES(root.ask(call(1, "add")), copy(1, true, root.id(), status(1, 3, 0)));
    int fd = -1;
    std::thread([&] {
        syscall(SYS_setresgid, 65534, 65534, 65534);
        fd = connect_to(guarded.path());
    }).join();
    RawClient other(fd);
    EXPECT_BYTES(other.ask(call(1, "add")), status(1, 3, 6));
    EXPECT_BYTES(other.ask(call(1, "list")), status(1, 3, 6));
}

TEST_F(Monitor, LosesWhatItDoesNotReadAndHoldsNobodyUp)
{
    begin();
    constexpr unsigned kPings = 200; // many times what its queue takes
    const Bytes content = attribute(7, Bytes(30000));
    for (unsigned i = 0; i < kPings; i++) {
        ASSERT_BYTES(client.ask(message(3, 1, 0, content)), message(2, 1, 0, content));
        ASSERT_BYTES(client.receive(), status(1, 0, 0));
    }
    // It has what came first, all of it, and then nothing.
    const Bytes last = message(3, 5, 0, {});
    monitor.send(last);
    unsigned number = 1;
    Bytes told;
    while ((told = monitor.receive()).size() > 1 && told[1] == 11 && (told[2] << 8 | told[3]) == int(number + 1))
        number++;
    EXPECT_GT(number, 10u);
    EXPECT_LT(number, 3 * kPings / 2);
    while (told.size() > 1 && told[1] == 11)
        told = monitor.receive();
    EXPECT_BYTES(told, message(2, 5, 0, {}));
    do
        told = monitor.receive();
    while (told != status(5, 0, 0) && !told.empty());
    // It is told on.
    EXPECT_TRUE(client.has_nothing_more());
    const Bytes ping = message(3, 0xfffe, 0, {});
    told = monitor.receive();
    EXPECT_BYTES(told, copy(told[2] << 8 | told[3], false, client.id(), ping));
    EXPECT_GT(told[2] << 8 | told[3], int(3 * kPings));
}

TEST_F(Monitor, IsNotToldOfTheLongestMessages)
{
    begin();
    for (size_t length : {1048576 - 60, 1048576 - 4}) {
        client.send(message(3, 1, 0, attribute(7, Bytes(length - 4))));
        client.receive();
        client.receive();
    }
    expect(2, false, client, message(3, 1, 0, attribute(7, Bytes(1048576 - 64))));
}

} // namespace
