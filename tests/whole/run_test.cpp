// ./run as a tool: labs in the background by their names, and commands in labs of their own.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>

#include "tests/support/process.h"
#include "tests/support/programs.h"
#include "tests/support/temporary_folder.h"

using namespace test_support;

namespace
{

const std::string kRun = SOURCE_DIR "/run";

// Where the labs of this program lie: apart from those of whoever works on this machine.
const TemporaryFolder &labs()
{
    static const TemporaryFolder folder;
    return folder;
}

Process::Environment environment()
{
    const std::string programs = std::filesystem::path(built_program("orvcd")).parent_path();
    return {{"WEXOND_BIN", programs}, {"WEXOND_LABS", labs().path().string()}, {"WEXOND_LAB", std::nullopt}};
}

struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

std::unique_ptr<Process> start(std::vector<std::string> words)
{
    words.insert(words.begin(), kRun);
    return std::make_unique<Process>(words, environment());
}

Outcome finish(Process &process)
{
    int status = process.wait(kPatience * 3).value_or(-1);
    return {status, process.standard_output(), process.standard_error()};
}

Outcome run(const std::vector<std::string> &words)
{
    return finish(*start(words));
}

// The lab of a command is gone: its folder, and with it whatever served there.
testing::AssertionResult is_gone(const std::string &bus)
{
    const auto folder = std::filesystem::path(bus).parent_path();
    if (bus.empty() || std::filesystem::exists(folder))
        return testing::AssertionFailure() << "still there: " << folder;
    return testing::AssertionSuccess();
}

// --- Commands in labs of their own ---

TEST(RunCommand, FindsEveryObjectAnsweringAndTheToolInThePath)
{
    Outcome outcome = run({"--", "sh", "-c", "ubus -S call wexond.ledswitch get; ubus list wexond.wifi.1.ap.3"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "{\"wexond.ledswitch\":{\"status\":\"on\"}}\nwexond.wifi.1.ap.3\n");
    EXPECT_EQ(outcome.errors, "");
}

TEST(RunCommand, EndsWithItsStatusAndLeavesNothing)
{
    for (auto [command, status] : {std::pair{"exit 0", 0}, {"exit 7", 7}, {"kill -KILL $$", 137}}) {
        Outcome outcome = run({"--", "sh", "-c", std::string("echo $UBUS_SOCKET; ") + command});
        EXPECT_EQ(outcome.status, status) << command;
        EXPECT_EQ(outcome.errors, "") << command;
        EXPECT_TRUE(is_gone(outcome.output.substr(0, outcome.output.find('\n')))) << command;
    }
    EXPECT_EQ(run({"--", "/no/such/program"}).status, 127);
}

TEST(RunCommand, KeepsTheFolderAndTheArgumentsOfItsCaller)
{
    TemporaryFolder folder;
    Process process(
        {"sh", "-c", "cd " + folder.path().string() + " && " + kRun + " -- printf '%s|' \"$PWD\" 'a b' '' '*'"},
        environment());
    EXPECT_EQ(finish(process).output, folder.path().string() + "|a b||*|");
}

TEST(RunCommand, ActsOnItsOwnLab)
{
    Outcome outcome =
        run({"--home", "bare", "--life", "0", "--", "sh", "-c",
             kRun + " fault ORVC_GET_LEDSWITCH code=3 for 1 request; ubus -S call wexond.ledswitch get; " + kRun +
                 " ubus -S call wexond.laninfo list; " + kRun + " event led-switch on=true"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "ORVC_GET_LEDSWITCH code=3 for 1 requests\n"
                              "{\"result\":\"1\",\"failreason\":\"failed to get ledswitch\"}\n"
                              "{\"wexond.laninfo\":[]}\n");
}

TEST(RunCommand, FindsTheBusOverHttpWhereThatIsWanted)
{
    const std::string ask = "exec 3<>/dev/tcp/127.0.0.1/${LAB_HTTP##*:} && "
                            "printf 'GET /ubus/list/wexond.ledswitch HTTP/1.1\\r\\nHost: localhost\\r\\n"
                            "Connection: close\\r\\n\\r\\n' >&3 && tail -n 1 <&3";
    Outcome outcome =
        run({"--http", "0", "--", "bash", "-c", ask + "; LAB_HTTP=x " + kRun + " -- sh -c 'echo \"[$LAB_HTTP]\"'"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "{\"set\":{\"status\":\"string\"},\"get\":{}}[]\n");
    EXPECT_EQ(run({"--http", "http", "--", "true"}).errors, "run: a port is a number\n");
}

struct RunCommandSignals : testing::TestWithParam<int> {
};

TEST_P(RunCommandSignals, ReachTheCommandAndLeaveNothing)
{
    TemporaryFolder folder;
    const std::string note = folder / "note";
    auto process = start({"--", "sh", "-c", "echo $UBUS_SOCKET > " + note + "; exec sleep 60"});
    std::string bus;
    for (int attempt = 0; attempt < 2000 && bus.empty(); attempt++) {
        usleep(10000);
        std::ifstream(note) >> bus;
    }
    process->send_signal(GetParam());
    EXPECT_EQ(finish(*process).status, 128 + GetParam());
    EXPECT_TRUE(is_gone(bus));
}

INSTANTIATE_TEST_SUITE_P(All, RunCommandSignals, testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto &info) { return std::string(sigabbrev_np(info.param)); });

TEST(RunCommand, WhatAKilledScriptLeavesIsSwept)
{
    TemporaryFolder folder;
    const std::string note = folder / "note";
    std::string bus;
    {
        auto process = start({"--", "sh", "-c", "echo $UBUS_SOCKET > " + note + "; exec sleep 5"});
        for (int attempt = 0; attempt < 2000 && bus.empty(); attempt++) {
            usleep(10000);
            std::ifstream(note) >> bus;
        }
        process->send_signal(SIGKILL);
        process->wait();
    }
    const auto ended = [&] { return run({"--", "true"}).status == 0 && is_gone(bus); };
    bool is_swept = false;
    for (int attempt = 0; attempt < 10 && !is_swept; attempt++)
        is_swept = ended();
    EXPECT_TRUE(is_swept);
}

TEST(RunCommand, RunsManyBesideEachOther)
{
    constexpr size_t kLabs = 8;
    std::vector<std::unique_ptr<Process>> processes;
    for (size_t i = 0; i < kLabs; i++)
        processes.push_back(start({"--", "sh", "-c",
                                   "ubus -S call wexond.serverinfo set '{\"devid\":\"" + std::to_string(i) +
                                       "\"}'; ubus -S call wexond.serverinfo get"}));
    for (size_t i = 0; i < kLabs; i++) {
        Outcome outcome = finish(*processes[i]);
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_NE(outcome.output.find("\"devid\":\"" + std::to_string(i) + "\""), std::string::npos) << outcome.output;
    }
}

// --- Labs in the background ---

struct RunLab : testing::Test {
    std::string name = "first";

    Outcome act(std::vector<std::string> words)
    {
        words.insert(words.begin() + 1, {"--name", name});
        return run(words);
    }
    std::string call(const std::string &object, const std::string &method, const std::string &arguments = "{}")
    {
        return act({"ubus", "-S", "call", object, method, arguments}).output;
    }
    void TearDown() override { act({"down"}); }
};

TEST_F(RunLab, ComesUpAnswersAndGoesDown)
{
    EXPECT_EQ(act({"status"}).status, 3);
    Outcome up = act({"up"});
    EXPECT_EQ(up.status, 0) << up.errors;
    EXPECT_EQ(up.output, "The lab " + name + " is up: UBUS_SOCKET=" + (labs() / name).string() + "/ubus.sock\n");
    EXPECT_EQ(act({"wait"}).status, 0);
    EXPECT_EQ(act({"status"}).status, 0);
    EXPECT_EQ(call("wexond.ledswitch", "get"), "{\"wexond.ledswitch\":{\"status\":\"on\"}}\n");
    Outcome again = act({"up"});
    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.errors, "run: the lab " + name + " is up already: ./run down ends it\n");
    EXPECT_EQ(call("wexond.ledswitch", "get"), "{\"wexond.ledswitch\":{\"status\":\"on\"}}\n") << "the first goes on";
    EXPECT_EQ(act({"down"}).output, "The lab " + name + " is down.\n");
    EXPECT_FALSE(std::filesystem::exists((labs() / name)));
    EXPECT_EQ(act({"status"}).status, 3);
    EXPECT_EQ(act({"down"}).status, 1);
}

TEST_F(RunLab, HasAPageWhereThatIsWanted)
{
    Outcome up = act({"up", "--http", "0"});
    EXPECT_EQ(up.status, 0) << up.errors;
    const std::string page = up.output.substr(std::min(up.output.size(), up.output.find("Its page: ")));
    EXPECT_TRUE(page.starts_with("Its page: http://127.0.0.1:")) << up.output;
    EXPECT_EQ(act({"reset"}).status, 0);
    EXPECT_NE(act({"status"}).output.find(page), std::string::npos);
    EXPECT_EQ(act({"down"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(labs() / name));
}

TEST_F(RunLab, IsQuietWhereThatIsWanted)
{
    Outcome up = act({"up", "--quiet"});
    EXPECT_EQ(up.output + up.errors, "");
    EXPECT_EQ(up.status, 0);
}

TEST_F(RunLab, ResetBringsBackTheHomeAndItsObjects)
{
    EXPECT_EQ(act({"up", "--home", "mesh", "--life", "0"}).status, 0);
    EXPECT_EQ(call("wexond.ledswitch", "set", R"({"status":"off"})"), "{\"result\":\"0\",\"failreason\":\"\"}\n");
    EXPECT_EQ(call("wexond.filter.url", "delete", R"({"idx":1})"), "{\"result\":\"0\",\"failreason\":\"\"}\n");
    EXPECT_EQ(act({"ubus", "list", "wexond.filter.url.*"}).output, "wexond.filter.url.2\n");
    EXPECT_EQ(act({"reset"}).status, 0);
    EXPECT_EQ(call("wexond.ledswitch", "get"), "{\"wexond.ledswitch\":{\"status\":\"on\"}}\n");
    EXPECT_EQ(act({"ubus", "list", "wexond.filter.url.*"}).output, "wexond.filter.url.1\nwexond.filter.url.2\n");
}

TEST_F(RunLab, SendsEventsPlaysFaultsAndShowsTheLog)
{
    EXPECT_EQ(act({"up", "--life", "0"}).status, 0);
    EXPECT_EQ(act({"event", "led-switch", "on=false"}).status, 0);
    EXPECT_EQ(act({"fault", "all", "code=4", "for", "1", "request"}).output, "all code=4 for 1 requests\n");
    EXPECT_EQ(call("wexond.ledswitch", "get"), "{\"result\":\"1\",\"failreason\":\"failed to get ledswitch\"}\n");
    auto log = start({"log", "--name", name});
    for (int attempt = 0; attempt < 500 && log->standard_output().find("fault code=4\n") == std::string::npos;
         attempt++)
        usleep(10000);
    EXPECT_NE(
        log->standard_output().find("20 ORVC_GET_LEDSWITCH flag 1 request 0 expected 8 code 4 (the state cannot be "
                                    "read or written) fault code=4\n"),
        std::string::npos);
}

TEST_F(RunLab, StandsBesideAnotherName)
{
    const std::string first = name;
    EXPECT_EQ(act({"up"}).status, 0);
    name = "second";
    EXPECT_EQ(act({"up"}).status, 0);
    EXPECT_EQ(call("wexond.ledswitch", "set", R"({"status":"off"})"), "{\"result\":\"0\",\"failreason\":\"\"}\n");
    EXPECT_EQ(act({"down"}).status, 0);
    name = first;
    EXPECT_EQ(call("wexond.ledswitch", "get"), "{\"wexond.ledswitch\":{\"status\":\"on\"}}\n");
}

TEST_F(RunLab, IsNeededByWhatActsOnIt)
{
    for (const char *word : {"reset", "log", "event", "fault"}) {
        Outcome outcome = act({word});
        EXPECT_EQ(outcome.status, 1) << word;
        EXPECT_EQ(outcome.errors, "run: the lab " + name + " is not up: ./run up starts it\n");
    }
    EXPECT_EQ(act({"ubus", "list"}).status, 1);
}

TEST_F(RunLab, HomeThatIsNoneIsToldOf)
{
    Outcome outcome = act({"up", "--home", "/no/such/home"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.errors.find("/no/such/home: No such file or directory"), std::string::npos) << outcome.errors;
    EXPECT_FALSE(std::filesystem::exists((labs() / name)));
}

TEST(RunWords, ThatThereAreNotAreRefused)
{
    for (const std::vector<std::string> &words :
         {std::vector<std::string>{"dance"}, {"--"}, {"up", "more"}, {"--name"}, {"up", "--", "true"}}) {
        Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 2) << words[0];
        EXPECT_NE(outcome.errors.find("./run up"), std::string::npos) << outcome.errors;
    }
    EXPECT_EQ(run({"up", "--name", "../x"}).status, 1);
    EXPECT_EQ(run({"--help"}).status, 0);
}

} // namespace
