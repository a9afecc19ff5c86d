// Both sides of the library at once, from many threads.

#include "domainsocket.h"
#include "fixture.h"

#include <atomic>
#include <vector>

namespace
{

constexpr uint32_t kThreads = 16;
constexpr uint32_t kRequests = 100;

// Answers each request with its own payload as the record, until the client closes.
void echo(int client)
{
    std::vector<char> payload(70000);
    SOCKET_Request request;
    while (SOCKET_RecvRequest(client, &request, payload.data(), static_cast<uint32_t>(payload.size()), -1) == 0)
        EXPECT_EQ(SOCKET_SendAnswer(client, request.type, 0, payload.data(), request.length), 0);
    SOCKET_Close(client);
}

struct SocketThreads : testing::Test {
    TemporaryFolder folder;
    std::string path = folder.file("service");
    int listener = SOCKET_InitListenServer(path.c_str());
    std::vector<std::thread> serving;

    void serve(uint32_t clients)
    {
        for (uint32_t number = 0; number < clients; number++)
            serving.emplace_back(echo, SOCKET_AcceptClient(listener));
    }
    void join_all(std::vector<std::thread> &threads)
    {
        for (std::thread &thread : threads)
            thread.join();
    }
    ~SocketThreads() { SOCKET_Close(listener); }
};

TEST_F(SocketThreads, AskAllAtOnceOnConnectionsOfTheirOwn)
{
    size_t before = open_descriptors();
    std::atomic<uint32_t> wrong = 0;
    std::vector<std::thread> asking;
    for (uint32_t number = 0; number < kThreads; number++) {
        asking.emplace_back([&, number] {
            for (uint32_t round = 0; round < kRequests; round++) {
                uint32_t length = (number * 131 + round * 701) % 65000;
                std::string payload(length, static_cast<char>(number * kRequests + round));
                char *body = static_cast<char *>(
                    SOCKET_SendMsgByType(path.c_str(), number, 1, payload.data(), length, 4 + length));
                if (!body || std::string(body, 4 + length) != word(0) + payload)
                    wrong++;
                free(body);
            }
        });
    }
    serve(kThreads);
    join_all(asking);
    join_all(serving); // every connection was closed by its thread
    EXPECT_EQ(wrong, 0u);
    EXPECT_FALSE(is_readable(listener, 0)) << "more connections than threads";
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(SocketThreads, ComeAndGo)
{
    size_t before = open_descriptors();
    std::thread server([&] { serve(kThreads * 10); });
    for (int round = 0; round < 10; round++) {
        std::vector<std::thread> asking;
        for (uint32_t number = 0; number < kThreads; number++) {
            asking.emplace_back([&] {
                void *body = SOCKET_SendMsgByType(path.c_str(), 20, 1, "abcd", 4, 8);
                EXPECT_NE(body, nullptr);
                free(body);
            });
        }
        join_all(asking);
    }
    server.join();
    join_all(serving);
    EXPECT_EQ(open_descriptors(), before);
}

} // namespace
