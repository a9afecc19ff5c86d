// Sessions: who may log in, what a session may, how it ends.

#include <unistd.h>

#include "access_lists.h"
#include "sessions.h"
#include "tests/http/gateway_test.h"

namespace
{

using SessionTest = GatewayTest;

const std::string kDenied = R"({"jsonrpc":"2.0","id":1,"error":{"code":-32002,"message":"Access denied"}})";

std::string result(const std::string &json)
{
    return R"({"jsonrpc":"2.0","id":1,"result":)" + json + "}";
}

TEST_F(SessionTest, LoginTellsWhatTheSessionMay)
{
    const std::string answer = call(kNobody, "session", "login", R"({"username":"reader","password":"reader"})");
    const std::string id = answer.substr(57, 32);
    EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_EQ(answer,
              result(R"([0,{"ubus_rpc_session":")" + id +
                     R"(","timeout":300,"expires":300,"acls":{"access-group":{"lab":["read"],"test-read":["read"]},)"
                     R"("lab":{"api":["read"],"faults":["read"],"requests":["read"]},)"
                     R"("ubus":{"no.such":["*"],"session":["access","destroy","get","list","set","unset"],)"
                     R"("test":["echo",":subscribe"]}},"data":{"username":"reader"}}])"));
    EXPECT_NE(login("reader"), id);
}

TEST_F(SessionTest, LoginIsRefused)
{
    for (const char *arguments :
         {R"({"username":"admin","password":"wrong"})", R"({"username":"admin","password":""})",
          R"({"username":"admin","password":"adminx"})", R"({"username":"admin","password":"admi"})",
          R"({"username":"","password":"admin"})", R"({"username":"nobody","password":"admin"})"})
        EXPECT_EQ(call(kNobody, "session", "login", arguments), result("[6]")) << arguments;
    for (const char *arguments : {"{}", R"({"username":"admin"})", R"({"username":"admin","password":1})"})
        EXPECT_EQ(call(kNobody, "session", "login", arguments), result("[2]")) << arguments;
}

TEST_F(SessionTest, NobodyMayLogInAndAskWhatHeMayAndNothingElse)
{
    EXPECT_EQ(call(kNobody, "session", "access"),
              result(R"([0,{"access-group":{"unauthenticated":["read"]},"ubus":{"session":["access","login"]}}])"));
    EXPECT_EQ(call(kNobody, "session", "access", R"({"object":"session","function":"login"})"),
              result(R"([0,{"access":true}])"));
    EXPECT_EQ(call(kNobody, "session", "access", R"({"object":"test","function":"echo"})"),
              result(R"([0,{"access":false}])"));
    for (const char *method : {"create", "list", "grant", "revoke", "set", "get", "unset", "destroy", "none"})
        EXPECT_EQ(call(kNobody, "session", method), kDenied) << method;
    EXPECT_EQ(call(kNobody, "test", "echo"), kDenied);
    for (const char *id : {"", "0", "00000000000000000000000000000001", "ffffffffffffffffffffffffffffffffffffffffffff"})
        EXPECT_EQ(call(id, "session", "login", R"({"username":"admin","password":"admin"})"), kDenied) << id;
}

TEST_F(SessionTest, IdWithANulIsNobodys)
{
    const std::string id = login("reader");
    EXPECT_EQ(ask("GET", "/lab/faults?session=" + id + "%00").status, 401);
    EXPECT_EQ(ask("GET", "/ubus/subscribe/test?session=" + id + "%00x").body,
              R"({"code":-13,"message":"Permission denied"})");
}

TEST_F(SessionTest, ReaderMayWhatHisGroupsRead)
{
    const std::string id = login("reader");
    EXPECT_EQ(call(id, "test", "echo"), result(R"([0,{"ubus_rpc_session":")" + id + "\"}]"));
    EXPECT_EQ(call(id, "test", "refuse"), kDenied);
    EXPECT_EQ(call(id, "test.passing", "leave"), kDenied);
    EXPECT_EQ(call(id, "session", "login", R"({"username":"admin","password":"admin"})"), kDenied);
    EXPECT_EQ(call(id, "session", "access", R"({"scope":"access-group","object":"test-read","function":"read"})"),
              result(R"([0,{"access":true}])"));
    EXPECT_EQ(call(id, "session", "access", R"({"scope":"access-group","object":"test-write","function":"write"})"),
              result(R"([0,{"access":false}])"));
}

TEST_F(SessionTest, KeepsValues)
{
    const std::string id = login("reader");
    EXPECT_EQ(call(id, "session", "set", R"({"values":{"a":1,"":2,"b":{"c":[]}}})"), result("[0]"));
    EXPECT_EQ(call(id, "session", "get"), result(R"([0,{"values":{"username":"reader","a":1,"b":{"c":[]}}}])"));
    EXPECT_EQ(call(id, "session", "get", R"({"keys":["b","none",1]})"), result(R"([0,{"values":{"b":{"c":[]}}}])"));
    EXPECT_EQ(call(id, "session", "unset", R"({"keys":["a"]})"), result("[0]"));
    EXPECT_EQ(call(id, "session", "set"), result("[2]"));
    EXPECT_EQ(call(id, "session", "set", R"({"values":{"long":")" + std::string(20000, 'x') + "\"}}"), result("[2]"));
    EXPECT_EQ(call(id, "session", "get"), result(R"([0,{"values":{"username":"reader","b":{"c":[]}}}])"));
    EXPECT_EQ(call(login("reader"), "session", "get"), result(R"([0,{"values":{"username":"reader"}}])"));
}

TEST_F(SessionTest, EndsWhenItIsDestroyed)
{
    const std::string id = login("reader"), other = login("reader");
    EXPECT_EQ(call(id, "session", "destroy"), result("[0]"));
    EXPECT_EQ(call(id, "session", "destroy"), kDenied);
    EXPECT_EQ(call(id, "test", "echo"), kDenied);
    EXPECT_EQ(call(other, "test", "echo"), result(R"([0,{"ubus_rpc_session":")" + other + "\"}]"));
    EXPECT_EQ(call(other, "session", "destroy", R"({"ubus_rpc_session":")" + other + "\"}"),
              R"({"jsonrpc":"2.0","id":1,"error":{"code":-32602,"message":"Invalid parameters"}})");
}

TEST_F(SessionTest, EndsWhenItIsNotUsed)
{
    const std::string brief = login("reader", R"(,"timeout":1)"), lasting = login("reader", R"(,"timeout":0)");
    usleep(1100000);
    EXPECT_EQ(call(brief, "test", "echo"), kDenied);
    EXPECT_EQ(call(lasting, "session", "list").substr(57, 70), lasting + R"(","timeout":0,"expires":0,"acls":{"acc)");
}

TEST_F(SessionTest, OfManyTheLeastUsedEnds)
{
    const std::string first = login("reader"), second = login("reader");
    for (int i = 0; i < 63; i++) {
        call(first, "session", "access");
        login("reader");
    }
    EXPECT_NE(call(first, "test", "echo"), kDenied);
    EXPECT_EQ(call(second, "test", "echo"), kDenied);
}

// --- Access lists ---

TEST(SessionLists, ShippedListAndUsersFit)
{
    std::ifstream file(SOURCE_DIR "/packaging/rpcd/wexond.json");
    AccessLists lists;
    lists.add(std::string(std::istreambuf_iterator<char>(file), {}));
    const Grants reader = lists.grants_of({"", {"wexond-read"}, {}});
    EXPECT_TRUE(allows(reader, "ubus", "wexond.ledswitch", "get"));
    EXPECT_TRUE(allows(reader, "ubus", "wexond.wifi", ":subscribe"));
    EXPECT_FALSE(allows(reader, "ubus", "wexond.ledswitch", "set"));
    EXPECT_FALSE(allows(reader, "ubus", "wexond.wifi.1.ap.1", "get"));
    const Grants admin = lists.grants_of({"", {}, {"*"}});
    EXPECT_TRUE(allows(admin, "ubus", "wexond.wifi.1.ap.1", "get"));
    EXPECT_TRUE(allows(admin, "ubus", "wexond", "reboot"));
    EXPECT_FALSE(allows(admin, "uci", "wexond", "reboot"));
}

TEST(SessionLists, PatternsAreTheShellsAndAddUp)
{
    AccessLists lists;
    lists.add(
        R"({"g": {"description": "x", "read": {"ubus": {"a.*": ["get*"], "b[12]": ["?"]}, "file": ["/tmp/*"], "x": 1},
                        "other": {"ubus": {"c": ["*"]}}}, "h": 1})");
    lists.add(R"({"g": {"write": {"ubus": {"a.b": ["set"]}}}})");
    const Grants grants = lists.grants_of({"", {"g"}, {}});
    EXPECT_TRUE(allows(grants, "ubus", "a.b.c", "getall"));
    EXPECT_TRUE(allows(grants, "ubus", "b2", "x"));
    EXPECT_TRUE(allows(grants, "file", "/tmp/a/b", "read"));
    EXPECT_TRUE(allows(grants, "access-group", "g", "read"));
    for (auto [object, function] : {std::pair{"a", "get"}, {"b3", "x"}, {"b2", "xy"}, {"a.b", "set"}, {"c", "x"}})
        EXPECT_FALSE(allows(grants, "ubus", object, function)) << object << " " << function;
    EXPECT_TRUE(allows(lists.grants_of({"", {}, {"?"}}), "ubus", "a.b", "set"));
    EXPECT_EQ(lists.grants_of({"", {"*"}, {"*", "!g"}}), lists.grants_of({"", {"*"}, {}}));
    EXPECT_TRUE(lists.grants_of({"", {"!g", "*"}, {}}).empty());
}

TEST(SessionLists, WhatIsNoneIsRefused)
{
    AccessLists lists;
    EXPECT_THROW(lists.add("[]"), std::runtime_error);
    EXPECT_THROW(read_users("{"), std::runtime_error);
    EXPECT_THROW(read_users(R"({"a": {"read": ["*"]}})"), std::runtime_error);
    EXPECT_THROW(read_users(R"({"a": {"password": ""}})"), std::runtime_error);
}

} // namespace
