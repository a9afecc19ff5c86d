// Each type of message a client sends, with everything the broker may answer.
#include "tests/ubusd/raw_bus.h"

namespace
{

class Messages : public testing::Test
{
  protected:
    Broker broker;
    RawClient caller{broker};
    RawClient owner{broker};
};

TEST_F(Messages, GreetsEachClientWithAnIdOfItsOwn)
{
    EXPECT_NE(caller.id(), owner.id()); // the greeting itself is compared whenever a client connects
}

TEST_F(Messages, RefusesTypesThatClientsDoNotSend)
{
    for (unsigned type : {0, 11, 12, 255}) {
        EXPECT_BYTES(caller.ask(wire("00%02x 0102 03040506 00000004", type)),
                     wire("0001 0102 03040506 0000000c 01000008 00000001"));
    }
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(Messages, EchoesPing)
{
    EXPECT_BYTES(caller.ask(wire("0003 0102 03040506 00000010 07000009 'abcde' 000000")),
                 wire("0002 0102 03040506 00000010 07000009 'abcde' 000000"));
    EXPECT_BYTES(caller.receive(), wire("0001 0102 03040506 0000000c 01000008 00000000"));
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(Messages, IgnoresTheVersionOfARequest)
{
    EXPECT_BYTES(caller.ask(wire("0503 0001 00000000 00000004")), wire("0002 0001 00000000 00000004"));
}

TEST_F(Messages, AddsAnonymousObject)
{
    Bytes answer = caller.ask(wire("0006 0007 00000000 00000004"));
    uint32_t object = number_at(answer, 16);
    EXPECT_BYTES(answer, wire("0002 0007 00000000 0000000c 03000008 %08x", object));
    EXPECT_BYTES(caller.receive(), wire("0001 0007 00000000 0000000c 01000008 00000000"));
    EXPECT_GE(object, 1024u);
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(Messages, AddsObjectsByASignatureAndByAKnownType)
{
    Bytes first = owner.ask(wire("0006 0007 00000000 00000030 02000009 'test' 00 000000"
                                 "06000020 8200001c 0003 'get' 00 0000 85000010 0005 'index' 00 00000005"));
    uint32_t object = number_at(first, 16);
    uint32_t type = number_at(first, 24);
    EXPECT_BYTES(first, wire("0002 0007 00000000 00000014 03000008 %08x 05000008 %08x", object, type));
    EXPECT_BYTES(owner.receive(), wire("0001 0007 00000000 0000000c 01000008 00000000"));
    EXPECT_GE(type, 1024u);

    Bytes second = caller.ask(wire("0006 0008 00000000 00000018 02000009 'more' 00 000000 05000008 %08x", type));
    uint32_t other = number_at(second, 16);
    EXPECT_BYTES(second, wire("0002 0008 00000000 0000000c 03000008 %08x", other));
    EXPECT_BYTES(caller.receive(), wire("0001 0008 00000000 0000000c 01000008 00000000"));
    EXPECT_NE(other, object);
}

TEST_F(Messages, RefusesObjectsThatAreNeitherNamedNorAnonymous)
{
    auto known = owner.add_named("taken");
    const Bytes path = wire("02000008 'new' 00");
    const Bytes signature = wire("06000004");
    const Bytes refused[] = {
        path,                                                      // without a type
        signature,                                                 // without a path
        wire("05000008 %08x", known.type),                         // without a path
        path + wire("05000008 %08x", known.type ^ 1),              // of a type nobody knows
        wire("02000005 00 000000") + signature,                    // an empty path
        wire("0200000a 'taken' 00 0000") + signature,              // another's path
        wire("02000004") + signature,                              // a path that is no text
        wire("02000007 'new' 00") + signature,                     // a path without its end
        attribute(2, std::string(1048576 - 127, 'x')) + signature, // more than a listing could tell
    };
    for (const Bytes &attributes : refused)
        EXPECT_BYTES(caller.ask(message(6, 9, 0, attributes)), status(9, 0, 2));
    EXPECT_TRUE(caller.has_nothing_more());
    caller.add_named("new"); // none of them left anything behind
}

TEST_F(Messages, AddsTheLongestPathThatAListingCanTell)
{
    std::string path(1048576 - 128, 'x');
    auto added = owner.add_named(path);
    EXPECT_BYTES(caller.ask(message(4, 9, 0, Bytes{})), message(2, 9, 0,
                                                                attribute(2, path) + attribute(3, added.object) +
                                                                    attribute(5, added.type) + attribute(6, Bytes{})));
    EXPECT_BYTES(caller.receive(), status(9, 0, 0));
}

TEST_F(Messages, RemovesObjectAndTellsWhenItsTypeWentWithIt)
{
    auto first = owner.add_named("first");
    Bytes answer = owner.ask(wire("0006 0008 00000000 00000014 02000008 'two' 00 05000008 %08x", first.type));
    uint32_t second = number_at(answer, 16);
    EXPECT_BYTES(owner.receive(), status(8, 0, 0));

    EXPECT_BYTES(owner.ask(wire("0007 0001 00000000 0000000c 03000008 %08x", first.object)),
                 wire("0002 0001 00000000 0000000c 03000008 %08x", first.object));
    EXPECT_BYTES(owner.receive(), status(1, 0, 0));
    EXPECT_BYTES(owner.ask(wire("0007 0002 00000000 0000000c 03000008 %08x", second)),
                 wire("0002 0002 00000000 00000014 03000008 %08x 05000008 %08x", second, first.type));
    EXPECT_BYTES(owner.receive(), status(2, 0, 0));

    EXPECT_BYTES(owner.ask(wire("0006 0003 00000000 00000014 02000008 'two' 00 05000008 %08x", first.type)),
                 status(3, 0, 2));
    owner.add_named("first");
}

TEST_F(Messages, RemovesAnonymousObject)
{
    uint32_t object = owner.add_anonymous();
    EXPECT_BYTES(owner.ask(wire("0007 0001 00000000 0000000c 03000008 %08x", object)),
                 wire("0002 0001 00000000 0000000c 03000008 %08x", object));
    EXPECT_BYTES(owner.receive(), status(1, 0, 0));
    EXPECT_TRUE(owner.has_nothing_more());
}

TEST_F(Messages, RefusesToRemoveWhatIsNotTheClients)
{
    uint32_t object = owner.add_anonymous();
    EXPECT_BYTES(caller.ask(wire("0007 0001 00000000 00000004")), status(1, 0, 2));
    EXPECT_BYTES(caller.ask(wire("0007 0001 00000000 0000000c 03000006 0001 0000")), status(1, 0, 2));
    EXPECT_BYTES(caller.ask(wire("0007 0001 00000000 0000000c 03000008 %08x", object ^ 1)), status(1, 0, 4));
    EXPECT_BYTES(caller.ask(wire("0007 0001 00000000 0000000c 03000008 %08x", object)), status(1, 0, 6));
    EXPECT_BYTES(caller.ask(wire("0007 0001 00000000 0000000c 03000008 00000001")), status(1, 0, 6));
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(Messages, PassesACallToTheOwnerAndTheAnswersBack)
{
    uint32_t object = owner.add_named("test").object;
    const Bytes data = wire("07000014 85000010 0005 'index' 00 00000005");
    caller.send(message(5, 0x1234, object, attribute(3, object) + wire("04000008 'get' 00") + data));
    EXPECT_BYTES(owner.receive(), message(5, 0x1234, caller.id(),
                                          attribute(3, object) + wire("04000008 'get' 00") + data + user_and_group()));

    owner.send(wire("0002 1234 %08x 00000020 03000008 %08x 07000014 85000010 0005 'index' 00 00000006"
                    "0001 1234 %08x 00000014 01000008 00000007 03000008 %08x",
                    caller.id(), object, caller.id(), object));
    EXPECT_BYTES(
        caller.receive(),
        wire("0002 1234 %08x 00000020 03000008 %08x 07000014 85000010 0005 'index' 00 00000006", object, object));
    EXPECT_BYTES(caller.receive(), wire("0001 1234 %08x 00000014 01000008 00000007 03000008 %08x", object, object));
    EXPECT_TRUE(caller.has_nothing_more());
    EXPECT_TRUE(owner.has_nothing_more());
}

TEST_F(Messages, PassesACallWithoutDataAndKeepsNoReply)
{
    uint32_t object = owner.add_anonymous();
    const Bytes call = attribute(3, object) + wire("04000006 'x' 00 0000");
    const Bytes no_reply = wire("0a000005 01 000000");
    caller.send(message(5, 1, object, call) + message(5, 2, object, no_reply + call) +
                message(5, 3, object, call + wire("0a000005 00 000000")));
    EXPECT_BYTES(owner.receive(), message(5, 1, caller.id(), call + user_and_group()));
    EXPECT_BYTES(owner.receive(), message(5, 2, caller.id(), call + no_reply + user_and_group()));
    EXPECT_BYTES(owner.receive(), message(5, 3, caller.id(), call + user_and_group()));
    EXPECT_TRUE(caller.has_nothing_more());
}

TEST_F(Messages, TellsTheCallersTrueUser)
{
    uint32_t object = owner.add_anonymous();
    const Bytes call = attribute(3, object) + wire("04000006 'x' 00 0000");
    caller.send(message(5, 1, object, wire("0c00000a 'admin' 00 0000 0d00000a 'admin' 00 0000") + call));
    EXPECT_BYTES(owner.receive(), message(5, 1, caller.id(), call + user_and_group()));
}

TEST_F(Messages, LetsAClientCallItself)
{
    uint32_t object = owner.add_anonymous();
    const Bytes call = attribute(3, object) + wire("04000006 'x' 00 0000");
    EXPECT_BYTES(owner.ask(message(5, 1, object, call)), message(5, 1, owner.id(), call + user_and_group()));
}

TEST_F(Messages, RefusesCallsThatReachNobody)
{
    uint32_t object = owner.add_anonymous();
    const Bytes method = wire("04000006 'x' 00 0000");
    EXPECT_BYTES(caller.ask(message(5, 1, object, method)), status(1, object, 2));
    EXPECT_BYTES(caller.ask(message(5, 2, object, attribute(3, object))), status(2, object, 2));
    EXPECT_BYTES(caller.ask(message(5, 3, object, attribute(3, object ^ 1) + method)), status(3, object, 4));
    EXPECT_BYTES(caller.ask(message(5, 4, 4, attribute(3, 4) + method)), status(4, 4, 4));
    EXPECT_TRUE(owner.has_nothing_more());
}

TEST_F(Messages, RefusesACallThatItsOwnerWouldNotTake)
{
    uint32_t object = owner.add_anonymous();
    const Bytes call = attribute(3, object) + wire("04000006 'x' 00 0000");
    size_t most = 1048576 - 4 - call.size() - 4 - user_and_group().size();
    const Bytes fits = call + attribute(7, Bytes(most));
    caller.send(message(5, 1, object, fits));
    EXPECT_BYTES(owner.receive(), message(5, 1, caller.id(), fits + user_and_group()));
    if (!user_and_group().empty()) {
        EXPECT_BYTES(caller.ask(message(5, 2, object, call + attribute(7, Bytes(most + 4)))), status(2, object, 2));
    }
    EXPECT_TRUE(owner.has_nothing_more());
}

TEST_F(Messages, DropsForgedAnswers)
{
    uint32_t object = owner.add_anonymous();
    RawClient forger(broker);
    uint32_t own = forger.add_anonymous();
    const Bytes code = wire("01000008 00000000");
    const Bytes data = wire("07000004");
    RawClient gone(broker);
    gone.close();
    const Bytes forged[] = {
        message(1, 1, caller.id(), attribute(3, object) + code),                    // another's object
        message(2, 1, caller.id(), attribute(3, object) + data),                    //
        message(1, 1, caller.id(), attribute(3, own ^ 1) + code),                   // nobody's object
        message(1, 1, caller.id(), attribute(3, 1) + code),                         // the broker's object
        message(1, 1, caller.id(), code),                                           // no object
        message(2, 1, caller.id(), data),                                           //
        message(1, 1, caller.id(), attribute(3, own)),                              // nothing answered
        message(2, 1, caller.id(), attribute(3, own)),                              //
        message(1, 1, caller.id(), attribute(3, own) + data),                       // the other one's answer
        message(2, 1, caller.id(), attribute(3, own) + code),                       //
        message(1, 1, caller.id(), attribute(3, own) + wire("01000006 0000 0000")), // not a status
        message(1, 1, gone.id(), attribute(3, own) + code),                         // to nobody
        message(1, 1, 0, attribute(3, own) + code),                                 //
    };
    for (const Bytes &answer : forged)
        forger.send(answer);
    EXPECT_TRUE(forger.has_nothing_more());
    EXPECT_TRUE(caller.has_nothing_more());
    forger.send(message(1, 1, caller.id(), attribute(3, own) + code));
    EXPECT_BYTES(caller.receive(), message(1, 1, own, attribute(3, own) + code));
}

TEST_F(Messages, TakesTheLastOfTwoEqualAttributesAndPassesOverUnknownOnes)
{
    uint32_t object = owner.add_anonymous();
    const Bytes unknown = wire("7f000008 00000000 0e000004 00000004");
    caller.send(message(5, 1, object,
                        attribute(3, object ^ 1) + unknown + attribute(3, object) + wire("04000006 'x' 00 0000")));
    EXPECT_BYTES(owner.receive(),
                 message(5, 1, caller.id(), attribute(3, object) + wire("04000006 'x' 00 0000") + user_and_group()));
}

TEST_F(Messages, StopsAtAnAttributeThatDoesNotFit)
{
    uint32_t object = owner.add_anonymous();
    EXPECT_BYTES(caller.ask(message(5, 1, object, wire("0300000c") + attribute(3, object))), status(1, object, 2));
    EXPECT_BYTES(caller.ask(message(5, 1, object, wire("03000003") + attribute(3, object))), status(1, object, 2));
    EXPECT_BYTES(caller.ask(message(5, 1, object, attribute(3, object) + wire("0400000a 'x' 00 0000"))),
                 status(1, object, 2));
    EXPECT_TRUE(owner.has_nothing_more());
}

} // namespace
