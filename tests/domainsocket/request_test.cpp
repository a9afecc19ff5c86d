// The asking side, against a service that reads and writes raw bytes.

#include "domainsocket.h"
#include "fixture.h"
#include "tests/support/other_user.h"

#include <csignal>
#include <memory>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <vector>

namespace
{

struct SocketRequest : testing::Test {
    TemporaryFolder folder;
    std::string path = folder.file("service");

    // The answer's first max(expected, 4) bytes, or "null".
    std::string ask(uint32_t type, const std::string &payload, uint32_t expected, uint32_t flag = 1)
    {
        void *body = SOCKET_SendMsgByType(path.c_str(), type, flag, payload.empty() ? nullptr : payload.data(),
                                          static_cast<uint32_t>(payload.size()), expected);
        if (!body)
            return "null";
        std::string result(static_cast<char *>(body), std::max(expected, 4u));
        free(body);
        return result;
    }

    // Leaves the heap in such a state that a buffer of `size` bytes which nobody cleared is seen.
    void soil_heap(size_t size)
    {
        char *block = static_cast<char *>(malloc(size));
        memset(block, 0x5a, size);
        asm volatile("" : : "r"(block) : "memory");
        free(block);
    }
};

TEST_F(SocketRequest, SendsHeaderAndPayload)
{
    Service service(path);
    std::string seen;
    service.run([&](Service &self) {
        int client = self.accept();
        seen = read_bytes(client, 22);
        write_bytes(client, bytes("b9000000 00000000 00000000 08000000 00000000 11223344"));
        close(client);
    });
    EXPECT_EQ(ask(185, bytes("000102030405"), 8, 7), bytes("00000000 11223344"));
    service.finish();
    EXPECT_EQ(seen, bytes("b9000000 07000000 08000000 06000000 000102030405"));
}

TEST_F(SocketRequest, SendsHeaderAloneWithoutPayload)
{
    Service service(path);
    std::string seen;
    service.run([&](Service &self) {
        int client = self.accept();
        seen = read_bytes(client, 16);
        write_bytes(client, bytes("04030201 00000000 00000000 04000000 07000000"));
        EXPECT_FALSE(is_readable(client, 100)) << "more than the header came";
        close(client);
    });
    EXPECT_EQ(ask(0x01020304, "", 4, 0), bytes("07000000"));
    service.finish();
    EXPECT_EQ(seen, bytes("04030201 00000000 04000000 00000000"));
}

// Each row: a body of the service's and what is returned for an expected length.
TEST_F(SocketRequest, CutsAndZeroFillsToExpectedLength)
{
    struct Row {
        std::string body;
        uint32_t expected;
        std::string returned;
    };
    const Row rows[] = {
        {bytes("00000000"), 0, bytes("00000000")},
        {bytes("05000000 aa"), 0, bytes("05000000")},
        {bytes("05000000 aa"), 3, bytes("05000000")},
        {bytes("05000000 aabb"), 12, bytes("05000000 aabb000000000000")},
        {bytes("05000000 aabbcc"), 6, bytes("05000000 aabb")},
        {bytes("00000000") + std::string(70000, 'x'), 8, bytes("00000000") + "xxxx"},
        {bytes("00000000") + std::string(204, 'y'), 208, bytes("00000000") + std::string(204, 'y')},
    };
    Service service(path);
    service.run([&](Service &self) {
        int client = self.accept();
        for (const Row &row : rows) {
            read_bytes(client, 16);
            write_bytes(client, answer(60, row.body));
        }
        EXPECT_FALSE(self.has_caller(0)) << "the connection was not kept";
        close(client);
    });
    for (const Row &row : rows) {
        soil_heap(std::max(row.expected, 4u));
        EXPECT_EQ(ask(60, "", row.expected), row.returned) << "expected length " << row.expected;
    }
}

TEST_F(SocketRequest, TakesAnswerByteByByte)
{
    Service service(path);
    service.run([&](Service &self) {
        int client = self.accept();
        for (int round = 0; round < 2; round++) {
            read_bytes(client, 20);
            for (char byte : answer(20, bytes("00000000 0102030405060708"))) {
                write_bytes(client, std::string(1, byte));
                usleep(1000);
            }
        }
        close(client);
    });
    EXPECT_EQ(ask(20, "abcd", 12), bytes("00000000 0102030405060708"));
    EXPECT_EQ(ask(20, "abcd", 8), bytes("00000000 01020304"));
}

// Each row: what comes back instead of an answer to type 20.
TEST_F(SocketRequest, RefusesMalformedAnswersAndHangsUp)
{
    const std::string rows[] = {
        bytes("15000000 00000000 00000000 04000000 00000000"),  // another type
        bytes("14000000 00000000 00000000 00000000"),           // no body
        bytes("14000000 00000000 00000000 03000000 000000"),    // not even a return code
        bytes("14000000 00000000 00000000 01001000") + "xxxxx", // one byte above the limit
        bytes("14000000 00000000 00000000 ffffffff 00000000"),  // far above the limit
        bytes("14000000 00000000 00000000 f4ffffff 00000000"),  // a length that wraps when the header is added
        "HTTP/1.1 400 Bad Request\r\n\r\n",                     // garbage
    };
    Service service(path);
    service.run([&](Service &self) {
        for (const std::string &row : rows) {
            int client = self.accept();
            read_bytes(client, 16);
            write_bytes(client, row);
            EXPECT_TRUE(is_closed_by_peer(client));
            close(client);
        }
    });
    for (const std::string &row : rows)
        EXPECT_EQ(ask(20, "", 64), "null") << testing::PrintToString(row);
}

// Each row: how much of an answer comes before the service closes.
TEST_F(SocketRequest, RefusesAnswerCutShort)
{
    const std::string whole = answer(20, bytes("00000000 aabbccdd"));
    const size_t rows[] = {0, 1, 15, 16, 17, 20, 23};
    Service service(path);
    service.run([&](Service &self) {
        for (size_t length : rows) {
            int client = self.accept();
            read_bytes(client, 16);
            write_bytes(client, whole.substr(0, length));
            close(client);
        }
        EXPECT_FALSE(self.has_caller(100)) << "a request was sent twice";
    });
    for (size_t length : rows)
        EXPECT_EQ(ask(20, "", 8), "null") << length << " bytes";
}

TEST_F(SocketRequest, RefusesAnswerCutShortBeyondExpectedLength)
{
    Service service(path);
    service.run([&](Service &self) {
        int client = self.accept();
        read_bytes(client, 16);
        write_bytes(client, answer(20, std::string(9000, '\0')).substr(0, 8000));
        close(client);
    });
    EXPECT_EQ(ask(20, "", 8), "null");
}

TEST_F(SocketRequest, CarriesTheLongestPayloadAndAnswer)
{
    const std::string longest(1 << 20, 'z');
    Service service(path);
    service.run([&](Service &self) {
        int client = self.accept();
        EXPECT_EQ(read_bytes(client, 16), bytes("14000000 01000000 00001000 00001000"));
        usleep(50000); // the sender has to wait
        EXPECT_EQ(read_bytes(client, longest.size()), longest);
        write_bytes(client, answer(20, longest));
        close(client);
    });
    EXPECT_EQ(ask(20, longest, 1 << 20), longest);
}

TEST_F(SocketRequest, RefusesLengthsAboveLimitWithoutAsking)
{
    Service service(path);
    const std::string too_long((1 << 20) + 1, 'z');
    EXPECT_EQ(ask(20, too_long, 4), "null");
    EXPECT_EQ(ask(20, "", (1 << 20) + 1), "null");
    EXPECT_EQ(ask(20, "", UINT32_MAX), "null");
    EXPECT_EQ(SOCKET_SendMsgByType(path.c_str(), 20, 1, nullptr, 4, 4), nullptr);
    EXPECT_FALSE(service.has_caller(100));
}

TEST_F(SocketRequest, RefusesWhereNobodyListens)
{
    EXPECT_EQ(ask(20, "", 4), "null") << "no file";
    close(raw_listen(path));
    EXPECT_EQ(ask(20, "", 4), "null") << "a file that nobody answers on";
    EXPECT_EQ(SOCKET_SendMsgByType(nullptr, 20, 1, nullptr, 0, 4), nullptr);
    EXPECT_EQ(SOCKET_SendMsgByType("", 20, 1, nullptr, 0, 4), nullptr);
    path = folder.file(std::string(108, 'p'));
    EXPECT_EQ(ask(20, "", 4), "null") << "a path longer than an address";
}

TEST_F(SocketRequest, KeepsConnectionOpen)
{
    Service service(path);
    service.run([&](Service &self) {
        int client = self.accept();
        for (uint32_t round = 0; round < 100; round++) {
            EXPECT_EQ(read_bytes(client, 20).substr(16), word(round));
            write_bytes(client, answer(20, word(round)));
        }
        EXPECT_FALSE(self.has_caller(0));
        close(client);
    });
    for (uint32_t round = 0; round < 100; round++)
        EXPECT_EQ(ask(20, word(round), 4), word(round));
}

TEST_F(SocketRequest, AsksAgainAfterServiceClosedBetweenRequests)
{
    Service service(path);
    for (uint32_t round = 0; round < 5; round++) {
        service.run([&](Service &self) {
            int client = self.accept();
            EXPECT_EQ(read_bytes(client, 20).substr(16), word(round));
            write_bytes(client, answer(20, word(round)));
            close(client);
        });
        EXPECT_EQ(ask(20, word(round), 4), word(round));
        service.finish();
    }
    EXPECT_FALSE(service.has_caller(100)) << "a request was sent twice";
}

TEST_F(SocketRequest, AsksRestartedService)
{
    for (uint32_t run = 0; run < 3; run++) {
        Service service(path);
        service.run([&](Service &self) {
            int client = self.accept();
            read_bytes(client, 16);
            write_bytes(client, answer(20, word(run)));
            close(client);
        });
        EXPECT_EQ(ask(20, "", 4), word(run));
        service.finish();
        unlink(path.c_str());
    }
}

TEST_F(SocketRequest, DropsConnectionOnWhichUnaskedBytesCame)
{
    Service service(path);
    int first = -1;
    service.run([&](Service &self) {
        first = self.accept();
        read_bytes(first, 16);
        write_bytes(first, answer(20, word(1)));
    });
    EXPECT_EQ(ask(20, "", 4), word(1));
    service.finish();
    write_bytes(first, answer(20, word(99))); // nobody asked for this one
    service.run([&](Service &self) {
        EXPECT_TRUE(is_closed_by_peer(first));
        int second = self.accept();
        read_bytes(second, 16);
        write_bytes(second, answer(20, word(2)));
        close(second);
    });
    EXPECT_EQ(ask(20, "", 4), word(2));
    close(first);
}

TEST_F(SocketRequest, DropsConnectionWhenBytesFollowTheAnswer)
{
    Service service(path);
    service.run([&](Service &self) {
        int first = self.accept();
        read_bytes(first, 16);
        write_bytes(first, answer(20, word(1)) + answer(20, word(99)));
        EXPECT_TRUE(is_closed_by_peer(first));
        close(first);
        int second = self.accept();
        read_bytes(second, 16);
        write_bytes(second, answer(20, word(2)));
        close(second);
    });
    soil_heap(64);
    EXPECT_EQ(ask(20, "", 64), word(1) + std::string(60, '\0'));
    EXPECT_EQ(ask(20, "", 4), word(2));
}

TEST_F(SocketRequest, ClosesConnectionWhenThreadEnds)
{
    Service service(path);
    size_t before = open_descriptors();
    service.run([&](Service &self) {
        int client = self.accept();
        read_bytes(client, 16);
        write_bytes(client, answer(20, word(1)));
        EXPECT_TRUE(is_closed_by_peer(client));
        close(client);
    });
    std::thread([&] { EXPECT_EQ(ask(20, "", 4), word(1)); }).join();
    service.finish();
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(SocketRequest, OpensConnectionsCloseOnExec)
{
    Service service(path);
    service.run([&](Service &self) {
        int client = self.accept();
        read_bytes(client, 16);
        write_bytes(client, answer(20, word(1)));
        close(client);
    });
    EXPECT_EQ(ask(20, "", 4), word(1));
    service.finish();
    for (int fd = 3; fd < 64; fd++) {
        int flags = fcntl(fd, F_GETFD);
        struct sockaddr_un address;
        socklen_t length = sizeof(address);
        if (flags >= 0 && getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) == 0) {
            EXPECT_TRUE(flags & FD_CLOEXEC) << "descriptor " << fd;
        }
    }
}

TEST_F(SocketRequest, LeaksNoDescriptor)
{
    Service service(path);
    const std::string good = answer(20, word(0));
    const std::string scripts[] = {"", good.substr(0, 17), bytes("15000000 00000000 00000000 04000000 00000000"),
                                   good + "x", good};
    size_t before = open_descriptors();
    service.run([&](Service &self) {
        for (const std::string &script : scripts) {
            int client = self.accept();
            read_bytes(client, 16);
            write_bytes(client, script);
            close(client);
        }
    });
    std::thread([&] {
        for (size_t row = 0; row < std::size(scripts); row++)
            ask(20, "", 4);
    }).join();
    service.finish();
    path = folder.file("nobody");
    std::thread([&] { ask(20, "", 4); }).join();
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(SocketRequest, DropsDescriptorsPassedWithAnAnswer)
{
    Service service(path);
    service.run([&](Service &self) {
        int client = self.accept();
        read_bytes(client, 16);
        std::string frame = answer(20, word(0));
        iovec piece = {frame.data(), frame.size()};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        msghdr message = {};
        message.msg_iov = &piece;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof(control);
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        memcpy(CMSG_DATA(header), &client, sizeof(int));
        EXPECT_EQ(sendmsg(client, &message, 0), static_cast<ssize_t>(frame.size()));
        close(client);
    });
    size_t before = open_descriptors();
    std::thread([&] { EXPECT_EQ(ask(20, "", 4), word(0)); }).join();
    service.finish();
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(SocketRequest, ServesMorePathsThanConnectionsAreKept)
{
    std::vector<std::unique_ptr<Service>> services;
    std::vector<std::string> paths;
    for (uint32_t number = 0; number < 9; number++) {
        paths.push_back(folder.file("service" + std::to_string(number)));
        services.push_back(std::make_unique<Service>(paths.back()));
        services.back()->run([number](Service &self) {
            for (int left = 3; left > 0;) {
                int client = self.accept();
                for (; left > 0 && read_bytes(client, 16).size() == 16; left--)
                    write_bytes(client, answer(20, word(number)));
                close(client);
            }
        });
    }
    for (int round = 0; round < 3; round++) {
        for (uint32_t number = 0; number < paths.size(); number++) {
            path = paths[number];
            EXPECT_EQ(ask(20, "", 4), word(number));
        }
    }
}

TEST_F(SocketRequest, WorksWithStandardInputClosed)
{
    Service service(path);
    int accepted = -1;
    service.run([&](Service &self) {
        accepted = self.accept();
        for (uint32_t round = 0; round < 2; round++) {
            read_bytes(accepted, 16);
            write_bytes(accepted, answer(20, word(round)));
        }
    });
    ClosedStandardInput closed;
    EXPECT_EQ(ask(20, "", 4), word(0));
    EXPECT_EQ(ask(20, "", 4), word(1));
    service.finish();
    close(accepted);
}

// A timer signal every half millisecond, to the asking thread alone, while the service takes its time with every byte.
TEST_F(SocketRequest, GoesOnWhenSignalsInterrupt)
{
    static volatile sig_atomic_t signals;
    struct sigaction action = {};
    action.sa_handler = [](int) { signals = signals + 1; };
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr); // inherited by the service's thread

    const std::string payload(300000, 'p');
    Service service(path);
    service.run([&](Service &self) {
        int client = self.accept();
        while (read_bytes(client, 16 + payload.size()).size() == 16 + payload.size()) {
            for (char byte : answer(20, bytes("00000000 0102030405060708"))) {
                write_bytes(client, std::string(1, byte));
                usleep(1500);
            }
            usleep(20000);
        }
        close(client);
    });
    std::thread([&] {
        pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
        itimerval storm = {{0, 500}, {0, 500}};
        setitimer(ITIMER_REAL, &storm, nullptr);
        for (int round = 0; round < 10; round++)
            EXPECT_EQ(ask(20, payload, 12), bytes("00000000 0102030405060708")) << "request " << round;
        storm = {};
        setitimer(ITIMER_REAL, &storm, nullptr);
    }).join();
    service.finish();
    EXPECT_GT(signals, 100);
}

// Until there is room in the queue, connecting waits; and it comes through when there is.
TEST_F(SocketRequest, WaitsForRoomInTheQueueOfConnections)
{
    Service service(path, 0);
    int filler = raw_connect(path);
    ASSERT_EQ(raw_connect(path, SOCK_NONBLOCK), -1) << "the queue is not full";
    service.run([&](Service &self) {
        usleep(300000);
        close(self.accept());
        int client = self.accept();
        read_bytes(client, 16);
        write_bytes(client, answer(20, word(5)));
        close(client);
    });
    EXPECT_EQ(ask(20, "", 4), word(5));
    close(filler);
}

// Each row: as whom the service listens, as whom it is asked.
TEST_F(SocketRequest, AsksRootAndItsOwnUserOnly)
{
    NEEDS_OTHER_USERS();
    using namespace test_support;
    struct Row {
        uid_t service, asking;
        bool is_asked;
    };
    const Row rows[] = {
        {0, 0, true}, {0, kNobody, true}, {kNobody, kNobody, true}, {kNobody, 0, false}, {kNobody, kSomebody, false},
    };
    chmod(std::filesystem::path(path).parent_path().c_str(), 0777);
    for (const Row &row : rows) {
        SCOPED_TRACE(std::to_string(row.service) + " asked by " + std::to_string(row.asking));
        std::unique_ptr<Service> service;
        ASSERT_TRUE(as_user(row.service, [&] { service = std::make_unique<Service>(path); }));
        chmod(path.c_str(), 0777);
        std::string seen;
        service->run([&](Service &self) {
            int client = self.accept();
            seen = read_bytes(client, 20);
            write_bytes(client, answer(20, word(0)));
            close(client);
        });
        EXPECT_TRUE(as_user(row.asking, [&] { EXPECT_EQ(ask(20, "pass", 4), row.is_asked ? word(0) : "null"); }));
        service->finish();
        EXPECT_EQ(seen.size(), row.is_asked ? 20u : 0u) << "before anything is sent";
        std::filesystem::remove(path);
    }
}

} // namespace
