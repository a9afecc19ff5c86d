// The serving side and the plain receive, against clients that read and write raw bytes.

#include "domainsocket.h"
#include "fixture.h"

#include <csignal>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <vector>

namespace
{

struct ListenServer : testing::Test {
    TemporaryFolder folder;
    std::string path = folder.file("service");
};

TEST_F(ListenServer, IsAccessibleToItsOwnerOnly)
{
    umask(0);
    int listener = SOCKET_InitListenServer(path.c_str());
    ASSERT_GT(listener, 0);
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFSOCK | 0600u);
    EXPECT_TRUE(fcntl(listener, F_GETFD) & FD_CLOEXEC);
    SOCKET_Close(listener);
}

TEST_F(ListenServer, ReplacesFileThatNobodyAnswersOn)
{
    close(raw_listen(path));
    int listener = SOCKET_InitListenServer(path.c_str());
    ASSERT_GT(listener, 0);
    int client = raw_connect(path);
    EXPECT_GT(client, 0);
    close(client);
    SOCKET_Close(listener);
}

TEST_F(ListenServer, RefusesPathThatSomebodyServes)
{
    int listener = SOCKET_InitListenServer(path.c_str());
    size_t before = open_descriptors();
    EXPECT_EQ(SOCKET_InitListenServer(path.c_str()), -1);
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_EQ(open_descriptors(), before);
    int client = raw_connect(path);
    EXPECT_GT(client, 0) << "the first server has lost its socket";
    close(client);
    SOCKET_Close(listener);
}

TEST_F(ListenServer, RefusesPathOfBusyServerWithoutWaiting)
{
    int listener = raw_listen(path, 0);
    int filler = raw_connect(path);
    ASSERT_EQ(raw_connect(path, SOCK_NONBLOCK), -1) << "the queue is not full";
    EXPECT_EQ(SOCKET_InitListenServer(path.c_str()), -1);
    EXPECT_TRUE(std::filesystem::exists(path));
    close(filler);
    close(listener);
}

TEST_F(ListenServer, LeavesOtherFilesAlone)
{
    std::ofstream(path) << "precious";
    EXPECT_EQ(SOCKET_InitListenServer(path.c_str()), -1);
    EXPECT_EQ(errno, ENOTSOCK);
    std::string content;
    std::ifstream(path) >> content;
    EXPECT_EQ(content, "precious");
}

TEST_F(ListenServer, RefusesUnusablePaths)
{
    size_t before = open_descriptors();
    EXPECT_EQ(SOCKET_InitListenServer(nullptr), -1);
    EXPECT_EQ(SOCKET_InitListenServer(""), -1);
    EXPECT_EQ(SOCKET_InitListenServer(folder.file("missing/service").c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(SOCKET_InitListenServer(folder.file(std::string(108, 'p')).c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(open_descriptors(), before);
    std::string longest = folder.file("");
    longest += std::string(107 - longest.size(), 'p');
    int listener = SOCKET_InitListenServer(longest.c_str());
    EXPECT_GT(listener, 0) << "107 characters fit";
    SOCKET_Close(listener);
}

struct Accept : ListenServer {
    int listener = SOCKET_InitListenServer(path.c_str());
    ~Accept() { SOCKET_Close(listener); }
};

TEST_F(Accept, ReturnsClient)
{
    int caller = raw_connect(path);
    int client = SOCKET_AcceptClient(listener);
    ASSERT_GT(client, 0);
    EXPECT_TRUE(fcntl(client, F_GETFD) & FD_CLOEXEC);
    write_bytes(caller, "x");
    EXPECT_EQ(read_bytes(client, 1), "x");
    SOCKET_Close(client);
    EXPECT_TRUE(is_closed_by_peer(caller));
    close(caller);
}

TEST_F(Accept, NeverReturnsDescriptorZero)
{
    SOCKET_Close(listener);
    close(STDIN_FILENO);
    listener = SOCKET_InitListenServer(path.c_str());
    EXPECT_GT(listener, 0);
    EXPECT_TRUE(fcntl(listener, F_GETFD) & FD_CLOEXEC);
    close(STDIN_FILENO);
    int caller = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(caller, 0);
    sockaddr_un address = address_of(path);
    ASSERT_EQ(connect(caller, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    close(caller);
    int client = SOCKET_AcceptClient(listener);
    EXPECT_GT(client, 0);
    EXPECT_TRUE(fcntl(client, F_GETFD) & FD_CLOEXEC);
    SOCKET_Close(client);
}

TEST_F(Accept, FailsAfterPauseWhileDescriptorsHaveRunOut)
{
    int caller = raw_connect(path);
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    int highest = fcntl(caller, F_DUPFD, 0);
    close(highest);
    rlimit low = {static_cast<rlim_t>(highest), limit.rlim_max};
    int starved = listener; // the sanitizers need a descriptor to look at this object
    Clock::time_point start = Clock::now();
    setrlimit(RLIMIT_NOFILE, &low);
    int client = SOCKET_AcceptClient(starved);
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_LT(client, 0);
    EXPECT_GE(seconds_since(start), 0.09);
    client = SOCKET_AcceptClient(listener);
    EXPECT_GT(client, 0) << "the client was lost";
    SOCKET_Close(client);
    close(caller);
}

TEST_F(Accept, RefusesWhatIsNoListener)
{
    EXPECT_LT(SOCKET_AcceptClient(-1), 0);
    EXPECT_LT(SOCKET_AcceptClient(STDOUT_FILENO), 0);
    SOCKET_Close(-1);
}

struct Pair : testing::Test {
    int ends[2] = {-1, -1}; // the library's, ours
    char buffer[64] = {};
    uint32_t received = 77;

    Pair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0); }
    ~Pair()
    {
        close(ends[0]);
        hang_up();
    }
    void hang_up()
    {
        close(ends[1]);
        ends[1] = -1;
    }
};

using Recv = Pair;

TEST_F(Recv, ReturnsWhatIsThere)
{
    write_bytes(ends[1], "hello");
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, sizeof(buffer), 5, &received), 0);
    EXPECT_EQ(std::string(buffer, received), "hello");
}

TEST_F(Recv, CutsAtCapacity)
{
    write_bytes(ends[1], "hello");
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, 3, 5, &received), 0);
    EXPECT_EQ(std::string(buffer, received), "hel");
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, 3, 5, &received), 0);
    EXPECT_EQ(std::string(buffer, received), "lo");
}

TEST_F(Recv, ReportsThatNothingArrived)
{
    Clock::time_point start = Clock::now();
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, sizeof(buffer), 1, &received), -5);
    EXPECT_GE(seconds_since(start), 1.0);
    EXPECT_LT(seconds_since(start), 2.0);
    EXPECT_EQ(received, 0u);
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, sizeof(buffer), 0, &received), -5);
}

TEST_F(Recv, ReturnsWhatCameBeforePeerClosed)
{
    write_bytes(ends[1], "last");
    hang_up();
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, sizeof(buffer), 5, &received), 0);
    EXPECT_EQ(std::string(buffer, received), "last");
    received = 77;
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, sizeof(buffer), 5, &received), SOCKET_CLOSED);
    EXPECT_EQ(received, 0u);
}

TEST_F(Recv, ReportsErrors)
{
    EXPECT_EQ(SOCKET_Recv(-1, buffer, sizeof(buffer), 5, &received), SOCKET_ERROR);
    EXPECT_EQ(SOCKET_Recv(9999, buffer, sizeof(buffer), 5, &received), SOCKET_ERROR);
    EXPECT_EQ(received, 0u);
}

TEST_F(Recv, WaitsOnWhenSignalsInterrupt)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    itimerval storm = {{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &storm, nullptr);
    Clock::time_point start = Clock::now();
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, sizeof(buffer), 1, &received), -5);
    EXPECT_GE(seconds_since(start), 1.0);
    EXPECT_LT(seconds_since(start), 1.5);
    storm = {};
    setitimer(ITIMER_REAL, &storm, nullptr);
}

struct RecvRequest : Pair {
    SOCKET_Request request = {};

    int receive(int timeout = 5) { return SOCKET_RecvRequest(ends[0], &request, buffer, sizeof(buffer), timeout); }
    void expect(uint32_t type, uint32_t flag, uint32_t expected, const std::string &payload)
    {
        EXPECT_EQ(request.type, type);
        EXPECT_EQ(request.flag, flag);
        EXPECT_EQ(request.expected, expected);
        EXPECT_EQ(std::string(buffer, request.length), payload);
    }
};

TEST_F(RecvRequest, ReadsOneAfterAnother)
{
    write_bytes(ends[1], bytes("b9000000 01000000 cc000000 03000000 616263"
                               "3c000000 00000000 00000000 00000000"
                               "14000000 01000000 08000000 01000000 78"));
    EXPECT_EQ(receive(), 0);
    expect(185, 1, 204, "abc");
    EXPECT_EQ(receive(), 0);
    expect(60, 0, 0, "");
    EXPECT_EQ(receive(-1), 0);
    expect(20, 1, 8, "x");
    EXPECT_EQ(receive(0), SOCKET_NOTHING);
}

TEST_F(RecvRequest, ReadsByteByByte)
{
    std::thread sender([&] {
        for (char byte : bytes("b9000000 01000000 cc000000 03000000 616263")) {
            write_bytes(ends[1], std::string(1, byte));
            usleep(1000);
        }
    });
    EXPECT_EQ(receive(), 0);
    expect(185, 1, 204, "abc");
    sender.join();
}

TEST_F(RecvRequest, ReportsThatNothingArrived)
{
    Clock::time_point start = Clock::now();
    EXPECT_EQ(receive(1), SOCKET_NOTHING);
    EXPECT_GE(seconds_since(start), 1.0);
}

TEST_F(RecvRequest, ReportsThatPeerClosed)
{
    hang_up();
    EXPECT_EQ(receive(), SOCKET_CLOSED);
}

TEST(RecvRequestCut, RefusesRequestCutShort)
{
    const std::string whole = bytes("b9000000 01000000 cc000000 03000000 616263");
    for (size_t length : {1, 15, 16, 18}) {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        write_bytes(ends[1], whole.substr(0, length));
        close(ends[1]);
        SOCKET_Request request;
        char buffer[64];
        EXPECT_EQ(SOCKET_RecvRequest(ends[0], &request, buffer, sizeof(buffer), 5), SOCKET_ERROR) << length << " bytes";
        close(ends[0]);
    }
}

TEST_F(RecvRequest, RefusesPayloadAboveCapacity)
{
    write_bytes(ends[1], bytes("b9000000 01000000 cc000000 41000000") + std::string(65, 'x'));
    EXPECT_EQ(receive(), SOCKET_ERROR);
}

TEST_F(RecvRequest, TakesPayloadOfExactCapacity)
{
    write_bytes(ends[1], bytes("b9000000 01000000 cc000000 40000000") + std::string(64, 'x'));
    EXPECT_EQ(receive(), 0);
    expect(185, 1, 204, std::string(64, 'x'));
}

TEST_F(RecvRequest, RefusesPayloadAboveLimitWhateverTheCapacity)
{
    std::vector<char> room((1 << 20) + 1);
    write_bytes(ends[1], bytes("b9000000 01000000 cc000000 01001000"));
    EXPECT_EQ(SOCKET_RecvRequest(ends[0], &request, room.data(), static_cast<uint32_t>(room.size()), 5), SOCKET_ERROR);
}

using SendAnswer = Pair;

TEST_F(SendAnswer, WritesHeaderCodeAndRecord)
{
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 185, 0x01020304, "abc", 3), 0);
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 60, 7, nullptr, 0), 0);
    EXPECT_EQ(read_bytes(ends[1], 43), bytes("b9000000 00000000 00000000 07000000 04030201 616263"
                                             "3c000000 00000000 00000000 04000000 07000000"));
    EXPECT_FALSE(is_readable(ends[1], 0));
}

TEST_F(SendAnswer, RefusesRecordAboveLimit)
{
    const std::string record((1 << 20) - 3, 'r');
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 20, 0, record.data(), static_cast<uint32_t>(record.size())), -1);
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 20, 0, record.data(), UINT32_MAX), -1);
    EXPECT_FALSE(is_readable(ends[1], 0));
}

TEST_F(SendAnswer, SendsTheLongestRecord)
{
    const std::string record((1 << 20) - 4, 'r');
    std::string seen;
    std::thread reader([&] {
        usleep(50000); // the sender has to wait
        seen = read_bytes(ends[1], 20 + record.size());
    });
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 20, 0, record.data(), static_cast<uint32_t>(record.size())), 0);
    reader.join();
    EXPECT_EQ(seen, bytes("14000000 00000000 00000000 00001000 00000000") + record);
}

TEST_F(SendAnswer, FailsQuietlyWhenPeerHasClosed)
{
    hang_up();
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 20, 0, nullptr, 0), -1); // a SIGPIPE would end the program
}

} // namespace
