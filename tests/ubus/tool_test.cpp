// The tool on a real bus: all that it prints, and its exit status.

#include "real_bus.h"

#include <csignal>
#include <memory>
#include <unistd.h>

#include "tests/support/emulator.h"

namespace
{

const std::string usage = "Usage: " + built_program("ubus") +
                          " [OPTION...] COMMAND [ARGUMENT...]\n"
                          "Options:\n"
                          "  -s SOCKET   the bus socket to connect to\n"
                          "  -t SECONDS  how long to wait, 0 for ever\n"
                          "              (default: 30 for call and wait_for, for ever with subscribe and listen)\n"
                          "  -S          simplified output: one line per reply, no messages about errors\n"
                          "  -v          list the methods of the objects too\n"
                          "  -m TYPE     monitor only messages of this type (may be repeated)\n"
                          "  -M r|t      monitor only messages that the broker received, or transmitted\n"
                          "Commands:\n"
                          "  list [PATH]                list the objects (PATH may end in '*')\n"
                          "  call PATH METHOD [JSON]    call a method of an object\n"
                          "  subscribe PATH...          print the notifications of objects\n"
                          "  listen [PATTERN...]        print events (PATTERN may end in '*')\n"
                          "  send ID [JSON]             send an event\n"
                          "  wait_for OBJECT...         wait until all the objects are there\n"
                          "  monitor                    print all messages on the bus\n";

int echo(ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *msg)
{
    return ubus_send_reply(ctx, req, msg);
}

int twice(ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *msg)
{
    ubus_send_reply(ctx, req, msg);
    return ubus_send_reply(ctx, req, msg);
}

int refuse(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *)
{
    return UBUS_STATUS_PERMISSION_DENIED;
}

int silent_calls;

int keep_silent(ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *)
{
    ubus_request_data deferred;
    silent_calls++;
    ubus_defer_request(ctx, req, &deferred);
    return 0;
}

int say_nothing(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *)
{
    return UBUS_STATUS_OK;
}

const blobmsg_policy every_type[] = {
    {"unspec", BLOBMSG_TYPE_UNSPEC}, {"array", BLOBMSG_TYPE_ARRAY}, {"table", BLOBMSG_TYPE_TABLE},
    {"string", BLOBMSG_TYPE_STRING}, {"int64", BLOBMSG_TYPE_INT64}, {"int32", BLOBMSG_TYPE_INT32},
    {"int16", BLOBMSG_TYPE_INT16},   {"bool", BLOBMSG_TYPE_BOOL},   {"double", BLOBMSG_TYPE_DOUBLE},
};
const ubus_method methods[] = {
    UBUS_METHOD("echo", echo, every_type),     UBUS_METHOD_NOARG("twice", twice),
    UBUS_METHOD_NOARG("refuse", refuse),       UBUS_METHOD_NOARG("silent", keep_silent),
    UBUS_METHOD_NOARG("nothing", say_nothing),
};
ubus_object_type type = UBUS_OBJECT_TYPE("test", methods);

class Tool : public RealBus
{
  protected:
    void SetUp() override
    {
        silent_calls = 0;
        owner = connect();
        add(object, "test.object");
    }

    void TearDown() override
    {
        if (owner)
            ubus_free(owner);
        blob_buf_free(&buf);
    }

    void add(ubus_object &object, const char *name)
    {
        object.name = name;
        object.type = &type;
        object.methods = methods;
        object.n_methods = ARRAY_SIZE(methods);
        ASSERT_EQ(UBUS_STATUS_OK, ubus_add_object(owner, &object));
    }

    Outcome run(std::initializer_list<std::string> arguments) const { return Program(tool(arguments)).wait(); }

    Outcome run_at_terminal(std::initializer_list<std::string> arguments) const
    {
        return Program(tool(arguments), true).wait();
    }

    blob_attr *number(uint32_t value)
    {
        blob_buf_init(&buf, 0);
        blobmsg_add_u32(&buf, "n", value);
        return buf.head;
    }

    ubus_context *owner = nullptr;
    ubus_object object = {}, other = {};
    blob_buf buf = {};
};

TEST_F(Tool, ListsPaths)
{
    add(other, "test.a");
    EXPECT_EQ((Outcome{0, "test.a\ntest.object\n", ""}), run({"list"}));
    EXPECT_EQ((Outcome{0, "test.a\ntest.object\n", ""}), run({"list", "test.*"}));
    EXPECT_EQ((Outcome{0, "test.a\n", ""}), run({"list", "test.a"}));
    EXPECT_EQ((Outcome{0, "test.a\n", ""}), run({"-v", "-S", "list", "test.a"}));
    EXPECT_EQ((Outcome{4, "", "Command failed: Not found\n"}), run({"list", "test"}));
    EXPECT_EQ((Outcome{4, "", "Command failed: Not found\n"}), run({"list", "x*"}));
    EXPECT_EQ((Outcome{4, "", ""}), run({"-S", "list", "test"}));
    EXPECT_EQ((Outcome{2, "", "Command failed: Invalid argument\n"}), run({"list", ""}));
}

TEST_F(Tool, ListsNothingOnAnEmptyBus)
{
    ASSERT_EQ(UBUS_STATUS_OK, ubus_remove_object(owner, &object));
    EXPECT_EQ((Outcome{0, "", ""}), run({"list"}));
}

TEST_F(Tool, ListsMethodsAndTheirArguments)
{
    char first[64];
    snprintf(first, sizeof(first), "'test.object' @%08x\n", object.id);
    EXPECT_EQ(
        (Outcome{0,
                 first + std::string("\t\"echo\":{\"unspec\":\"(unknown)\",\"array\":\"Array\",\"table\":\"Table\","
                                     "\"string\":\"String\",\"int64\":\"(unknown)\",\"int32\":\"Integer\","
                                     "\"int16\":\"(unknown)\",\"bool\":\"Boolean\",\"double\":\"(unknown)\"}\n"
                                     "\t\"twice\":{}\n"
                                     "\t\"refuse\":{}\n"
                                     "\t\"silent\":{}\n"
                                     "\t\"nothing\":{}\n"),
                 ""}),
        run({"-v", "list"}));
}

TEST_F(Tool, PrintsTheReplyOfACall)
{
    const std::string json = R"({"b":true,"n":-5,"big":5000000000,"s":"a\"b","t":{"x":[1,"y"]},"nil":null})";
    EXPECT_EQ((Outcome{0,
                       "{\n"
                       "\t\"b\": true,\n"
                       "\t\"n\": -5,\n"
                       "\t\"big\": 5000000000,\n"
                       "\t\"s\": \"a\\\"b\",\n"
                       "\t\"t\": {\n"
                       "\t\t\"x\": [\n"
                       "\t\t\t1,\n"
                       "\t\t\t\"y\"\n"
                       "\t\t]\n"
                       "\t},\n"
                       "\t\"nil\": null\n"
                       "}\n",
                       ""}),
              run({"call", "test.object", "echo", json}));
    EXPECT_EQ((Outcome{0, json + "\n", ""}), run({"-S", "call", "test.object", "echo", json}));
    EXPECT_EQ((Outcome{0, "{\n\t\n}\n", ""}), run({"call", "test.object", "echo"}));
    EXPECT_EQ((Outcome{0, "{}\n{}\n", ""}), run({"-S", "call", "test.object", "twice"}));
    EXPECT_EQ((Outcome{0, "", ""}), run({"call", "test.object", "nothing"}));
}

TEST_F(Tool, TellsFailedCallsApart)
{
    EXPECT_EQ((Outcome{4, "", "Command failed: Not found\n"}), run({"call", "test.none", "echo"}));
    EXPECT_EQ((Outcome{4, "", ""}), run({"-S", "call", "test.none", "echo"}));
    EXPECT_EQ((Outcome{253, "", "Command failed: ubus call test.object none {} (Method not found)\n"}),
              run({"call", "test.object", "none", "{}"}));
    EXPECT_EQ((Outcome{250, "", "Command failed: ubus call test.object refuse (Permission denied)\n"}),
              run({"call", "test.object", "refuse"}));
    EXPECT_EQ((Outcome{249, "", "Command failed: ubus call test.object silent (Request timed out)\n"}),
              run({"-t", "1", "call", "test.object", "silent"}));
    EXPECT_EQ((Outcome{244, "", "Command failed: ubus call test.object echo {x (Parsing message data failed)\n"}),
              run({"call", "test.object", "echo", "{x"}));
    EXPECT_EQ((Outcome{244, "", "Command failed: ubus call test.object echo [1] (Parsing message data failed)\n"}),
              run({"call", "test.object", "echo", "[1]"}));
}

TEST_F(Tool, GivesThePlainStatusInSimpleMode)
{
    EXPECT_EQ((Outcome{3, "", ""}), run({"-S", "call", "test.object", "none"}));
    EXPECT_EQ((Outcome{7, "", ""}), run({"-S", "-t", "1", "call", "test.object", "silent"}));
    EXPECT_EQ((Outcome{12, "", ""}), run({"-S", "call", "test.object", "echo", "{x"}));
}

TEST_F(Tool, GivesThePlainStatusAtATerminal)
{
    EXPECT_EQ((Outcome{3, "", "Command failed: Method not found\r\n"}),
              run_at_terminal({"call", "test.object", "none"}));
    EXPECT_EQ((Outcome{3, "", ""}), run_at_terminal({"-S", "call", "test.object", "none"}));
}

TEST_F(Tool, EndsWithoutABus)
{
    const Outcome expected = {255, "", "Failed to connect to ubus\n"};
    EXPECT_EQ(expected, Program({built_program("ubus"), "-s", folder.path + "/none", "list"}).wait());
    EXPECT_EQ((Outcome{255, "", ""}),
              Program({built_program("ubus"), "-S", "-s", folder.path + "/none", "list"}).wait());
}

TEST_F(Tool, FindsTheBusByTheEnvironment)
{
    setenv("UBUS_SOCKET", path.c_str(), 1);
    EXPECT_EQ((Outcome{0, "test.object\n", ""}), Program({built_program("ubus"), "list"}).wait());
}

TEST_F(Tool, ShowsItsUsage)
{
    EXPECT_EQ((Outcome{1, "", usage}), run({}));
    const std::string own = built_program("ubus") + ": ";
    EXPECT_EQ((Outcome{1, "", own + "invalid option -- 'x'\n" + usage}), run({"list", "-x"}));
    EXPECT_EQ((Outcome{1, "", own + "option requires an argument -- 't'\n" + usage}), run({"-t"}));
    EXPECT_EQ((Outcome{1, "", usage}), run({"monitor", "-m", "nothing"}));
    EXPECT_EQ((Outcome{1, "", usage}), run({"monitor", "-M", "x"}));
    EXPECT_EQ((Outcome{1, "", usage}), run({"-S"}));
    for (auto arguments : std::initializer_list<std::initializer_list<std::string>>{
             {"frobnicate"},
             {"list", "a", "b"},
             {"call"},
             {"call", "a"},
             {"call", "a", "b", "{}", "c"},
             {"send"},
             {"send", "a", "{}", "b"},
             {"wait_for"},
         })
        EXPECT_EQ((Outcome{254, "", usage}), run(arguments)) << *arguments.begin();
    EXPECT_EQ((Outcome{254, "", usage}), run({"-S", "frobnicate"}));
    EXPECT_EQ((Outcome{255, "", "Failed to connect to ubus\n"}),
              Program({built_program("ubus"), "-s", folder.path + "/none", "frobnicate"}).wait());
    EXPECT_EQ((Outcome{255, "", "You need to specify an object to subscribe to\n"}), run({"subscribe"}));
}

TEST_F(Tool, ReadsItsTimeAsEveryRoutersToolDoes)
{
    EXPECT_EQ((Outcome{7, "", "Command failed: Request timed out\n"}), run({"wait_for", "-t", "soon", "test.other"}));
    EXPECT_EQ((Outcome{7, "", "Command failed: Request timed out\n"}), run({"wait_for", "test.other", "-t", "-1"}));
    EXPECT_EQ((Outcome{0, "", ""}), run({"-t", "0", "wait_for", "test.object"}));
    EXPECT_EQ((Outcome{249, "", "Command failed: ubus call test.object echo (Request timed out)\n"}),
              run({"call", "test.object", "echo", "-t", "-1"}));
    EXPECT_EQ((Outcome{7, "", ""}), run({"-S", "call", "test.object", "echo", "-t", "2147484"}));
    EXPECT_EQ((Outcome{0, "", ""}), run({"listen", "-t", "-1"}));
    EXPECT_EQ((Outcome{0, "", ""}), run({"subscribe", "test.object", "-t", "1x"}));
}

TEST_F(Tool, PrintsNotifications)
{
    add(other, "test.other");
    Program program(tool({"-t", "2", "subscribe", "test.object", "test.other"}));
    ASSERT_TRUE(run_until([this] { return object.has_subscribers && other.has_subscribers; }));
    ubus_notify(owner, &object, "up", number(1), -1);
    ubus_notify(owner, &other, "do\"wn", number(2), -1);
    blob_buf_init(&buf, 0);
    ubus_notify(owner, &other, "empty", buf.head, -1);
    EXPECT_EQ((Outcome{0, "{ \"up\": {\"n\":1} }\n{ \"do\"wn\": {\"n\":2} }\n{ \"empty\": {} }\n", ""}),
              program.wait());
}

TEST_F(Tool, RefusesToSubscribeToNothing)
{
    EXPECT_EQ((Outcome{255, "", "Error while registering for event 'test.object': Not found\n"}),
              run({"subscribe", "test.object", "test.none"}));
    EXPECT_EQ((Outcome{255, "", ""}), run({"-S", "subscribe", "test.none"}));
}

class Listener : public Tool
{
  protected:
    // Sends an event until the tool prints it.
    void wake(Program &program)
    {
        ASSERT_TRUE(run_until([&] {
            EXPECT_EQ(UBUS_STATUS_OK, ubus_send_event(owner, "test.awake", number(0)));
            return program.has_printed("awake");
        }));
    }

    // Its output after that.
    static Outcome after_waking(Outcome outcome)
    {
        std::string const line = "{ \"test.awake\": {\"n\":0} }\n";
        while (outcome.output.starts_with(line))
            outcome.output.erase(0, line.size());
        return outcome;
    }
};

TEST_F(Listener, PrintsEventsOfItsPatterns)
{
    Program program(tool({"listen", "test*", "link"}));
    wake(program);
    ubus_send_event(owner, "link", number(1));
    ubus_send_event(owner, "linked", number(2));
    ubus_send_event(owner, "test.end", number(3));
    ASSERT_TRUE(run_until([&] { return program.has_printed("end"); }));
    program.signal(SIGINT);
    EXPECT_EQ((Outcome{0, "{ \"link\": {\"n\":1} }\n{ \"test.end\": {\"n\":3} }\n", ""}), after_waking(program.wait()));
}

TEST_F(Tool, MonitorsTheBus)
{
    Program program(tool({"monitor", "-m", "invoke", "-M", "r"}));
    // It is told once it is added; until then it has nothing to print.
    ASSERT_TRUE(run_until([&] {
        ubus_send_event(owner, "look", number(1));
        return program.has_printed("look");
    }));
    program.signal(SIGINT);
    const Outcome outcome = program.wait();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    char line[256];
    snprintf(line, sizeof(line), "<- %08x #%08x %14s: %s\n", be32_to_cpu(owner->local_id), UBUS_SYSTEM_OBJECT_EVENT,
             "invoke", R"({"objid":1,"method":"send","data":{"id":"look","data":{"n":1}}})");
    EXPECT_TRUE(outcome.output.starts_with(line)) << outcome.output << line;
}

TEST_F(Listener, PrintsEveryEventWithoutAPattern)
{
    Program program(tool({"listen"}));
    wake(program);
    add(other, "test.other");
    EXPECT_EQ((Outcome{0, "", ""}), run({"send", "test.end", "{\"a\":[]}"}));
    ASSERT_TRUE(run_until([&] { return program.has_printed("end"); }));
    program.signal(SIGTERM);
    EXPECT_EQ((Outcome{0,
                       "{ \"ubus.object.add\": {\"id\":" + std::to_string(static_cast<int32_t>(other.id)) +
                           ",\"path\":\"test.other\"} }\n{ \"test.end\": {\"a\":[]} }\n",
                       ""}),
              after_waking(program.wait()));
}

TEST_F(Listener, EndsWhenItsTimeIsUp)
{
    EXPECT_EQ((Outcome{0, "", ""}), run({"-t", "1", "listen", "link"}));
    EXPECT_EQ((Outcome{0, "", ""}), run({"-t", "1", "subscribe", "test.object"}));
}

TEST_F(Listener, RefusesAnEmptyPattern)
{
    EXPECT_EQ((Outcome{255, "", "Error while registering for event '': Permission denied\n"}),
              run({"listen", "a", ""}));
    EXPECT_EQ((Outcome{255, "", ""}), run({"-S", "listen", ""}));
}

// A script that relies on its end would sleep for ever on a router.
TEST_F(Listener, StaysWhenTheBusEnds)
{
    Program listener(tool({"listen", "test*"})), waiter(tool({"-t", "2", "wait_for", "test.other"}));
    wake(listener);
    owner->connection_lost = [](ubus_context *) {};
    usleep(500000); // the second one looks its object up before it waits
    stop_broker();
    EXPECT_EQ((Outcome{7, "", "Command failed: Request timed out\n"}), waiter.wait());
    usleep(100000);
    listener.signal(SIGINT);
    EXPECT_EQ((Outcome{0, "", ""}), after_waking(listener.wait()));
}

TEST_F(Listener, StaysWhenNobodyReads)
{
    Program program(tool({"listen", "test*"}));
    wake(program);
    program.close_output();
    ubus_send_event(owner, "test.more", number(1));
    usleep(200000);
    program.signal(SIGTERM);
    EXPECT_EQ(0, program.wait().status);
}

TEST_F(Tool, SendsEvents)
{
    EXPECT_EQ((Outcome{0, "", ""}), run({"send", "link"}));
    EXPECT_EQ((Outcome{12, "", "Command failed: Parsing message data failed\n"}), run({"send", "link", "x"}));
    EXPECT_EQ((Outcome{12, "", ""}), run({"-S", "send", "link", "x"}));
    EXPECT_EQ((Outcome{6, "", "Command failed: Permission denied\n"}), run({"send", "ubus.object.add"}));
}

TEST_F(Tool, WaitsForObjects)
{
    EXPECT_EQ((Outcome{0, "", ""}), run({"wait_for", "test.object", "test.object"}));
    EXPECT_EQ((Outcome{7, "", "Command failed: Request timed out\n"}),
              run({"-t", "1", "wait_for", "test.object", "test.other"}));
    EXPECT_EQ((Outcome{7, "", ""}), run({"-S", "-t", "1", "wait_for", "test.other"}));

    Program program(tool({"wait_for", "test.object", "test.other", "test.third"}));
    ubus_object third = {};
    usleep(100000);
    add(other, "test.other");
    usleep(100000);
    add(third, "test.third");
    EXPECT_EQ((Outcome{0, "", ""}), program.wait());
}

TEST_F(Tool, EndsAWaitThatIsInterrupted)
{
    Program program(tool({"wait_for", "test.other"}));
    usleep(200000 * kSlowness);
    program.signal(SIGINT);
    EXPECT_EQ((Outcome{7, "", "Command failed: Request timed out\n"}), program.wait());
}

TEST_F(Tool, EndsACallByItsTimeOutOnly)
{
    Program program(tool({"-t", "1", "call", "test.object", "silent"}));
    ASSERT_TRUE(run_until([] { return silent_calls > 0; }));
    program.signal(SIGINT);
    program.signal(SIGTERM);
    EXPECT_EQ((Outcome{249, "", "Command failed: ubus call test.object silent (Request timed out)\n"}), program.wait());
}

TEST_F(Tool, TellsOfABusThatEndsDuringACall)
{
    Program program(tool({"call", "test.object", "silent"}));
    ASSERT_TRUE(run_until([] { return silent_calls > 0; }));
    owner->connection_lost = [](ubus_context *) {};
    stop_broker();
    EXPECT_EQ((Outcome{246, "", "Command failed: ubus call test.object silent (Connection failed)\n"}), program.wait());
}

// The broker's side is written out by hand.
TEST(Monitor, PrintsEveryMessage)
{
    uloop_init();
    FakeBroker broker;
    std::unique_ptr<Program> program;
    broker.serve(
        [&] {
            program = std::make_unique<Program>(std::vector<std::string>{
                built_program("ubus"), "monitor", "-s", broker.path, "-m", "status", "-m", "invoke", "-m", "data"});
        },
        greeting());
    const char *const client = "00000008 1f5d969b  01000008 00000001  03000008 00000002";
    auto monitored = [&](const char *type_and_send, const char *data) {
        return message("00 0b 0001 00000000", std::string(client) + type_and_send + data);
    };
    broker.say(
        status("0001 00000003", 0) + monitored("04000008 00000001  02000005 01 000000", "0500000c 01000008 00000000") +
        monitored("04000008 00000005  02000005 00 000000",
                  "05000028 03000008 00000001  04000009 'send' 00 000000  07000010 87000009 0001 'b' 00 01 000000") +
        monitored("04000008 00000003  02000005 00 000000", "05000004") + // not wanted
        message("00 0b 0001 00000000", client));
    ASSERT_TRUE(run_until([&] { return program->has_printed("Invalid"); }));
    program->signal(SIGTERM);
    usleep(100000);
    broker.say(status("0002 00000003", 0));
    const Outcome outcome = program->wait();
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("-> 1f5d969b #00000001         status: {\"status\":0}\n"
              "<- 1f5d969b #00000001         invoke: {\"objid\":1,\"method\":\"send\",\"data\":{\"b\":true}}\n"
              "Invalid monitor msg\n",
              outcome.output);
    uloop_done();
}

} // namespace
