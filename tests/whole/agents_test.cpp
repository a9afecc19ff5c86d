// The agents of examples/: the same in every language.

#include <chrono>
#include <filesystem>
#include <map>
#include <thread>

#include "lab.h"

using namespace test_support;

namespace
{

struct Agent {
    const char *language;
    std::vector<std::string> command;
};

void PrintTo(const Agent &agent, std::ostream *stream)
{
    *stream << agent.language;
}

const Agent kAgents[] = {
    {"C", {built_program("agent")}},
    {"JavaScript", {"node", EXAMPLES "/agent.js"}},
    {"Python", {"python3", EXAMPLES "/agent.py"}},
    {"Shell", {"sh", EXAMPLES "/agent.sh"}},
};

class AllAgentsTest : public Lab
{
  protected:
    std::unique_ptr<Process> start(const Agent &agent, const std::vector<std::string> &words)
    {
        std::vector<std::string> command = agent.command;
        command.insert(command.end(), words.begin(), words.end());
        const std::string tools = std::filesystem::path(bus_tool()).parent_path();
        return std::make_unique<Process>(
            command, Process::Environment{{"UBUS_SOCKET", bus()}, {"PATH", tools + ":" + getenv("PATH")}});
    }

    // Sends the event until the agent tells of it: nobody else knows when it has subscribed.
    bool tells_of_wrong_password(const Process &agent, const std::string &mac, const std::string &line)
    {
        for (auto end = std::chrono::steady_clock::now() + kPatience; std::chrono::steady_clock::now() < end;) {
            orvcd({"event", "password-error", "mac=" + mac, "--events", path("events.sock")});
            for (int i = 0; i < 10; i++) {
                if (agent.standard_output().find(line) != std::string::npos)
                    return true;
                std::this_thread::sleep_for(Milliseconds(30));
            }
        }
        return false;
    }
};

// All in one lab: the daemon's first notification takes five seconds, twice.
TEST_F(AllAgentsTest, FollowWrongPasswordsOverARestartOfTheDaemon)
{
    std::map<std::string, std::unique_ptr<Process>> agents;
    for (const Agent &agent : kAgents)
        agents[agent.language] = start(agent, {"passwords"});
    auto all_tell = [&](const std::string &mac, const std::string &line) {
        for (const auto &[language, agent] : agents)
            EXPECT_TRUE(tells_of_wrong_password(*agent, mac, line)) << language << agent->standard_error();
    };
    all_tell("00:00:5E:00:53:51", "wrong password: 00005E005351\n");
    kill_daemon();
    start_daemon();
    all_tell("00:00:5E:00:53:52", "wrong password: 00005E005352\n");
    for (const auto &[language, agent] : agents) {
        agent->send_signal(SIGTERM);
        EXPECT_EQ(agent->wait(), 0) << language;
        EXPECT_EQ(agent->standard_error(), "") << language;
    }
}

class AgentsTest : public AllAgentsTest, public testing::WithParamInterface<Agent>
{
  protected:
    // The agent's output.
    std::string run(const std::vector<std::string> &words, int status = 0)
    {
        auto agent = start(GetParam(), words);
        EXPECT_EQ(agent->wait(), status);
        return agent->standard_output() + agent->standard_error();
    }
};

TEST_P(AgentsTest, ListTheStations)
{
    const Json reply = Json::parse(call("wexond.laninfo", "list"));
    std::string stations;
    for (const Json &station : reply["wexond.laninfo"])
        stations += station["mac"].get<std::string>() + " " + station["ipaddr"].get<std::string>() + " " +
                    station["devname"].get<std::string>() + "\n";
    EXPECT_EQ(run({"stations"}), stations);
    stop_service();
    EXPECT_NE(run({"stations"}, 1).find("failed to get laninfo list"), std::string::npos);
}

TEST_P(AgentsTest, SwitchNetworksByName)
{
    auto is_on = [this](const std::string &network) {
        return call(network, "get").find(R"("enable":"yes")") != std::string::npos;
    };
    EXPECT_EQ(run({"switch", "Birch Lane 7 Things", "on"}), "wexond.wifi.1.ap.3\n");
    EXPECT_TRUE(is_on("wexond.wifi.1.ap.3"));
    for (const char *network : {"wexond.wifi.1.ap.1", "wexond.wifi.2.ap.2"})
        EXPECT_EQ(call(network, "set", R"({"ssid":"a \"b\\ 'c"})"), kSuccess);
    EXPECT_EQ(run({"switch", R"(a "b\ 'c)", "off"}), "wexond.wifi.1.ap.1\nwexond.wifi.2.ap.2\n");
    EXPECT_FALSE(is_on("wexond.wifi.1.ap.1"));
    EXPECT_FALSE(is_on("wexond.wifi.2.ap.2"));
    EXPECT_NE(run({"switch", "Birch", "on"}, 1).find("no network Birch\n"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Examples, AgentsTest, testing::ValuesIn(kAgents),
                         [](const auto &agent) { return std::string(agent.param.language); });

} // namespace
