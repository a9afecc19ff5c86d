#include "fake_broker.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <random>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace
{

std::vector<std::string> lines; // what the handlers of a test have to say
ubus_request_data deferred;

int say_hello(ubus_context *ctx, ubus_object *object, ubus_request_data *req, const char *method, blob_attr *msg)
{
    blob_buf reply = {};
    blob_buf_init(&reply, 0);
    blobmsg_add_string(&reply, "greeting", "hello");
    lines.push_back(std::string(object->name) + " " + method + " " + std::to_string(blob_len(msg)));
    ubus_send_reply(ctx, req, reply.head);
    blob_buf_free(&reply);
    return UBUS_STATUS_OK;
}

int refuse(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *)
{
    return UBUS_STATUS_PERMISSION_DENIED;
}

int put_off(ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *)
{
    ubus_defer_request(ctx, req, &deferred);
    return UBUS_STATUS_UNKNOWN_ERROR; // not sent
}

int tell_caller(ubus_context *, ubus_object *, ubus_request_data *req, const char *, blob_attr *)
{
    auto text = [](const char *s) { return std::string(s ? s : "-"); };
    lines.push_back(text(req->acl.user) + " " + text(req->acl.group) + " " + text(req->acl.object));
    return UBUS_STATUS_OK;
}

std::string text_of(blob_attr *msg)
{
    const blobmsg_policy policy = {"text", BLOBMSG_TYPE_STRING};
    blob_attr *text;
    blobmsg_parse(&policy, 1, &text, blob_data(msg), blob_len(msg));
    return text ? blobmsg_get_string(text) : "";
}

// A handler that asks the broker something itself, and looks at its message afterwards.
int ask_inside(ubus_context *ctx, ubus_object *, ubus_request_data *, const char *method, blob_attr *msg)
{
    uint32_t id = 0;
    lines.push_back(std::string(method) + " begins");
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup_id(ctx, "a", &id));
    EXPECT_EQ(0x2002u, id);
    lines.push_back(std::string(method) + " has " + text_of(msg).substr(0, 4));
    return UBUS_STATUS_OK;
}

const blobmsg_policy hello_policy[] = {{"id", BLOBMSG_TYPE_INT32}, {"name", BLOBMSG_TYPE_STRING}};
const ubus_method methods[] = {
    UBUS_METHOD("hello", say_hello, hello_policy), UBUS_METHOD_NOARG("plain", refuse),
    UBUS_METHOD_NOARG("defer", put_off),           UBUS_METHOD_NOARG("caller", tell_caller),
    UBUS_METHOD_NOARG("ask", ask_inside),          UBUS_METHOD_NOARG("again", ask_inside),
};
ubus_object_type type = {.name = "test", .id = 0, .methods = methods, .n_methods = 2};
ubus_object_type whole_type = UBUS_OBJECT_TYPE("whole", methods);

// One object of id 0x1001 on the bus.
class Object : public BusClient
{
  protected:
    void SetUp() override
    {
        BusClient::SetUp();
        lines.clear();
        whole_type.id = 0;
        object = {};
        object.name = "test.object";
        object.type = &whole_type;
        object.methods = methods;
        object.n_methods = ARRAY_SIZE(methods);
        add(&object);
    }

    // The library's answer when it gets this.
    Bytes answer(const Bytes &data)
    {
        broker.say(data);
        turn();
        return broker.heard();
    }

    ubus_object object;
};

using Registration = BusClient;

TEST_F(Registration, SendsPathAndSignature)
{
    ubus_object object = {.name = "test.object", .type = &type};
    type.id = 0;
    broker.say(message("00 02 0001 00000000", "03000008 00001001  05000008 00002001") + status("0001 00000000", 0));

    EXPECT_EQ(UBUS_STATUS_OK, ubus_add_object(ctx, &object));
    EXPECT_EQ(0x1001u, object.id);
    EXPECT_EQ(0x2001u, type.id);
    EXPECT_EQ(bytes("00 06 0001 00000000  00000050"
                    "02000010 'test.object' 00"
                    "0600003c"
                    "8200002c 0005 'hello' 00"
                    "85000010 0002 'id' 00 000000 00000005"
                    "85000010 0004 'name' 00 00 00000003"
                    "8200000c 0005 'plain' 00"),
              broker.heard());
}

TEST_F(Registration, SendsTheIdOfAKnownType)
{
    ubus_object object = {.name = "test.object", .type = &type};
    type.id = 0x2001;
    broker.say(message("00 02 0001 00000000", "03000008 00001002") + status("0001 00000000", 0));

    EXPECT_EQ(UBUS_STATUS_OK, ubus_add_object(ctx, &object));
    EXPECT_EQ(0x1002u, object.id);
    EXPECT_EQ(0x2001u, type.id);
    EXPECT_EQ(bytes("00 06 0001 00000000  0000001c  02000010 'test.object' 00  05000008 00002001"), broker.heard());
}

TEST_F(Registration, SendsNothingOfAnAnonymousObject)
{
    ubus_object object = {};
    broker.say(message("00 02 0001 00000000", "03000008 00001003") + status("0001 00000000", 0));

    EXPECT_EQ(UBUS_STATUS_OK, ubus_add_object(ctx, &object));
    EXPECT_EQ(0x1003u, object.id);
    EXPECT_EQ(bytes("00 06 0001 00000000  00000004"), broker.heard());
}

TEST_F(Registration, PassesTheBrokersRefusalOn)
{
    ubus_object object = {.name = "test.object", .type = &type};
    type.id = 0;
    broker.say(status("0001 00000000", 2));

    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_add_object(ctx, &object));
    EXPECT_EQ(0u, object.id);
    EXPECT_EQ(0u, ctx->objects.count);
}

// Another client held the type when our last object of it went, and has dropped it since.
TEST_F(Registration, SendsTheSignatureOfATypeThatTheBrokerHasForgotten)
{
    ubus_object object = {.name = "test.object", .type = &type};
    type.id = 0x2001;
    broker.say(status("0001 00000000", 2) + message("00 02 0002 00000000", "03000008 00001002  05000008 00002002") +
               status("0002 00000000", 0));

    EXPECT_EQ(UBUS_STATUS_OK, ubus_add_object(ctx, &object));
    EXPECT_EQ(0x1002u, object.id);
    EXPECT_EQ(0x2002u, type.id);
    EXPECT_EQ(bytes("00 06 0001 00000000  0000001c  02000010 'test.object' 00  05000008 00002001") +
                  bytes("00 06 0002 00000000  00000050"
                        "02000010 'test.object' 00"
                        "0600003c"
                        "8200002c 0005 'hello' 00"
                        "85000010 0002 'id' 00 000000 00000005"
                        "85000010 0004 'name' 00 00 00000003"
                        "8200000c 0005 'plain' 00"),
              broker.heard());
}

TEST_F(Registration, KeepsAKnownTypeWhenOnlyThePathWasRefused)
{
    ubus_object object = {.name = "test.object", .type = &type};
    type.id = 0x2001;
    broker.say(status("0001 00000000", 2) + status("0002 00000000", 2));

    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_add_object(ctx, &object));
    EXPECT_EQ(0u, object.id);
    EXPECT_EQ(0x2001u, type.id);
}

TEST_F(Registration, WantsAnId)
{
    ubus_object object = {};
    broker.say(message("00 02 0001 00000000", "03000007 000010 00") + status("0001 00000000", 0));

    EXPECT_EQ(UBUS_STATUS_NO_DATA, ubus_add_object(ctx, &object));
    EXPECT_EQ(0u, ctx->objects.count);
}

TEST_F(Object, IsNotAddedTwice)
{
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_add_object(ctx, &object));
    EXPECT_EQ(0x1001u, object.id);
    EXPECT_EQ(Bytes(), broker.heard());
}

TEST_F(Object, IsRemovedWithItsTypeWhenThatWentToo)
{
    broker.say(message("00 02 0001 00000000", "03000008 00001001  05000008 00002001") + status("0001 00000000", 0));

    EXPECT_EQ(UBUS_STATUS_OK, ubus_remove_object(ctx, &object));
    EXPECT_EQ(bytes("00 07 0001 00000000  0000000c  03000008 00001001"), broker.heard());
    EXPECT_EQ(0u, object.id);
    EXPECT_EQ(0u, whole_type.id);
    EXPECT_EQ(UBUS_STATUS_NOT_FOUND, ubus_remove_object(ctx, &object));
}

TEST_F(Object, IsRemovedWithoutItsTypeWhenThatStays)
{
    broker.say(message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0));

    EXPECT_EQ(UBUS_STATUS_OK, ubus_remove_object(ctx, &object));
    EXPECT_EQ(0x2001u, whole_type.id);
}

// Its owner frees it, so nothing may be left of it.
TEST_F(Object, IsForgottenEvenWhenTheBrokerIsGone)
{
    broker.hang_up();
    EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, ubus_remove_object(ctx, &object));
    EXPECT_EQ(0u, object.id);
    EXPECT_EQ(0u, whole_type.id);
    EXPECT_EQ(0u, ctx->objects.count);
}

TEST(Unconnected, RemovalOfAnUnknownObjectIsHarmless)
{
    ubus_context ctx;
    ubus_object object = {};

    EXPECT_EQ(-1, ubus_connect_ctx(&ctx, "/nonexistent/bus"));
    EXPECT_EQ(UBUS_STATUS_NOT_FOUND, ubus_remove_object(&ctx, &object));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_add_object(&ctx, &object));
    ubus_shutdown(&ctx);
}

TEST_F(Object, AnswersACallWithDataAndStatus)
{
    EXPECT_EQ(bytes("00 02 0007 000000aa  00000028"
                    "03000008 00001001"
                    "0700001c 83000016 0008 'greeting' 00 00 'hello' 00 0000") +
                  bytes("00 01 0007 000000aa  00000014  01000008 00000000  03000008 00001001"),
              answer(message("00 05 0007 000000aa", "03000008 00001001  0400000a 'hello' 00 0000  07000004")));
    EXPECT_EQ(std::vector<std::string>{"test.object hello 0"}, lines);
}

TEST_F(Object, AnswersACallWithTheHandlersStatus)
{
    EXPECT_EQ(bytes("00 01 0007 000000aa  00000014  01000008 00000006  03000008 00001001"),
              answer(message("00 05 0007 000000aa", "03000008 00001001  0400000a 'plain' 00 0000  07000004")));
}

TEST_F(Object, RefusesACallInThisOrder)
{
    struct {
        const char *what;
        const char *attributes;
        const char *answer;
    } const rows[] = {
        {"unknown object, unknown method, no data", "03000008 00001002  04000006 'x' 00 0000",
         "01000008 00000004  03000008 00001002"},
        {"unknown method, no data", "03000008 00001001  04000006 'x' 00 0000", "01000008 00000003  03000008 00001001"},
        {"no data", "03000008 00001001  0400000a 'plain' 00 0000", "01000008 00000002  03000008 00001001"},
        {"no method", "03000008 00001001  07000004", "01000008 00000002  03000008 00001001"},
        {"method without its end", "03000008 00001001  04000009 'plain' 000000 07000004",
         "01000008 00000002  03000008 00001001"},
        {"empty method", "03000008 00001001  04000004 07000004", "01000008 00000002  03000008 00001001"},
        {"object id of 0", "03000008 00000000  04000006 'x' 00 0000  07000004", "01000008 00000004  03000008 00000000"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(message("00 01 0007 000000aa", row.answer), answer(message("00 05 0007 000000aa", row.attributes)))
            << row.what;
}

TEST_F(Object, PassesOverWhatIsNoCall)
{
    struct {
        const char *what;
        Bytes message;
    } const rows[] = {
        {"no object", message("00 05 0007 000000aa", "0400000a 'plain' 00 0000  07000004")},
        {"object of 16 bits", message("00 05 0007 000000aa", "03000006 1001 0000  0400000a 'plain' 00 0000  07000004")},
        {"first attribute beyond the end", message("00 05 0007 000000aa", "030000ff 00001001")},
        {"first attribute shorter than its word", message("00 05 0007 000000aa", "03000003 00001001")},
        {"half a word", message("00 05 0007 000000aa", "0300")},
        {"nothing", message("00 05 0007 000000aa", "")},
        {"unknown type", message("00 63 0007 000000aa", "03000008 00001001  0400000a 'plain' 00 0000  07000004")},
        {"answer to nobody", status("0007 000000aa", 0)},
        {"data for nobody", message("00 02 0007 000000aa", "07000004")},
    };
    for (const auto &row : rows)
        EXPECT_EQ(Bytes(), answer(row.message)) << row.what;
    EXPECT_TRUE(ctx->sock.registered);
}

TEST_F(Object, StaysReadableAfterAMessageOfOddLength)
{
    EXPECT_EQ(bytes("00 01 0007 000000aa  00000014  01000008 00000006  03000008 00001001"),
              answer(message("00 05 0007 000000aa", "010203") +
                     message("00 05 0007 000000aa", "03000008 00001001  0400000a 'plain' 00 0000  07000004")));
}

TEST_F(Object, SendsNoStatusWhereNoneIsWanted)
{
    EXPECT_EQ(Bytes(), answer(message("00 05 0007 000000aa",
                                      "03000008 00001001  0400000a 'plain' 00 0000  07000004  0a000005 01 000000")));
    EXPECT_EQ(bytes("00 01 0007 000000aa  00000014  01000008 00000006  03000008 00001001"),
              answer(message("00 05 0007 000000aa",
                             "03000008 00001001  0400000a 'plain' 00 0000  07000004  0a000005 00 000000")));
}

TEST_F(Object, LearnsWhoCalls)
{
    answer(message("00 05 0007 000000aa", "03000008 00001001  0400000b 'caller' 00 00  07000004"
                                          "0c000009 'root' 00 000000  0d00000a 'wheel' 00 0000"));
    answer(message("00 05 0008 000000aa", "03000008 00001001  0400000b 'caller' 00 00  07000004"));
    EXPECT_EQ((std::vector<std::string>{"root wheel test.object", "- - test.object"}), lines);
}

TEST_F(Object, AnswersADeferredCallLater)
{
    blob_buf reply = {};
    blob_buf_init(&reply, 0);
    EXPECT_EQ(Bytes(), answer(message("00 05 0007 000000aa", "03000008 00001001  0400000a 'defer' 00 0000  07000004")));
    ubus_send_reply(ctx, &deferred, reply.head);
    ubus_complete_deferred_request(ctx, &deferred, UBUS_STATUS_NO_DATA);
    EXPECT_EQ(bytes("00 02 0007 000000aa  00000010  03000008 00001001  07000004") +
                  bytes("00 01 0007 000000aa  00000014  01000008 00000005  03000008 00001001"),
              broker.heard());
    blob_buf_free(&reply);
}

// The message is gone by then.
TEST_F(Object, ForgetsWhoMadeADeferredCall)
{
    answer(message("00 05 0007 000000aa", "03000008 00001001  0400000a 'defer' 00 0000  07000004"
                                          "0c000009 'root' 00 000000  0d00000a 'wheel' 00 0000"));
    EXPECT_EQ(nullptr, deferred.acl.user);
    EXPECT_EQ(nullptr, deferred.acl.group);
}

TEST_F(Object, KeepsQuietAboutADeferredCallThatWantsNoStatus)
{
    answer(message("00 05 0007 000000aa", "03000008 00001001  0400000a 'defer' 00 0000  07000004  0a000005 01 000000"));
    ubus_complete_deferred_request(ctx, &deferred, UBUS_STATUS_OK);
    EXPECT_EQ(Bytes(), broker.heard());
}

TEST_F(Object, HandlesSeveralCallsOfOneReceive)
{
    const Bytes call = message("00 05 0007 000000aa", "03000008 00001001  0400000a 'plain' 00 0000  07000004");
    const Bytes refusal = bytes("00 01 0007 000000aa  00000014  01000008 00000006  03000008 00001001");

    EXPECT_EQ(refusal + refusal + refusal, answer(call + call + call));
}

TEST_F(Object, HandlesACallThatComesByteByByte)
{
    const Bytes call = message("00 05 0007 000000aa", "03000008 00001001  0400000a 'plain' 00 0000  07000004");

    for (size_t i = 0; i + 1 < call.size(); i++)
        EXPECT_EQ(Bytes(), answer({call[i]}));
    EXPECT_EQ(bytes("00 01 0007 000000aa  00000014  01000008 00000006  03000008 00001001"), answer({call.back()}));
}

// A call of that method, whose text begins with this; `length` makes it long.
Bytes call_with_text(const char *seq, std::string_view method, const std::string &text)
{
    auto word = [](uint32_t id, size_t length) {
        return Bytes{uint8_t(id), uint8_t(length >> 16), uint8_t(length >> 8), uint8_t(length)};
    };
    auto padded = [](Bytes data) {
        data.resize((data.size() + 3) & ~size_t{3});
        return data;
    };
    const Bytes zero = {0};
    const Bytes name(method.begin(), method.end());
    const Bytes content(text.begin(), text.end());
    const Bytes field = padded(word(0x83, 4 + 8 + text.size() + 1) + bytes("0004 'text' 00 00") + content + zero);
    const Bytes attributes = bytes("03000008 00001001") + padded(word(4, 4 + method.size() + 1) + name + zero) +
                             word(7, 4 + field.size()) + field;
    return bytes(std::string("00 05 ") + seq + " 000000aa") + word(0, 4 + attributes.size()) + attributes;
}

Bytes found(const char *seq)
{
    return message(std::string("00 02 ") + seq + " 00000000", "02000006 'a' 00 0000  03000008 00002002") +
           status((std::string(seq) + " 00000000").c_str(), 0);
}

TEST_F(Object, RunsCallsThatComeDuringARequestAfterTheHandler)
{
    answer(call_with_text("0007", "ask", "one") + call_with_text("0008", "hello", "two") + found("0001") +
           call_with_text("0009", "hello", "three"));
    EXPECT_EQ((std::vector<std::string>{"ask begins", "ask has one", "test.object hello 16", "test.object hello 20"}),
              lines);
}

TEST_F(Object, RunsCallsInTheOrderOfTheirArrivalWhenAskedAgainInside)
{
    answer(call_with_text("0007", "ask", "one") + call_with_text("0008", "again", "two") +
           call_with_text("0009", "hello", "three") + found("0001") + call_with_text("000a", "hello", "fourth") +
           found("0002"));
    EXPECT_EQ((std::vector<std::string>{"ask begins", "ask has one", "again begins", "again has two",
                                        "test.object hello 20", "test.object hello 20"}),
              lines);
}

TEST_F(Object, KeepsTheMessageInPlaceWhileMoreIsRead)
{
    Bytes data = call_with_text("0007", "ask", "here" + std::string(9000, 'x'));
    for (int i = 0; i < 8; i++)
        data = data + call_with_text("0008", "hello", std::string(10000, 'y'));
    std::vector<std::string> expected = {"ask begins", "ask has here"};
    expected.resize(2 + 8, "test.object hello 10016");

    answer(data + found("0001"));
    EXPECT_EQ(expected, lines);
}

// The callers are gone, or will find the daemon's answers lost: what is done for them now would be done for nobody.
TEST_F(Object, DropsCallsThatWaitWhenTheConnectionIsLost)
{
    static int go[2];
    ASSERT_EQ(0, pipe(go));
    static const ubus_method slow = {
        .name = nullptr,
        .handler = [](ubus_context *, ubus_object *, ubus_request_data *, const char *method, blob_attr *) {
            char byte;
            lines.push_back(method);
            EXPECT_EQ(1, read(go[0], &byte, 1));
            return int{UBUS_STATUS_OK};
        }};
    object.methods = &slow;
    object.n_methods = 1;
    std::thread server([this] {
        for (const char *name : {"one", "two", "three"})
            broker.say(call_with_text("0008", name, ""));
        usleep(50000);
        broker.hang_up();
        EXPECT_EQ(3, write(go[1], "...", 3));
    });
    for (int i = 0; i < 20; i++)
        uloop_run_timeout(10);
    server.join();
    EXPECT_EQ(std::vector<std::string>{"one"}, lines);
    close(go[0]);
    close(go[1]);
}

TEST_F(Object, DropsKeptCallsWhenTheConnectionIsLost)
{
    uint32_t id;

    broker.say(call_with_text("0007", "hello", "one") + call_with_text("0008", "hello", "two"));
    std::thread server([this] {
        usleep(50000);
        broker.hang_up();
    });
    EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, ubus_lookup_id(ctx, "a", &id));
    turn();
    EXPECT_EQ(std::vector<std::string>(), lines);
    server.join();
}

// Events and notifications are nobody's calls: who sent them wanted no answer.
TEST_F(Object, HandlesEventsThatCameBeforeAHangUp)
{
    const Bytes event = message("00 05 0000 00000000", "03000008 00001001  0400000a 'hello' 00 0000  07000004");
    const Bytes notification =
        message("00 05 0007 000000aa", "03000008 00001001  0400000a 'hello' 00 0000  07000004  0a000005 01 000000");
    for (int i = 0; i < 5; i++)
        broker.say(event + notification + call_with_text("0008", "hello", "a call"));
    broker.hang_up();
    turn();
    EXPECT_EQ(std::vector<std::string>(10, "test.object hello 0"), lines);
}

// Statuses that were sent for calls, by their value.
std::map<int, int> statuses(const Bytes &heard)
{
    std::map<int, int> counts;
    for (size_t i = 0; i + 12 <= heard.size();) {
        const size_t length = 8 + (size_t{heard[i + 9]} << 16 | size_t{heard[i + 10]} << 8 | heard[i + 11]);
        if (heard[i + 1] == UBUS_MSG_STATUS && i + 20 <= heard.size())
            counts[heard[i + 19]]++;
        i += length;
    }
    return counts;
}

class KeptCalls : public Object
{
  protected:
    // While a look-up waits, so many calls come. What is sent until its answer comes, and what afterwards.
    std::pair<std::map<int, int>, std::map<int, int>> bombard(int count, size_t length)
    {
        const Bytes call = call_with_text("0008", "hello", std::string(length, 'x'));
        Bytes during, after;
        std::thread server([&] {
            for (int i = 0; i < count; i++) {
                broker.say(call);
                during = during + broker.heard();
            }
            broker.say(found("0001"));
        });
        uint32_t id;
        EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup_id(ctx, "a", &id));
        server.join();
        during = during + broker.heard();
        for (size_t more = 0; more < 30;) {
            uloop_run_timeout(0);
            const Bytes heard = broker.heard();
            after = after + heard;
            more = heard.empty() ? more + 1 : 0;
        }
        return {statuses(during), statuses(after)};
    }
};

TEST_F(KeptCalls, AreAThousandAtMost)
{
    const auto [during, after] = bombard(1500, 1);
    EXPECT_EQ((std::map<int, int>{{UBUS_STATUS_NO_MEMORY, 500}}), during);
    EXPECT_EQ((std::map<int, int>{{UBUS_STATUS_OK, 1000}}), after);
}

TEST_F(KeptCalls, AreOneMebibyteAtMost)
{
    auto [during, after] = bombard(300, 10000);
    EXPECT_EQ(300, during[UBUS_STATUS_NO_MEMORY] + after[UBUS_STATUS_OK]);
    EXPECT_LE(100, after[UBUS_STATUS_OK]);
    EXPECT_GE(105, after[UBUS_STATUS_OK]);
}

TEST_F(KeptCalls, MayBeAsManyAgainOnceTheyHaveRun)
{
    for (int i = 0; i < 2; i++) {
        ctx->request_seq = 0;
        const auto [during, after] = bombard(1000, 1);
        EXPECT_EQ((std::map<int, int>{}), during);
        EXPECT_EQ((std::map<int, int>{{UBUS_STATUS_OK, 1000}}), after);
    }
}

// Messages that come in one read run in as many turns of the loop: a timer that is due, or a descriptor of somebody
// else, does not wait for the last of a hundred slow calls.
TEST_F(Object, LetsTheLoopGoOnBetweenTwoCallsOfOneReceive)
{
    static int ends[2];
    static uloop_fd bystander;
    static uloop_timeout timer;
    static const ubus_method slow = {
        .name = nullptr, .handler = [](ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *) {
            lines.push_back("call");
            if (lines.size() == 1) {
                uloop_timeout_set(&timer, 0);
                EXPECT_EQ(1, write(ends[1], "", 1));
            }
            usleep(2000);
            return int{UBUS_STATUS_OK};
        }};
    ASSERT_EQ(0, pipe(ends));
    bystander = {.cb = [](uloop_fd *u, unsigned int) {
        char byte;
        EXPECT_EQ(1, read(u->fd, &byte, 1));
        lines.push_back("descriptor");
    }};
    bystander.fd = ends[0];
    timer = {.cb = [](uloop_timeout *) { lines.push_back("timer"); }};
    uloop_fd_add(&bystander, ULOOP_READ);
    object.methods = &slow;
    object.n_methods = 1;
    Bytes calls;
    for (int i = 0; i < 10; i++)
        calls = calls + call_with_text("0007", "x", "");
    broker.say(calls);
    turn();
    ASSERT_EQ(12u, lines.size());
    for (const char *other : {"timer", "descriptor"})
        EXPECT_LE(std::find(lines.begin(), lines.end(), other) - lines.begin(), 3) << other;
    uloop_fd_delete(&bystander);
    close(ends[0]);
    close(ends[1]);
}

// There nothing else would come back for the rest.
TEST_F(Object, HandlesAllCallsAtOnceWithoutTheLoop)
{
    uloop_fd_delete(&ctx->sock);
    broker.say(call_with_text("0007", "hello", "one") + call_with_text("0008", "hello", "two"));
    ubus_handle_event(ctx);
    EXPECT_EQ((std::vector<std::string>{"test.object hello 16", "test.object hello 16"}), lines);
}

// Attributes of every id and type, their lengths right and wrong. Kept messages stand in memory of exactly their
// length, where a sanitizer sees who reads beyond it.
Bytes random_message(std::mt19937 &random)
{
    auto below = [&](unsigned limit) { return static_cast<uint8_t>(random() % limit); };
    static const uint8_t types[] = {UBUS_MSG_INVOKE, UBUS_MSG_NOTIFY, UBUS_MSG_UNSUBSCRIBE, UBUS_MSG_STATUS,
                                    UBUS_MSG_DATA};
    Bytes attributes = below(4) ? bytes("03000008 00001001") : Bytes();
    for (int count = below(5); count > 0; count--) {
        const uint8_t length = below(13);
        attributes = attributes + Bytes{below(UBUS_ATTR_MAX), 0, 0, uint8_t(4 + length + (below(8) ? 0 : below(20)))};
        for (int i = 0; i < (length + 3) / 4 * 4; i++)
            attributes.push_back(below(3) ? 0 : below(0x84));
    }
    attributes.resize(attributes.size() - std::min<size_t>(attributes.size(), below(8) ? 0 : below(6)));
    return Bytes{0, types[below(5)], 0, below(2), 0, 0, 0, 0, 0, 0, 0, uint8_t(4 + attributes.size())} + attributes;
}

TEST_F(Object, SurvivesRandomMessages)
{
    std::mt19937 random(1);
    for (int round = 0; round < 2000; round++) {
        ctx->request_seq = 1;
        for (int i = 0; i < 10; i++)
            broker.say(random_message(random));
        broker.say(status("0002 00000000", 4));
        uint32_t id;
        ASSERT_EQ(UBUS_STATUS_NOT_FOUND, ubus_lookup_id(ctx, "a", &id));
        turn();
        broker.heard();
    }
    ASSERT_TRUE(ctx->sock.registered);
}

// The answer to a request outside the loop brings a call with it: no further byte would wake the loop up.
TEST_F(Object, RunsCallsThatCameWithAnAnswerOutsideTheLoop)
{
    uint32_t id;

    broker.say(call_with_text("0007", "hello", "one") + found("0001") + call_with_text("0008", "hello", "two"));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup_id(ctx, "a", &id));
    EXPECT_EQ(std::vector<std::string>(), lines);
    turn();
    EXPECT_EQ((std::vector<std::string>{"test.object hello 16", "test.object hello 16"}), lines);
}

// A reply waits for the status that follows, but not behind what is sent after it.
TEST_F(Object, SendsAReplyBeforeARequestOfTheSameHandler)
{
    static const ubus_method replying = {
        .name = "reply",
        .handler = [](ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *msg) {
            uint32_t id;
            EXPECT_EQ(UBUS_STATUS_OK, ubus_send_reply(ctx, req, msg));
            return ubus_lookup_id(ctx, "a", &id);
        }};
    object.methods = &replying;
    object.n_methods = 1;

    EXPECT_EQ(bytes("00 02 0007 000000aa  00000010  03000008 00001001  07000004") +
                  bytes("00 04 0001 00000000  0000000c  02000006 'a' 00 0000") +
                  bytes("00 01 0007 000000aa  00000014  01000008 00000004  03000008 00001001"),
              answer(message("00 05 0007 000000aa", "03000008 00001001  0400000a 'reply' 00 0000  07000004") +
                     status("0001 00000000", 4)));
}

TEST_F(Object, SendsRepliesOfEverySizeInOrder)
{
    static const ubus_method replying = {
        .name = "reply",
        .handler = [](ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *) {
            for (size_t size : {10, 3000, 3000, 10, 6000, 10}) {
                blob_buf reply = {};
                blob_buf_init(&reply, 0);
                blobmsg_add_string(&reply, "text", std::string(size, 'x').c_str());
                EXPECT_EQ(UBUS_STATUS_OK, ubus_send_reply(ctx, req, reply.head));
                blob_buf_free(&reply);
            }
            return int{UBUS_STATUS_OK};
        }};
    object.methods = &replying;
    object.n_methods = 1;
    Bytes expected;
    for (size_t size : {10, 3000, 3000, 10, 6000, 10}) {
        const Bytes call = call_with_text("0007", "", std::string(size, 'x')); // its data is the reply's
        const Bytes data(call.begin() + 8 + 4 + 8 + 8, call.end());
        const size_t length = 4 + 8 + data.size();
        expected = expected + bytes("00 02 0007 000000aa") + Bytes{0, 0, uint8_t(length >> 8), uint8_t(length)} +
                   bytes("03000008 00001001") + data;
    }

    EXPECT_EQ(expected + bytes("00 01 0007 000000aa  00000014  01000008 00000000  03000008 00001001"),
              answer(message("00 05 0007 000000aa", "03000008 00001001  0400000a 'reply' 00 0000  07000004")));
}

TEST_F(Object, MayGoAwayInItsOwnHandler)
{
    static const ubus_method removing = {
        .name = "remove",
        .handler = [](ubus_context *ctx, ubus_object *object, ubus_request_data *, const char *, blob_attr *) {
            int const status = ubus_remove_object(ctx, object);
            memset(static_cast<void *>(object), 0xff, sizeof(*object));
            return status;
        }};
    object.methods = &removing;
    object.n_methods = 1;
    const Bytes call = message("00 05 0007 000000aa", "03000008 00001001  0400000b 'remove' 00 00  07000004");

    EXPECT_EQ(bytes("00 07 0001 00000000  0000000c  03000008 00001001") +
                  bytes("00 01 0007 000000aa  00000014  01000008 00000000  03000008 00001001") +
                  bytes("00 01 0007 000000aa  00000014  01000008 00000004  03000008 00001001"),
              answer(call + call + status("0001 00000000", 0)));
}

TEST_F(Object, LearnsOfItsSubscribers)
{
    object.subscribe_cb = [](ubus_context *, ubus_object *object) {
        lines.push_back(object->has_subscribers ? "subscribers" : "none");
    };
    EXPECT_EQ(Bytes(), answer(message("00 0a 0000 00000000", "03000008 00001001  09000005 01 000000")));
    EXPECT_TRUE(object.has_subscribers);
    answer(message("00 0a 0000 00000000", "03000008 00001001"));
    answer(message("00 0a 0000 00000000", "03000008 00001002  09000005 01 000000"));
    answer(message("00 0a 0000 00000000", "03000008 00001001  09000005 00 000000"));
    EXPECT_FALSE(object.has_subscribers);
    EXPECT_EQ((std::vector<std::string>{"subscribers", "none"}), lines);
}

class Subscriber : public BusClient
{
  protected:
    void SetUp() override
    {
        BusClient::SetUp();
        lines.clear();
        subscriber.cb = [](ubus_context *, ubus_object *, ubus_request_data *, const char *type, blob_attr *msg) {
            lines.push_back(std::string(type) + " " + std::to_string(blob_len(msg)));
            return int{UBUS_STATUS_OK};
        };
        subscriber.remove_cb = [](ubus_context *, ubus_subscriber *, uint32_t id) {
            lines.push_back("removed " + std::to_string(id));
        };
    }

    void enlist()
    {
        broker.say(message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0));
        ASSERT_EQ(UBUS_STATUS_OK, ubus_register_subscriber(ctx, &subscriber));
        ASSERT_EQ(bytes("00 06 0001 00000000  00000004"), broker.heard());
    }

    ubus_subscriber subscriber = {};
};

TEST_F(Subscriber, SubscribesAndUnsubscribes)
{
    enlist();
    broker.say(status("0002 00000000", 0) + status("0003 00000000", 4));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_subscribe(ctx, &subscriber, 0x3003));
    EXPECT_EQ(UBUS_STATUS_NOT_FOUND, ubus_unsubscribe(ctx, &subscriber, 0x3003));
    EXPECT_EQ(bytes("00 08 0002 00000000  00000014  03000008 00001001  08000008 00003003") +
                  bytes("00 09 0003 00000000  00000014  03000008 00001001  08000008 00003003"),
              broker.heard());
}

TEST_F(Subscriber, TakesNotificationsOfEveryName)
{
    enlist();
    broker.say(message("00 05 0007 000000aa", "03000008 00001001  04000007 'up' 00 00  07000004  0a000005 01 000000") +
               message("00 05 0008 000000aa", "03000008 00001001  04000009 'down' 00 000000  07000004"));
    turn();
    EXPECT_EQ((std::vector<std::string>{"up 0", "down 0"}), lines);
    EXPECT_EQ(bytes("00 01 0008 000000aa  00000014  01000008 00000000  03000008 00001001"), broker.heard());
}

TEST_F(Subscriber, LearnsThatATargetIsGone)
{
    ubus_object other = {};
    enlist();
    broker.say(message("00 02 0002 00000000", "03000008 00001002") + status("0002 00000000", 0));
    ASSERT_EQ(UBUS_STATUS_OK, ubus_add_object(ctx, &other));
    broker.say(message("00 09 0000 00000000", "03000008 00001001  08000008 000000ff") +
               message("00 09 0000 00000000", "03000008 00001001") +
               message("00 09 0000 00000000", "03000008 00001002  08000008 000000ff"));
    turn();
    EXPECT_EQ(std::vector<std::string>{"removed 255"}, lines);
}

TEST_F(Subscriber, IsTakenOffTheBus)
{
    enlist();
    broker.say(message("00 02 0002 00000000", "03000008 00001001") + status("0002 00000000", 0));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_unregister_subscriber(ctx, &subscriber));
    EXPECT_EQ(bytes("00 07 0002 00000000  0000000c  03000008 00001001"), broker.heard());
    EXPECT_EQ(UBUS_STATUS_NOT_FOUND, ubus_unregister_subscriber(ctx, &subscriber));
}

TEST_F(Subscriber, IsAskedForEveryObject)
{
    subscriber.new_obj_cb = [](ubus_context *, ubus_subscriber *, const char *path) {
        lines.push_back(path);
        return path[0] == 'w';
    };
    broker.say(message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0) + // subscriber
               message("00 02 0002 00000000", "03000008 00001002") + status("0002 00000000", 0) + // event handler
               status("0003 00000001", 0) +                                                       // its pattern
               message("00 02 0004 00000000", "02000007 'wa' 00 00  03000008 00003001  05000008 00000001") +
               message("00 02 0004 00000000", "02000007 'xa' 00 00  03000008 00003002  05000008 00000001") +
               status("0004 00000000", 0) + status("0005 00000000", 0));
    ASSERT_EQ(UBUS_STATUS_OK, ubus_register_subscriber(ctx, &subscriber));
    EXPECT_EQ(bytes("00 06 0001 00000000  00000004") + bytes("00 06 0002 00000000  00000004") +
                  bytes("00 05 0003 00000001  00000054"
                        "03000008 00000001"
                        "0400000d 'register' 00 000000"
                        "07000038 85000014 0006 'object' 00 000000 00001002"
                        "83000020 0007 'pattern' 00 0000 'ubus.object.add' 00") +
                  bytes("00 04 0004 00000000  00000004") +
                  bytes("00 08 0005 00000000  00000014  03000008 00001001  08000008 00003001"),
              broker.heard());

    broker.say(message("00 05 0000 00000000", "03000008 00001002  04000014 'ubus.object.add' 00"
                                              "07000024 85000010 0002 'id' 00 000000 00003003"
                                              "83000010 0004 'path' 00 00 'wb' 00 00") +
               status("0006 00000000", 0));
    turn();
    EXPECT_EQ((std::vector<std::string>{"wa", "xa", "wb"}), lines);
    EXPECT_EQ(bytes("00 08 0006 00000000  00000014  03000008 00001001  08000008 00003003") +
                  bytes("00 01 0000 00000000  00000014  01000008 00000000  03000008 00001002"),
              broker.heard());
}

TEST_F(Subscriber, IsOffTheBusWhenItCannotBeAskedForObjects)
{
    subscriber.new_obj_cb = [](ubus_context *, ubus_subscriber *, const char *) { return false; };
    broker.say(message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0) +
               status("0002 00000000", 6) + // no event handler
               status("0003 00000000", 0));
    EXPECT_EQ(UBUS_STATUS_PERMISSION_DENIED, ubus_register_subscriber(ctx, &subscriber));
    EXPECT_EQ(0u, subscriber.obj.id);
    EXPECT_EQ(0u, ctx->objects.count);
}

class EventHandler : public BusClient
{
  protected:
    void SetUp() override
    {
        BusClient::SetUp();
        lines.clear();
        handler.cb = [](ubus_context *, ubus_event_handler *, const char *type, blob_attr *msg) {
            lines.push_back(std::string(type) + " " + std::to_string(blob_len(msg)));
        };
    }

    ubus_event_handler handler = {};
};

TEST_F(EventHandler, TakesItsEvents)
{
    broker.say(message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0) +
               status("0002 00000001", 0) + status("0003 00000001", 0));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_register_event_handler(ctx, &handler, "a*"));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_register_event_handler(ctx, &handler, "b"));
    EXPECT_EQ(bytes("00 06 0001 00000000  00000004") +
                  bytes("00 05 0002 00000001  00000048"
                        "03000008 00000001"
                        "0400000d 'register' 00 000000"
                        "0700002c 85000014 0006 'object' 00 000000 00001001"
                        "83000013 0007 'pattern' 00 0000 'a*' 00 00") +
                  bytes("00 05 0003 00000001  00000048"
                        "03000008 00000001"
                        "0400000d 'register' 00 000000"
                        "0700002c 85000014 0006 'object' 00 000000 00001001"
                        "83000012 0007 'pattern' 00 0000 'b' 00 0000"),
              broker.heard());

    broker.say(message("00 05 0000 00000000", "03000008 00001001  04000007 'ab' 00 00  07000004"));
    turn();
    EXPECT_EQ(std::vector<std::string>{"ab 0"}, lines);
    EXPECT_EQ(bytes("00 01 0000 00000000  00000014  01000008 00000000  03000008 00001001"), broker.heard());
}

TEST_F(EventHandler, IsOffTheBusWhenItsPatternIsRefused)
{
    broker.say(message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0) +
               status("0002 00000001", 6) + status("0003 00000000", 0));
    EXPECT_EQ(UBUS_STATUS_PERMISSION_DENIED, ubus_register_event_handler(ctx, &handler, ""));
    EXPECT_EQ(0u, handler.obj.id);
    EXPECT_EQ(0u, ctx->objects.count);
}

TEST_F(Object, IsRegisteredAgainOnAnewConnection)
{
    ubus_object anonymous = {};
    broker.say(message("00 02 0001 00000000", "03000008 00001000") + status("0001 00000000", 0));
    ASSERT_EQ(UBUS_STATUS_OK, ubus_add_object(ctx, &anonymous));
    ctx->request_seq = 0;

    // Both answers are there before the requests: the ids change places in the order.
    const Bytes answers =
        greeting() + message("00 02 0001 00000000", "03000008 00009002") + status("0001 00000000", 0) +
        message("00 02 0002 00000000", "03000008 00009001  05000008 00009003") + status("0002 00000000", 0);
    object.n_methods = 2;
    whole_type.n_methods = 1;
    broker.serve([this] { EXPECT_EQ(UBUS_STATUS_OK, ubus_reconnect(ctx, broker.path.c_str())); }, answers);
    whole_type.n_methods = ARRAY_SIZE(methods);
    EXPECT_EQ(bytes("00 06 0001 00000000  00000004") + bytes("00 06 0002 00000000  00000044"
                                                             "02000010 'test.object' 00"
                                                             "06000030"
                                                             "8200002c 0005 'hello' 00"
                                                             "85000010 0002 'id' 00 000000 00000005"
                                                             "85000010 0004 'name' 00 00 00000003"),
              broker.heard());
    EXPECT_EQ(0x9002u, anonymous.id);
    EXPECT_EQ(0x9001u, object.id);
    EXPECT_EQ(0x9003u, whole_type.id);

    ubus_add_uloop(ctx);
    EXPECT_EQ(bytes("00 01 0007 000000aa  00000014  01000008 00000006  03000008 00009001"),
              answer(message("00 05 0007 000000aa", "03000008 00009001  0400000a 'plain' 00 0000  07000004")));
    EXPECT_EQ(bytes("00 01 0007 000000aa  00000014  01000008 00000004  03000008 00001001"),
              answer(message("00 05 0007 000000aa", "03000008 00001001  0400000a 'plain' 00 0000  07000004")));
}

// Its path may be taken when the bus comes back, and free when it comes back once more.
TEST_F(Object, IsTriedAgainAfterARefusalAtReconnecting)
{
    ctx->request_seq = 0;
    broker.serve([this] { EXPECT_EQ(UBUS_STATUS_OK, ubus_reconnect(ctx, broker.path.c_str())); },
                 greeting() + status("0001 00000000", 2));
    EXPECT_EQ(0u, object.id);
    broker.serve([this] { EXPECT_EQ(UBUS_STATUS_OK, ubus_reconnect(ctx, broker.path.c_str())); },
                 greeting() + message("00 02 0002 00000000", "03000008 00009001") + status("0002 00000000", 0));
    EXPECT_EQ(0x9001u, object.id);
}

TEST_F(Object, SurvivesABrokerThatGoesAwayWhileItReconnects)
{
    broker.serve(
        [this] {
            std::thread client(
                [this] { EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, ubus_reconnect(ctx, broker.path.c_str())); });
            while (broker.client < 0)
                usleep(1000);
            usleep(20000);
            shutdown(broker.client, SHUT_RDWR);
            client.join();
        },
        greeting());
    EXPECT_EQ(0u, object.id);
    ctx->connection_lost = [](ubus_context *) { lines.push_back("lost"); };
    turn();
    EXPECT_EQ(std::vector<std::string>(), lines); // the status has said so already
    ctx->request_seq = 0;
    broker.serve([this] { EXPECT_EQ(UBUS_STATUS_OK, ubus_reconnect(ctx, broker.path.c_str())); },
                 greeting() + message("00 02 0001 00000000", "03000008 00009001") + status("0001 00000000", 0));
    EXPECT_EQ(0x9001u, object.id);
}

TEST_F(Object, AnswersANullMessageWithAnEmptyOne)
{
    ubus_request_data req = {.object = 0x1001, .peer = 0xaa, .seq = 7, .fd = -1};
    EXPECT_EQ(UBUS_STATUS_OK, ubus_send_reply(ctx, &req, nullptr));
    EXPECT_EQ(bytes("00 02 0007 000000aa  00000010  03000008 00001001  07000004"), broker.heard());
}

TEST_F(Registration, LeavesOutOfTheSignatureWhatTheMaskLeavesOut)
{
    static const blobmsg_policy policy[] = {
        {"a", BLOBMSG_TYPE_INT32}, {"b", BLOBMSG_TYPE_INT32}, {"c", BLOBMSG_TYPE_INT8}};
    static const ubus_method masked[] = {UBUS_METHOD_MASK("m", refuse, policy, 1 << 1 | 1 << 2),
                                         UBUS_METHOD_TAG("t", refuse, policy, UBUS_TAG_ADMIN),
                                         UBUS_METHOD_TAG_NOARG("n", refuse, UBUS_TAG_STATUS | UBUS_TAG_PRIVATE)};
    ubus_object_type masked_type = {.name = "masked", .id = 0, .methods = masked, .n_methods = 1};
    ubus_object object = {.name = "o", .type = &masked_type};
    broker.say(message("00 02 0001 00000000", "03000008 00001001  05000008 00002001") + status("0001 00000000", 0));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_add_object(ctx, &object));
    EXPECT_EQ(bytes("00 06 0001 00000000  00000034  02000006 'o' 00 0000"
                    "06000028 82000024 0001 'm' 00"
                    "8500000c 0001 'b' 00 00000005"
                    "8500000c 0001 'c' 00 00000007")
                  .size(),
              broker.heard().size());
    EXPECT_EQ(2ul, masked[1].tags);
    EXPECT_EQ(5ul, masked[2].tags);
}

TEST_F(EventHandler, WithoutAPatternIsRefusedByTheBroker)
{
    broker.say(message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0) +
               status("0002 00000001", 2) + status("0003 00000000", 0));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_register_event_handler(ctx, &handler, nullptr));
}

// A message with a descriptor, in a send of its own.
void say_with_fd(FakeBroker &broker, const Bytes &data, int fd)
{
    char control[CMSG_SPACE(sizeof(int))] = {};
    iovec part = {const_cast<uint8_t *>(data.data()), data.size()};
    msghdr header = {};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof(control);
    cmsghdr *passed = CMSG_FIRSTHDR(&header);
    passed->cmsg_level = SOL_SOCKET;
    passed->cmsg_type = SCM_RIGHTS;
    passed->cmsg_len = CMSG_LEN(sizeof(int));
    memcpy(CMSG_DATA(passed), &fd, sizeof(fd));
    EXPECT_EQ(static_cast<ssize_t>(data.size()), sendmsg(broker.client, &header, MSG_NOSIGNAL));
}

int heard_fd(FakeBroker &broker)
{
    char byte[512], control[CMSG_SPACE(4 * sizeof(int))];
    iovec part = {byte, sizeof(byte)};
    msghdr header = {};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof(control);
    EXPECT_LT(0, recvmsg(broker.client, &header, MSG_DONTWAIT));
    int fd = -1;
    if (const cmsghdr *passed = CMSG_FIRSTHDR(&header))
        memcpy(&fd, CMSG_DATA(passed), sizeof(fd));
    return fd;
}

// Whether all other ends of the pipe are closed, whatever is still to be read.
bool is_ended(int reading)
{
    char byte;
    return read(reading, &byte, 1) == 0;
}

class Descriptors : public Object
{
  protected:
    void SetUp() override
    {
        Object::SetUp();
        ASSERT_EQ(0, pipe2(ends, O_NONBLOCK | O_CLOEXEC));
        method.handler = [](ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *) {
            if (takes)
                taken = ubus_request_get_caller_fd(req);
            EXPECT_EQ(-1, takes ? ubus_request_get_caller_fd(req) : -1);
            if (gives >= 0)
                ubus_request_set_fd(ctx, req, gives);
            return int{UBUS_STATUS_OK};
        };
        object.methods = &method;
        object.n_methods = 1;
        taken = gives = -1;
        takes = true;
    }
    void TearDown() override
    {
        close(ends[0]);
        Object::TearDown();
    }

    static bool takes;
    static int taken, gives;
    static ubus_method method;
    int ends[2];
};
bool Descriptors::takes;
int Descriptors::taken, Descriptors::gives;
ubus_method Descriptors::method;

TEST_F(Descriptors, ComeWithACall)
{
    say_with_fd(broker, call_with_text("0007", "x", ""), ends[1]);
    close(ends[1]);
    turn();
    ASSERT_LE(0, taken);
    EXPECT_EQ(0, fcntl(taken, F_GETFD)) << "not closed on exec";
    EXPECT_FALSE(is_ended(ends[0]));
    close(taken);
    EXPECT_TRUE(is_ended(ends[0]));
}

TEST_F(Descriptors, AreClosedWhereNobodyTakesThem)
{
    takes = false;
    say_with_fd(broker, call_with_text("0007", "x", ""), ends[1]);
    say_with_fd(broker, message("00 02 0007 000000aa", "07000004"), ends[1]);
    say_with_fd(broker, status("0007 000000aa", 0), ends[1]);
    close(ends[1]);
    turn();
    EXPECT_TRUE(is_ended(ends[0]));
}

TEST_F(Descriptors, GoToTheCallTheyCameWithAndToNoOther)
{
    static std::vector<bool> had;
    had.clear();
    method.handler = [](ubus_context *, ubus_object *, ubus_request_data *req, const char *, blob_attr *) {
        const int fd = ubus_request_get_caller_fd(req);
        had.push_back(fd >= 0);
        close(fd);
        return int{UBUS_STATUS_OK};
    };
    broker.say(call_with_text("0007", "x", ""));
    turn();
    say_with_fd(broker, call_with_text("0007", "x", ""), ends[1]);
    broker.say(call_with_text("0007", "x", ""));
    turn();
    EXPECT_EQ((std::vector<bool>{false, true, false}), had);
    close(ends[1]);
    EXPECT_TRUE(is_ended(ends[0]));
}

TEST_F(Descriptors, GoWithTheStatus)
{
    gives = ends[1];
    broker.say(call_with_text("0007", "x", ""));
    turn();
    const int fd = heard_fd(broker);
    ASSERT_LE(0, fd);
    EXPECT_FALSE(is_ended(ends[0])) << "the other end has come";
    close(fd);
    EXPECT_TRUE(is_ended(ends[0])) << "the library has closed its own";
}

TEST_F(Descriptors, GoWithACallAndComeWithItsStatus)
{
    static int came;
    ubus_request req;
    came = -1;
    EXPECT_EQ(UBUS_STATUS_OK, ubus_invoke_async_fd(ctx, 0x1001, "a", nullptr, &req, ends[1]));
    const int fd = heard_fd(broker);
    ASSERT_LE(0, fd);
    req.fd_cb = [](ubus_request *, int fd) { came = fd; };
    ubus_complete_request_async(ctx, &req);
    say_with_fd(broker, status("0001 00001001", 0), fd);
    close(fd);
    turn();
    EXPECT_TRUE(req.status_msg);
    ASSERT_LE(0, came);
    close(came);
    EXPECT_TRUE(is_ended(ends[0]));
}

TEST_F(Descriptors, StayOpenWhereTheMessageIsTooLong)
{
    blob_buf buf = {};
    blob_buf_init(&buf, 0);
    blobmsg_add_string(&buf, "text", std::string(0x100000, 'x').c_str());
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_invoke_fd(ctx, 0x1001, "a", buf.head, nullptr, nullptr, 0, ends[1]));
    EXPECT_FALSE(is_ended(ends[0]));
    close(ends[1]);
    blob_buf_free(&buf);
}

TEST_F(Registration, KeepsTheRulesForItsObjects)
{
    broker.say(message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0) +
               status("0002 00000001", 0));
    ASSERT_EQ(UBUS_STATUS_OK, ubus_register_acl(ctx));
    blob_buf buf = {};
    blob_buf_init(&buf, 0);
    void *list = blobmsg_open_array(&buf, "acl");
    void *rule = blobmsg_open_table(&buf, nullptr);
    blobmsg_add_string(&buf, "obj", "o");
    blobmsg_add_string(&buf, "user", "me");
    void *rights = blobmsg_open_table(&buf, "acl");
    blobmsg_add_u8(&buf, "write", 1);
    blobmsg_close_table(&buf, rights);
    blobmsg_close_table(&buf, rule);
    blobmsg_close_array(&buf, list);
    blob_buf answer = {};
    blob_buf_init(&answer, 0);
    blob_put_u32(&answer, UBUS_ATTR_OBJID, 2);
    blob_put(&answer, UBUS_ATTR_DATA, blob_data(buf.head), static_cast<unsigned>(blob_len(buf.head)));
    const auto *raw = reinterpret_cast<const uint8_t *>(answer.head);
    broker.say(bytes("00 02 0003 00000002") + Bytes(raw, raw + blob_raw_len(answer.head)) + status("0003 00000002", 0));
    turn();
    auto count = [](const char *object, const char *user, const char *group) {
        const ubus_acl_key key = {user, group, object};
        int rules = 0;
        acl_object *acl;
        acl_for_each(acl, &key) rules += blobmsg_check_array(acl->acl, BLOBMSG_TYPE_UNSPEC);
        return rules;
    };
    EXPECT_EQ(1, count("o", "me", "wheel"));
    EXPECT_EQ(0, count("o", "you", "me"));
    EXPECT_EQ(0, count("p", "me", nullptr));
    blob_buf_free(&buf);
    blob_buf_free(&answer);
}

} // namespace
