// The lab's own: the recording as it grows, faults, events, descriptions; and the whole beside a real daemon.

#include <unistd.h>

#include "tests/http/gateway_test.h"
#include "tests/support/listening.h"

using namespace test_support;

namespace
{

struct LabOverHttp : GatewayTest {
    void SetUp() override
    {
        GatewayTest::SetUp();
        service_ = std::make_unique<Process>(
            std::vector<std::string>{built_program("orvcd"), "--socket", path("orvc.sock"), "--events",
                                     path("events.sock"), "--life", "0", "--record", path("record")});
        wait_until_listening(folder_ / "orvc.sock");
        std::filesystem::create_directory(folder_ / "api");
        write_file("api/b.json", R"({"object":"b","z":1,"a":2})");
        write_file("api/a.json", R"({"object":"a"})");
        write_file("api/schema.json", "{}");
        write_file("api/notes.txt", "");
        start_gateway({"--service", path("orvc.sock"), "--events", path("events.sock"), "--record", path("record"),
                       "--api", path("api")});
        admin_ = "Authorization: Bearer " + login("admin") + "\r\n";
        reader_ = "Authorization: Bearer " + login("reader") + "\r\n";
    }

    void start_daemon()
    {
        daemon_ = std::make_unique<Process>(std::vector<std::string>{built_program("wexond-test")},
                                            Process::Environment{{"WEXOND_TEST_DIR", folder_.path().string()}});
    }

    std::unique_ptr<Process> service_, daemon_;
    std::string admin_, reader_;
};

TEST_F(LabOverHttp, WantsASession)
{
    for (auto [method, target] : {std::pair{"GET", "/lab/requests"},
                                  {"GET", "/lab/faults"},
                                  {"POST", "/lab/faults"},
                                  {"POST", "/lab/event"},
                                  {"GET", "/lab/api"}}) {
        EXPECT_EQ(ask(method, target).status, 401) << target;
        EXPECT_EQ(ask(method, std::string(target) + "?session=" + kNobody).status, 401) << target;
        EXPECT_EQ(ask(method, target, "", "Authorization: Bearer x\r\n").status, 401) << target;
    }
    EXPECT_EQ(ask("POST", "/lab/faults", R"({"clear":true})", reader_).status, 403);
    EXPECT_EQ(ask("POST", "/lab/event", R"({"name":"led-switch"})", reader_).status, 403);
    EXPECT_EQ(ask("GET", "/lab/faults", "", reader_).status, 200);
    EXPECT_EQ(ask("GET", "/lab/api", "", reader_).status, 200);
    EXPECT_EQ(ask("DELETE", "/lab/faults", "", admin_).status, 405);
    EXPECT_EQ(ask("GET", "/lab", "", admin_).status, 404);
    EXPECT_EQ(ask("GET", "/lab/none", "", admin_).status, 404);
}

TEST_F(LabOverHttp, PlaysFaultsAndEndsThem)
{
    auto play = [&](const std::string &body) { return ask("POST", "/lab/faults", body, admin_).body; };
    EXPECT_EQ(play(R"({"type":"all","fault":"code=4"})"), R"({"faults":[{"type":"all","fault":"code=4","for":null}]})");
    EXPECT_EQ(play(R"({"type":20,"fault":"delay=50","for":{"requests":2}})"),
              R"({"faults":[{"type":"ORVC_GET_LEDSWITCH","fault":"delay=50","for":{"requests":2}},)"
              R"({"type":"all","fault":"code=4","for":null}]})");
    EXPECT_EQ(play(R"({"clear":true})"), R"({"faults":[]})");
    EXPECT_EQ(play(R"({"type":"orvc_get_ledswitch","fault":"silent","for":{"seconds":60}})").substr(0, 77),
              R"({"faults":[{"type":"ORVC_GET_LEDSWITCH","fault":"silent","for":{"seconds":60})");
    EXPECT_EQ(ask("GET", "/lab/faults", "", reader_).body.substr(0, 65),
              R"({"faults":[{"type":"ORVC_GET_LEDSWITCH","fault":"silent","for":{")");
    EXPECT_EQ(play(R"({"type":"none","fault":"silent"})"), R"({"error":"there is no message type 'none'"})");
    EXPECT_EQ(play(R"({"type":"all","fault":"code=x"})"), R"({"error":"code=N takes a number up to 4294967295"})");
}

TEST_F(LabOverHttp, FaultsThatAreNoneAreRefused)
{
    for (const char *body :
         {"", "[]", "1", "{", "{}", R"({"clear":false})", R"({"clear":true,"type":"all"})", R"({"type":"all"})",
          R"({"fault":"silent"})", R"({"type":"all","fault":"--socket"})", R"({"type":"--help","fault":"silent"})",
          R"({"type":"all","fault":"silent for 1"})", R"({"type":"all","fault":"silent","for":1})",
          R"({"type":"all","fault":"silent","for":{"requests":-1}})",
          R"({"type":"all","fault":"silent","for":{"requests":1,"seconds":1}})", R"({"type":["all"],"fault":"silent"})",
          R"({"type":"all","fault":"silent","for":{"days":1}})"}) {
        const Response response = ask("POST", "/lab/faults", body, admin_);
        EXPECT_EQ(response.status, 400) << body;
        EXPECT_TRUE(response.body.starts_with(R"({"error":)")) << body;
    }
    EXPECT_EQ(ask("GET", "/lab/faults", "", admin_).body, R"({"faults":[]})");
}

TEST_F(LabOverHttp, ShowsTheRecordingAsItGrows)
{
    write_file("record", "{\"a\":1}\n{\"b\":2}\n{\"c\":3}\n{\"part");
    HttpClient plain = connect(), last = connect(), after = connect(), denied = connect();
    EXPECT_EQ(plain.ask("GET", "/lab/requests", "", reader_).headers["content-type"], "text/event-stream");
    last.ask("GET", "/lab/requests?last=2", "", reader_);
    after.ask("GET", "/lab/requests?last=9", "", reader_ + "Last-Event-ID: 8\r\n");
    EXPECT_NE(last.read_until("id: 24\ndata: {\"c\":3}\n\n").find("id: 16\ndata: {\"b\":2}\n\n"), std::string::npos);
    const std::string rest = after.read_until("id: 24\ndata: {\"c\":3}\n\n");
    EXPECT_NE(rest.find("id: 16\n"), std::string::npos);
    EXPECT_EQ(rest.find("id: 8\n"), std::string::npos);

    std::ofstream(folder_ / "record", std::ios::app) << "ial\":4}\n{\"e\":5}\n";
    for (HttpClient *client : {&last, &after})
        EXPECT_NE(client->read_until("id: 46\ndata: {\"e\":5}\n\n").find("id: 38\ndata: {\"partial\":4}\n\n"),
                  std::string::npos);
    const std::string from_now = plain.read_until("data: {\"e\":5}\n\n");
    EXPECT_EQ(from_now.find("{\"c\":3}"), std::string::npos);

    std::filesystem::remove(folder_ / "record"); // a lab that is reset, say
    write_file("record", "{\"anew\":1}\n");
    EXPECT_NE(last.read_until("\n\n\r\n").find("id: 11\ndata: {\"anew\":1}"), std::string::npos);
}

TEST_F(LabOverHttp, HandsOutTheDescriptions)
{
    EXPECT_EQ(ask("GET", "/lab/api", "", reader_).body, R"([{"object":"a"},{"object":"b","z":1,"a":2}])");
}

TEST_F(LabOverHttp, WhatALabLacksIsNotThere)
{
    start_gateway({"--api", path("none")});
    admin_ = "Authorization: Bearer " + login("admin") + "\r\n";
    EXPECT_EQ(ask("GET", "/lab/requests", "", admin_).status, 404);
    EXPECT_EQ(ask("GET", "/lab/faults", "", admin_).status, 404);
    EXPECT_EQ(ask("POST", "/lab/faults", R"({"clear":true})", admin_).status, 404);
    EXPECT_EQ(ask("POST", "/lab/event", R"({"name":"led-switch"})", admin_).status, 404);
    EXPECT_EQ(ask("GET", "/lab/api", "", admin_).status, 404);
}

// --- Beside the daemon ---

struct DaemonOverHttp : LabOverHttp {
    void SetUp() override
    {
        LabOverHttp::SetUp();
        session_ = login("admin");
        start_daemon();
        EXPECT_EQ(await_daemon(), kOn);
    }

    void TearDown() override
    {
        LabOverHttp::TearDown();
        bus_->stop();
        EXPECT_EQ(daemon_->wait(), 0);
    }

    std::string await_daemon() const
    {
        std::string answer;
        for (int attempt = 0; attempt < 1000 && answer != kOn; attempt++) {
            usleep(10000);
            answer = call(session_, "wexond.ledswitch", "get");
        }
        return answer;
    }

    const std::string kOn = R"({"jsonrpc":"2.0","id":1,"result":[0,{"wexond.ledswitch":{"status":"on"}}]})";
    std::string session_;
};

TEST_F(DaemonOverHttp, WhatIsAskedIsSeenAndItsSecretsAreNot)
{
    HttpClient stream = connect();
    stream.ask("GET", "/lab/requests", "", reader_);
    EXPECT_EQ(
        call(session_, "wexond.wifi.1.ap.1", "set", R"({"ssid":"Elm Road 3","authtype":"wpa2psk","psk":"swordfish"})"),
        R"({"jsonrpc":"2.0","id":1,"result":[0,{"result":"0","failreason":""}]})");
    const std::string asked = stream.read_until("\"ssid\":\"Elm Road 3\"");
    EXPECT_NE(asked.find("Elm Road 3"), std::string::npos);
    EXPECT_EQ((asked + stream.read_until("\n\n")).find("swordfish"), std::string::npos);
}

TEST_F(DaemonOverHttp, FaultMakesItsCallFail)
{
    ask("POST", "/lab/faults", R"({"type":"ORVC_GET_LEDSWITCH","fault":"code=3","for":{"requests":1}})", admin_);
    EXPECT_EQ(call(session_, "wexond.ledswitch", "get"),
              R"({"jsonrpc":"2.0","id":1,"result":[0,{"result":"1","failreason":"failed to get ledswitch"}]})");
    EXPECT_EQ(call(session_, "wexond.ledswitch", "get"), kOn);
}

TEST_F(DaemonOverHttp, TakesEveryKindOfEvent)
{
    for (const char *body :
         {R"({"name":"new-station","host_name":"a guest"})", R"({"name":"station-state","active":false})",
          R"({"name":"wan-address"})", R"({"name":"wan-link","state":"down"})", R"({"name":"led-switch","on":false})",
          R"({"name":"wifi-switch"})", R"({"name":"elink-switch"})", R"({"name":"wps-switch"})",
          R"({"name":"password-error"})", R"({"name":"channel","band":"5 GHz","channel":44})",
          R"({"name":"ssid","ssid":"Elm = \u00e4 \"3\""})", R"({"name":"ping-result","loss":50})",
          R"({"name":"trace-result","result":"1 *\n2 *"})", R"({"name":"roaming"})",
          R"({"name":"probe-record","oui":[1,2,3]})"}) {
        const Response response = ask("POST", "/lab/event", body, admin_);
        EXPECT_EQ(response.status, 200) << body;
        EXPECT_EQ(response.body, "{}") << body;
    }
    for (const char *body : {"", "{}", R"({"name":"none"})", R"({"name":"--help"})", R"({"name":1})",
                             R"({"name":"led-switch","--events":"x"})", R"({"name":"led-switch","off":true})",
                             R"({"name":"led-switch","on":"x"})", R"({"name":"led-switch","on=":1})"})
        EXPECT_EQ(ask("POST", "/lab/event", body, admin_).status, 400) << body;
}

TEST_F(DaemonOverHttp, DaemonComesBack)
{
    daemon_.reset();
    EXPECT_EQ(call(session_, "wexond.ledswitch", "get"),
              R"({"jsonrpc":"2.0","id":1,"error":{"code":-32000,"message":"Object not found"}})");
    start_daemon();
    EXPECT_EQ(await_daemon(), kOn);
}

} // namespace
