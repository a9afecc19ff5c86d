// Subscriptions and notifications.
#include "tests/ubusd/raw_bus.h"

namespace
{

class Subscriptions : public testing::Test
{
  protected:
    Bytes subscribe(unsigned seq, uint32_t subscriber, uint32_t target) const
    {
        return message(8, seq, 0, attribute(3, subscriber) + attribute(8, target));
    }

    Bytes unsubscribe(unsigned seq, uint32_t subscriber, uint32_t target) const
    {
        return message(9, seq, 0, attribute(3, subscriber) + attribute(8, target));
    }

    // The message to an owner when the first subscriber comes or the last one goes.
    Bytes active(bool is_active) const
    {
        return wire("000a 0000 00000000 00000014 03000008 %08x 09000005 %02x 000000", target, is_active);
    }

    // The message to a subscriber of a notification.
    Bytes told(unsigned seq, uint32_t subscriber_object, const Bytes &call) const
    {
        return message(5, seq, owner.id(), attribute(3, subscriber_object) + call + user_and_group());
    }

    void begin()
    {
        EXPECT_BYTES(subscriber.ask(subscribe(1, object, target)), status(1, 0, 0));
        EXPECT_BYTES(owner.receive(), active(true));
    }

    Broker broker;
    RawClient owner{broker};
    RawClient subscriber{broker};
    uint32_t target = owner.add_named("test").object;
    uint32_t object = subscriber.add_anonymous();
};

TEST_F(Subscriptions, TellTheOwnerOfTheFirstAndTheLast)
{
    RawClient other(broker);
    uint32_t another = other.add_anonymous();
    EXPECT_BYTES(subscriber.ask(wire("0008 0001 00000000 00000014 03000008 %08x 08000008 %08x", object, target)),
                 wire("0001 0001 00000000 0000000c 01000008 00000000"));
    EXPECT_BYTES(owner.receive(), active(true));
    EXPECT_BYTES(other.ask(subscribe(1, another, target)), status(1, 0, 0));
    EXPECT_TRUE(owner.has_nothing_more());

    EXPECT_BYTES(subscriber.ask(wire("0009 0002 00000000 00000014 03000008 %08x 08000008 %08x", object, target)),
                 wire("0001 0002 00000000 0000000c 01000008 00000000"));
    EXPECT_TRUE(owner.has_nothing_more());
    EXPECT_BYTES(other.ask(unsubscribe(2, another, target)), status(2, 0, 0));
    EXPECT_BYTES(owner.receive(), active(false));
    EXPECT_TRUE(subscriber.has_nothing_more());
}

TEST_F(Subscriptions, CountAsOftenAsTheyAreMade)
{
    begin();
    EXPECT_BYTES(subscriber.ask(subscribe(2, object, target)), status(2, 0, 0));
    const Bytes call = attribute(4, "x");
    EXPECT_BYTES(owner.ask(message(10, 3, target, attribute(3, target) + call)),
                 wire("0001 0003 %08x 00000028 03000008 %08x 0b000014 00000008 %08x 00000008 %08x 01000008 00000000",
                      target, target, object, object));
    EXPECT_BYTES(subscriber.receive(), told(3, object, call));
    EXPECT_BYTES(subscriber.receive(), told(3, object, call));
    EXPECT_TRUE(subscriber.has_nothing_more());

    EXPECT_BYTES(subscriber.ask(unsubscribe(4, object, target)), status(4, 0, 0));
    EXPECT_TRUE(owner.has_nothing_more());
    owner.ask(message(10, 5, target, attribute(3, target) + call));
    EXPECT_BYTES(subscriber.receive(), told(5, object, call));
    EXPECT_TRUE(subscriber.has_nothing_more());
    EXPECT_BYTES(subscriber.ask(unsubscribe(6, object, target)), status(6, 0, 0));
    EXPECT_BYTES(owner.receive(), active(false));
    EXPECT_BYTES(subscriber.ask(unsubscribe(7, object, target)), status(7, 0, 4));
}

TEST_F(Subscriptions, EndAsOftenAsTheyWereMade)
{
    begin();
    EXPECT_BYTES(subscriber.ask(subscribe(2, object, target)), status(2, 0, 0));
    owner.close();
    for (int i = 0; i < 2; i++)
        EXPECT_BYTES(subscriber.receive(),
                     wire("0009 0000 00000000 00000014 03000008 %08x 08000008 %08x", object, target));
    EXPECT_TRUE(subscriber.has_nothing_more());
}

TEST_F(Subscriptions, AreRefused)
{
    uint32_t unknown = target ^ 1;
    uint32_t own_target = subscriber.add_named("own").object;
    const struct {
        Bytes attributes;
        unsigned code;
    } rows[] = {
        {{}, 2},
        {attribute(3, object), 2},
        {attribute(8, target), 2},
        {attribute(3, unknown) + attribute(8, target), 4},
        {attribute(3, object) + attribute(8, unknown), 4},
        {attribute(3, object) + attribute(8, 1), 4},
        {attribute(3, target) + attribute(8, target), 2}, // not its own object
        {attribute(3, target) + attribute(8, unknown), 2},
        {attribute(3, object) + attribute(8, own_target), 2}, // its own target
        {attribute(3, object) + attribute(8, object), 2},
    };
    for (const auto &row : rows) {
        EXPECT_BYTES(subscriber.ask(message(8, 1, 0, row.attributes)), status(1, 0, row.code));
        EXPECT_BYTES(subscriber.ask(message(9, 2, 0, row.attributes)), status(2, 0, row.code));
    }
    EXPECT_BYTES(subscriber.ask(unsubscribe(3, object, target)), status(3, 0, 4)); // not subscribed
    EXPECT_TRUE(owner.has_nothing_more());
}

TEST_F(Subscriptions, BringNotificationsWithoutAnswer)
{
    begin();
    const Bytes call = wire("04000008 'new' 00 07000010 8500000c 0001 'n' 00 00000007 0a000005 01 000000");
    owner.send(message(10, 5, target, attribute(3, target) + call));
    EXPECT_TRUE(owner.has_nothing_more());
    EXPECT_BYTES(subscriber.receive(), told(5, object, call));
    EXPECT_TRUE(subscriber.has_nothing_more());
}

TEST_F(Subscriptions, BringNotificationsToBeAnswered)
{
    begin();
    uint32_t second = subscriber.add_anonymous();
    EXPECT_BYTES(subscriber.ask(subscribe(2, second, target)), status(2, 0, 0));
    const Bytes call = wire("04000008 'new' 00 07000004");
    EXPECT_BYTES(owner.ask(message(10, 5, target, attribute(3, target) + call)),
                 wire("0001 0005 %08x 00000028 03000008 %08x 0b000014 00000008 %08x 00000008 %08x 01000008 00000000",
                      target, target, object, second));
    EXPECT_BYTES(subscriber.receive(), told(5, object, call));
    EXPECT_BYTES(subscriber.receive(), told(5, second, call));

    subscriber.send(message(1, 5, owner.id(), attribute(1, uint32_t{0}) + attribute(3, second)));
    EXPECT_BYTES(owner.receive(), message(1, 5, second, attribute(1, uint32_t{0}) + attribute(3, second)));
    EXPECT_TRUE(owner.has_nothing_more());
}

TEST_F(Subscriptions, MayBeNone)
{
    const Bytes notification = attribute(3, target) + attribute(4, "x");
    EXPECT_BYTES(owner.ask(message(10, 1, target, notification)),
                 wire("0001 0001 %08x 00000018 03000008 %08x 0b000004 01000008 00000000", target, target));
    owner.send(message(10, 2, target, notification + wire("0a000005 01 000000")));
    EXPECT_TRUE(owner.has_nothing_more());
}

TEST_F(Subscriptions, AreNotifiedByTheOwnerOnly)
{
    begin();
    const Bytes method = attribute(4, "x");
    for (const Bytes &reply : {Bytes{}, wire("0a000005 01 000000")}) {
        EXPECT_BYTES(subscriber.ask(message(10, 1, 9, method + reply)), status(1, 9, 2));
        EXPECT_BYTES(subscriber.ask(message(10, 2, 9, attribute(3, object) + reply)), status(2, 9, 2));
        EXPECT_BYTES(subscriber.ask(message(10, 3, 9, attribute(3, target ^ 1) + method + reply)), status(3, 9, 4));
        EXPECT_BYTES(subscriber.ask(message(10, 4, 9, attribute(3, target) + method + reply)), status(4, 9, 6));
        EXPECT_BYTES(subscriber.ask(message(10, 5, 9, attribute(3, 1) + method + reply)), status(5, 9, 6));
    }
    EXPECT_TRUE(subscriber.has_nothing_more());
}

TEST_F(Subscriptions, EndWithTheTarget)
{
    begin();
    EXPECT_BYTES(owner.ask(message(7, 1, 0, attribute(3, target))), active(false));
    EXPECT_EQ(number_at(owner.receive(), 16), target);
    EXPECT_BYTES(owner.receive(), status(1, 0, 0));
    EXPECT_BYTES(subscriber.receive(), wire("0009 0000 00000000 00000014 03000008 %08x 08000008 %08x", object, target));
    EXPECT_TRUE(subscriber.has_nothing_more());
    EXPECT_BYTES(subscriber.ask(unsubscribe(2, object, target)), status(2, 0, 4));
}

TEST_F(Subscriptions, EndWithTheTargetsClient)
{
    begin();
    owner.close();
    EXPECT_BYTES(subscriber.receive(), wire("0009 0000 00000000 00000014 03000008 %08x 08000008 %08x", object, target));
    EXPECT_TRUE(subscriber.has_nothing_more());
}

TEST_F(Subscriptions, EndWithTheSubscriber)
{
    begin();
    subscriber.ask(message(7, 1, 0, attribute(3, object)));
    EXPECT_BYTES(subscriber.receive(), status(1, 0, 0));
    EXPECT_BYTES(owner.receive(), active(false));
}

TEST_F(Subscriptions, EndWithTheSubscribersClient)
{
    begin();
    subscriber.close();
    EXPECT_BYTES(owner.receive(), active(false));
}

} // namespace
