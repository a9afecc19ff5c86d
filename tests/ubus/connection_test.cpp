#include "fake_broker.h"

#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace
{

int losses;

void count_loss(ubus_context *)
{
    losses++;
}

class Greeting : public testing::Test
{
  protected:
    int connect(const Bytes &greeting)
    {
        int status = -1;
        broker.serve([&] { status = ubus_connect_ctx(&ctx, broker.path.c_str()); }, greeting);
        if (status == UBUS_STATUS_OK)
            ubus_shutdown(&ctx);
        return status;
    }

    FakeBroker broker;
    ubus_context ctx;
};

TEST_F(Greeting, GivesTheClientItsId)
{
    EXPECT_EQ(UBUS_STATUS_OK, connect(greeting()));
    EXPECT_EQ(0x11223344u, ctx.local_id);
}

TEST_F(Greeting, MayCarryAttributes)
{
    EXPECT_EQ(UBUS_STATUS_OK, connect(bytes("00 00 0000 11223344  0000000c 03000008 00000001")));
}

TEST_F(Greeting, IsRefusedWhenItIsNone)
{
    struct {
        const char *what;
        Bytes greeting;
    } const rows[] = {
        {"another message", bytes("00 01 0000 11223344  00000004")},
        {"version 1", bytes("01 00 0000 11223344  00000004")},
        {"length below 4", bytes("00 00 0000 11223344  00000003")},
        {"length above 1 MiB", bytes("00 00 0000 11223344  00100001")},
    };
    for (auto const &row : rows)
        EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, connect(row.greeting)) << row.what;
}

TEST_F(Greeting, IsRefusedWhenTheBrokerHangsUpInside)
{
    int status = -1;
    std::thread client([&] { status = ubus_connect_ctx(&ctx, broker.path.c_str()); });
    broker.serve([] {}, bytes("00 00 0000 1122"));
    broker.hang_up();
    client.join();
    EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, status);
}

TEST_F(Greeting, MayComeInPieces)
{
    int status = -1;
    std::thread client([&] { status = ubus_connect_ctx(&ctx, broker.path.c_str()); });
    broker.serve([] {}, {});
    for (uint8_t byte : greeting()) {
        broker.say({byte});
        usleep(1000);
    }
    client.join();
    ASSERT_EQ(UBUS_STATUS_OK, status);
    EXPECT_EQ(0x11223344u, ctx.local_id);
    ubus_shutdown(&ctx);
}

TEST_F(Greeting, IsNotWaitedForForEver)
{
    EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, connect({}));
}

TEST(Connect, FailsWithoutABroker)
{
    TemporaryFolder folder;
    EXPECT_EQ(nullptr, ubus_connect((folder.path + "/none").c_str()));
}

TEST(Connect, FailsOnAPathThatNoAddressHolds)
{
    EXPECT_EQ(nullptr, ubus_connect(std::string(108, 'x').c_str()));
}

TEST(Connect, TakesTheDefaultPathFromTheEnvironment)
{
    FakeBroker broker;
    ubus_context *ctx = nullptr;

    setenv("UBUS_SOCKET", broker.path.c_str(), 1);
    broker.serve([&] { ctx = ubus_connect(nullptr); }, greeting());
    EXPECT_NE(nullptr, ctx);
    ubus_free(ctx);
}

TEST(Connect, TakesAGivenPathAsItIs)
{
    FakeBroker broker;

    setenv("UBUS_SOCKET", broker.path.c_str(), 1);
    EXPECT_EQ(nullptr, ubus_connect((broker.path + "-other").c_str()));
}

TEST(Connect, KeepsTheSocketFromChildren)
{
    FakeBroker broker;
    ubus_context *ctx = nullptr;

    broker.serve([&] { ctx = ubus_connect(broker.path.c_str()); }, greeting());
    ASSERT_NE(nullptr, ctx);
    EXPECT_EQ(FD_CLOEXEC, fcntl(ctx->sock.fd, F_GETFD));
    ubus_free(ctx);
}

using Connection = BusClient;

TEST_F(Connection, IsLostOnAMessageOutOfBounds)
{
    struct {
        const char *what;
        Bytes message;
    } const rows[] = {
        {"version 1", bytes("01 01 0001 00000000  00000004")},
        {"length 3", bytes("00 01 0001 00000000  00000003")},
        {"length 0", bytes("00 01 0001 00000000  00000000")},
        {"length above 1 MiB", bytes("00 01 0001 00000000  00100001")},
        {"longest length", bytes("00 01 0001 00000000  ffffffff")},
    };
    for (auto const &row : rows) {
        losses = 0;
        ctx->connection_lost = count_loss;
        broker.say(row.message);
        turn();
        EXPECT_EQ(1, losses) << row.what;
        uint8_t byte;
        EXPECT_EQ(0, recv(broker.client, &byte, 1, MSG_DONTWAIT)) << row.what;
        broker.serve([this] { ASSERT_EQ(UBUS_STATUS_OK, ubus_reconnect(ctx, broker.path.c_str())); }, greeting());
        ubus_add_uloop(ctx);
    }
}

TEST_F(Connection, TakesAMessageOfOneMebibyte)
{
    Bytes const prefix = bytes("00 02 0001 00000001  00100000");
    Bytes const data = bytes("070ffffc") + Bytes(0xffffc - 4, 'x');
    size_t length = 0;

    std::thread server([&] {
        Bytes const all = prefix + data + status("0001 00000001", 0);
        for (size_t sent = 0; sent < all.size();)
            sent += static_cast<size_t>(send(broker.client, &all[sent], std::min(all.size() - sent, size_t{50000}), 0));
    });
    auto measure = [](ubus_request *req, int, blob_attr *msg) { *static_cast<size_t *>(req->priv) = blob_len(msg); };
    EXPECT_EQ(UBUS_STATUS_OK, ubus_invoke(ctx, 1, "m", nullptr, measure, &length, 5000));
    EXPECT_EQ(0xffffcu - 4, length);
    server.join();
}

TEST_F(Connection, EndsTheLoopByDefaultWhileTheSocketIsInIt)
{
    broker.say(bytes("01 01 0001 00000000  00000004"));
    uloop_run_timeout(0);
    EXPECT_TRUE(uloop_cancelled);
}

TEST_F(Connection, LeavesTheLoopAloneByDefaultAfterAHangUp)
{
    broker.hang_up();
    uloop_run_timeout(0);
    EXPECT_FALSE(ctx->sock.registered);
    EXPECT_FALSE(uloop_cancelled);
}

TEST_F(Connection, IsLostOnceOnAHangUp)
{
    losses = 0;
    ctx->connection_lost = count_loss;
    broker.hang_up();
    turn();
    EXPECT_EQ(1, losses);
}

TEST_F(Connection, IsLostWhenTheBrokerStopsWriting)
{
    losses = 0;
    ctx->connection_lost = count_loss;
    shutdown(broker.client, SHUT_WR);
    turn();
    EXPECT_EQ(1, losses);
    EXPECT_FALSE(ctx->sock.registered);
}

TEST_F(Connection, FailsRequestsOnceItIsLost)
{
    uint32_t id;

    losses = 0;
    ctx->connection_lost = count_loss;
    broker.hang_up();
    EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, ubus_lookup_id(ctx, "a", &id));
    EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, ubus_lookup_id(ctx, "a", &id));
    turn();
    EXPECT_EQ(1, losses);
}

TEST_F(Connection, EndsAWaitingRequestWhenTheBrokerGoesAway)
{
    uint32_t id;

    losses = 0;
    ctx->connection_lost = count_loss;
    std::thread server([this] {
        pollfd request = {broker.client, POLLIN, 0};
        poll(&request, 1, 5000);
        shutdown(broker.client, SHUT_RDWR);
    });
    EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, ubus_lookup_id(ctx, "a", &id));
    EXPECT_EQ(0, losses); // only the event loop says so
    turn();
    EXPECT_EQ(1, losses);
    server.join();
}

// The broker takes a while to read, so the socket's buffer is full in the midst of the message.
void sends_whole(ubus_context *ctx, FakeBroker &broker)
{
    blob_buf buf = {};
    blob_buf_init(&buf, 0);
    std::string const text(900 * 1024, 'x');
    blobmsg_add_string(&buf, "text", text.c_str());
    size_t const expected = 8 + 4 + 8 + 8 + 4 + blob_len(buf.head);
    Bytes heard;

    std::thread server([&] {
        pollfd readable = {broker.client, POLLIN, 0};
        usleep(50000);
        while (heard.size() < expected && poll(&readable, 1, 5000) > 0)
            heard = heard + broker.heard();
    });
    ubus_request req;
    EXPECT_EQ(UBUS_STATUS_OK, ubus_invoke_async(ctx, 0x1001, "a", buf.head, &req));
    server.join();

    EXPECT_EQ(expected, heard.size());
    Bytes const head(heard.begin(), heard.begin() + 8 + 4 + 8 + 8);
    EXPECT_EQ(bytes("00 05 0001 00001001  000e1028  03000008 00001001  04000006 'a' 00 0000"), head);
    Bytes const tail(heard.end() - 8, heard.end());
    EXPECT_EQ(bytes("'xxxx' 00 000000"), tail);
    blob_buf_free(&buf);
}

TEST_F(Connection, WaitsForABrokerThatReadsSlowly)
{
    sends_whole(ctx, broker);
}

TEST_F(Connection, WaitsForABrokerThatReadsSlowlyOnANonBlockingSocket)
{
    fcntl(ctx->sock.fd, F_SETFL, fcntl(ctx->sock.fd, F_GETFL) | O_NONBLOCK);
    sends_whole(ctx, broker);
}

TEST_F(Connection, IsGoneWithItsContext)
{
    uint8_t byte;

    ubus_free(ctx);
    ctx = nullptr;
    EXPECT_EQ(0, recv(broker.client, &byte, 1, 0));
}

TEST(Status, HasATextEach)
{
    const char *const texts[] = {"Success",
                                 "Invalid command",
                                 "Invalid argument",
                                 "Method not found",
                                 "Not found",
                                 "No response",
                                 "Permission denied",
                                 "Request timed out",
                                 "Operation not supported",
                                 "Unknown error",
                                 "Connection failed",
                                 "Out of memory",
                                 "Parsing message data failed",
                                 "System error"};
    for (int i = 0; i < 14; i++)
        EXPECT_STREQ(texts[i], ubus_strerror(i));
    EXPECT_STREQ("Unknown error: 14", ubus_strerror(14));
    EXPECT_STREQ("Unknown error: -1", ubus_strerror(-1));
}

} // namespace
