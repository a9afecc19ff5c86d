// JSON-RPC as routers speak it: requests and their answers, letter by letter.

#include "tests/http/gateway_test.h"

namespace
{

using Rpc = GatewayTest;

std::string error(int code, const std::string &message, const std::string &id = "1")
{
    return R"({"jsonrpc":"2.0","id":)" + id + R"(,"error":{"code":)" + std::to_string(code) + R"(,"message":")" +
           message + "\"}}";
}

std::string result(const std::string &json)
{
    return R"({"jsonrpc":"2.0","id":1,"result":)" + json + "}";
}

TEST_F(Rpc, CallHandsOnArgumentsInOrderAndAddsTheSession)
{
    const std::string session = login("admin");
    EXPECT_EQ(
        call(
            session, "test", "echo",
            R"({"z":1,"a":-2147483648,"long":2147483648,"b":true,"d":1.0,"n":null,"t":"\u00e4\"","l":[1,"x",{}],"o":{"k":{}}})"),
        result(R"([0,{"z":1,"a":-2147483648,"long":2147483648,"b":true,"d":1.000000,"n":null,"t":"ä\"","l":[1,"x",{}],)"
               R"("o":{"k":{}},"ubus_rpc_session":")" +
               session + "\"}]"));
}

TEST_F(Rpc, IntegersBeyondTheBusAreItsLargest)
{
    const std::string session = login("admin");
    EXPECT_EQ(
        call(session, "test", "echo",
             R"({"a":18446744073709551615,"b":99999999999999999999,"c":-99999999999999999999})"),
        result(R"([0,{"a":9223372036854775807,"b":9223372036854775807,"c":-9223372036854775808,"ubus_rpc_session":")" +
               session + "\"}]"));
}

TEST_F(Rpc, RepliesComeAsTheBusHasThem)
{
    const std::string session = login("admin");
    EXPECT_EQ(call(session, "test", "pieces"), result(R"([0,{"one":"","two":""}])"));
    EXPECT_EQ(call(session, "test", "types"),
              result("[0,{\"true\":true,\"unsigned\":-1,\"long\":4611686018427387904,\"double\":1.500000,"
                     "\"text\":\"\\\"\\\\/\\n\\u0001\xff\",\"array\":[]}]"));
    EXPECT_EQ(call(session, "test", "refuse"), result("[0]"));
    EXPECT_EQ(call(session, "test", "refuse", R"({"status":6})"), result("[6]"));
    EXPECT_EQ(call(session, "test", "refuse", R"({"status":4})"), result("[4]"));
    EXPECT_EQ(call(session, "test", "unknown"), result("[3]"));
}

TEST_F(Rpc, IdComesBackAsItCame)
{
    for (const char *id : {"0", "-7", "1.5", "\"a\\n\"", "true", "null", "[1,{\"a\":[]}]", "{\"b\":1,\"a\":2}"})
        EXPECT_EQ(rpc(R"({"id":)" + std::string(id) + R"(,"jsonrpc":"2.0","method":"x"})"),
                  error(-32601, "Method not found", id));
    EXPECT_EQ(rpc(R"({"jsonrpc":"2.0","method":"x"})"), error(-32601, "Method not found", "null"));
}

TEST_F(Rpc, WhatIsNoRequestIsAParseError)
{
    const std::string list = R"({"jsonrpc":"2.0","method":"list"})";
    for (const std::string &body :
         {std::string(), std::string("{"), std::string("["), std::string("nonsense"), std::string("1"),
          std::string("\"text\""), std::string("null"), std::string("{}"), std::string("\xff"), std::string("{'a':1}"),
          std::string("[1,]"), list + "x", list + list, list + '\0'})
        EXPECT_EQ(rpc(body), error(-32700, "Parse error", "null")) << body;
    EXPECT_EQ(rpc(" \r\n" + list + "\n\t").substr(0, 40), R"({"jsonrpc":"2.0","id":null,"result":["se)");
    for (const char *members : {
             R"("method":"list")",
             R"("jsonrpc":"1.0","method":"list")",
             R"("jsonrpc":2.0,"method":"list")",
             R"("jsonrpc":"2.0")",
             R"("jsonrpc":"2.0","method":1)",
             R"("jsonrpc":"2.0","method":"call")",
             R"("jsonrpc":"2.0","method":"call","params":{})",
             R"("jsonrpc":"2.0","method":"call","params":["s","test"])",
             R"("jsonrpc":"2.0","method":"call","params":["s","test","echo"])",
             R"("jsonrpc":"2.0","method":"call","params":["s","test","echo",[]])",
             R"("jsonrpc":"2.0","method":"call","params":[{},"s","test","echo"])",
         })
        EXPECT_EQ(rpc(std::string(R"({"id":1,)") + members + "}"), error(-32700, "Parse error")) << members;
}

TEST_F(Rpc, ParametersOfAnotherTypeInBetweenArePassedOver)
{
    const std::string session = login("reader");
    EXPECT_EQ(rpc(R"({"jsonrpc":"2.0","id":1,"method":"call","params":[1,")" + session +
                  R"(",{},"test",null,"echo",[],{}]})"),
              result(R"([0,{"ubus_rpc_session":")" + session + "\"}]"));
}

TEST_F(Rpc, ChecksComeInTheirOrder)
{
    const std::string reader = login("reader");
    EXPECT_EQ(call(kNobody, "no.such", "x"), error(-32000, "Object not found"));
    EXPECT_EQ(call(reader, "test*", "echo"), error(-32000, "Object not found"));
    EXPECT_EQ(call(reader, "", "echo"), error(-32000, "Object not found"));
    EXPECT_EQ(call(reader, "test", "types", R"({"ubus_rpc_session":"x"})"), error(-32002, "Access denied"));
    EXPECT_EQ(call(reader, "test", "echo", R"({"ubus_rpc_session":"x"})"), error(-32602, "Invalid parameters"));
}

TEST_F(Rpc, NestingIsBounded)
{
    auto nested = [](size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    const std::string session = login("admin");
    EXPECT_EQ(call(session, "test", "echo", R"({"a":)" + nested(28) + "}").substr(0, 38),
              R"({"jsonrpc":"2.0","id":1,"result":[0,{")");
    EXPECT_EQ(call(session, "test", "echo", R"({"a":)" + nested(30) + "}"), error(-32700, "Parse error", "null"));
    EXPECT_EQ(rpc(std::string(60000, '[')), error(-32700, "Parse error", "null"));
    std::string members;
    for (int i = 0; i < 1025; i++)
        members += (i ? ",\"" : "\"") + std::to_string(i) + "\":1";
    EXPECT_EQ(call(session, "test", "echo", "{" + members + "}"), error(-32700, "Parse error", "null"));
}

TEST_F(Rpc, ListsNeedNoSession)
{
    EXPECT_EQ(rpc(R"({"jsonrpc":"2.0","id":1,"method":"list"})"), result(R"(["session","test","test.passing"])"));
    EXPECT_EQ(rpc(R"({"jsonrpc":"2.0","id":1,"method":"list","params":{}})"),
              result(R"(["session","test","test.passing"])"));
    EXPECT_EQ(rpc(R"({"jsonrpc":"2.0","id":1,"method":"list","params":["test.*",1,"none","none*","","te"]})"),
              result(R"({"test.passing":{"leave":{}}})"));
    EXPECT_EQ(rpc(R"({"jsonrpc":"2.0","id":1,"method":"list","params":[]})"), result("{}"));
    EXPECT_EQ(
        rpc(R"({"jsonrpc":"2.0","id":1,"method":"list","params":["test"]})"),
        result(R"({"test":{"echo":{},"wait":{"ms":"number"},"never":{},"refuse":{},"pieces":{},"types":{},"big":{},)"
               R"("notify":{"name":"string","count":"number","text":"string"}}})"));
}

TEST_F(Rpc, ArraysAreAnsweredInOrder)
{
    const std::string session = login("admin");
    EXPECT_EQ(rpc("[]"), "[]");
    EXPECT_EQ(rpc("[1," + call_body(session, "test", "wait", R"({"ms":30})", "\"a\"") + "," +
                  call_body(session, "test", "refuse", "{}", "\"b\"") + "," +
                  call_body(kNobody, "test", "echo", "{}", "\"c\"") + R"(,{"id":4,"jsonrpc":"2.0","method":"list"}])"),
              "[" + error(-32700, "Parse error", "null") +
                  R"(,{"jsonrpc":"2.0","id":"a","result":[0,{"waited":30}]},)" +
                  R"({"jsonrpc":"2.0","id":"b","result":[0]},)" + error(-32002, "Access denied", "\"c\"") +
                  R"(,{"jsonrpc":"2.0","id":4,"result":["session","test","test.passing"]}])");
}

TEST_F(Rpc, ArraysAreBounded)
{
    auto ones = [](size_t count) {
        std::string text = "[1";
        while (--count > 0)
            text += ",1";
        return text + "]";
    };
    EXPECT_EQ(rpc(ones(256)).size(), 2 + 256 * error(-32700, "Parse error", "null").size() + 255);
    EXPECT_EQ(rpc(ones(257)), error(-32600, "Invalid request", "null"));
}

TEST_F(Rpc, AnswersOfAnArrayAreBounded)
{
    const std::string session = login("admin");
    std::string body = "[";
    for (int i = 0; i < 10; i++)
        body += (i ? "," : "") + call_body(session, "test", "big", R"({"size":1000000})", std::to_string(i));
    const std::string answer = rpc(body + "]");
    EXPECT_LT(answer.size(), 4u * 1024 * 1024 + 4096);
    EXPECT_TRUE(answer.ends_with(error(-32603, "Internal error", "9") + "]")) << answer.size();
    EXPECT_NE(answer.find(R"({"jsonrpc":"2.0","id":3,"result":[0,{"text":"xxx)"), std::string::npos);
}

TEST_F(Rpc, CallWithoutAnswerEndsInTime)
{
    start_gateway({"--call-time-out", "1"});
    const std::string session = login("admin");
    EXPECT_EQ(call(session, "test", "never"), error(-32003, "ubus request timed out"));
    EXPECT_EQ(
        rpc("[" + call_body(session, "test", "never", "{}") + "," + call_body(session, "test", "echo", "{}") + "]"),
        "[" + error(-32003, "ubus request timed out") + "," + error(-32003, "ubus request timed out") + "]");
}

TEST_F(Rpc, SlowCallHoldsUpNobody)
{
    const std::string session = login("admin");
    HttpClient slow = connect(), quick = connect();
    slow.request("POST", "/ubus", call_body(session, "test", "never", "{}"));
    for (int i = 0; i < 20; i++)
        EXPECT_EQ(quick.ask("POST", "/ubus", call_body(session, "test", "refuse", "{}")).body, result("[0]"));
}

TEST_F(Rpc, ManyAskAtOnce)
{
    const std::string session = login("admin");
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < 100; i++) {
        clients.push_back(std::make_unique<HttpClient>(port_));
        clients.back()->request("POST", "/ubus", call_body(session, "test", "wait", R"({"ms":50})", std::to_string(i)));
    }
    for (int i = 0; i < 100; i++)
        EXPECT_EQ(clients[static_cast<size_t>(i)]->read_response().body,
                  R"({"jsonrpc":"2.0","id":)" + std::to_string(i) + R"(,"result":[0,{"waited":50}]})");
}

// --- The newer addresses ---

struct NewerRpc : GatewayTest {
    Response post(const std::string &session, const std::string &object, const std::string &body) const
    {
        return ask("POST", "/ubus/call/" + object, body,
                   session.empty() ? "" : "authorization: bEARER " + session + "\r\n");
    }
};

TEST_F(NewerRpc, CallAnswersTheReplyAlone)
{
    const std::string session = login("admin");
    const std::string lead = R"({"jsonrpc":"2.0","id":1,"method":)";
    EXPECT_EQ(post(session, "test", lead + R"("echo","params":{"a":1}})").body,
              result(R"({"a":1,"ubus_rpc_session":")" + session + "\"}"));
    EXPECT_EQ(post(session, "test", lead + R"("refuse"})").body, result("null"));
    EXPECT_EQ(post(session, "test", lead + R"("refuse","params":{"status":6}})").body, error(6, "Permission denied"));
    EXPECT_EQ(post(session, "test", lead + R"("echo","params":[]})").body, error(-32700, "Parse error"));
    EXPECT_EQ(post(session, "test", "[" + lead + R"("echo"}])").body, error(-32700, "Parse error", "null"));
    EXPECT_EQ(post(session, "none", lead + R"("echo"})").body, error(-32000, "Object not found"));
    EXPECT_EQ(post("", "test", lead + R"("echo"})").body, error(-32002, "Access denied"));
    EXPECT_EQ(ask("POST", "/ubus/call/test?session=" + session, lead + R"("refuse"})").body, result("null"));
}

TEST_F(NewerRpc, ListsAreBare)
{
    EXPECT_EQ(ask("GET", "/ubus/list/test.passing").body, R"({"leave":{}})");
    EXPECT_EQ(ask("GET", "/ubus/list/test.*").body, R"({"leave":{}})");
    EXPECT_TRUE(ask("GET", "/ubus/list").body.starts_with(R"({"session":{"create":{"timeout":"number"},"list":{)"));
    Response missing = ask("GET", "/ubus/list/none");
    EXPECT_EQ(missing.status, 500);
    EXPECT_EQ(missing.body, R"({"code":4,"message":"Not found"})");
    EXPECT_EQ(ask("GET", "/ubus/list/").body, R"({"code":2,"message":"Invalid argument"})");
}

TEST_F(NewerRpc, WhatIsNotThereHasAStatusOfItsOwn)
{
    const std::string form = "Content-Type: text/plain\r\n";
    for (auto [method, target, status] : {std::tuple{"GET", "/ubus", 404},
                                          {"GET", "/ubus/", 404},
                                          {"GET", "/ubus/call/test", 404},
                                          {"GET", "/ubus/x", 404},
                                          {"POST", "/ubus/x", 404},
                                          {"POST", "/ubus/list", 404},
                                          {"OPTIONS", "/ubus", 200},
                                          {"OPTIONS", "/ubus/call/test", 200},
                                          {"TRACE", "/ubus", 400},
                                          {"PUT", "/ubus", 400},
                                          {"PATCH", "/ubus", 400},
                                          {"DELETE", "/ubus/list", 400},
                                          {"POST", "/", 405},
                                          {"DELETE", "/index.html", 405},
                                          {"POST", "/ubusx", 405}}) {
        Response response = ask(method, target, "", form);
        EXPECT_EQ(response.status, status) << method << " " << target;
        const bool is_bare = status < 400 || status == 404;
        EXPECT_EQ(response.body.empty(), is_bare) << method << " " << target;
    }
    EXPECT_EQ(ask("POST", "/ubus/", R"({"jsonrpc":"2.0","id":1,"method":"list","params":[]})").body, result("{}"));
    EXPECT_EQ(ask("POST", "/ubus?x=y", R"({"jsonrpc":"2.0","id":1,"method":"list","params":[]})").body, result("{}"));
}

} // namespace
