// The access lists of packaging/acl.d on a bus that holds clients to them: each list grants its methods, and nothing
// else. Asked of the live daemon's objects; whether a call may pass is the broker's word, so the daemon itself stands
// still meanwhile and nothing is carried out.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

#include "tests/support/bus_client.h"
#include "tests/support/interface.h"
#include "tests/support/listening.h"
#include "tests/support/other_user.h"
#include "tests/support/process.h"
#include "tests/support/temporary_folder.h"
#include "tests/ubusd/raw_bus.h"

using test_support::Json;
using test_support::kNobody;
using test_support::Process;

namespace
{

struct Object {
    uint32_t id;
    std::vector<std::string> methods;
};

using Objects = std::map<std::string, Object>;

bool matches(const std::string &pattern, const std::string &path)
{
    if (pattern.ends_with('*'))
        return path.starts_with(pattern.substr(0, pattern.size() - 1));
    return path == pattern;
}

// Whether any text of the array is that one, or stands for it.
template <typename Says> bool any_says(const Json &texts, const Says &says)
{
    return std::any_of(texts.begin(), texts.end(), [&](const Json &text) { return says(text.get<std::string>()); });
}

bool grants(const Json &list, const std::string &path, const std::string &method)
{
    for (const auto &[pattern, rule] : list["access"].items())
        if (matches(pattern, path) &&
            any_says(rule["methods"], [&](const std::string &text) { return text == method; }))
            return true;
    return false;
}

bool lets_subscribe(const Json &list, const std::string &path)
{
    return list.contains("subscribe") &&
           any_says(list["subscribe"], [&](const std::string &pattern) { return matches(pattern, path); });
}

size_t padded(size_t length)
{
    return (length + 3) / 4 * 4;
}

// The object that a look-up of one path finds, if any.
std::optional<Object> look_up(const RawClient &client, const std::string &path)
{
    const Bytes answer = client.ask(message(4, 1, 0, attribute(2, path)));
    if (answer == status(1, 0, 0))
        return {};
    EXPECT_BYTES(client.receive(), status(1, 0, 0)) << path;
    size_t at = 12 + padded(4 + path.size() + 1);
    Object object = {number_at(answer, at + 4), {}};
    for (at += 20; at + 8 < answer.size(); at += padded(number_at(answer, at) & 0xffffff)) {
        size_t length = answer[at + 4] << 8 | answer[at + 5];
        object.methods.emplace_back(answer.begin() + at + 6, answer.begin() + at + 6 + length);
    }
    return object;
}

bool may_call(const RawClient &client, uint32_t id, const std::string &method)
{
    client.send(message(5, 1, id, attribute(3, id) + attribute(4, method) + attribute(7, Bytes{})) +
                message(3, 2, 0, {}));
    Bytes answer = client.receive();
    bool refused = answer == status(1, id, 6);
    EXPECT_BYTES(refused ? client.receive() : answer, message(2, 2, 0, {}));
    EXPECT_BYTES(client.receive(), status(2, 0, 0));
    return !refused;
}

bool may_subscribe(const RawClient &client, uint32_t subscriber, uint32_t id)
{
    const Bytes answer = client.ask(message(8, 1, 0, attribute(3, subscriber) + attribute(8, id)));
    EXPECT_TRUE(answer == status(1, 0, 0) || answer == status(1, 0, 4));
    return answer == status(1, 0, 0);
}

class AccessListsTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        NEEDS_OTHER_USERS();
        chmod(folder_.path().c_str(), 0755);
        for (const char *name : {"read", "secrets", "write"}) {
            std::ifstream file(std::string(ACCESS_LISTS_DIR "/wexond-") + name + ".json");
            Json list = Json::parse(file);
            list.erase("group");
            list["user"] = "nobody";
            lists_[name] = list;
        }
        broker_.emplace(Broker::Options{.path = folder_ / "ubus.sock", .arguments = {"-A", folder_.path()}});
        start_lab();
        find_objects();
        stop_daemon();
    }

    void TearDown() override
    {
        if (!daemon_)
            return;
        daemon_->send_signal(SIGKILL);
        daemon_->wait();
        service_->send_signal(SIGTERM);
        EXPECT_EQ(service_->wait(), 0);
    }

    void start_lab()
    {
        service_.emplace(std::vector<std::string>{built_program("orvcd"), "--socket", folder_ / "orvc.sock", "--events",
                                                  folder_ / "events.sock", "--life", "0"});
        test_support::wait_until_listening(folder_ / "orvc.sock");
        daemon_.emplace(std::vector<std::string>{built_program("wexond-test")},
                        Process::Environment{{"WEXOND_TEST_DIR", folder_.path().string()}});
        test_support::BusClient client(broker_->path());
        client.wait_for_object("wexond.devinfo.ext");
        client.call("wexond.devinfo.ext", "?"); // answered when start-up is over
        client.call("wexond.laninfo", "list");  // whose entries come when they are asked for
        listing_ = client.list("wexond*");
    }

    // The signal is sent before it is obeyed.
    void stop_daemon()
    {
        daemon_->send_signal(SIGSTOP);
        siginfo_t stopped;
        while (waitid(P_PID, static_cast<id_t>(daemon_->pid()), &stopped, WSTOPPED) != 0 && errno == EINTR) {
        }
    }

    void find_objects()
    {
        RawClient root(*broker_);
        std::istringstream lines(listing_);
        for (std::string line; std::getline(lines, line);)
            if (!line.starts_with(' '))
                objects_[line] = look_up(root, line).value();
    }

    // The list alone holds from now on.
    void install(const Json &list)
    {
        const std::string path = folder_ / "list.json";
        std::ofstream(path) << list;
        chmod(path.c_str(), 0644);
        RawClient root(*broker_);
        auto sequence = [&] {
            Bytes answer = root.ask(message(5, 1, 2, attribute(3, 2) + attribute(4, "query")));
            root.receive();
            return number_at(answer, 36);
        };
        const uint32_t before = sequence();
        kill(broker_->pid(), SIGHUP);
        auto deadline = std::chrono::steady_clock::now() + test_support::kPatience;
        while (sequence() == before && !HasFailure() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ASSERT_NE(sequence(), before) << "the list is not read";
    }

    test_support::TemporaryFolder folder_;
    std::map<std::string, Json> lists_;
    std::optional<Broker> broker_;
    std::optional<Process> service_, daemon_;
    std::string listing_;
    Objects objects_;
};

TEST_F(AccessListsTest, GrantWhatTheySayAloneAndNothingElse)
{
    for (const auto &[name, list] : lists_) {
        SCOPED_TRACE(name);
        install(list);
        int connection = -1;
        ASSERT_TRUE(test_support::as_user(kNobody, [&] { connection = connect_to(broker_->path()); }));
        const RawClient client(connection);
        const uint32_t subscriber = client.add_anonymous();
        for (const auto &[path, object] : objects_) {
            std::vector<std::string> granted;
            for (const std::string &method : object.methods) {
                bool is_granted = grants(list, path, method);
                EXPECT_EQ(may_call(client, object.id, method), is_granted) << path << ' ' << method;
                if (is_granted)
                    granted.push_back(method);
            }
            EXPECT_FALSE(may_call(client, object.id, "no such method")) << path;
            const std::optional<Object> seen = look_up(client, path);
            EXPECT_EQ(seen ? seen->methods : std::vector<std::string>{}, granted) << path;
            EXPECT_EQ(may_subscribe(client, subscriber, object.id), lets_subscribe(list, path)) << path;
        }
    }
}

TEST_F(AccessListsTest, HoldEachMethodOnce)
{
    size_t count = 0;
    for (const auto &[path, object] : objects_)
        for (const std::string &method : object.methods) {
            auto holds = [&, &path = path](const auto &list) { return grants(list.second, path, method); };
            EXPECT_EQ(std::ranges::count_if(lists_, holds), 1) << path << ' ' << method;
            count++;
        }
    EXPECT_GT(count, 100u);
    // Everything that is described is there, of each kind of entry object at least one.
    for (const test_support::DescribedObject &described : test_support::described_objects()) {
        const std::string pattern =
            described.name.ends_with(".N") ? described.name.substr(0, described.name.size() - 1) + "*" : described.name;
        EXPECT_TRUE(std::ranges::any_of(objects_, [&](const auto &item) { return matches(pattern, item.first); }))
            << described.name;
    }
}

} // namespace
