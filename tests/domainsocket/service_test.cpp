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

struct SocketListenServer : testing::Test {
    TemporaryFolder folder;
    std::string path = folder.file("service");
};

TEST_F(SocketListenServer, IsAccessibleToItsOwnerOnly)
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

TEST_F(SocketListenServer, ReplacesFileThatNobodyAnswersOn)
{
    close(raw_listen(path));
    int listener = SOCKET_InitListenServer(path.c_str());
    ASSERT_GT(listener, 0);
    int client = raw_connect(path);
    EXPECT_GT(client, 0);
    close(client);
    SOCKET_Close(listener);
}

TEST_F(SocketListenServer, RefusesPathThatSomebodyServes)
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

TEST_F(SocketListenServer, RefusesPathOfBusyServerWithoutWaiting)
{
    int listener = raw_listen(path, 0);
    int filler = raw_connect(path);
    ASSERT_EQ(raw_connect(path, SOCK_NONBLOCK), -1) << "the queue is not full";
    EXPECT_EQ(SOCKET_InitListenServer(path.c_str()), -1);
    EXPECT_TRUE(std::filesystem::exists(path));
    close(filler);
    close(listener);
}

TEST_F(SocketListenServer, LeavesOtherFilesAlone)
{
    std::ofstream(path) << "precious";
    EXPECT_EQ(SOCKET_InitListenServer(path.c_str()), -1);
    EXPECT_EQ(errno, ENOTSOCK);
    std::string content;
    std::ifstream(path) >> content;
    EXPECT_EQ(content, "precious");
}

TEST_F(SocketListenServer, RefusesUnusablePaths)
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

struct SocketAccept : SocketListenServer {
    int listener = SOCKET_InitListenServer(path.c_str());
    ~SocketAccept() { SOCKET_Close(listener); }
};

TEST_F(SocketAccept, ReturnsClient)
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

TEST_F(SocketAccept, NeverReturnsDescriptorZero)
{
    SOCKET_Close(listener);
    ClosedStandardInput closed;
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

TEST_F(SocketAccept, FailsAfterPauseWhileDescriptorsHaveRunOut)
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

TEST_F(SocketAccept, RefusesWhatIsNoListener)
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

using SocketRecv = Pair;

TEST_F(SocketRecv, ReturnsWhatIsThere)
{
    write_bytes(ends[1], "hello");
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, sizeof(buffer), 5, &received), 0);
    EXPECT_EQ(std::string(buffer, received), "hello");
}

TEST_F(SocketRecv, CutsAtCapacity)
{
    write_bytes(ends[1], "hello");
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, 3, 5, &received), 0);
    EXPECT_EQ(std::string(buffer, received), "hel");
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, 3, 5, &received), 0);
    EXPECT_EQ(std::string(buffer, received), "lo");
}

TEST_F(SocketRecv, ReportsThatNothingArrived)
{
    Clock::time_point start = Clock::now();
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, sizeof(buffer), 1, &received), -5);
    EXPECT_GE(seconds_since(start), 1.0);
    EXPECT_LT(seconds_since(start), 2.0);
    EXPECT_EQ(received, 0u);
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, sizeof(buffer), 0, &received), -5);
}

TEST_F(SocketRecv, ReturnsWhatCameBeforePeerClosed)
{
    write_bytes(ends[1], "last");
    hang_up();
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, sizeof(buffer), 5, &received), 0);
    EXPECT_EQ(std::string(buffer, received), "last");
    received = 77;
    EXPECT_EQ(SOCKET_Recv(ends[0], buffer, sizeof(buffer), 5, &received), SOCKET_CLOSED);
    EXPECT_EQ(received, 0u);
}

TEST_F(SocketRecv, ReportsErrors)
{
    EXPECT_EQ(SOCKET_Recv(-1, buffer, sizeof(buffer), 5, &received), SOCKET_ERROR);
    EXPECT_EQ(SOCKET_Recv(9999, buffer, sizeof(buffer), 5, &received), SOCKET_ERROR);
    EXPECT_EQ(received, 0u);
}

TEST_F(SocketRecv, WaitsOnWhenSignalsInterrupt)
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

struct SocketRecvRequest : Pair {
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

TEST_F(SocketRecvRequest, ReadsOneAfterAnother)
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

TEST_F(SocketRecvRequest, ReadsByteByByte)
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

TEST_F(SocketRecvRequest, ReportsThatNothingArrived)
{
    Clock::time_point start = Clock::now();
    EXPECT_EQ(receive(1), SOCKET_NOTHING);
    EXPECT_GE(seconds_since(start), 1.0);
}

TEST_F(SocketRecvRequest, ReportsThatPeerClosed)
{
    hang_up();
    EXPECT_EQ(receive(), SOCKET_CLOSED);
}

TEST(SocketRecvRequestCut, RefusesRequestCutShort)
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

TEST_F(SocketRecvRequest, RefusesPayloadAboveCapacity)
{
    write_bytes(ends[1], bytes("b9000000 01000000 cc000000 41000000") + std::string(65, 'x'));
    EXPECT_EQ(receive(), SOCKET_ERROR);
}

TEST_F(SocketRecvRequest, TakesPayloadOfExactCapacity)
{
    write_bytes(ends[1], bytes("b9000000 01000000 cc000000 40000000") + std::string(64, 'x'));
    EXPECT_EQ(receive(), 0);
    expect(185, 1, 204, std::string(64, 'x'));
}

TEST_F(SocketRecvRequest, RefusesPayloadAboveLimitWhateverTheCapacity)
{
    std::vector<char> room((1 << 20) + 1);
    write_bytes(ends[1], bytes("b9000000 01000000 cc000000 01001000"));
    Clock::time_point start = Clock::now();
    EXPECT_EQ(SOCKET_RecvRequest(ends[0], &request, room.data(), static_cast<uint32_t>(room.size()), 5), SOCKET_ERROR);
    EXPECT_LT(seconds_since(start), 5.0) << "it waited for the payload";
}

using SocketSendAnswer = Pair;

TEST_F(SocketSendAnswer, WritesHeaderCodeAndRecord)
{
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 185, 0x01020304, "abc", 3), 0);
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 60, 7, nullptr, 0), 0);
    EXPECT_EQ(read_bytes(ends[1], 43), bytes("b9000000 00000000 00000000 07000000 04030201 616263"
                                             "3c000000 00000000 00000000 04000000 07000000"));
    EXPECT_FALSE(is_readable(ends[1], 0));
}

TEST_F(SocketSendAnswer, RefusesRecordAboveLimit)
{
    const std::string record((1 << 20) - 3, 'r');
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 20, 0, record.data(), static_cast<uint32_t>(record.size())), -1);
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 20, 0, record.data(), UINT32_MAX), -1);
    EXPECT_FALSE(is_readable(ends[1], 0));
}

TEST_F(SocketSendAnswer, SendsTheLongestRecord)
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

TEST_F(SocketSendAnswer, FailsQuietlyWhenPeerHasClosed)
{
    hang_up();
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 20, 0, nullptr, 0), -1); // a SIGPIPE would end the program
}

} // namespace
