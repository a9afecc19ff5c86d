// orvcd's log with the fields of each record, and its recordings.

#include "event_socket.h"
#include "process.h"

#include <nlohmann/json.hpp>

namespace
{

using Json = nlohmann::ordered_json;

struct OrvcdJournal : testing::Test {
    Process orvcd;
    std::string file = orvcd.file("recording");

    std::string ask(uint32_t type, const std::string &payload = "", uint32_t flag = 1)
    {
        return Client(orvcd.socket()).ask(type, payload, flag);
    }
    std::string log()
    {
        const std::string output = orvcd.end().output;
        return output.substr(output.find('\n') + 1);
    }
    std::vector<Json> recording() const
    {
        std::vector<Json> lines;
        std::istringstream stream(read_file(file));
        for (std::string line; std::getline(stream, line);)
            lines.push_back(Json::parse(line));
        return lines;
    }
};

Image access_point()
{
    return Image(200).words(0, {0, 1, 1}).text(12, "Home").words(108, {5, 3}).text(116, "a good key").words(196, {6});
}

TEST_F(OrvcdJournal, LogShowsFields)
{
    orvcd.start({"--log"});
    ask(20);
    ask(21, word(0));
    ask(180, Image(48).words(0, {1, 0, 1, 149}).words(44, {0x2001}));
    ask(181, Image(48).words(0, {2}));
    ask(99, Image(36).words(0, {9, 1, 1, 1, 5, 6, 0, 0, 2}));
    EXPECT_EQ(log(),
              "20 ORVC_GET_LEDSWITCH flag 1 request 0 expected 4 code 0 -> {\"on\":true}\n"
              "21 ORVC_SET_LEDSWITCH flag 1 request 4 expected 4 code 0 {\"on\":false}\n"
              "180 ORVC_SET_RADIO flag 1 request 48 expected 4 code 0 {\"band\":\"5 GHz\",\"ap_count\":0,"
              "\"changes\":[\"enable\",\"channel\"],\"enable\":false,\"txpower\":1,\"channel\":149,"
              "\"current_channel\":0,\"bandwidth\":\"auto\",\"mode\":[],\"load\":0}\n"
              "181 ORVC_GET_RADIO flag 1 request 48 expected 4 code 3 (no such entry) {\"band\":2}\n"
              "99 ORVC_SET_WIFITIMER flag 1 request 36 expected 4 code 3 (no such entry) {\"index\":9,\"fixed1\":1,"
              "\"enable\":true,\"fixed2\":1,\"hour\":5,\"minute\":6,\"weekday\":[\"monday\"]}\n");
}

TEST_F(OrvcdJournal, LogMasksSecrets)
{
    orvcd.start({"--log"});
    ask(184, access_point());
    ask(185, Image(200).words(0, {0, 1}));
    ask(32, Image(140).text(0, "me").text(33, "hidden word"));
    ask(165);
    ask(63);
    const std::string text = log();
    for (const char *secret : {"a good key", "hidden word", "b6f1c2a99e4d4d0f", "backhaul only"})
        EXPECT_EQ(text.find(secret), std::string::npos) << secret;
    EXPECT_NE(text.find("\"key\":\"********\""), std::string::npos);
    EXPECT_NE(text.find("\"password\":\"********\""), std::string::npos);
    EXPECT_NE(text.find("\"devtoken\":\"********\""), std::string::npos);
}

TEST_F(OrvcdJournal, ShowsSecretsWhereThatIsWanted)
{
    orvcd.start({"--log", "--show-secrets", "--record", file});
    ask(184, access_point());
    EXPECT_NE(log().find("\"key\":\"a good key\""), std::string::npos);
    EXPECT_NE(read_file(file).find("\"key\":\"a good key\""), std::string::npos);
}

TEST_F(OrvcdJournal, EveryTypeHasFieldsOfItsOwn)
{
    orvcd.start({"--log", "--lenient", "--record", file});
    // A request of the right length of each type that has a record: none is shown as bytes.
    const std::pair<uint32_t, size_t> rows[] = {
        {16, 4},    {19, 456},   {21, 4},   {25, 4},    {28, 4},    {32, 140},  {34, 4},     {50, 148},   {51, 88},
        {59, 1036}, {60, 264},   {61, 36},  {64, 18},   {66, 16},   {92, 20},   {93, 72},    {94, 16},    {99, 36},
        {100, 4},   {101, 36},   {102, 4},  {104, 544}, {106, 96},  {107, 100}, {117, 100},  {118, 4},    {123, 36},
        {126, 36},  {135, 80},   {136, 80}, {138, 36},  {142, 32},  {143, 28},  {144, 660},  {145, 32},   {153, 200},
        {154, 4},   {166, 1304}, {168, 4},  {177, 4},   {180, 48},  {181, 48},  {184, 200},  {185, 200},  {188, 20},
        {190, 12},  {192, 216},  {195, 8},  {196, 8},   {198, 264}, {199, 4},   {205, 2120}, {210, 1132}, {217, 1104},
        {220, 8},   {221, 2416}, {224, 64}, {225, 288}, {240, 4}};
    for (auto [type, length] : rows)
        ask(type, std::string(length, '\0'));
    for (uint32_t type : {0u,   1u,   2u,   3u,   4u,   5u,   6u,   7u,   8u,   9u,   10u,  20u,  23u,  24u,  26u,
                          31u,  62u,  63u,  65u,  67u,  91u,  98u,  103u, 105u, 119u, 122u, 137u, 141u, 155u, 164u,
                          165u, 167u, 178u, 200u, 202u, 204u, 206u, 211u, 215u, 219u, 223u, 227u, 235u, 239u})
        ask(type);
    orvcd.end();
    for (const Json &line : recording()) {
        if (line.contains("event"))
            continue;
        EXPECT_FALSE(line.at("request").is_string()) << line;
        EXPECT_FALSE(line.at("answer").is_string()) << line;
    }
}

TEST_F(OrvcdJournal, RecordsRequestsAndEvents)
{
    EventSocket events(orvcd.events());
    orvcd.start({"--record", file});
    ask(21, word(0));
    events.take();
    ask(180, Image(48).words(0, {0, 0, 0, 36}).words(44, {0x2000}));
    ask(248, "abc", 0);
    orvcd.end();
    std::vector<Json> lines = recording();
    ASSERT_EQ(lines.size(), 4u);
    const double now = static_cast<double>(time(nullptr));
    for (Json &line : lines) {
        EXPECT_NEAR(line.at("time").get<double>(), now, 60);
        line.erase("time");
        if (line.contains("type")) {
            EXPECT_GE(line.at("latency_us").get<int64_t>(), 0);
            line.erase("latency_us");
        }
    }
    std::sort(lines.begin(), lines.end(), [](const Json &a, const Json &b) { return a.dump() < b.dump(); });
    EXPECT_EQ(lines[0].dump(), R"({"event":22,"name":"led-switch","fields":{"on":false}})");
    EXPECT_EQ(lines[1].dump(),
              R"({"type":180,"name":"ORVC_SET_RADIO","flag":1,"expected":4,"request":{"band":"2.4 GHz",)"
              R"("ap_count":0,"changes":["channel"],"enable":false,"txpower":0,"channel":36,)"
              R"("current_channel":0,"bandwidth":"auto","mode":[],"load":0},"code":17,)"
              R"("reason":"no channel of this band","answer":null})");
    EXPECT_EQ(lines[2].dump(), R"({"type":21,"name":"ORVC_SET_LEDSWITCH","flag":1,"expected":4,"request":{"on":false},)"
                               R"("code":0,"reason":"done","answer":null})");
    EXPECT_EQ(lines[3].dump(), R"({"type":248,"name":"unknown","flag":0,"expected":4,"request":"616263","code":1,)"
                               R"("reason":"unknown message type","answer":null})");
}

TEST_F(OrvcdJournal, ReplaySendsTheSameEvents)
{
    std::vector<std::string> sent;
    {
        EventSocket events(orvcd.events());
        orvcd.start({"--record", file});
        const std::pair<uint32_t, std::string> requests[] = {
            {21, word(0)},
            {196, word(0) + word(1)},
            {184, Image(200).words(0, {1, 2}).text(12, "caf\xe9").words(196, {2})},
            {32, Image(140).text(0, "me")},
            {50, Image(148).text(0, "host")},
            {51, Image(88).text(0, "host")},
            {145, Image(32).text(0, "00005E005332").text(13, "00005E005321").words(28, {44})},
        };
        for (const auto &[type, payload] : requests)
            EXPECT_EQ(ask(type, payload), word(0)) << "type " << type;
        for (size_t at = 0; at < 9; at++)
            sent.push_back(events.take());
        orvcd.end();
    }
    std::filesystem::remove(orvcd.events());
    EventSocket events(orvcd.events());
    orvcd.launch({"replay", file, "--speed", "0", "--events", orvcd.events()});
    for (const std::string &event : sent)
        EXPECT_EQ(events.take(), event);
    Outcome outcome = orvcd.wait();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
}

TEST_F(OrvcdJournal, ReplayKeepsThePace)
{
    std::ofstream(file) << R"({"time": 100.0, "event": 22, "name": "led-switch", "fields": {"on": true}})"
                        << "\n"
                        << R"({"time": 100.1, "type": 20, "name": "ORVC_GET_LEDSWITCH"})"
                        << "\n"
                        << R"({"time": 101.2, "event": 22, "name": "led-switch", "fields": {"on": false}})"
                        << "\n";
    EventSocket events(orvcd.events());
    for (auto [speed, least, most] : {std::tuple{"1", 1200, 2500}, {"4", 300, 1100}}) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(orvcd.run({"replay", file, "--speed", speed, "--events", orvcd.events()}).status, 0);
        const auto time = std::chrono::steady_clock::now() - start;
        EXPECT_GE(time, std::chrono::milliseconds(least)) << speed;
        EXPECT_LT(time, std::chrono::milliseconds(most) * kSlowness) << speed;
        events.take();
        events.take();
    }
}

TEST_F(OrvcdJournal, ReplayTellsOfWhatItCannotSend)
{
    std::ofstream(file) << "no recording\n";
    EXPECT_EQ(orvcd.run({"replay", file}).errors, "orvcd: " + file + ":1: no line of a recording\n");
    std::ofstream(file) << R"({"time": 1, "event": 22, "fields": {"on": true}})";
    EXPECT_EQ(orvcd.run({"replay", file, "--events", orvcd.events()}).errors,
              "orvcd: " + file + ":1: " + orvcd.events() + ": No such file or directory\n");
    EXPECT_EQ(orvcd.run({"replay", orvcd.file("missing")}).errors,
              "orvcd: " + orvcd.file("missing") + ": No such file or directory\n");
}

} // namespace
