// The library on a real bus. Two contexts in one process are two clients to the broker.

#include "real_bus.h"

#include <csignal>
#include <unistd.h>

namespace
{

std::vector<std::string> lines;
ubus_request_data deferred;
ubus_object added = {};

std::string json(blob_attr *msg)
{
    const blobmsg_policy policy = {"text", BLOBMSG_TYPE_STRING};
    blob_attr *text;
    blobmsg_parse(&policy, 1, &text, blob_data(msg), blob_len(msg));
    return text ? blobmsg_get_string(text) : "-";
}

int echo(ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *method, blob_attr *msg)
{
    lines.push_back(std::string(method) + " " + json(msg));
    return ubus_send_reply(ctx, req, msg);
}

int defer(ubus_context *ctx, ubus_object *, ubus_request_data *req, const char *, blob_attr *)
{
    ubus_defer_request(ctx, req, &deferred);
    return UBUS_STATUS_OK;
}

int add_inside(ubus_context *ctx, ubus_object *, ubus_request_data *, const char *, blob_attr *msg)
{
    lines.push_back("adds for " + json(msg));
    const int status = added.id ? ubus_remove_object(ctx, &added) : ubus_add_object(ctx, &added);
    lines.push_back("added for " + json(msg));
    return status;
}

const ubus_method methods[] = {
    UBUS_METHOD_NOARG("echo", echo),
    UBUS_METHOD_NOARG("defer", defer),
    UBUS_METHOD_NOARG("add", add_inside),
};
ubus_object_type type = UBUS_OBJECT_TYPE("test", methods);

struct Call {
    ubus_request req;
    std::vector<std::string> texts;
    int status = -1;
};

class Bus : public RealBus
{
  protected:
    void SetUp() override
    {
        owner = connect();
        caller = connect();
        lines.clear();
        object = added = {};
        type.id = 0; // another broker's, where another test went before
        object.name = "test.object";
        added.name = "test.added";
        object.type = added.type = &type;
        object.methods = added.methods = methods;
        object.n_methods = added.n_methods = ARRAY_SIZE(methods);
        ASSERT_EQ(UBUS_STATUS_OK, ubus_add_object(owner, &object));
    }

    void TearDown() override
    {
        ubus_free(caller);
        ubus_free(owner);
        blob_buf_free(&buf);
    }

    blob_attr *text(const std::string &value)
    {
        blob_buf_init(&buf, 0);
        blobmsg_add_string(&buf, "text", value.c_str());
        return buf.head;
    }

    void begin(Call &call, const char *method, const std::string &value)
    {
        ASSERT_EQ(UBUS_STATUS_OK, ubus_invoke_async(caller, object.id, method, text(value), &call.req));
        call.req.priv = &call;
        call.req.data_cb = [](ubus_request *req, int, blob_attr *msg) {
            static_cast<Call *>(req->priv)->texts.push_back(json(msg));
        };
        call.req.complete_cb = [](ubus_request *req, int status) { static_cast<Call *>(req->priv)->status = status; };
        ubus_complete_request_async(caller, &call.req);
    }

    static bool finish(const Call &call)
    {
        return run_until([&] { return call.status != -1; });
    }

    ubus_context *owner = nullptr, *caller = nullptr;
    ubus_object object;
    blob_buf buf = {};
};

TEST_F(Bus, CarriesACallAndItsAnswer)
{
    Call call;
    begin(call, "echo", "hello");
    ASSERT_TRUE(finish(call));
    EXPECT_EQ(UBUS_STATUS_OK, call.status);
    EXPECT_EQ(std::vector<std::string>{"hello"}, call.texts);
}

TEST_F(Bus, CarriesCallsOfEverySize)
{
    for (size_t size : {1000, 16300, 16384, 70000, 1000000}) {
        Call call;
        begin(call, "echo", std::string(size, 'x'));
        ASSERT_TRUE(finish(call));
        EXPECT_EQ(std::vector<std::string>{std::string(size, 'x')}, call.texts);
    }
}

TEST_F(Bus, AnswersAnUnknownMethod)
{
    Call call;
    begin(call, "none", "");
    ASSERT_TRUE(finish(call));
    EXPECT_EQ(UBUS_STATUS_METHOD_NOT_FOUND, call.status);
}

TEST_F(Bus, CallsBetweenProcesses)
{
    Child client([this] {
        uint32_t id;
        std::string answer;
        ubus_context *ctx = ubus_connect(path.c_str());
        ASSERT_EQ(UBUS_STATUS_OK, ubus_lookup_id(ctx, "test.object", &id));
        EXPECT_EQ(UBUS_STATUS_OK, ubus_invoke(
                                      ctx, id, "echo", text("over there"),
                                      [](ubus_request *req, int, blob_attr *msg) {
                                          *static_cast<std::string *>(req->priv) = json(msg);
                                      },
                                      &answer, 5000));
        EXPECT_EQ("over there", answer);
        EXPECT_EQ(UBUS_STATUS_TIMEOUT, ubus_invoke(ctx, id, "defer", text(""), nullptr, nullptr, 100));
        EXPECT_EQ(UBUS_STATUS_OK, ubus_invoke(ctx, id, "echo", text("end"), nullptr, nullptr, 5000));
        ubus_free(ctx);
    });
    EXPECT_TRUE(run_until([] { return !lines.empty() && lines.back() == "echo end"; }));
}

TEST_F(Bus, LetsAHandlerAddAndRemoveObjects)
{
    Call calls[6];
    for (int i = 0; i < 6; i++)
        begin(calls[i], i % 2 ? "echo" : "add", std::to_string(i));
    for (Call &call : calls) {
        ASSERT_TRUE(finish(call));
        EXPECT_EQ(UBUS_STATUS_OK, call.status);
    }
    EXPECT_EQ((std::vector<std::string>{"adds for 0", "added for 0", "echo 1", "adds for 2", "added for 2", "echo 3",
                                        "adds for 4", "added for 4", "echo 5"}),
              lines);
    uint32_t id;
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup_id(caller, "test.added", &id));
    EXPECT_EQ(added.id, id);
}

TEST_F(Bus, CarriesADeferredAnswer)
{
    Call call;
    begin(call, "defer", "");
    EXPECT_FALSE([&] {
        for (int i = 0; i < 10; i++)
            uloop_run_timeout(5);
        return call.status != -1;
    }());
    ubus_send_reply(owner, &deferred, text("late"));
    ubus_complete_deferred_request(owner, &deferred, UBUS_STATUS_NOT_SUPPORTED);
    ASSERT_TRUE(finish(call));
    EXPECT_EQ(UBUS_STATUS_NOT_SUPPORTED, call.status);
    EXPECT_EQ(std::vector<std::string>{"late"}, call.texts);
}

TEST_F(Bus, GivesATypeUpWithItsLastObject)
{
    ASSERT_EQ(UBUS_STATUS_OK, ubus_add_object(owner, &added));
    const uint32_t before = type.id;
    EXPECT_EQ(UBUS_STATUS_OK, ubus_remove_object(owner, &object));
    EXPECT_EQ(before, type.id);
    EXPECT_EQ(UBUS_STATUS_OK, ubus_remove_object(owner, &added));
    EXPECT_EQ(0u, type.id);
    EXPECT_EQ(UBUS_STATUS_OK, ubus_add_object(owner, &object));
    EXPECT_NE(0u, type.id);
}

TEST_F(Bus, ListensForAccessListsAnewWithEachContext)
{
    for (int round = 0; round < 3; round++) {
        EXPECT_EQ(UBUS_STATUS_OK, ubus_register_acl(caller));
        ubus_free(caller);
        caller = connect();
    }
}

TEST_F(Bus, RefusesAPathThatIsTaken)
{
    ubus_object_type other_type = UBUS_OBJECT_TYPE("other", methods);
    ubus_object other = {.name = "test.object", .type = &other_type};
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_add_object(caller, &other));
}

class Subscription : public Bus
{
  protected:
    void SetUp() override
    {
        Bus::SetUp();
        object.subscribe_cb = [](ubus_context *, ubus_object *object) {
            lines.push_back(object->has_subscribers ? "subscribed" : "unsubscribed");
        };
        subscriber.cb = [](ubus_context *, ubus_object *, ubus_request_data *, const char *type, blob_attr *msg) {
            lines.push_back(std::string(type) + " " + json(msg));
            return int{UBUS_STATUS_OK};
        };
        subscriber.remove_cb = [](ubus_context *, ubus_subscriber *, uint32_t) { lines.push_back("target gone"); };
    }

    static bool told(size_t count)
    {
        return run_until([=] { return lines.size() >= count; });
    }

    ubus_subscriber subscriber = {};
};

TEST_F(Subscription, CarriesNotifications)
{
    ASSERT_EQ(UBUS_STATUS_OK, ubus_register_subscriber(caller, &subscriber));
    ASSERT_EQ(UBUS_STATUS_OK, ubus_subscribe(caller, &subscriber, object.id));
    ASSERT_TRUE(told(1));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(owner, &object, "up", text("1"), -1));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(owner, &object, "down", text("2"), -1));
    ASSERT_TRUE(told(3));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_unsubscribe(caller, &subscriber, object.id));
    ASSERT_TRUE(told(4));
    EXPECT_EQ((std::vector<std::string>{"subscribed", "up 1", "down 2", "unsubscribed"}), lines);
    EXPECT_FALSE(object.has_subscribers);
}

TEST_F(Subscription, EndsWithItsTarget)
{
    ASSERT_EQ(UBUS_STATUS_OK, ubus_register_subscriber(caller, &subscriber));
    ASSERT_EQ(UBUS_STATUS_OK, ubus_subscribe(caller, &subscriber, object.id));
    ASSERT_TRUE(told(1));
    ASSERT_EQ(UBUS_STATUS_OK, ubus_remove_object(owner, &object));
    ASSERT_TRUE(told(2));
    EXPECT_EQ((std::vector<std::string>{"subscribed", "target gone"}), lines);
}

TEST_F(Subscription, EndsWithItsSubscriber)
{
    ASSERT_EQ(UBUS_STATUS_OK, ubus_register_subscriber(caller, &subscriber));
    ASSERT_EQ(UBUS_STATUS_OK, ubus_subscribe(caller, &subscriber, object.id));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_unregister_subscriber(caller, &subscriber));
    ASSERT_TRUE(told(2));
    EXPECT_EQ((std::vector<std::string>{"subscribed", "unsubscribed"}), lines);
}

TEST_F(Subscription, IsMadeToOldAndNewObjectsByItself)
{
    subscriber.new_obj_cb = [](ubus_context *, ubus_subscriber *, const char *path) {
        lines.push_back(path);
        return true;
    };
    ASSERT_EQ(UBUS_STATUS_OK, ubus_register_subscriber(caller, &subscriber));
    ASSERT_EQ(UBUS_STATUS_OK, ubus_add_object(owner, &added));
    ASSERT_TRUE(told(3));
    ASSERT_TRUE(run_until([] { return added.has_subscribers; }));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(owner, &added, "up", text("1"), -1));
    ASSERT_TRUE(told(4));
    EXPECT_EQ((std::vector<std::string>{"test.object", "subscribed", "test.added", "up 1"}), lines);
}

TEST_F(Subscription, AnswersNotificationsThatWait)
{
    static int go[2];
    ASSERT_EQ(0, pipe(go));
    Child other([&, this] {
        subscriber.cb = [](ubus_context *, ubus_object *, ubus_request_data *, const char *type, blob_attr *) {
            char byte;
            lines.push_back(type);
            return type == std::string("block") && read(go[0], &byte, 1) != 1 ? -1 : 0;
        };
        ubus_context *ctx = connect();
        EXPECT_EQ(UBUS_STATUS_OK, ubus_register_subscriber(ctx, &subscriber));
        EXPECT_EQ(UBUS_STATUS_OK, ubus_subscribe(ctx, &subscriber, object.id));
        EXPECT_TRUE(told(2));
        ubus_free(ctx);
    });
    ASSERT_TRUE(told(1));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(owner, &object, "up", text("1"), 5000));
    EXPECT_EQ(UBUS_STATUS_TIMEOUT, ubus_notify(owner, &object, "block", text("2"), 100));
    EXPECT_EQ(1, write(go[1], "", 1));
    ASSERT_TRUE(run_until([this] { return !object.has_subscribers; }));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(owner, &object, "up", text("3"), 0));
    close(go[0]);
    close(go[1]);
}

TEST_F(Bus, CarriesEvents)
{
    ubus_event_handler handler = {.cb = [](ubus_context *, ubus_event_handler *, const char *type, blob_attr *msg) {
        lines.push_back(std::string(type) + " " + json(msg));
    }};
    ASSERT_EQ(UBUS_STATUS_OK, ubus_register_event_handler(caller, &handler, "a*"));
    ASSERT_EQ(UBUS_STATUS_OK, ubus_register_event_handler(caller, &handler, "end"));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_send_event(owner, "ab", text("1")));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_send_event(owner, "b", text("2")));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_send_event(owner, "end", text("3")));
    EXPECT_EQ(UBUS_STATUS_PERMISSION_DENIED, ubus_send_event(owner, "ubus.object.add", text("3")));
    ASSERT_TRUE(run_until([] { return lines.size() >= 2; }));
    EXPECT_EQ((std::vector<std::string>{"ab 1", "end 3"}), lines);
    EXPECT_EQ(UBUS_STATUS_OK, ubus_unregister_event_handler(caller, &handler));
}

TEST_F(Bus, LosesItsClientsWhenTheBrokerIsKilled)
{
    static int losses;
    losses = 0;
    owner->connection_lost = caller->connection_lost = [](ubus_context *) { losses++; };
    Call call;
    begin(call, "defer", "");
    stop_broker(SIGKILL);
    ASSERT_TRUE(run_until([] { return losses == 2; }));
    EXPECT_EQ(UBUS_STATUS_TIMEOUT, call.status);
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_invoke(caller, 1, "a", text(""), nullptr, nullptr, 0));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_add_object(owner, &added));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(owner, &object, "a", text(""), -1));
}

TEST_F(Bus, ComesBackAfterARestartOfTheBroker)
{
    owner->connection_lost = caller->connection_lost = [](ubus_context *ctx) { ctx->local_id = 0; };
    ASSERT_EQ(UBUS_STATUS_OK, ubus_add_object(owner, &added));
    stop_broker();
    ASSERT_TRUE(run_until([this] { return owner->local_id == 0 && caller->local_id == 0; }));
    EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, ubus_reconnect(owner, path.c_str()));

    start_broker();
    for (ubus_context *ctx : {owner, caller}) {
        ASSERT_EQ(UBUS_STATUS_OK, ubus_reconnect(ctx, path.c_str()));
        ubus_add_uloop(ctx);
    }
    uint32_t id;
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup_id(caller, "test.added", &id));
    EXPECT_EQ(added.id, id);
    Call call;
    begin(call, "echo", "again");
    ASSERT_TRUE(finish(call));
    EXPECT_EQ(std::vector<std::string>{"again"}, call.texts);
}

// As a daemon does it that outlives its broker.
TEST_F(Bus, ReconnectsFromATimer)
{
    struct Retry {
        uloop_timeout timer;
        ubus_context *ctx;
        const char *path;
        int attempts;
    };
    static Retry retry;
    retry = {.timer = {.cb =
                           [](uloop_timeout *timer) {
                               retry.attempts++;
                               if (ubus_reconnect(retry.ctx, retry.path) != UBUS_STATUS_OK)
                                   uloop_timeout_set(timer, 20);
                               else
                                   ubus_add_uloop(retry.ctx);
                           }},
             .ctx = owner,
             .path = path.c_str(),
             .attempts = 0};
    owner->connection_lost = [](ubus_context *) { uloop_timeout_set(&retry.timer, 0); };
    caller->connection_lost = [](ubus_context *) {};
    stop_broker();
    ASSERT_TRUE(run_until([] { return retry.attempts >= 2; }));
    start_broker();
    ASSERT_TRUE(run_until([this] { return owner->sock.registered; }));
    uint32_t id;
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup_id(owner, "test.object", &id));
    EXPECT_EQ(object.id, id);
}

} // namespace
