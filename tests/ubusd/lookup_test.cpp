// Listings: which objects, in which order, ended by which status, and how they share the connection with everything
// else.
#include "tests/ubusd/raw_bus.h"

#include <map>

namespace
{

class Lookup : public testing::Test
{
  protected:
    Bytes listed(unsigned seq, std::string_view path, RawClient::Named named) const
    {
        return message(2, seq, 0,
                       attribute(2, path) + attribute(3, named.object) + attribute(5, named.type) +
                           attribute(6, Bytes{}));
    }

    Bytes ask_for(unsigned seq, std::string_view pattern) const { return message(4, seq, 0, attribute(2, pattern)); }

    Broker broker;
    RawClient caller{broker};
    RawClient owner{broker};
};

TEST_F(Lookup, TellsPathIdTypeAndSignature)
{
    const Bytes signature = wire("06000020 8200001c 0003 'get' 00 0000 85000010 0005 'index' 00 00000005");
    Bytes added = owner.ask(message(6, 1, 0, wire("02000009 'test' 00 000000") + signature));
    EXPECT_BYTES(caller.ask(wire("0004 0009 0000000a 00000010 02000009 'test' 00 000000")),
                 wire("0002 0009 0000000a 00000040 02000009 'test' 00 000000 03000008 %08x 05000008 %08x"
                      "06000020 8200001c 0003 'get' 00 0000 85000010 0005 'index' 00 00000005",
                      number_at(added, 16), number_at(added, 24)));
    EXPECT_BYTES(caller.receive(), wire("0001 0009 0000000a 0000000c 01000008 00000000"));
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(Lookup, ListsInOrderOfTheBytesOfThePaths)
{
    std::map<std::string, RawClient::Named> added;
    for (const char *path : {"b", "a.c", "a", "a-b", "B", "\xc3\xa4", "a.b.c", "ab"})
        added[path] = owner.add_named(path);
    owner.add_anonymous(); // never listed
    caller.send(wire("0004 0001 00000000 00000004"));
    for (const char *path : {"B", "a", "a-b", "a.b.c", "a.c", "ab", "b", "\xc3\xa4"})
        EXPECT_BYTES(caller.receive(), listed(1, path, added[path]));
    EXPECT_BYTES(caller.receive(), status(1, 0, 0));

    caller.send(ask_for(2, "a.*"));
    EXPECT_BYTES(caller.receive(), listed(2, "a.b.c", added["a.b.c"]));
    EXPECT_BYTES(caller.receive(), listed(2, "a.c", added["a.c"]));
    EXPECT_BYTES(caller.receive(), status(2, 0, 0));

    caller.send(ask_for(3, "a*"));
    for (const char *path : {"a", "a-b", "a.b.c", "a.c", "ab"})
        EXPECT_BYTES(caller.receive(), listed(3, path, added[path]));
    EXPECT_BYTES(caller.receive(), status(3, 0, 0));

    caller.send(ask_for(4, "*"));
    for (const char *path : {"B", "a", "a-b", "a.b.c", "a.c", "ab", "b", "\xc3\xa4"})
        EXPECT_BYTES(caller.receive(), listed(4, path, added[path]));
    EXPECT_BYTES(caller.receive(), status(4, 0, 0));
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(Lookup, EndsWithAStatusWhenThereIsNothing)
{
    EXPECT_BYTES(caller.ask(wire("0004 0001 00000000 00000004")), status(1, 0, 0)); // all of none
    EXPECT_BYTES(caller.ask(ask_for(2, "*")), status(2, 0, 4));
    owner.add_named("test");
    EXPECT_BYTES(caller.ask(ask_for(3, "")), status(3, 0, 2));
    EXPECT_BYTES(caller.ask(ask_for(4, "tes")), status(4, 0, 4));
    EXPECT_BYTES(caller.ask(ask_for(5, "test.")), status(5, 0, 4));
    EXPECT_BYTES(caller.ask(ask_for(6, "u*")), status(6, 0, 4));
    EXPECT_BYTES(caller.ask(ask_for(7, "test.*")), status(7, 0, 4));
    EXPECT_BYTES(caller.ask(ask_for(8, "**")), status(8, 0, 4));
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(Lookup, TakesAPathOfAnotherTypeForNone)
{
    auto added = owner.add_named("test");
    EXPECT_BYTES(caller.ask(wire("0004 0001 00000000 0000000c 02000008 'test'")), listed(1, "test", added));
    EXPECT_BYTES(caller.receive(), status(1, 0, 0));
}

TEST_F(Lookup, ForgetsWhatItsOwnerTookAlong)
{
    owner.add_named("test");
    owner.close();
    while (caller.ask(ask_for(1, "test")) != status(1, 0, 4))
        caller.receive(); // the broker has not seen the end of the owner yet
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(Lookup, DoesNotTellOfAnObjectThatVanishesBeforeItsTurn)
{
    auto added = owner.add_named("test");
    uint32_t object = caller.add_anonymous();
    const Bytes call = message(5, 1, object, attribute(3, object) + attribute(4, "x") + attribute(7, Bytes(400000, 1)));
    owner.send(call); // fills the caller's socket, so that its listing has to wait
    EXPECT_TRUE(owner.has_nothing_more());
    caller.send(ask_for(2, "test"));
    owner.ask(message(7, 3, 0, attribute(3, added.object)));
    EXPECT_BYTES(owner.receive(), status(3, 0, 0));
    EXPECT_GT(caller.receive().size(), 400000u);
    EXPECT_BYTES(caller.receive(), status(2, 0, 4));
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(Lookup, AnswersRequestsInOrder)
{
    auto added = owner.add_named("test");
    const Bytes ping = wire("0003 0001 00000000 00000004");
    const Bytes pong = wire("0002 0001 00000000 00000004");
    caller.send(ping + ask_for(2, "test") + ping + ask_for(3, "t*") + ask_for(4, "none") + ping);
    EXPECT_BYTES(caller.receive(), pong);
    EXPECT_BYTES(caller.receive(), status(1, 0, 0));
    EXPECT_BYTES(caller.receive(), listed(2, "test", added));
    EXPECT_BYTES(caller.receive(), status(2, 0, 0));
    EXPECT_BYTES(caller.receive(), pong);
    EXPECT_BYTES(caller.receive(), status(1, 0, 0));
    EXPECT_BYTES(caller.receive(), listed(3, "test", added));
    EXPECT_BYTES(caller.receive(), status(3, 0, 0));
    EXPECT_BYTES(caller.receive(), status(4, 0, 4));
    EXPECT_BYTES(caller.receive(), pong);
    EXPECT_BYTES(caller.receive(), status(1, 0, 0));
    EXPECT_TRUE(caller.has_nothing_more());
}

// Some 6 MB of paths: six times what may wait in a client's queue.
class LongListing : public Lookup
{
  protected:
    LongListing()
    {
        for (int i = 0; i < 100; i++) {
            paths.push_back(std::string("long.") + std::to_string(100 + i) + std::string(60000, 'x'));
            added.push_back(owner.add_named(paths.back()));
        }
    }

    std::vector<std::string> paths;
    std::vector<RawClient::Named> added;
};

TEST_F(LongListing, IsWholeForAReaderWhoComesLate)
{
    caller.send(wire("0004 0001 00000000 00000004"));
    EXPECT_TRUE(owner.has_nothing_more()); // the broker has long begun, and waits
    for (size_t i = 0; i < paths.size(); i++)
        ASSERT_BYTES(caller.receive(), listed(1, paths[i], added[i]));
    EXPECT_BYTES(caller.receive(), status(1, 0, 0));
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(LongListing, HoldsBackTheRequestsBehindIt)
{
    caller.send(wire("0004 0001 00000000 00000004 0003 0002 00000000 00000004") + ask_for(3, paths[7]));
    EXPECT_TRUE(owner.has_nothing_more());
    for (size_t i = 0; i < paths.size(); i++)
        ASSERT_BYTES(caller.receive(), listed(1, paths[i], added[i]));
    EXPECT_BYTES(caller.receive(), status(1, 0, 0));
    EXPECT_BYTES(caller.receive(), wire("0002 0002 00000000 00000004"));
    EXPECT_BYTES(caller.receive(), status(2, 0, 0));
    EXPECT_BYTES(caller.receive(), listed(3, paths[7], added[7]));
    EXPECT_BYTES(caller.receive(), status(3, 0, 0));
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(LongListing, GoesOnWhenObjectsVanishUnderIt)
{
    caller.send(wire("0004 0001 00000000 00000004"));
    ASSERT_BYTES(caller.receive(), listed(1, paths[0], added[0]));
    EXPECT_TRUE(owner.has_nothing_more());
    owner.close();
    RawClient other(broker);
    size_t count = 1;
    Bytes last;
    while ((last = caller.receive()) != status(1, 0, 0)) {
        ASSERT_LT(count, paths.size());
        ASSERT_BYTES(last, listed(1, paths[count], added[count]));
        count++;
    }
    EXPECT_LT(count, paths.size());
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(LongListing, EndsWithItsReader)
{
    caller.send(wire("0004 0001 00000000 00000004"));
    EXPECT_TRUE(owner.has_nothing_more());
    caller.close();
    EXPECT_TRUE(owner.has_nothing_more());
}

} // namespace
