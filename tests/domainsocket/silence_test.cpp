// Peers that stay silent: everything ends after ten seconds in total.

#include "domainsocket.h"
#include "fixture.h"

#include <csignal>
#include <pthread.h>
#include <sys/time.h>
#include <thread>

namespace
{

struct SocketSilence : testing::Test {
    TemporaryFolder folder;
    std::string path = folder.file("service");
    Clock::time_point start = Clock::now();

    std::string ask(const std::string &payload = "")
    {
        void *body =
            SOCKET_SendMsgByType(path.c_str(), 20, 1, payload.data(), static_cast<uint32_t>(payload.size()), 4);
        std::string result = body ? std::string(static_cast<char *>(body), 4) : "null";
        free(body);
        return result;
    }
    // Null, after ten seconds.
    void expect_time_out(const std::string &payload = "")
    {
        start = Clock::now();
        EXPECT_EQ(ask(payload), "null");
        expect_ten_seconds();
    }
    void expect_ten_seconds()
    {
        EXPECT_GE(seconds_since(start), 10.0);
        EXPECT_LT(seconds_since(start), 11.0);
    }
};

TEST_F(SocketSilence, EndsRequestOnOpenConnectionAndItsLateAnswerIsNotTaken)
{
    Service service(path);
    service.run([&](Service &self) {
        int first = self.accept();
        read_bytes(first, 16);
        write_bytes(first, answer(20, word(1)));
        read_bytes(first, 16);
        EXPECT_TRUE(is_readable(first, 12000)) << "the connection was not closed";
        write_bytes(first, answer(20, word(99)));
        int second = self.accept();
        read_bytes(second, 16);
        write_bytes(second, answer(20, word(2)));
        close(second);
        close(first);
    });
    EXPECT_EQ(ask(), word(1));
    expect_time_out();
    EXPECT_EQ(ask(), word(2));
}

TEST_F(SocketSilence, EndsRequestOnNewConnection)
{
    Service service(path);
    expect_time_out();
}

// Long enough for any time limit.
void trickle(int fd, const std::string &data)
{
    for (char byte : data) {
        if (send(fd, &byte, 1, MSG_NOSIGNAL) != 1)
            break;
        usleep(200);
    }
}

TEST_F(SocketSilence, EndsRequestWhoseAnswerTrickles)
{
    Service service(path);
    service.run([&](Service &self) {
        int client = self.accept();
        read_bytes(client, 16);
        trickle(client, answer(20, std::string(1 << 17, 'x')));
        close(client);
    });
    start = Clock::now();
    EXPECT_EQ(SOCKET_SendMsgByType(path.c_str(), 20, 1, nullptr, 0, 1 << 17), nullptr);
    expect_ten_seconds();
}

TEST_F(SocketSilence, EndsRequestWhoseAnswerTricklesBeyondExpectedLength)
{
    Service service(path);
    service.run([&](Service &self) {
        int client = self.accept();
        read_bytes(client, 16);
        write_bytes(client, answer(20, std::string(5000, '\0')).substr(0, 4000));
        is_readable(client, 12000); // until it is closed
        close(client);
    });
    expect_time_out();
}

TEST_F(SocketSilence, EndsRequestThatNobodyReads)
{
    Service service(path);
    expect_time_out(std::string(1 << 20, 'x'));
}

TEST_F(SocketSilence, CountsTimeOfSending)
{
    Service service(path);
    service.run([&](Service &self) {
        int client = self.accept();
        read_bytes(client, 16);
        write_bytes(client, answer(20, word(1)));
        usleep(5000000);
        read_bytes(client, 16 + (1 << 20));
        is_readable(client, 12000); // until it is closed
        close(client);
    });
    EXPECT_EQ(ask(), word(1));
    expect_time_out(std::string(1 << 20, 'x'));
}

TEST_F(SocketSilence, EndsConnectingToFullQueue)
{
    Service service(path, 0);
    int filler = raw_connect(path);
    ASSERT_EQ(raw_connect(path, SOCK_NONBLOCK), -1) << "the queue is not full";
    size_t before = open_descriptors();
    std::thread([this] { expect_time_out(); }).join(); // without connections of other tests, to be given up for its own
    EXPECT_EQ(open_descriptors(), before);
    close(filler);
}

TEST_F(SocketSilence, CountsTimeOfConnecting)
{
    Service service(path, 0);
    int filler = raw_connect(path);
    ASSERT_EQ(raw_connect(path, SOCK_NONBLOCK), -1) << "the queue is not full";
    service.run([&](Service &self) {
        usleep(5000000);
        close(self.accept());
        int client = self.accept();
        read_bytes(client, 16);
        is_readable(client, 12000); // until it is closed
        close(client);
    });
    expect_time_out();
    close(filler);
}

// Signals with SA_RESTART come during every wait, and prolong none.
struct SocketSignals : SocketSilence {
    SocketSignals()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        action.sa_flags = SA_RESTART;
        sigaction(SIGALRM, &action, nullptr);
        itimerval storm = {{0, 20000}, {0, 20000}};
        setitimer(ITIMER_REAL, &storm, nullptr);
    }
    ~SocketSignals()
    {
        itimerval none = {};
        setitimer(ITIMER_REAL, &none, nullptr);
    }
};

TEST_F(SocketSignals, DoNotProlongRequest)
{
    int listener = raw_listen(path);
    expect_time_out();
    close(listener);
}

TEST_F(SocketSignals, DoNotProlongConnecting)
{
    int listener = raw_listen(path, 0);
    int filler = raw_connect(path);
    expect_time_out();
    close(filler);
    close(listener);
}

TEST_F(SocketSignals, DoNotProlongSending)
{
    int listener = raw_listen(path);
    expect_time_out(std::string(1 << 20, 'x'));
    close(listener);
}

TEST_F(SocketSilence, EndsHalfARequest)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    write_bytes(ends[1], bytes("b9000000 01000000 cc000000 03000000 61"));
    SOCKET_Request request;
    char buffer[64];
    start = Clock::now();
    EXPECT_EQ(SOCKET_RecvRequest(ends[0], &request, buffer, sizeof(buffer), 1), SOCKET_ERROR);
    expect_ten_seconds();
    close(ends[0]);
    close(ends[1]);
}

TEST_F(SocketSilence, EndsRequestThatTrickles)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    std::thread sender(trickle, ends[1], word(185) + word(1) + word(204) + word(1 << 20) + std::string(1 << 17, 'x'));
    SOCKET_Request request;
    std::string payload(1 << 20, ' ');
    start = Clock::now();
    EXPECT_EQ(SOCKET_RecvRequest(ends[0], &request, payload.data(), 1 << 20, 1), SOCKET_ERROR);
    expect_ten_seconds();
    close(ends[0]);
    sender.join();
    close(ends[1]);
}

TEST_F(SocketSilence, EndsAnswerThatNobodyReads)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const std::string record(1 << 19, 'r');
    start = Clock::now();
    EXPECT_EQ(SOCKET_SendAnswer(ends[0], 20, 0, record.data(), static_cast<uint32_t>(record.size())), -1);
    expect_ten_seconds();
    close(ends[0]);
    close(ends[1]);
}

} // namespace
