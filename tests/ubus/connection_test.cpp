#include "fake_broker.h"

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
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
    EXPECT_EQ(cpu_to_be32(0x11223344), ctx.local_id) << "as it came";
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
    for (const auto &row : rows)
        EXPECT_EQ(-1, connect(row.greeting)) << row.what;
}

TEST_F(Greeting, IsRefusedWhenTheBrokerHangsUpInside)
{
    int status = -1;
    std::thread client([&] { status = ubus_connect_ctx(&ctx, broker.path.c_str()); });
    broker.serve([] {}, bytes("00 00 0000 1122"));
    broker.hang_up();
    client.join();
    EXPECT_EQ(-1, status);
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
    EXPECT_EQ(cpu_to_be32(0x11223344), ctx.local_id);
    ubus_shutdown(&ctx);
}

TEST_F(Greeting, IsNotWaitedForForEver)
{
    EXPECT_EQ(-1, connect({}));
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
    for (const auto &row : rows) {
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
    const Bytes prefix = bytes("00 02 0001 00000001  00100000");
    const Bytes data = bytes("070ffffc") + Bytes(0xffffc - 4, 'x');
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
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_lookup_id(ctx, "a", &id));
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
    const size_t expected = 8 + 4 + 8 + 8 + 4 + blob_len(buf.head);
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
    const Bytes head(heard.begin(), heard.begin() + 8 + 4 + 8 + 8);
    EXPECT_EQ(bytes("00 05 0001 00001001  000e1028  03000008 00001001  04000006 'a' 00 0000"), head);
    const Bytes tail(heard.end() - 8, heard.end());
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

// As a broker does that has no room for what it would have to pass on: it reads again once its own queue is empty.
TEST_F(Connection, ReadsWhileTheBrokerReadsNothing)
{
    const Bytes call = message("00 05 0007 000000aa", "03000008 00001001  0400000a 'plain' 00 0000  07000004");
    blob_buf buf = {};
    blob_buf_init(&buf, 0);
    std::string const text(900 * 1024, 'x');
    blobmsg_add_string(&buf, "text", text.c_str());
    Bytes calls;
    while (calls.size() < size_t{1024} * 1024)
        calls.insert(calls.end(), call.begin(), call.end());

    const timeval patience = {.tv_sec = 3, .tv_usec = 0};
    setsockopt(broker.client, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
    ssize_t written = 0;
    std::thread server([&] {
        for (ssize_t part; static_cast<size_t>(written) < calls.size(); written += part)
            if ((part = send(broker.client, &calls[static_cast<size_t>(written)],
                             calls.size() - static_cast<size_t>(written), MSG_NOSIGNAL)) <= 0)
                break;
        for (size_t heard = 0; heard < text.size() && written > 0; usleep(1000))
            heard += broker.heard().size();
    });
    ubus_request req;
    EXPECT_EQ(UBUS_STATUS_OK, ubus_invoke_async(ctx, 0x1001, "a", buf.head, &req));
    server.join();
    EXPECT_EQ(static_cast<ssize_t>(calls.size()), written);
    blob_buf_free(&buf);
}

// A broker that takes a request and never answers it.
namespace silent
{

ubus_object object = {};
ubus_subscriber subscriber = {};
ubus_event_handler handler = {};

const struct {
    const char *what;
    Bytes before; // answers to what is asked first
    int (*ask)(ubus_context *ctx);
} requests[] = {
    {"add", {}, [](ubus_context *ctx) { return ubus_add_object(ctx, &object); }},
    {"remove", message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0),
     [](ubus_context *ctx) {
         EXPECT_EQ(UBUS_STATUS_OK, ubus_add_object(ctx, &object));
         return ubus_remove_object(ctx, &object);
     }},
    {"look up", message("00 02 0001 00000000", "02000006 'a' 00 0000  03000008 00003001  05000008 00000001"),
     [](ubus_context *ctx) { return ubus_lookup(ctx, nullptr, nullptr, nullptr); }},
    {"subscribe", {}, [](ubus_context *ctx) { return ubus_subscribe(ctx, &subscriber, 0x3003); }},
    {"register", message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0),
     [](ubus_context *ctx) { return ubus_register_event_handler(ctx, &handler, "*"); }},
    {"event",
     {},
     [](ubus_context *ctx) {
         blob_attr empty = {.id_len = cpu_to_be32(4)};
         return ubus_send_event(ctx, "a", &empty);
     }},
};

} // namespace silent

TEST(SilentBroker, IsLostAfterTenSeconds)
{
    std::vector<pid_t> children;
    for (const auto &request : silent::requests) {
        children.push_back(fork());
        if (children.back() != 0)
            continue;
        alarm(20);
        FakeBroker broker;
        ubus_context *ctx = nullptr;
        broker.serve([&] { ctx = ubus_connect(broker.path.c_str()); }, greeting());
        ubus_add_uloop(ctx);
        losses = 0;
        ctx->connection_lost = count_loss;
        broker.say(request.before);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, request.ask(ctx)) << request.what;
        EXPECT_LE(std::chrono::milliseconds(9900), std::chrono::steady_clock::now() - begin) << request.what;
        EXPECT_EQ(0, losses) << request.what;
        uloop_run_timeout(0);
        EXPECT_EQ(1, losses) << request.what;
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    for (pid_t child : children) {
        int status = -1;
        EXPECT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    }
}

// The objects of a long listing may take longer than that together, but not one.
TEST_F(Connection, IsNotLostWhileAListingGoesOn)
{
    const Bytes object = message("00 02 0001 00000000", "02000006 'a' 00 0000  03000008 00003001  05000008 00000001");
    int objects = 0;
    std::thread server([&] {
        for (int i = 0; i < 3; i++) {
            usleep(4 * 1000 * 1000);
            broker.say(object);
        }
        broker.say(status("0001 00000000", 0));
    });
    auto count = [](ubus_context *, ubus_object_data *, void *priv) { ++*static_cast<int *>(priv); };
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup(ctx, nullptr, count, &objects));
    EXPECT_EQ(3, objects);
    server.join();
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

TEST_F(Connection, AnswersEveryCallOnceItIsLost)
{
    uint32_t id = 5;
    ubus_request_data req = {.object = 0x1001, .peer = 0xaa, .seq = 7, .fd = -1};
    ubus_object object = {.id = 0x1001};
    ubus_request request;

    ctx->connection_lost = [](ubus_context *) {};
    broker.hang_up();
    turn();
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_invoke(ctx, 0x1001, "a", nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_invoke_async(ctx, 0x1001, "a", nullptr, &request));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_lookup_id(ctx, "a", &id));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_add_object(ctx, &object));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(ctx, &object, "a", nullptr, -1));
    EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, ubus_notify(ctx, &object, "a", nullptr, 100));
    EXPECT_EQ(UBUS_STATUS_NO_DATA, ubus_send_reply(ctx, &req, nullptr));
    EXPECT_EQ(5u, id);
}

TEST_F(Connection, IsMadeAnewWithAStatusOfWhatFailed)
{
    EXPECT_EQ(UBUS_STATUS_CONNECTION_FAILED, ubus_reconnect(ctx, "/nonexistent/bus"));
    broker.serve([this] { EXPECT_EQ(UBUS_STATUS_UNKNOWN_ERROR, ubus_reconnect(ctx, broker.path.c_str())); },
                 bytes("00 01 0000 11223344  00000004"));
}

TEST_F(Connection, TellsAMonitorOfEachMessage)
{
    static std::vector<std::pair<uint32_t, size_t>> seen;
    seen.clear();
    ctx->monitor_cb = [](ubus_context *, uint32_t seq, blob_attr *data) { seen.emplace_back(seq, blob_len(data)); };
    broker.say(status("0001 00000003", 0) + message("00 0b 0007 00000000", "00000008 00000001"));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_monitor_start(ctx));
    turn();
    EXPECT_EQ((std::vector<std::pair<uint32_t, size_t>>{{7, 8}}), seen);
    EXPECT_EQ(bytes("00 05 0001 00000003  00000018  03000008 00000003  04000008 'add' 00  07000004"), broker.heard());
}

TEST(AutoConnect, ComesWithTheBrokerAndComesBackWithTheNext)
{
    FakeBroker broker;
    static int connections;
    ubus_auto_conn conn = {};
    const std::string moved = broker.path + "-not-yet";
    connections = 0;
    uloop_init();
    rename(broker.path.c_str(), moved.c_str());
    conn.path = broker.path.c_str();
    conn.cb = [](ubus_context *ctx) {
        connections++;
        EXPECT_FALSE(ctx->sock.registered);
    };
    testing::internal::CaptureStderr();
    ubus_auto_connect(&conn);
    EXPECT_EQ("failed to connect to ubus\n", testing::internal::GetCapturedStderr());
    EXPECT_EQ(0, connections);
    rename(moved.c_str(), broker.path.c_str());
    for (int round = 0; round < 2; round++) {
        broker.serve(
            [&] {
                for (int i = 0; i < 50 && !conn.ctx.sock.registered; i++)
                    uloop_run_timeout(100);
            },
            greeting());
        EXPECT_TRUE(conn.ctx.sock.registered);
        EXPECT_EQ(1, connections);
        broker.hang_up();
        uloop_run_timeout(0);
        EXPECT_FALSE(conn.ctx.sock.registered);
    }
    ubus_auto_shutdown(&conn);
    uloop_done();
}

TEST(StrmatchLen, TellsWhatIsCommon)
{
    int length;
    EXPECT_TRUE(ubus_strmatch_len("abc", "abc", &length));
    EXPECT_EQ(3, length);
    EXPECT_FALSE(ubus_strmatch_len("abc", "abd", &length));
    EXPECT_EQ(2, length);
    EXPECT_FALSE(ubus_strmatch_len("ab", "abc", &length));
    EXPECT_EQ(2, length);
}

} // namespace
