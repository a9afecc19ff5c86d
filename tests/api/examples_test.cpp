// Every example of the description: each object's, in their order, on the lab's default home.

#include <csignal>
#include <gtest/gtest.h>
#include <memory>

#include "tests/support/blobmsg_bytes.h"
#include "tests/support/bus.h"
#include "tests/support/bus_client.h"
#include "tests/support/interface.h"
#include "tests/support/listening.h"
#include "tests/support/process.h"
#include "tests/support/temporary_folder.h"

using namespace test_support;

namespace
{

// The parameter is an object's name, or that of a kind of entry object.
class ExamplesTest : public testing::TestWithParam<std::string>
{
  protected:
    void SetUp() override
    {
        const std::string events = folder_ / "events.sock";
        service_ = std::make_unique<Process>(std::vector<std::string>{
            built_program("orvcd"), "--socket", folder_ / "orvc.sock", "--events", events, "--life", "0"});
        wait_until_listening(folder_ / "orvc.sock");
        daemon_ = std::make_unique<Process>(
            std::vector<std::string>{built_program("wexond-test")},
            Process::Environment{{"WEXOND_TEST_DIR", folder_.path().string()}, {"TZ", "UTC"}});
        client_ = std::make_unique<BusClient>(bus_.socket());
        client_->wait_for_object("wexond.devinfo.ext");
        client_->call("wexond.devinfo.ext", "?"); // answered when start-up is over
        wait_until_listening(events);
    }

    void TearDown() override
    {
        client_.reset();
        bus_.stop();
        EXPECT_EQ(daemon_->wait(), 0);
        service_->send_signal(SIGTERM);
        EXPECT_EQ(service_->wait(), 0);
    }

    // The reply as the tool prints it; no object where there is none.
    Json call(const std::string &object, const std::string &method, const Json &holder)
    {
        std::vector<std::string> command = {bus_tool(), "-s", bus_.socket(), "-t", "60", "-S", "call", object, method};
        if (holder.contains("arguments"))
            command.push_back(holder["arguments"].dump());
        Process tool(command);
        EXPECT_EQ(tool.wait(), 0) << object << ' ' << method;
        const std::string reply = tool.standard_output();
        if (!reply.empty())
            check_printed_reply(object, method, reply);
        return reply.empty() ? Json() : Json::parse(reply, nullptr, false);
    }

    void send_event(const Json &event)
    {
        std::vector<std::string> command = {built_program("orvcd"), "event"};
        for (const Json &word : event)
            command.push_back(word);
        command.insert(command.end(), {"--events", folder_ / "events.sock"});
        Process tool(command);
        EXPECT_EQ(tool.wait(), 0) << tool.standard_error();
    }

    // Waits for a message; what a call before has set off may come first.
    bool is_notified(const std::string &message)
    {
        while (std::optional<std::string> next = client_->next_message())
            if (*next == message)
                return true;
        return false;
    }

    BusClient &client() { return *client_; }

  private:
    TemporaryFolder folder_;
    Bus bus_{folder_ / "ubus.sock"};
    std::unique_ptr<Process> service_, daemon_;
    std::unique_ptr<BusClient> client_;
};

TEST_P(ExamplesTest, AreAnsweredAsTheyAreDescribed)
{
    const Json &description = describe(GetParam())->description;
    for (const auto &[method, described] : description["methods"].items())
        for (const Json &example : described["examples"]) {
            for (const Json &before : example.value("before", Json::array()))
                call(before["object"], before["method"], before);
            const Json reply = call(example.value("object", GetParam()), method, example);
            const Json &keys = described["reply"];
            bool is_equal = reply.is_object() && keys.is_object() ? equals_example(keys, example["reply"], reply)
                                                                  : reply == example["reply"];
            EXPECT_TRUE(is_equal) << GetParam() << ' ' << method << ": " << example["title"] << "\n  is   " << reply
                                  << "\n  said " << example["reply"];
        }
}

class NotificationExamplesTest : public ExamplesTest
{
};

TEST_P(NotificationExamplesTest, AreNotifiedAsTheyAreDescribed)
{
    const Json &description = describe(GetParam())->description;
    for (const auto &[name, described] : description["notifications"].items())
        for (const Json &example : described["examples"]) {
            client().subscribe(example.value("object", GetParam()));
            send_event(example["event"]);
            const std::string message = name + " " + to_text(from_json(example["message"].dump()));
            EXPECT_TRUE(is_notified(message)) << GetParam() << ": " << example["title"] << "\n  " << message;
        }
}

std::vector<std::string> names(bool notifying_only)
{
    std::vector<std::string> names;
    for (const DescribedObject &object : described_objects())
        if (!notifying_only || !object.description["notifications"].empty())
            names.push_back(object.name);
    return names;
}

INSTANTIATE_TEST_SUITE_P(Api, ExamplesTest, testing::ValuesIn(names(false)));
INSTANTIATE_TEST_SUITE_P(Api, NotificationExamplesTest, testing::ValuesIn(names(true)));

} // namespace
