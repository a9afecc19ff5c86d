// Random traffic, well-formed and not, from clients that come and go. Under the sanitizers this also tells of every
// reference to what is gone and of everything that is never released.
#include "tests/ubusd/raw_bus.h"

#include <fcntl.h>
#include <random>
#include <sys/socket.h>

namespace
{

class Traffic : public testing::TestWithParam<unsigned>
{
  protected:
    static constexpr int kClients = 12;
    static constexpr int kSteps = 6000;

    Traffic()
    {
        for (int i = 0; i < kClients; i++)
            clients_.push_back(std::make_unique<RawClient>(broker_));
    }

    unsigned below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(random_); }

    uint32_t known_id() { return ids_[below(ids_.size())]; }

    std::string name()
    {
        static const char *const names[] = {"",  "*", "a",    "a.b",      "a.*",          "ab",
                                            "b", "x", "send", "register", "ubus.object*", "ubus.x"};
        return names[below(std::size(names))];
    }

    // Data for objects, methods and the event object.
    Bytes data()
    {
        Bytes text = wire("0007 'pattern' 00 0000");
        std::string pattern = name();
        text.insert(text.end(), pattern.c_str(), pattern.c_str() + pattern.size() + 1);
        switch (below(4)) {
        case 0:
            return wire("85000014 0006 'object' 00 000000 %08x", known_id()) + attribute(0x83, text);
        case 1:
            return wire("8300000a 0002 'id' 00 000000 'x' 00 0000 8200000c 0004 'data' 00 00");
        case 2:
            return Bytes(below(100000), 0x55);
        default:
            return {};
        }
    }

    Bytes random_attribute()
    {
        switch (unsigned id = 1 + below(13)) {
        case 2:
        case 4:
        case 12:
        case 13:
            return attribute(id, name());
        case 6:
        case 7:
        case 11:
            return attribute(id, data());
        case 9:
        case 10:
            return attribute(id, Bytes{static_cast<uint8_t>(below(2))});
        default:
            return attribute(id, known_id());
        }
    }

    Bytes random_message()
    {
        Bytes attributes;
        for (unsigned count = below(5); count != 0; count--)
            attributes = attributes + random_attribute();
        if (below(2) == 0) { // the attributes that most types need
            attributes = attributes + attribute(3, below(4) == 0 ? 1 : known_id()) + attribute(4, name()) +
                         attribute(8, known_id());
        }
        Bytes bytes = message(below(13), below(65536), known_id(), attributes);
        if (below(20) == 0)
            bytes[below(bytes.size())] ^= 1 << below(8);
        if (below(50) == 0)
            bytes.resize(below(bytes.size()));
        return bytes;
    }

    // Takes what is there, and the ids in it.
    void drain(const RawClient &client)
    {
        uint8_t buffer[65536];
        ssize_t count = recv(client.fd(), buffer, sizeof(buffer), MSG_DONTWAIT);
        for (ssize_t at = 0; at + 20 <= count; at += 4) {
            if (buffer[at] == 3 && buffer[at + 3] == 8) {
                uint32_t id = number_at(Bytes(buffer + at + 4, buffer + at + 8), 0);
                ids_[below(ids_.size())] = id;
            }
        }
    }

    void step()
    {
        auto &client = clients_[below(kClients)];
        switch (below(40)) {
        case 0:
            client = std::make_unique<RawClient>(broker_);
            ids_[below(ids_.size())] = client->id();
            break;
        case 1:
            shutdown(client->fd(), below(2) == 0 ? SHUT_WR : SHUT_RD);
            break;
        default:
            Bytes bytes = random_message();
            ::send(client->fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        }
        if (below(3) != 0)
            drain(*clients_[below(kClients)]);
    }

    Broker broker_;
    std::mt19937 random_{GetParam()};
    std::vector<std::unique_ptr<RawClient>> clients_;
    std::vector<uint32_t> ids_ = std::vector<uint32_t>(16, 1);
};

TEST_P(Traffic, LeavesNothingBehind)
{
    for (int i = 0; i < kSteps; i++)
        step();
    clients_.clear();
    RawClient client(broker_);
    for (Bytes answer; (answer = client.ask(message(4, 1, 0, {}))) != status(1, 0, 0);) { // until all is released
        ASSERT_FALSE(answer.empty());
        while (answer != status(1, 0, 0) && !answer.empty())
            answer = client.receive();
    }
    EXPECT_TRUE(client.has_nothing_more());
    client.add_named("a");
}

INSTANTIATE_TEST_SUITE_P(Seeds, Traffic, testing::Range(1u, 9u));

} // namespace
