// The broker's own object: who may register for events and send them, and who is told.
#include "tests/ubusd/raw_bus.h"

#include <cstring>

namespace
{

Bytes blobmsg_text(const char *name, std::string_view text)
{
    Bytes bytes = {0, static_cast<uint8_t>(strlen(name))};
    bytes.insert(bytes.end(), name, name + strlen(name) + 1);
    bytes.resize((bytes.size() + 3) / 4 * 4);
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.push_back(0);
    return attribute(0x83, bytes);
}

const Bytes kNoData = wire("8200000c 0004 'data' 00 00");

Bytes call(unsigned seq, std::string_view method, const Bytes &arguments)
{
    return message(5, seq, 1, attribute(3, 1) + attribute(4, method) + attribute(7, arguments));
}

Bytes object_argument(uint32_t object)
{
    return wire("85000014 0006 'object' 00 000000 %08x", object);
}

Bytes registration(unsigned seq, uint32_t object, std::string_view pattern)
{
    return call(seq, "register", object_argument(object) + blobmsg_text("pattern", pattern));
}

Bytes sending(unsigned seq, std::string_view id)
{
    return call(seq, "send", blobmsg_text("id", id) + kNoData);
}

// The message to an object of an event that was sent without data.
Bytes event(uint32_t told, std::string_view id)
{
    return message(5, 0, 0, attribute(3, told) + attribute(4, id) + attribute(7, Bytes{}));
}

// The message to an object of a path that came or went.
Bytes path_event(uint32_t told, std::string_view id, uint32_t object, std::string_view path)
{
    return message(5, 0, 0,
                   attribute(3, told) + attribute(4, id) +
                       attribute(7, wire("85000010 0002 'id' 00 000000 %08x", object) + blobmsg_text("path", path)));
}

class Events : public testing::Test
{
  protected:
    void listen(uint32_t object, std::string_view pattern)
    {
        EXPECT_BYTES(listener.ask(registration(1, object, pattern)), status(1, 1, 0));
    }

    Broker broker;
    RawClient sender{broker};
    RawClient listener{broker};
    uint32_t ear = listener.add_anonymous();
};

TEST_F(Events, PassesDataToWhoRegistered)
{
    EXPECT_BYTES(listener.ask(wire("0005 0001 00000001 0000004c 03000008 00000001 0400000d 'register' 00 000000"
                                   "07000030 85000014 0006 'object' 00 000000 %08x"
                                   "83000017 0007 'pattern' 00 0000 'test.*' 00 00",
                                   ear)),
                 wire("0001 0001 00000001 0000000c 01000008 00000000"));
    EXPECT_BYTES(sender.ask(wire("0005 0002 00000001 0000004c 03000008 00000001 04000009 'send' 00 000000"
                                 "07000034 83000015 0002 'id' 00 000000 'test.one' 00 000000"
                                 "82000018 0004 'data' 00 00 8500000c 0001 'n' 00 00000007")),
                 wire("0001 0002 00000001 0000000c 01000008 00000000"));
    EXPECT_BYTES(listener.receive(), wire("0005 0000 00000000 0000002c 03000008 %08x 0400000d 'test.one' 00 000000"
                                          "07000010 8500000c 0001 'n' 00 00000007",
                                          ear));
    EXPECT_TRUE(listener.has_nothing_more());
    EXPECT_TRUE(sender.has_nothing_more());
}

TEST_F(Events, MatchesWholeNamesAndPrefixes)
{
    const struct {
        const char *pattern;
        const char *id;
        bool told;
    } rows[] = {
        {"a.b", "a.b", true}, {"a.b", "a.bc", false}, {"a.b", "a.", false}, {"c.*", "c.d", true},
        {"c.*", "c.", true},  {"c.*", "c", false},    {"d*", "d", true},    {"d*", "dee", true},
        {"e**", "e*f", true}, {"e**", "ef", false},   {"*", "", true},      {"*", "anything", true},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.pattern) + " of " + row.id);
        RawClient other(broker);
        uint32_t object = other.add_anonymous();
        EXPECT_BYTES(other.ask(registration(1, object, row.pattern)), status(1, 1, 0));
        EXPECT_BYTES(sender.ask(sending(2, row.id)), status(2, 1, 0));
        if (row.told) {
            EXPECT_BYTES(other.receive(), event(object, row.id));
        }
        EXPECT_TRUE(other.has_nothing_more());
    }
}

TEST_F(Events, TellsEachObjectOnceAndTheSenderNever)
{
    uint32_t second_ear = listener.add_anonymous();
    uint32_t own = sender.add_anonymous();
    for (const char *pattern : {"x", "x", "x*", "*"}) {
        listen(ear, pattern);
        listen(second_ear, pattern);
        EXPECT_BYTES(sender.ask(registration(1, own, pattern)), status(1, 1, 0));
    }
    EXPECT_BYTES(sender.ask(sending(2, "x")), status(2, 1, 0));
    EXPECT_BYTES(listener.receive(), event(ear, "x"));
    EXPECT_BYTES(listener.receive(), event(second_ear, "x"));
    EXPECT_TRUE(listener.has_nothing_more());
    EXPECT_TRUE(sender.has_nothing_more());
}

TEST_F(Events, TellsOfPathsThatComeAndGo)
{
    listen(ear, "ubus.object.*");
    auto added = sender.add_named("test");
    EXPECT_BYTES(listener.receive(),
                 wire("0005 0000 00000000 00000048 03000008 %08x 04000014 'ubus.object.add' 00"
                      "07000028 85000010 0002 'id' 00 000000 %08x 83000011 0004 'path' 00 00 'test' 00 000000",
                      ear, added.object));
    EXPECT_BYTES(sender.ask(message(7, 2, 0, attribute(3, added.object))),
                 message(2, 2, 0, attribute(3, added.object) + attribute(5, added.type)));
    EXPECT_BYTES(sender.receive(), status(2, 0, 0));
    EXPECT_BYTES(listener.receive(), path_event(ear, "ubus.object.remove", added.object, "test"));
    sender.add_anonymous();
    EXPECT_TRUE(listener.has_nothing_more());
}

TEST_F(Events, TellsTheAdderBeforeItsAnswer)
{
    listen(ear, "*");
    Bytes told = listener.ask(message(6, 2, 0, attribute(2, "test") + attribute(6, Bytes{})));
    Bytes answer = listener.receive();
    uint32_t object = number_at(answer, 16);
    EXPECT_BYTES(told, path_event(ear, "ubus.object.add", object, "test"));
    EXPECT_BYTES(answer, message(2, 2, 0, attribute(3, object) + attribute(5, number_at(answer, 24))));
    EXPECT_BYTES(listener.receive(), status(2, 0, 0));
    EXPECT_TRUE(listener.has_nothing_more());
}

TEST_F(Events, TellsOfEveryPathThatADisconnectedClientHad)
{
    listen(ear, "ubus.object.remove");
    auto first = sender.add_named("first");
    sender.add_anonymous();
    auto second = sender.add_named("second");
    sender.close();
    EXPECT_BYTES(listener.receive(), path_event(ear, "ubus.object.remove", first.object, "first"));
    EXPECT_BYTES(listener.receive(), path_event(ear, "ubus.object.remove", second.object, "second"));
    EXPECT_TRUE(listener.has_nothing_more());
}

TEST_F(Events, ForgetsThePatternsOfARemovedObject)
{
    listen(ear, "*");
    listener.ask(message(7, 2, 0, attribute(3, ear)));
    EXPECT_BYTES(listener.receive(), status(2, 0, 0));
    EXPECT_BYTES(sender.ask(sending(2, "x")), status(2, 1, 0));
    EXPECT_TRUE(listener.has_nothing_more());
}

TEST_F(Events, DropsTheAnswersOfWhoWasTold)
{
    listen(ear, "*");
    EXPECT_BYTES(sender.ask(sending(2, "x")), status(2, 1, 0));
    EXPECT_BYTES(listener.receive(), event(ear, "x"));
    listener.send(message(1, 0, 0, attribute(1, uint32_t{0}) + attribute(3, ear)));
    EXPECT_TRUE(listener.has_nothing_more());
    EXPECT_TRUE(sender.has_nothing_more());
}

TEST_F(Events, RefusesRegistrations)
{
    const Bytes any = blobmsg_text("pattern", "*");
    const struct {
        Bytes arguments;
        unsigned code;
    } rows[] = {
        {{}, 2},
        {any, 2},
        {object_argument(ear), 2},
        {object_argument(ear) + wire("85000014 0007 'pattern' 00 0000 00000001"), 2}, // a number for a text
        {object_argument(0) + any, 6},
        {object_argument(1) + any, 6},
        {object_argument(1023) + any, 6},
        {object_argument(ear ^ 1) + any, 4},
        {object_argument(ear) + any, 6}, // asked for by the sender, whose object it is not
    };
    for (const auto &row : rows)
        EXPECT_BYTES(sender.ask(call(1, "register", row.arguments)), status(1, 1, row.code));
    EXPECT_BYTES(listener.ask(registration(1, ear, "")), status(1, 1, 6));
    EXPECT_BYTES(sender.ask(sending(2, "x")), status(2, 1, 0));
    EXPECT_TRUE(listener.has_nothing_more());
}

TEST_F(Events, RefusesToSend)
{
    listen(ear, "*");
    const struct {
        Bytes arguments;
        unsigned code;
    } rows[] = {
        {{}, 2},
        {kNoData, 2},
        {blobmsg_text("id", "x"), 2},
        {blobmsg_text("id", "x") + wire("8300000e 0004 'data' 00 00 'x' 00 0000"), 2}, // a text for a table
        {blobmsg_text("id", "ubus.object.add") + kNoData, 6},
        {blobmsg_text("id", "ubus.") + kNoData, 6},
        {blobmsg_text("id", "ubus") + kNoData, 0},
    };
    for (const auto &row : rows)
        EXPECT_BYTES(sender.ask(call(1, "send", row.arguments)), status(1, 1, row.code));
    EXPECT_BYTES(sender.ask(message(5, 2, 1, attribute(3, 1) + attribute(4, "send"))), status(2, 1, 2));
    EXPECT_BYTES(listener.receive(), event(ear, "ubus"));
    EXPECT_TRUE(listener.has_nothing_more());
}

TEST_F(Events, RefusesOtherMethods)
{
    EXPECT_BYTES(sender.ask(call(1, "list", {})), status(1, 1, 1));
    EXPECT_BYTES(sender.ask(call(2, "", {})), status(2, 1, 1));
}

} // namespace
