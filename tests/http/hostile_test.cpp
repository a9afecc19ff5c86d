// Who means no good: other sites' pages, paths out of the folder, too much, too slow, too many, and no HTTP at all.

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/http/gateway_test.h"

namespace
{

struct Hostile : GatewayTest {
    // The bytes to send as they stand, with PORT in them.
    Response send(std::string text) const
    {
        for (size_t at; (at = text.find("PORT")) != std::string::npos;)
            text.replace(at, 4, std::to_string(port_));
        HttpClient client = connect();
        client.write(text);
        return client.read_response();
    }

    // It serves on, as if nothing had been.
    void TearDown() override
    {
        EXPECT_EQ(rpc("[]"), "[]");
        GatewayTest::TearDown();
    }
};

TEST_F(Hostile, OtherNamesAndSitesAreRefused)
{
    auto status = [&](const std::string &lines) {
        return send("GET /ubus/list/test HTTP/1.1\r\n" + lines + "\r\n\r\n").status;
    };
    for (const char *good : {"Host: 127.0.0.1:PORT", "Host: LocalHost:1", "Host: localhost", "Host: [::1]:80",
                             "Host: localhost:8\r\nOrigin: http://localhost:8"})
        EXPECT_EQ(status(good), 200) << good;
    for (const char *bad :
         {"Host: attacker.example", "Host: attacker.example:PORT", "Host: 127.0.0.1.attacker.example:PORT",
          "Host: ", "Host: [::1", "Host: 127.0.0.1@attacker.example", "Host: 0.0.0.0:PORT",
          "Host: localhost\r\nOrigin: http://attacker.example", "Host: localhost\r\nOrigin: null",
          "Host: localhost\r\nOrigin: ", "Host: localhost\r\nOrigin: https://localhost",
          "Host: localhost:1\r\nOrigin: http://localhost:2", "Host: localhost\r\nOrigin: http://127.0.0.1"})
        EXPECT_EQ(status(bad), bad == std::string("Host: [::1") ? 200 : 403) << bad;
}

TEST_F(Hostile, FurtherNamesAreGivenByName)
{
    start_gateway({"--host", "lab.example"});
    EXPECT_EQ(send("GET /ubus/list HTTP/1.1\r\nHost: lab.example\r\nOrigin: http://lab.example\r\n\r\n").status, 200);
    EXPECT_EQ(send("GET /ubus/list HTTP/1.1\r\nHost: x.lab.example\r\n\r\n").status, 403);
}

TEST_F(Hostile, HeadersThatCanBeReadTwoWaysAreRefused)
{
    for (const char *lines :
         {"", "Host: localhost\r\nHost: localhost\r\n", "Host: localhost\r\nContent-Length: 2\r\nContent-Length: 2\r\n",
          "Host: localhost\r\nContent-Length: 2\r\nTransfer-Encoding: chunked\r\n",
          "Host: localhost\r\nTransfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n",
          "Host: localhost\r\nContent-Length: -2\r\n", "Host: localhost\r\nContent-Length: 2x\r\n",
          "Host: localhost\r\nOrigin: http://localhost\r\nOrigin: http://localhost\r\n"}) {
        const Response response = send("POST /ubus HTTP/1.1\r\n" + std::string(lines) + "\r\n[]");
        EXPECT_EQ(response.status, 400) << lines;
    }
}

TEST_F(Hostile, NothingOutsideThePageIsServed)
{
    write_file("page/index.html", "<p>home");
    write_file("page/.hidden", "secret");
    write_file("secret", "secret");
    std::filesystem::create_directory(folder_ / "page" / "sub");
    write_file("page/sub/index.html", "<p>sub");
    write_file("page/a b.js", "let a");
    std::filesystem::create_symlink("../secret", folder_ / "page" / "link");
    std::filesystem::create_directory_symlink("..", folder_ / "page" / "up");
    mkfifo((folder_ / "page" / "pipe").c_str(), 0600);

    EXPECT_EQ(ask("GET", "/").body, "<p>home");
    EXPECT_EQ(ask("GET", "/index.html?x=/../y").body, "<p>home");
    EXPECT_EQ(ask("GET", "/sub/").body, "<p>sub");
    EXPECT_EQ(ask("GET", "/a%20b.js").headers["content-type"], "text/javascript; charset=utf-8");
    EXPECT_EQ(ask("HEAD", "/").headers["content-length"], "7");
    for (const char *target : {"/../secret",
                               "/..%2fsecret",
                               "/%2e%2e/secret",
                               "/sub/../../secret",
                               "/sub/..%2f..%2fsecret",
                               "/.hidden",
                               "/%2ehidden",
                               "//secret",
                               "/sub//index.html",
                               "/link",
                               "/up/secret",
                               "/up/",
                               "/sub",
                               "/pipe",
                               "/index.html%00",
                               "/%",
                               "/%zz",
                               "/..\\secret",
                               "/index.html/",
                               "/none",
                               "/%ff"})
        EXPECT_EQ(ask("GET", target).status, 404) << target;
    EXPECT_EQ(send("GET " + path("secret") + " HTTP/1.1\r\nHost: localhost\r\n\r\n").status, 404);
    EXPECT_EQ(send("GET http://localhost/index.html HTTP/1.1\r\nHost: localhost\r\n\r\n").status, 404);
}

TEST_F(Hostile, EveryAnswerSaysWhatAPageMayDo)
{
    for (const char *target : {"/none", "/ubus", "/ubus/list", "/lab/faults"}) {
        Response response = ask("GET", target);
        EXPECT_EQ(response.headers["content-security-policy"],
                  "default-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'");
        EXPECT_EQ(response.headers["x-content-type-options"], "nosniff");
        EXPECT_EQ(response.headers["cache-control"], "no-store");
        EXPECT_EQ(response.headers["referrer-policy"], "no-referrer");
        EXPECT_EQ(response.headers["cross-origin-resource-policy"], "same-origin");
        EXPECT_FALSE(response.headers.contains("access-control-allow-origin"));
    }
}

TEST_F(Hostile, BodiesAreBounded)
{
    const std::string error = R"({"jsonrpc":"2.0","id":null,"error":{"code":-32700,"message":"Parse error"}})";
    const std::string list = R"({"jsonrpc":"2.0","id":1,"method":"list","params":[]})";
    EXPECT_EQ(rpc(list + std::string(65536 - list.size(), ' ')), R"({"jsonrpc":"2.0","id":1,"result":{}})");
    HttpClient client = connect();
    EXPECT_EQ(client.ask("POST", "/ubus", list + std::string(65537 - list.size(), ' ')).body, error);
    EXPECT_TRUE(client.is_closed());
    EXPECT_EQ(send("POST /ubus HTTP/1.1\r\nHost: localhost\r\nContent-Length: 99999999999\r\n\r\n").body, error);
    EXPECT_EQ(send("POST /lab/faults HTTP/1.1\r\nHost: localhost\r\nContent-Length: 65537\r\n\r\n").status, 413);
}

TEST_F(Hostile, BodiesInPiecesAreBoundedToo)
{
    auto chunks = [](size_t count) {
        std::string text;
        for (size_t i = 0; i < count; i++)
            text += "1000\r\n" + std::string(4096, ' ') + "\r\n";
        return text;
    };
    const std::string head = "POST /ubus HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n";
    EXPECT_EQ(send(head + "2\r\n[]\r\n" + chunks(15) + "0\r\n\r\n").body, "[]");
    EXPECT_NE(send(head + "2\r\n[]\r\n" + chunks(16) + "0\r\n\r\n").body.find("-32700"), std::string::npos);
    HttpClient endless = connect();
    endless.write(head);
    int sent = 0;
    while (sent < 1000 && endless.write(chunks(1)))
        sent++;
    EXPECT_LT(sent, 1000);
}

TEST_F(Hostile, HeadsAreBounded)
{
    EXPECT_EQ(send("GET /" + std::string(100000, 'x') + " HTTP/1.1\r\nHost: localhost\r\n\r\n").status, 414);
    EXPECT_EQ(send("GET / HTTP/1.1\r\nHost: localhost\r\nX: " + std::string(100000, 'x') + "\r\n\r\n").status, 431);
    std::string lines;
    for (int i = 0; i < 10000; i++)
        lines += "X" + std::to_string(i) + ": y\r\n";
    EXPECT_EQ(send("GET / HTTP/1.1\r\nHost: localhost\r\n" + lines + "\r\n").status, 431);
}

TEST_F(Hostile, WhatIsNoHttpIsRefused)
{
    start_gateway({"--patience", "1"}); // of some it is not clear that it is none
    for (const std::string &text :
         {std::string("\r\n\r\n\r\n\r\nx\r\n\r\n"), std::string("GET\r\n\r\n"), std::string(64, '\0') + "\r\n\r\n",
          std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n\r\n", 15),
          std::string("POST /ubus HTTP/9.9\r\nHost: localhost\r\n\r\n"),
          std::string("POST /ubus HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n")}) {
        HttpClient client = connect();
        client.write(text);
        shutdown(client.descriptor(), SHUT_WR);
        const Response response = client.read_response();
        EXPECT_TRUE(response.status == 0 || response.status >= 400) << text << response.status;
    }
}

TEST_F(Hostile, SlowOnesAreCutOff)
{
    start_gateway({"--patience", "1"});
    HttpClient silent = connect(), head = connect(), body = connect(), lazy = connect();
    head.write("POST /ubus HTTP/1.1\r\nHost: local");
    body.write("POST /ubus HTTP/1.1\r\nHost: localhost\r\nContent-Length: 2\r\n\r\n[");
    const std::string session = login("admin");
    const int room = 64 * 1024;
    setsockopt(lazy.descriptor(), SOL_SOCKET, SO_RCVBUF, &room, sizeof(room));
    for (int i = 0; i < 3; i++)
        lazy.request("POST", "/ubus", call_body(session, "test", "big", R"({"size":1000000})"));
    for (int i = 0; i < 40 && head.write("x") && body.write(" "); i++)
        usleep(100000);
    EXPECT_TRUE(silent.is_closed());
    EXPECT_TRUE(head.is_closed());
    EXPECT_TRUE(body.is_closed());
    EXPECT_TRUE(lazy.is_closed());
}

TEST_F(Hostile, ConnectionsAreBoundedAndOthersWait)
{
    start_gateway({"--connections", "8", "--patience", "1"});
    std::vector<std::unique_ptr<HttpClient>> idle;
    for (int i = 0; i < 8; i++)
        idle.push_back(std::make_unique<HttpClient>(port_));
    EXPECT_EQ(rpc("[]"), "[]");
}

TEST_F(Hostile, PipelinedRequestsAreAnsweredInOrder)
{
    const std::string session = login("admin");
    HttpClient client = connect();
    client.request("POST", "/ubus", call_body(session, "test", "wait", R"({"ms":50})", "1"));
    client.request("POST", "/ubus", call_body(session, "test", "refuse", "{}", "2"));
    EXPECT_EQ(client.read_response().body, R"({"jsonrpc":"2.0","id":1,"result":[0,{"waited":50}]})");
    EXPECT_EQ(client.read_response().body, R"({"jsonrpc":"2.0","id":2,"result":[0]})");
}

TEST_F(Hostile, WhoLeavesBeforeTheAnswerIsNotWaitedFor)
{
    const std::string session = login("admin");
    for (int i = 0; i < 50; i++)
        connect().request("POST", "/ubus", call_body(session, "test", "wait", R"({"ms":20})"));
    connect().write("POST /ubus HTTP/1.1\r\nHost: localhost\r\nContent-Length: 10\r\n\r\n[");
    EXPECT_EQ(call(session, "test", "wait", R"({"ms":100})"),
              R"({"jsonrpc":"2.0","id":1,"result":[0,{"waited":100}]})");
}

TEST_F(Hostile, ExpectIsAnswered)
{
    HttpClient client = connect();
    client.request("POST", "/ubus", "", "Content-Length: 2\r\nExpect: 100-continue\r\n");
    EXPECT_EQ(client.read_response().status, 100);
    client.write("[]");
    EXPECT_EQ(client.read_response().body, "[]");
}

TEST_F(Hostile, EndsWhileThingsAreOnTheirWay)
{
    const std::string session = login("admin");
    HttpClient call = connect(), stream = connect(), head = connect();
    call.request("POST", "/ubus", call_body(session, "test", "never", "{}"));
    stream.request("GET", "/ubus/subscribe/test?session=" + session);
    EXPECT_EQ(stream.read_response().status, 200);
    head.write("GET /");
    stop_gateway();
    start_gateway();
}

} // namespace
