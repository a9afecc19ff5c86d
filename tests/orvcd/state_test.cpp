// orvcd's state file, command line, start and end.

#include "process.h"

#include <sys/stat.h>

namespace
{

struct OrvcdState : StateFileTest {
};

TEST_F(OrvcdState, SurvivesRestart)
{
    const std::string iptv = Image(36).words(0, {0, 9, 8, 7, 6, 5, 4, 3, 2});
    const std::string token = Image(1304).text(130, "to\xffken").words(1300, {4});
    orvcd.start({"--state", file, "--lenient"});
    EXPECT_EQ(ask(21, word(0)), word(0));
    EXPECT_EQ(ask(138, iptv), word(0));
    EXPECT_EQ(ask(166, token), word(0));
    EXPECT_EQ(ask(34, word(1)), word(0));
    EXPECT_EQ(orvcd.end().status, 0);
    const std::string written = read_file(file);

    orvcd.start({"--state", file});
    EXPECT_EQ(record(20), word(0));
    EXPECT_EQ(record(137), iptv);
    EXPECT_EQ(record(165).substr(130, 65), std::string(Image(65).text(0, "to\xffken")));
    EXPECT_EQ(record(24).substr(0, 4), word(4));
    EXPECT_EQ(orvcd.end().status, 0);
    EXPECT_EQ(read_file(file), written) << "reading changes nothing";
}

TEST_F(OrvcdState, IsOnDiskWhenTheAnswerIs)
{
    orvcd.start({"--state", file});
    EXPECT_EQ(ask(21, word(0)), word(0));
    orvcd.end(SIGKILL);
    unlink(orvcd.socket().c_str());
    orvcd.start({"--state", file});
    EXPECT_EQ(record(20), word(0));
}

TEST_F(OrvcdState, IsForgottenWithoutFile)
{
    orvcd.start();
    EXPECT_EQ(ask(21, word(0)), word(0));
    EXPECT_EQ(orvcd.end().status, 0);
    orvcd.start();
    EXPECT_EQ(record(20), word(1));
    EXPECT_EQ(orvcd.end().status, 0);
}

TEST_F(OrvcdState, FileIsItsOwnersAndLeavesNoOthersBehind)
{
    orvcd.start({"--state", file});
    for (uint32_t round = 0; round < 5; round++)
        EXPECT_EQ(ask(21, word(round % 2)), word(0));
    orvcd.end();
    struct stat status;
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0600u);
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(orvcd.file("")))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"errors", "output", "state.json"}));
}

// Each row: a file that is no state, and what the message says of it.
TEST_F(OrvcdState, RefusesDamagedFileAndLeavesItUntouched)
{
    orvcd.start({"--state", file});
    orvcd.end();
    const std::string whole = read_file(file);
    const std::pair<std::string, std::string> rows[] = {
        {"", "parse error"},
        {whole.substr(0, whole.size() / 2), "parse error"},
        {whole + "}", "parse error"},
        {"the home\n", "parse error"},
        {std::string("{\"wan\": \0}", 10), "parse error"},
        {"[]\n", "the document is a list, not an object"},
        {"{\"wan\": 5}\n", "/wan is a value, not an object"},
        {"{\"wan\": {\"mode\": []}}\n", "/wan/mode is a list, not a value"},
        {"{\"wifi_timers\": [4]}\n", "/wifi_timers/0 is a value, not an object"},
        {"{\"wifi\": {\"5 GHz\": {\"neighbours\": {}}}}\n", "/wifi/5 GHz/neighbours is an object, not a list"},
    };
    for (const auto &[content, message] : rows) {
        std::ofstream(file, std::ios::binary) << content;
        Outcome outcome = orvcd.run({"--socket", orvcd.socket(), "--state", file});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors.rfind("orvcd: " + file + ": this is no state of a home (left as it is): ", 0), 0u)
            << outcome.errors;
        EXPECT_NE(outcome.errors.find(message), std::string::npos) << outcome.errors;
        EXPECT_EQ(read_file(file), content);
        EXPECT_FALSE(std::filesystem::exists(orvcd.socket()));
    }
}

TEST_F(OrvcdState, TakesWhatAnOlderFileLacksFromDefaultHome)
{
    std::ofstream(file) << "{\"leds\": {\"on\": false}, \"ports\": {\"lan\": [7]}}";
    orvcd.start({"--state", file});
    EXPECT_EQ(record(20), word(0));
    EXPECT_EQ(record(91), std::string(Image(48).words(0, {1, 7}).words(36, {1, 4})));
    EXPECT_EQ(record(239), word(1));
}

TEST_F(OrvcdState, TellsOfValuesThatMeanNothing)
{
    std::ofstream(file) << "{\"wan\": {\"mode\": \"pigeon\"}, \"iptv\": {\"vlans\": [{\"vlan_id\": \"two\"}]}}";
    orvcd.start({"--state", file, "--lenient"});
    EXPECT_NE(ask(24), word(0));
    EXPECT_NE(ask(137), word(0));
    EXPECT_EQ(orvcd.errors(), "orvcd: ORVC_GET_WANSTATUS: \"pigeon\" stands where one of: dhcp, pppoe, static, "
                              "bridge, repeater belongs\n"
                              "orvcd: ORVC_GET_IPTV: \"two\" stands where a number belongs\n");
    EXPECT_EQ(record(20), word(1));
}

TEST_F(OrvcdState, ListsAreCutAtTheRoomOfTheAnswer)
{
    std::ofstream stream(file);
    stream << "{\"wifi_timers\": [";
    for (int index = 1; index <= 40; index++)
        stream << (index > 1 ? "," : "") << "{\"index\": " << index << "}";
    stream << "]}";
    stream.close();
    orvcd.start({"--state", file});
    std::string list = record(98);
    EXPECT_EQ(list.size(), 1156u);
    EXPECT_EQ(list.substr(0, 4), word(32));
    EXPECT_EQ(list.substr(4 + 31 * 36, 4), word(32));
}

TEST_F(OrvcdState, RefusesChangesThatCannotBeWritten)
{
    std::filesystem::create_directory(orvcd.file("disk"));
    orvcd.start({"--state", orvcd.file("disk/state.json")});
    std::filesystem::remove_all(orvcd.file("disk"));
    EXPECT_NE(ask(21, word(0)), word(0));
    EXPECT_EQ(record(20), word(1)) << "a refused change was kept";
    EXPECT_EQ(orvcd.errors(),
              "orvcd: ORVC_SET_LEDSWITCH: " + orvcd.file("disk/state.json") + ": No such file or directory\n");
    std::filesystem::create_directory(orvcd.file("disk"));
    EXPECT_EQ(ask(21, word(0)), word(0));
}

TEST_F(OrvcdState, LeavesNoHalfFinishedFileBehind)
{
    orvcd.start({"--state", file});
    std::filesystem::remove(file);
    std::filesystem::create_directories(file + "/in the way");
    EXPECT_NE(ask(21, word(0)), word(0));
    EXPECT_EQ(orvcd.errors(), "orvcd: ORVC_SET_LEDSWITCH: " + file + ": Is a directory\n");
    for (const auto &entry : std::filesystem::directory_iterator(orvcd.file("")))
        EXPECT_EQ(entry.path().string().find(file + "."), std::string::npos) << entry.path();
}

TEST_F(OrvcdState, IsNotWrittenWhereNothingChanges)
{
    orvcd.start({"--state", file});
    const auto written = std::filesystem::last_write_time(file);
    usleep(20000);
    EXPECT_EQ(ask(21, word(1)), word(0)); // as they are
    EXPECT_EQ(ask(166, Image(1304)), word(0));
    EXPECT_EQ(std::filesystem::last_write_time(file), written);
}

TEST_F(OrvcdState, RefusesFileThatCannotBeMade)
{
    Outcome outcome = orvcd.run({"--socket", orvcd.socket(), "--state", orvcd.file("missing/state.json")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "orvcd: " + orvcd.file("missing/state.json") + ": No such file or directory\n");
    EXPECT_FALSE(std::filesystem::exists(orvcd.socket()));
}

struct OrvcdCommandLine : OrvcdState {
};

TEST_F(OrvcdCommandLine, HelpNamesEveryOption)
{
    Outcome outcome = orvcd.run({"--help"});
    EXPECT_EQ(outcome.status, 0);
    for (const char *text :
         {"--socket PATH=/tmp/orvc.sock", "--state FILE", "--home NAME|FILE=home", "--log", "--lenient",
          "--record FILE", "--show-secrets", "--check FILE", "--help", "SIGTERM", "event", "fault", "replay"})
        EXPECT_NE(outcome.output.find(text), std::string::npos) << text;
}

TEST_F(OrvcdCommandLine, RefusesUnknownOptions)
{
    EXPECT_NE(orvcd.run({"--sockets", "x"}).status, 0);
    EXPECT_NE(orvcd.run({"stray"}).status, 0);
}

TEST_F(OrvcdCommandLine, LogsRequests)
{
    orvcd.start({"--log"});
    Client client(orvcd.socket());
    client.ask(185, Image(200).words(0, {1, 1}));
    client.ask(185, Image(200).words(0, {1, 9}));
    client.ask(60, Image(264), 0);
    client.ask(17);
    client.ask(248, "abc");
    EXPECT_EQ(orvcd.end().output, "orvcd serves " + orvcd.socket() +
                                      "\n"
                                      "185 ORVC_GET_APBASIC flag 1 request 200 expected 4 code 0 {\"band\":\"5 GHz\","
                                      "\"index\":1} -> {\"band\":\"5 GHz\",\"changes\":[],\"index\":1,"
                                      "\"enable\":true,\"ssid\":\"Birch Lane 7 5G\","
                                      "\"bssid\":\"00:00:5E:00:53:21\",\"auth\":\"wpa2psk\",\"encrypt\":\"aes\","
                                      "\"key\":\"********\",\"hidden\":false}\n"
                                      "185 ORVC_GET_APBASIC flag 1 request 200 expected 4 code 3 (no such entry) "
                                      "{\"band\":\"5 GHz\",\"index\":9}\n"
                                      "60 ORVC_SET_CHANNELSCAN flag 0 request 264 expected 4 code 0 "
                                      "{\"band\":\"2.4 GHz\",\"entries\":[]}\n"
                                      "17 ORVC_SET_RESET flag 1 request 0 expected 4 code 0\n"
                                      "248 unknown flag 1 request 3 expected 4 code 1 (unknown message type) "
                                      "\"616263\"\n");
}

TEST_F(OrvcdCommandLine, LogsNothingUnasked)
{
    orvcd.start();
    ask(20);
    Outcome outcome = orvcd.end();
    EXPECT_EQ(outcome.output, "orvcd serves " + orvcd.socket() + "\n");
    EXPECT_EQ(outcome.errors, "");
}

struct OrvcdEnd : OrvcdState {
};

TEST_F(OrvcdEnd, IsCleanOnSignalsWithClientsConnected)
{
    for (int signal : {SIGTERM, SIGINT}) {
        orvcd.start();
        Client idle(orvcd.socket());
        Client busy(orvcd.socket());
        busy.write("half a");
        EXPECT_EQ(idle.record(20), word(1));
        EXPECT_EQ(orvcd.end(signal).status, 0);
        EXPECT_FALSE(std::filesystem::exists(orvcd.socket()));
        EXPECT_TRUE(idle.hung_up());
    }
}

TEST_F(OrvcdEnd, ComesAtOnceWhereSomebodyServesTheSocket)
{
    orvcd.start();
    Process second;
    Outcome outcome = second.run({"--socket", orvcd.socket()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "orvcd: " + orvcd.socket() + ": somebody serves this socket\n");
    EXPECT_EQ(record(20), word(1)) << "the first goes on";
}

TEST_F(OrvcdEnd, SocketOfOneThatWasKilledIsReplaced)
{
    orvcd.start();
    orvcd.end(SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(orvcd.socket()));
    orvcd.start();
    EXPECT_EQ(record(20), word(1));
}

} // namespace
