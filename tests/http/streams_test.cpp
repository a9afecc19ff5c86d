// Event streams, and what a bus that comes and goes makes of them and of calls.

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/http/gateway_test.h"

namespace
{

struct Streams : GatewayTest {
    Response open(HttpClient &client, const std::string &path, const std::string &session) const
    {
        Response response =
            client.ask("GET", "/ubus/subscribe/" + path, "", "Authorization: Bearer " + session + "\r\n");
        return response;
    }

    void notify(const std::string &session, const std::string &arguments) const
    {
        EXPECT_EQ(call(session, "test", "notify", arguments), R"({"jsonrpc":"2.0","id":1,"result":[0]})");
    }

    // Every kind of call that fails at once while there is no bus.
    std::string state(const std::string &session) const { return call(session, "test", "refuse").substr(24); }
    void await_state(const std::string &session, const std::string &wanted) const
    {
        for (int attempt = 0; attempt < 500 && state(session) != wanted; attempt++)
            usleep(10000);
        EXPECT_EQ(state(session), wanted);
    }
};

const std::string kAnswers = R"("result":[0]})";
const std::string kMissing = R"("error":{"code":-32000,"message":"Object not found"}})";

TEST_F(Streams, HaveNotificationsAsTheyCome)
{
    const std::string session = login("admin");
    HttpClient client = connect();
    Response response = open(client, "test", session);
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.headers["content-type"], "text/event-stream");
    EXPECT_EQ(response.headers["transfer-encoding"], "chunked");
    EXPECT_EQ(client.read_until("\n\n\r\n"), "3\r\n:\n\n\r\n");
    notify(session, R"({"name":"changed","count":1,"text":"a\nb\u0001"})");
    EXPECT_EQ(client.read_until("\n\n\r\n"),
              "37\r\nevent: changed\ndata: {\"number\":0,\"text\":\"a\\nb\\u0001\"}\n\n\r\n");
}

TEST_F(Streams, ReachEveryClientInOrder)
{
    const std::string session = login("admin");
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < 100; i++) {
        clients.push_back(std::make_unique<HttpClient>(port_));
        clients.back()->request("GET", "/ubus/subscribe/test?session=" + session);
        EXPECT_EQ(clients.back()->read_response().status, 200);
    }
    clients.resize(60);
    notify(session, R"({"name":"n","count":10})");
    for (auto &client : clients)
        for (int i = 0; i < 10; i++)
            EXPECT_NE(client->read_until("\"text\":\"\"}").find("{\"number\":" + std::to_string(i) + ","),
                      std::string::npos);
}

TEST_F(Streams, AreRefused)
{
    const std::string denied = R"({"code":-13,"message":"Permission denied"})";
    const std::string reader = login("reader"), admin = login("admin");
    auto subscribe = [&](const std::string &path, const std::string &more) {
        return ask("GET", "/ubus/subscribe/" + path, "", more.empty() ? "" : "Authorization: Bearer " + more + "\r\n");
    };
    EXPECT_EQ(subscribe("test", "").body, denied);
    EXPECT_EQ(subscribe("none", "").body, denied);
    EXPECT_EQ(subscribe("test.passing", reader).body, denied);
    EXPECT_EQ(subscribe("no.such", reader).body, R"({"code":4,"message":"Not found"})");
    EXPECT_EQ(subscribe("test*", admin).body, R"({"code":4,"message":"Not found"})");
    EXPECT_EQ(subscribe("test", "x").body, denied);
    EXPECT_EQ(ask("GET", "/ubus/subscribe/test?session=" + reader, "", "Authorization: Bearer x\r\n").body, denied);
    EXPECT_EQ(subscribe("test", "x").headers["content-type"], "application/json");
}

TEST_F(Streams, OutliveTheirSession)
{
    const std::string reader = login("reader"), admin = login("admin");
    HttpClient client = connect();
    EXPECT_EQ(open(client, "test", reader).status, 200);
    call(reader, "session", "destroy");
    notify(admin, R"({"name":"after","count":1})");
    EXPECT_NE(client.read_until("\"text\":\"\"}").find("event: after\n"), std::string::npos);
}

TEST_F(Streams, EndWithTheirObject)
{
    const std::string session = login("admin");
    HttpClient client = connect();
    EXPECT_EQ(open(client, "test.passing", session).status, 200);
    call(session, "test.passing", "leave");
    EXPECT_EQ(client.read_until("0\r\n\r\n"), "3\r\n:\n\n\r\n0\r\n\r\n");
    EXPECT_EQ(ask("GET", "/ubus/subscribe/test.passing?session=" + session).body,
              R"({"code":4,"message":"Not found"})");
    EXPECT_EQ(call(session, "test.passing", "leave").substr(24), kMissing);
}

const std::string kChanged = R"(data: {"object":"test","name":"changed","message":{"number":0,"text":"a\"b"}})";

TEST_F(Streams, HaveAllThatTheSessionMaySubscribeTo)
{
    const std::string reader = login("reader"), admin = login("admin");
    HttpClient client = connect();
    EXPECT_EQ(client.ask("GET", "/lab/notifications?session=" + reader).status, 200);
    EXPECT_EQ(client.read_until("\n\n\r\n"), "3\r\n:\n\n\r\n");
    notify(admin, R"({"name":"changed","count":1,"text":"a\"b"})");
    EXPECT_NE(client.read_until("\n\n\r\n").find(kChanged + "\n\n"), std::string::npos);
    EXPECT_EQ(ask("GET", "/lab/notifications").status, 401);
}

TEST_F(Streams, HaveObjectsThatComeLater)
{
    const std::string session = login("admin");
    HttpClient client = connect();
    EXPECT_EQ(client.ask("GET", "/lab/notifications?session=" + session).status, 200);
    object_.reset();
    start_object();
    await_state(session, kAnswers);
    std::string seen; // once the gateway has subscribed again
    for (int attempt = 0; attempt < 200 && seen.find(kChanged) == std::string::npos; attempt++) {
        notify(session, R"({"name":"changed","count":1,"text":"a\"b"})");
        usleep(20000);
        pollfd input = {client.descriptor(), POLLIN, 0};
        if (poll(&input, 1, 20) == 1)
            seen += client.read_until("\n\n\r\n");
    }
    EXPECT_NE(seen.find(kChanged), std::string::npos);
}

TEST_F(Streams, AreBoundedInNumber)
{
    start_gateway({"--streams", "3"});
    const std::string session = login("admin");
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < 3; i++) {
        clients.push_back(std::make_unique<HttpClient>(port_));
        EXPECT_EQ(open(*clients.back(), "test", session).status, 200);
    }
    EXPECT_EQ(ask("GET", "/ubus/subscribe/test?session=" + session).status, 503);
    clients.clear(); // noticed within a second or so
    int status = 0;
    for (int attempt = 0; attempt < 100 && status != 200; attempt++) {
        usleep(50000);
        HttpClient client = connect();
        status = open(client, "test", session).status;
    }
    EXPECT_EQ(status, 200);
}

TEST_F(Streams, EndWhereNobodyReads)
{
    const std::string session = login("admin");
    HttpClient lazy = connect(), good = connect();
    const int room = 64 * 1024;
    setsockopt(lazy.descriptor(), SOL_SOCKET, SO_RCVBUF, &room, sizeof(room));
    open(lazy, "test", session);
    open(good, "test", session);
    const std::string text(30000, 'x');
    for (int i = 0; i < 60; i++) { // more than the kernel keeps for him
        notify(session, R"({"name":"n","count":1,"text":")" + text + "\"}");
        EXPECT_NE(good.read_until("\"}\n\n").find(text), std::string::npos);
    }
    const std::string all = lazy.read_until("0\r\n\r\n");
    EXPECT_TRUE(all.ends_with("\r\n0\r\n\r\n"));
    EXPECT_LT(all.size(), 60 * text.size());
}

TEST_F(Streams, ComeBackWithTheBus)
{
    const std::string session = login("admin");
    HttpClient client = connect(), waiting = connect();
    open(client, "test", session);
    waiting.request("POST", "/ubus", call_body(session, "test", "never", "{}"));
    EXPECT_EQ(call(session, "test", "refuse").substr(24), kAnswers);
    bus_->kill();
    EXPECT_EQ(client.read_until("0\r\n\r\n"), "3\r\n:\n\n\r\n0\r\n\r\n");
    EXPECT_EQ(waiting.read_response().body, R"({"jsonrpc":"2.0","id":1,"result":[7]})");
    await_state(session, kMissing);
    EXPECT_EQ(rpc(R"({"jsonrpc":"2.0","id":1,"method":"list"})"), R"({"jsonrpc":"2.0","id":1,"result":["session"]})");

    bus_ = std::make_unique<test_support::Bus>(folder_ / "ubus.sock");
    start_object();
    await_state(session, kAnswers);
    HttpClient again = connect();
    EXPECT_EQ(open(again, "test", session).status, 200);
    notify(session, R"({"name":"back","count":1})");
    EXPECT_NE(again.read_until("\"text\":\"\"}").find("event: back\n"), std::string::npos);
}

TEST_F(Streams, ComeBackWithTheObject)
{
    const std::string session = login("admin");
    HttpClient client = connect();
    open(client, "test", session);
    EXPECT_EQ(state(session), kAnswers);
    object_.reset();
    EXPECT_EQ(client.read_until("0\r\n\r\n"), "3\r\n:\n\n\r\n0\r\n\r\n");
    EXPECT_EQ(state(session), kMissing);
    start_object();
    EXPECT_EQ(state(session), kAnswers);
}

TEST_F(Streams, GatewayStartsBeforeItsBus)
{
    bus_->kill();
    start_gateway();
    const std::string session = login("admin");
    EXPECT_EQ(state(session), kMissing);
    bus_ = std::make_unique<test_support::Bus>(folder_ / "ubus.sock");
    start_object();
    await_state(session, kAnswers);
}

} // namespace
