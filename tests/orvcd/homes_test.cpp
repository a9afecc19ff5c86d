// The homes that orvcd starts with, what it says of a file that is none, and a state file that is edited meanwhile.

#include "process.h"

namespace
{

struct OrvcdHomes : StateFileTest {
    void write(const std::string &content) const { std::ofstream(file, std::ios::binary) << content; }

    // Waits for a request's record to be another one, and returns how long that took.
    std::chrono::milliseconds time_until(uint32_t type, const std::string &expected)
    {
        const auto start = std::chrono::steady_clock::now();
        while (record(type) != expected && std::chrono::steady_clock::now() - start < std::chrono::seconds(20))
            usleep(10000);
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    }
    std::string wait_for_errors()
    {
        for (int attempt = 0; attempt < 500 && orvcd.errors().empty(); attempt++)
            usleep(10000);
        return orvcd.errors();
    }
};

TEST_F(OrvcdHomes, AreEachWhatTheDescriptionSays)
{
    for (const char *name : {"home", "crowded", "bare", "mesh"}) {
        const std::string state = orvcd.file(std::string(name) + ".json");
        orvcd.start({"--home", name, "--state", state});
        EXPECT_EQ(orvcd.end().errors, "") << name;
        Outcome check = orvcd.run({"--check", state});
        EXPECT_EQ(check.status, 0) << name;
        EXPECT_EQ(check.output, state + ": a home\n");
    }
}

TEST_F(OrvcdHomes, CrowdedHas128Stations)
{
    orvcd.start({"--home", "crowded"});
    const std::string list = record(103);
    EXPECT_EQ(list.size(), 8u + 128 * 544);
    EXPECT_EQ(list.substr(0, 4), word(128));
    EXPECT_EQ(record(105).substr(0, 4), word(128));
    EXPECT_EQ(ask(104, Image(544).text(0, "02:00:5E:10:00:80")).substr(0, 4), word(0));
}

TEST_F(OrvcdHomes, BareHasNothingThatSomebodyMade)
{
    orvcd.start({"--home", "bare"});
    for (uint32_t list : {98u, 103u, 119u, 122u, 155u, 206u, 211u, 219u, 223u, 227u})
        EXPECT_EQ(record(list).substr(0, 4), word(0)) << "type " << list;
    EXPECT_EQ(record(239), word(1));
    EXPECT_EQ(record(24).substr(0, 8), word(1) + word(0)) << "the link is down";
}

TEST_F(OrvcdHomes, MeshIsAChainOfThreeNodes)
{
    orvcd.start({"--home", "mesh"});
    EXPECT_EQ(record(65).substr(0, 4), word(3));
    EXPECT_EQ(record(64, Image(18).text(0, "00:00:5E:00:53:61")).substr(44, 17), "00:00:5E:00:53:10");
    EXPECT_EQ(record(64, Image(18).text(0, "00:00:5E:00:53:71")).substr(44, 17), "00:00:5E:00:53:61");
}

TEST_F(OrvcdHomes, AreWhatAResetLeadsBackTo)
{
    write(R"({"leds": {"on": false}})");
    orvcd.start({"--home", file});
    EXPECT_EQ(ask(21, word(1)), word(0));
    EXPECT_EQ(record(20), word(1));
    EXPECT_EQ(ask(17), word(0));
    EXPECT_EQ(record(20), word(0));
}

TEST_F(OrvcdHomes, ThatThereAreNotAreRefused)
{
    Outcome outcome = orvcd.run({"--socket", orvcd.socket(), "--home", orvcd.file("castle")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "orvcd: " + orvcd.file("castle") + ": No such file or directory\n");
}

TEST_F(OrvcdHomes, CheckTellsOfEverythingThatIsWrong)
{
    write(R"({"leds": {"onn": true}, "wifi": {"5 GHz": {"chanel": 36, "bandwidth": "81 MHz"}}, "swiches": {},
              "iptv": {"enable": "yes", "vlans": [{"vlan_id": -1}]}, "identity": {"mac": "00:00:5E:00:53:10  "},
              "open_ports": {"tcp": {}}, "wifi_timers": [{"weekday": ["caturday"]}, 4],
              "url_filters": [{"ranges": [{"start": "noon"}]}], "uplink": {"words": [1, 2, 3, 4, 5, 6]}})");
    Outcome check = orvcd.run({"--check", file});
    EXPECT_EQ(check.status, 1);
    const char *problems[] = {
        "/leds/onn is no key of a home; the nearest is \"on\"",
        "/wifi/5 GHz/chanel is no key of a home; the nearest is \"channel\"",
        "/wifi/5 GHz/bandwidth is \"81 MHz\", not one of auto, 20 MHz, 40 MHz, 80 MHz, 160 MHz, or a number",
        "/swiches is no key of a home; the nearest is \"switches\"",
        "/iptv/enable is \"yes\", not true or false",
        "/iptv/vlans/0/vlan_id is -1, not a number from 0",
        "/identity/mac is \"00:00:5E:00:53:10  \", not a text of at most 18 bytes",
        "/open_ports/tcp is {}, not a list",
        ("/wifi_timers/0/weekday/0 is \"caturday\", not one of sunday, monday, tuesday, wednesday, thursday, friday, "
         "saturday, or a number"),
        "/wifi_timers/1 is 4, not an object",
        "/url_filters/0/ranges/0/start is \"noon\", not a time of day, HH:MM or HH:MM:SS",
        "/uplink/words has 6 entries, of which 5 count",
    };
    std::string expected;
    for (const char *problem : problems)
        expected += file + ": " + problem + "\n";
    EXPECT_EQ(check.output, expected);
}

TEST_F(OrvcdHomes, CheckTellsOfWhatIsNoJsonAndOfNoFile)
{
    write("{");
    Outcome check = orvcd.run({"--check", file});
    EXPECT_EQ(check.status, 1);
    EXPECT_NE(check.output.find(file + ": "), std::string::npos);
    EXPECT_NE(check.output.find("parse error"), std::string::npos);
    check = orvcd.run({"--check", orvcd.file("missing")});
    EXPECT_EQ(check.status, 1);
    EXPECT_NE(check.output.find("No such file or directory"), std::string::npos);
}

TEST_F(OrvcdHomes, UnknownKeysAreReportedAndKept)
{
    write(R"({"leds": {"on": false, "colour": "red"}})");
    orvcd.start({"--state", file});
    EXPECT_EQ(orvcd.errors(), "orvcd: " + file + ": /leds/colour is no key of a home; the nearest is \"on\"\n");
    EXPECT_EQ(ask(177, word(0)), word(0));
    EXPECT_NE(read_file(file).find("\"colour\": \"red\""), std::string::npos);
}

TEST_F(OrvcdHomes, ValuesThatMeanNothingAreRefusedAtStart)
{
    write(R"({"wan": {"mode": "pigeon"}})");
    Outcome outcome = orvcd.run({"--socket", orvcd.socket(), "--state", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "orvcd: " + file +
                                  ": this is no state of a home (left as it is): /wan/mode is \"pigeon\", not one of "
                                  "dhcp, pppoe, static, bridge, repeater, or a number\n");
}

TEST_F(OrvcdHomes, EditsAreTakenUpWithinASecond)
{
    orvcd.start({"--state", file});
    write(R"({"leds": {"on": false}})");
    EXPECT_LT(time_until(20, word(0)), std::chrono::milliseconds(1000) * kSlowness);
    // As editors do it: another file takes the place of the first.
    std::ofstream(file + ".new") << R"({"leds": {"on": true}})";
    std::filesystem::rename(file + ".new", file);
    EXPECT_LT(time_until(20, word(1)), std::chrono::milliseconds(1000) * kSlowness);
    Outcome outcome = orvcd.end();
    EXPECT_EQ(outcome.errors, "");
    const std::string line = "orvcd: " + file + ": taken up as it was edited\n";
    EXPECT_EQ(outcome.output, "orvcd serves " + orvcd.socket() + ", state in " + file + "\n" + line + line);
}

TEST_F(OrvcdHomes, EditsThatAreNoHomeAreRefusedWithAReason)
{
    orvcd.start({"--state", file});
    const auto start = std::chrono::steady_clock::now();
    write(R"({"leds": {"on": "green"}})");
    const std::string complaint = "orvcd: not taken up: " + file +
                                  ": this is no state of a home (left as it is): /leds/on is \"green\", not true or "
                                  "false\n";
    EXPECT_EQ(wait_for_errors(), complaint);
    // Within a second; a sanitizer, or a machine that has other things to do, may add another.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2) * kSlowness);
    EXPECT_EQ(record(20), word(1));
    usleep(600000);
    EXPECT_EQ(orvcd.errors(), complaint) << "once";

    // A change is written, and what was refused is not lost.
    EXPECT_EQ(ask(21, word(0)), word(0));
    EXPECT_EQ(read_file(file + ".refused"), R"({"leds": {"on": "green"}})");
    EXPECT_EQ(orvcd.errors(), complaint + "orvcd: " + file + ": kept as " + file + ".refused\n");
    EXPECT_EQ(orvcd.end().status, 0);
    orvcd.start({"--state", file});
    EXPECT_EQ(record(20), word(0));
}

TEST_F(OrvcdHomes, EditsOfTheLastMomentAreNotWrittenOver)
{
    orvcd.start({"--state", file});
    write(R"({"leds": {"on": false}})");
    EXPECT_EQ(ask(177, word(0)), word(0)) << "before the service has looked at the file";
    EXPECT_EQ(record(20), word(0));
    EXPECT_EQ(record(178), word(0));
}

} // namespace
