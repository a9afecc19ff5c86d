// The broker as a process: its socket's file, its end, its descriptors.
#include "tests/ubusd/raw_bus.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

#include "tests/support/emulator.h"

using namespace std::chrono_literals;

namespace
{

namespace fs = std::filesystem;

mode_t mode_of(const std::string &path)
{
    struct stat file = {};
    stat(path.c_str(), &file);
    return file.st_mode;
}

// A socket file that nobody listens on.
void leave_socket_file(const std::string &path)
{
    sockaddr_un address = {.sun_family = AF_UNIX};
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    close(fd);
}

TEST(Process, OpensItsSocketToEveryUser)
{
    mode_t mask = umask(0077);
    Broker broker;
    umask(mask);
    EXPECT_EQ(mode_of(broker.path()), mode_t{S_IFSOCK | 0666});
}

TEST(Process, MakesTheFolders)
{
    Folder folder;
    mode_t mask = umask(0077);
    Broker broker({.path = folder.path() + "/run/ubus/ubus.sock"});
    umask(mask);
    EXPECT_EQ(mode_of(folder.path() + "/run/ubus"), mode_t{S_IFDIR | 0755});
    RawClient client(broker);
    EXPECT_TRUE(client.has_nothing_more());
}

TEST(Process, RemovesItsSocketWhenItIsEnded)
{
    for (int signal : {SIGINT, SIGTERM}) {
        Broker broker;
        RawClient client(broker);
        EXPECT_TRUE(fs::exists(broker.path()));
        EXPECT_EQ(broker.end(signal), 0);
        EXPECT_FALSE(fs::exists(broker.path()));
        EXPECT_TRUE(client.is_closed());
    }
}

TEST(Process, LeavesTheSocketOfASuccessor)
{
    Broker broker;
    fs::remove(broker.path());
    Broker successor({.path = broker.path()});
    EXPECT_EQ(broker.end(SIGTERM), 0);
    RawClient client(successor);
    EXPECT_TRUE(client.has_nothing_more());
}

TEST(Process, ReplacesASocketFileThatWasLeftBehind)
{
    Folder folder;
    leave_socket_file(folder.path() + "/bus.sock");
    Broker broker({.path = folder.path() + "/bus.sock"});
    RawClient client(broker);
    EXPECT_TRUE(client.has_nothing_more());
}

TEST(Process, DoesNotReplaceABrokerThatRuns)
{
    Broker broker;
    EXPECT_EQ(wait_for_exit(start_broker({"-s", broker.path()})), 1);
    RawClient client(broker);
    EXPECT_TRUE(client.has_nothing_more());
}

TEST(Process, DoesNotReplaceAnotherFile)
{
    Folder folder;
    std::string path = folder.path() + "/file";
    std::ofstream(path) << "kept";
    EXPECT_EQ(wait_for_exit(start_broker({"-s", path})), 1);
    EXPECT_EQ(fs::file_size(path), 4u);
}

TEST(Process, FailsWithoutAUsablePath)
{
    Folder folder;
    std::ofstream(folder.path() + "/file") << "kept";
    EXPECT_EQ(wait_for_exit(start_broker({"-s", folder.path() + "/file/bus.sock"})), 1);
    EXPECT_EQ(wait_for_exit(start_broker({"-s", folder.path() + "/" + std::string(108, 'x')})), 1);
    EXPECT_EQ(wait_for_exit(start_broker({"-s", ""})), 1);
}

TEST(Process, RefusesOtherArguments)
{
    EXPECT_EQ(wait_for_exit(start_broker({"-x"})), 1);
    EXPECT_EQ(wait_for_exit(start_broker({"-s"})), 1);
    EXPECT_EQ(wait_for_exit(start_broker({"socket"})), 1);
}

TEST(Process, TakesTheSocketOfTheEnvironment)
{
    Folder folder;
    std::string path = folder.path() + "/bus.sock";
    setenv("UBUS_SOCKET", path.c_str(), 1);
    pid_t pid = start_broker({});
    unsetenv("UBUS_SOCKET");
    int fd = -1;
    for (int i = 0; i < 5000 && (fd = connect_to(path)) < 0; i++)
        std::this_thread::sleep_for(2ms);
    EXPECT_GE(fd, 0);
    close(fd);
    kill(pid, SIGTERM);
    EXPECT_EQ(wait_for_exit(pid), 0);
}

TEST(Process, RaisesItsLimitOfDescriptors)
{
    Broker broker({.limits = {.first_descriptors = 32, .descriptors = 100}});
    std::vector<RawClient> clients;
    for (int i = 0; i < 80; i++)
        clients.emplace_back(broker);
    EXPECT_TRUE(clients[79].has_nothing_more());
}

TEST(Process, WaitsForDescriptorsWithoutSpinning)
{
    Broker broker({.limits = {.descriptors = 32}});
    std::vector<int> waiting;
    for (int i = 0; i < 40; i++) { // the socket's backlog takes those that the broker cannot
        waiting.push_back(connect_to(broker.path()));
        ASSERT_GE(waiting.back(), 0);
    }
    auto greeted = [](int fd, std::chrono::seconds patience) {
        timeval timeout = {.tv_sec = static_cast<time_t>(patience.count() * kSlowness), .tv_usec = 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
        char greeting[12];
        return recv(fd, greeting, sizeof(greeting), MSG_WAITALL) == sizeof(greeting);
    };
    size_t served = 0;
    while (served < waiting.size() && greeted(waiting[served], served == 0 ? 10s : 1s))
        served++;
    EXPECT_GT(served, 20u);
    ASSERT_LT(served, 32u);

    double before = broker.cpu_seconds();
    std::this_thread::sleep_for(1s);
    EXPECT_LT(broker.cpu_seconds() - before, 0.3);

    for (size_t i = 0; i < served; i++)
        close(waiting[i]);
    for (size_t i = served; i < waiting.size(); i++) {
        EXPECT_TRUE(greeted(waiting[i], 10s));
        close(waiting[i]);
    }
    RawClient client(broker);
    EXPECT_TRUE(client.has_nothing_more());
}

#ifdef __SANITIZE_ADDRESS__
#define ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#define ADDRESS_SANITIZER __has_feature(address_sanitizer)
#else
#define ADDRESS_SANITIZER 0
#endif

TEST(Process, ServesWhileMemoryIsOut)
{
    if (ADDRESS_SANITIZER)
        GTEST_SKIP() << "AddressSanitizer does not live within a limit";
    if (!kEmulator.empty())
        GTEST_SKIP() << "an emulator passes no limit of memory on";
    Broker broker({.limits = {.memory = 12 << 20}});
    RawClient caller(broker);
    const Bytes data = attribute(7, Bytes(10000, 1));
    {
        std::vector<RawClient> lazy;
        for (unsigned i = 0; i < 40; i++) {
            lazy.emplace_back(broker);
            uint32_t object = lazy.back().add_anonymous();
            for (unsigned j = 0; j < 150; j++) {
                caller.send(message(5, 2, object, attribute(3, object) + attribute(4, "x") + data));
                Bytes answer = caller.ask(wire("0003 0001 00000000 00000004"));
                // It was left with half a message and had to be dropped, or its queue takes no more.
                if (answer == status(2, object, 4) || answer == status(2, object, 7))
                    answer = caller.receive();
                ASSERT_BYTES(answer, wire("0002 0001 00000000 00000004"));
                ASSERT_BYTES(caller.receive(), status(1, 0, 0));
                ASSERT_BYTES(caller.ask(message(3, 1, 0, data)), message(2, 1, 0, data));
                ASSERT_BYTES(caller.receive(), status(1, 0, 0));
            }
        }
    }
    caller.add_named("test"); // there is memory again
    RawClient other(broker);
    EXPECT_TRUE(other.has_nothing_more());
}

} // namespace
