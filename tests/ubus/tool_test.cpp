// The tool on a real bus: all that it prints, and its exit status.

#include "real_bus.h"

#include <csignal>
#include <unistd.h>

#include "tests/support/emulator.h"

namespace
{

const std::string usage = "Usage: ubus [OPTION...] COMMAND [ARGUMENT...]\n"
                          "Options:\n"
                          "  -s SOCKET   the bus socket to connect to\n"
                          "  -t SECONDS  how long to wait, 0 for ever\n"
                          "              (default: 30 for call and wait_for, for ever with subscribe and listen)\n"
                          "  -S          simplified output: one line per reply, no messages about errors\n"
                          "  -v          list the methods of the objects too\n"
                          "Commands:\n"
                          "  list [PATH]                list the objects (PATH may end in '*')\n"
                          "  call PATH METHOD [JSON]    call a method of an object\n"
                          "  subscribe PATH...          print the notifications of objects\n"
                          "  listen [PATTERN...]        print events (PATTERN may end in '*')\n"
                          "  send ID [JSON]             send an event\n"
                          "  wait_for OBJECT...         wait until all the objects are there\n";

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
    Outcome const expected = {255, "", "Failed to connect to ubus\n"};
    EXPECT_EQ(expected, Program({BUILD_BIN_DIR "/ubus", "-s", folder.path + "/none", "list"}).wait());
    EXPECT_EQ((Outcome{255, "", ""}),
              Program({BUILD_BIN_DIR "/ubus", "-S", "-s", folder.path + "/none", "list"}).wait());
}

TEST_F(Tool, FindsTheBusByTheEnvironment)
{
    setenv("UBUS_SOCKET", path.c_str(), 1);
    EXPECT_EQ((Outcome{0, "test.object\n", ""}), Program({BUILD_BIN_DIR "/ubus", "list"}).wait());
}

TEST_F(Tool, ShowsItsUsage)
{
    EXPECT_EQ((Outcome{1, "", usage}), run({}));
    EXPECT_EQ((Outcome{1, "", usage}), run({"-x", "list"}));
    EXPECT_EQ((Outcome{1, "", usage}), run({"-t", "soon", "list"}));
    EXPECT_EQ((Outcome{1, "", usage}), run({"-t", "-1", "list"}));
    EXPECT_EQ((Outcome{1, "", usage}), run({"-t"}));
    EXPECT_EQ((Outcome{1, "", ""}), run({"-S"}));
    for (auto arguments : std::initializer_list<std::initializer_list<std::string>>{
             {"frobnicate"},
             {"list", "a", "b"},
             {"call"},
             {"call", "a"},
             {"call", "a", "b", "{}", "c"},
             {"subscribe"},
             {"send"},
             {"send", "a", "{}", "b"},
             {"wait_for"},
         })
        EXPECT_EQ((Outcome{254, "", usage}), run(arguments)) << *arguments.begin();
    EXPECT_EQ((Outcome{254, "", ""}), run({"-S", "frobnicate"}));
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
    EXPECT_EQ((Outcome{0, "{ \"up\": {\"n\":1} }\n{ \"do\\\"wn\": {\"n\":2} }\n{ \"empty\": {} }\n", ""}),
              program.wait());
}

TEST_F(Tool, RefusesToSubscribeToNothing)
{
    EXPECT_EQ((Outcome{255, "", "Error while registering for event 'test.none': Not found\n"}),
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

    // What it printed after that.
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

TEST_F(Listener, EndsWithTheBus)
{
    Program program(tool({"listen", "test*"}));
    wake(program);
    owner->connection_lost = [](ubus_context *) {};
    stop_broker();
    EXPECT_EQ((Outcome{10, "", "Command failed: Connection failed\n"}), after_waking(program.wait()));
}

TEST_F(Listener, EndsWhenNobodyReads)
{
    Program program(tool({"listen", "test*"}));
    wake(program);
    program.close_output();
    ubus_send_event(owner, "test.more", number(1));
    EXPECT_EQ(13, program.wait().status);
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
    Program program(tool({"-t", "0", "wait_for", "test.other"}));
    usleep(200000 * kSlowness);
    program.signal(SIGINT);
    EXPECT_EQ((Outcome{5, "", "Command failed: No response\n"}), program.wait());
}

TEST_F(Tool, EndsACallThatIsInterrupted)
{
    Program program(tool({"-t", "0", "call", "test.object", "silent"}));
    ASSERT_TRUE(run_until([] { return silent_calls > 0; }));
    usleep(50000);
    program.signal(SIGINT);
    EXPECT_EQ((Outcome{251, "", "Command failed: ubus call test.object silent (No response)\n"}), program.wait());
}

} // namespace
