#include "fake_broker.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace
{

class Request : public BusClient
{
  protected:
    void SetUp() override
    {
        BusClient::SetUp();
        blob_buf_init(&arguments, 0);
    }

    void TearDown() override
    {
        blob_buf_free(&arguments);
        BusClient::TearDown();
    }

    blob_buf arguments = {};
};

struct Object {
    uint32_t id;
    uint32_t type;
    std::string path;
    size_t signature;
    bool operator==(const Object &) const = default;
};

void collect(ubus_context *, ubus_object_data *object, void *priv)
{
    static_cast<std::vector<Object> *>(priv)->push_back(
        {object->id, object->type_id, object->path, object->signature ? blob_len(object->signature) : 0});
}

TEST_F(Request, LooksAllObjectsUp)
{
    std::vector<Object> objects;
    broker.say(message("00 02 0001 00000000", "02000006 'a' 00 0000  03000008 00001001  05000008 00002001  06000004") +
               message("00 02 0001 00000000", "02000007 'bb' 00 00  03000008 00001002  05000008 00002002"
                                              "06000010 8200000c 0005 'hello' 00") +
               status("0001 00000000", 0));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup(ctx, nullptr, collect, &objects));
    EXPECT_EQ(bytes("00 04 0001 00000000  00000004"), broker.heard());
    EXPECT_EQ((std::vector<Object>{{0x1001, 0x2001, "a", 0}, {0x1002, 0x2002, "bb", 12}}), objects);
}

TEST_F(Request, LooksAPathUp)
{
    uint32_t id = 0;
    broker.say(message("00 02 0001 00000000", "02000006 'a' 00 0000  03000008 00001001  05000008 00002001") +
               status("0001 00000000", 0) + status("0002 00000000", 4));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup_id(ctx, "a", &id));
    EXPECT_EQ(0x1001u, id);
    EXPECT_EQ(UBUS_STATUS_NOT_FOUND, ubus_lookup_id(ctx, "b*", &id));
    EXPECT_EQ(bytes("00 04 0001 00000000  0000000c  02000006 'a' 00 0000") +
                  bytes("00 04 0002 00000000  0000000c  02000007 'b*' 00 00"),
              broker.heard());
}

TEST_F(Request, PassesOverMalformedObjects)
{
    const char *const malformed[] = {
        "02000005 'a' 000000  03000008 00001001  05000008 00002001", // path without its end
        "02000004 03000008 00001001  05000008 00002001",             // empty path
        "02000006 'a' 00 0000  03000006 1001 0000  05000008 00002001",
        "02000006 'a' 00 0000  03000008 00001001",
        "02000006 'a' 00 0000  0300000c 00001001",
        "020000ff",
        "ffffffff ffffffff",
        "02",
        "",
    };
    std::vector<Object> objects;
    for (const char *attributes : malformed)
        broker.say(message("00 02 0001 00000000", attributes));
    broker.say(status("0001 00000000", 0));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup(ctx, nullptr, collect, &objects));
    EXPECT_EQ(std::vector<Object>(), objects);
}

TEST_F(Request, FailsOnAMalformedStatus)
{
    const char *const malformed[] = {"", "01000007 000000 00", "0100000c 00000000", "01"};
    uint32_t id;

    for (const char *attributes : malformed) {
        ctx->request_seq = 0;
        broker.say(message("00 01 0001 00000000", attributes));
        EXPECT_EQ(UBUS_STATUS_PARSE_ERROR, ubus_lookup_id(ctx, "a", &id)) << attributes;
    }
}

TEST_F(Request, NeedsTheIdThatWasLookedUp)
{
    uint32_t id = 7;
    broker.say(status("0001 00000000", 0));
    EXPECT_EQ(UBUS_STATUS_NO_DATA, ubus_lookup_id(ctx, "a", &id));
    EXPECT_EQ(7u, id);
}

TEST_F(Request, WaitsForItsOwnAnswer)
{
    uint32_t id;
    broker.say(status("0002 00000000", 6) + status("0001 00000001", 6) + status("0001 00000000", 4));
    EXPECT_EQ(UBUS_STATUS_NOT_FOUND, ubus_lookup_id(ctx, "a", &id));
}

TEST_F(Request, GoesOnAfterMessagesInPieces)
{
    uint32_t id = 0;
    const Bytes answer =
        message("00 02 0001 00000000", "02000006 'a' 00 0000  03000008 00001001") + status("0001 00000000", 0);
    std::thread server([&] {
        for (uint8_t byte : answer) {
            broker.say({byte});
            usleep(500);
        }
    });
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup_id(ctx, "a", &id));
    EXPECT_EQ(0x1001u, id);
    server.join();
}

void measure(ubus_request *req, int type, blob_attr *msg)
{
    EXPECT_EQ(UBUS_MSG_DATA, type);
    static_cast<std::vector<size_t> *>(req->priv)->push_back(blob_len(msg));
}

TEST_F(Request, CallsAMethod)
{
    std::vector<size_t> answers;
    blobmsg_add_u32(&arguments, "id", 5);
    broker.say(message("00 02 0001 00001001", "03000008 00001001  07000004") +
               message("00 02 0001 00001001", "03000008 00001001") +
               message("00 02 0001 00001001", "03000008 00001001  07000010 8500000c 0000 00 00 00000001") +
               status("0001 00001001", 9));
    EXPECT_EQ(UBUS_STATUS_UNKNOWN_ERROR, ubus_invoke(ctx, 0x1001, "set", arguments.head, measure, &answers, 5000));
    EXPECT_EQ(bytes("00 05 0001 00001001  00000028"
                    "03000008 00001001"
                    "04000008 'set' 00"
                    "07000014 85000010 0002 'id' 00 000000 00000005"),
              broker.heard());
    EXPECT_EQ((std::vector<size_t>{0, 12}), answers);
}

TEST_F(Request, SendsNoMessageAsAnEmptyOne)
{
    broker.say(status("0001 00001001", 2));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_invoke(ctx, 0x1001, "set", nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(bytes("00 05 0001 00001001  00000018  03000008 00001001  04000008 'set' 00  07000004"), broker.heard());
}

TEST_F(Request, SendsWhatAnUnfinishedNestLeaves)
{
    blobmsg_open_table(&arguments, "open");
    blobmsg_add_u8(&arguments, "x", 1);
    broker.say(status("0001 00001001", 0));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_invoke(ctx, 0x1001, "set", arguments.head, nullptr, nullptr, 0));
    EXPECT_EQ(bytes("00 05 0001 00001001  0000002c  03000008 00001001  04000008 'set' 00"
                    "07000018 0004 'open' 00 00  87000009 0001 'x' 00 01 000000"),
              broker.heard());
}

TEST_F(Request, TimesOut)
{
    using clock = std::chrono::steady_clock;
    const auto begin = clock::now();
    EXPECT_EQ(UBUS_STATUS_TIMEOUT, ubus_invoke(ctx, 0x1001, "a", arguments.head, nullptr, nullptr, 100));
    EXPECT_LE(std::chrono::milliseconds(100), clock::now() - begin);

    // The late answer is nobody's, and the next one is found behind it.
    broker.say(status("0001 00001001", 0) + status("0002 00001001", 4));
    EXPECT_EQ(UBUS_STATUS_NOT_FOUND, ubus_invoke(ctx, 0x1001, "a", arguments.head, nullptr, nullptr, 5000));
}

TEST_F(Request, TimesOutAlthoughOtherMessagesKeepComing)
{
    std::thread server([&] {
        for (int i = 0; i < 60; i++) {
            broker.say(status("0009 00000009", 0));
            usleep(5000);
        }
    });
    EXPECT_EQ(UBUS_STATUS_TIMEOUT, ubus_invoke(ctx, 0x1001, "a", arguments.head, nullptr, nullptr, 100));
    server.join();
}

TEST_F(Request, EndsWhenASignalEndsTheLoop)
{
    const pthread_t client = pthread_self();
    std::thread terminator([=] {
        for (int i = 0; i < 10 && !uloop_cancelled; i++) {
            usleep(50000);
            pthread_kill(client, SIGTERM);
        }
    });
    EXPECT_EQ(UBUS_STATUS_NO_DATA, ubus_invoke(ctx, 0x1001, "a", arguments.head, nullptr, nullptr, 0));
    terminator.join();

    // The loop has ended; what is still to be asked afterwards is answered.
    broker.say(status("0002 00001001", 0));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_invoke(ctx, 0x1001, "a", arguments.head, nullptr, nullptr, 0));
}

TEST_F(Request, EndsOnASignalAlsoWhenTheLoopHadEndedBefore)
{
    const pthread_t client = pthread_self();
    uloop_end();
    std::atomic<bool> ended = false;
    std::thread terminator([&] {
        while (!ended) {
            usleep(50000);
            pthread_kill(client, SIGTERM);
        }
    });
    EXPECT_EQ(UBUS_STATUS_NO_DATA, ubus_invoke(ctx, 0x1001, "a", arguments.head, nullptr, nullptr, 0));
    ended = true;
    terminator.join();
}

void nothing(int) {}

TEST_F(Request, GoesOnAfterOtherSignals)
{
    struct sigaction action = {};
    action.sa_handler = nothing;
    sigaction(SIGUSR1, &action, nullptr);
    const pthread_t client = pthread_self();
    std::thread server([=, this] {
        for (int i = 0; i < 5; i++) {
            usleep(10000);
            pthread_kill(client, SIGUSR1);
        }
        broker.say(status("0001 00001001", 0));
    });
    EXPECT_EQ(UBUS_STATUS_OK, ubus_invoke(ctx, 0x1001, "a", arguments.head, nullptr, nullptr, 5000));
    server.join();
}

// Around the text and its NUL there are 36 bytes.
TEST_F(Request, IsRefusedAboveOneMebibyte)
{
    std::string const text(0x100000 - 36, 'x');
    blobmsg_add_string(&arguments, "text", text.c_str());
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_invoke(ctx, 0x1001, "a", arguments.head, nullptr, nullptr, 0));
    EXPECT_EQ(Bytes(), broker.heard());
}

size_t drain(FakeBroker &broker, size_t expected)
{
    size_t heard = 0;
    for (int i = 0; i < 500 && heard < expected; i++, usleep(10000))
        heard += broker.heard().size();
    return heard;
}

TEST_F(Request, MayFillOneMebibyte)
{
    std::string const text(0x100000 - 37, 'x');
    blobmsg_add_string(&arguments, "text", text.c_str());
    size_t heard = 0;
    std::thread server([&] {
        heard = drain(broker, 8 + 0x100000);
        broker.say(status("0001 00001001", 0));
    });
    EXPECT_EQ(UBUS_STATUS_OK, ubus_invoke(ctx, 0x1001, "a", arguments.head, nullptr, nullptr, 0));
    server.join();
    EXPECT_EQ(8u + 0x100000, heard);
}

TEST_F(Request, IsNotMeasuredAsAReply)
{
    std::string const text(0x100000, 'x');
    blobmsg_add_string(&arguments, "text", text.c_str());
    ubus_request_data req = {.object = 0x1001, .peer = 0xaa, .seq = 7, .fd = -1};
    ubus_object object = {.id = 0x1001};
    const size_t reply = 8 + 4 + 8 + 4 + blob_len(arguments.head);
    size_t heard = 0;
    std::thread server([&] { heard = drain(broker, reply); });
    EXPECT_EQ(UBUS_STATUS_OK, ubus_send_reply(ctx, &req, arguments.head));
    EXPECT_EQ(UBUS_STATUS_INVALID_ARGUMENT, ubus_notify(ctx, &object, "a", arguments.head, -1));
    server.join();
    EXPECT_EQ(reply, heard);
}

struct Outcome {
    std::vector<int> completed;
    std::vector<size_t> data;
};

class Async : public Request
{
  protected:
    void begin()
    {
        ASSERT_EQ(UBUS_STATUS_OK, ubus_invoke_async(ctx, 0x1001, "a", arguments.head, &req));
        req.priv = &outcome;
        req.data_cb = [](ubus_request *req, int, blob_attr *msg) {
            static_cast<Outcome *>(req->priv)->data.push_back(blob_len(msg));
        };
        req.complete_cb = [](ubus_request *req, int status) {
            static_cast<Outcome *>(req->priv)->completed.push_back(status);
        };
    }

    ubus_request req;
    Outcome outcome;
};

TEST_F(Async, CompletesInTheLoop)
{
    begin();
    ubus_complete_request_async(ctx, &req);
    turn();
    EXPECT_EQ(std::vector<int>(), outcome.completed);
    broker.say(message("00 02 0001 00001001", "07000004") + status("0001 00001001", 3));
    turn();
    EXPECT_EQ(std::vector<size_t>{0}, outcome.data);
    EXPECT_EQ(std::vector<int>{3}, outcome.completed);
}

TEST_F(Async, MayBeWaitedForAfterAll)
{
    begin();
    broker.say(message("00 02 0001 00001001", "07000004") + status("0001 00001001", 3));
    EXPECT_EQ(3, ubus_complete_request(ctx, &req, 5000));
    EXPECT_EQ(std::vector<size_t>{0}, outcome.data);
    EXPECT_EQ(std::vector<int>{3}, outcome.completed);
}

TEST_F(Async, IsForgottenWhenItIsAborted)
{
    begin();
    ubus_complete_request_async(ctx, &req);
    ubus_abort_request(ctx, &req);
    broker.say(message("00 02 0001 00001001", "07000004") + status("0001 00001001", 3));
    turn();
    EXPECT_EQ(std::vector<size_t>(), outcome.data);
    EXPECT_EQ(std::vector<int>(), outcome.completed);
}

TEST_F(Async, MayBeAbortedAndReleasedInItsOwnCallback)
{
    auto *own = static_cast<ubus_request *>(malloc(sizeof(ubus_request)));
    int calls = 0;
    ASSERT_EQ(UBUS_STATUS_OK, ubus_invoke_async(ctx, 0x1001, "a", arguments.head, own));
    own->priv = &calls;
    own->data_cb = [](ubus_request *req, int, blob_attr *) {
        ++*static_cast<int *>(req->priv);
        ubus_abort_request(req->ctx, req);
        free(req);
    };
    ubus_complete_request_async(ctx, own);
    broker.say(message("00 02 0001 00001001", "07000004") + message("00 02 0001 00001001", "07000004") +
               status("0001 00001001", 3));
    turn();
    EXPECT_EQ(1, calls);
}

TEST_F(Async, MayBeReleasedWhenItIsComplete)
{
    auto *own = static_cast<ubus_request *>(malloc(sizeof(ubus_request)));
    int completed = -1;
    ASSERT_EQ(UBUS_STATUS_OK, ubus_invoke_async(ctx, 0x1001, "a", arguments.head, own));
    own->priv = &completed;
    own->complete_cb = [](ubus_request *req, int status) {
        *static_cast<int *>(req->priv) = status;
        free(req);
    };
    ubus_complete_request_async(ctx, own);
    broker.say(status("0001 00001001", 3));
    turn();
    EXPECT_EQ(3, completed);
}

TEST_F(Async, FailsWhenTheBrokerGoesAway)
{
    begin();
    ubus_complete_request_async(ctx, &req);
    broker.hang_up();
    turn();
    EXPECT_EQ(std::vector<int>{UBUS_STATUS_TIMEOUT}, outcome.completed);
}

TEST_F(Async, FailsInTheLoopWhenTheBrokerIsGoneAlready)
{
    begin();
    broker.hang_up();
    turn();
    ubus_complete_request_async(ctx, &req);
    EXPECT_EQ(std::vector<int>(), outcome.completed);
    turn();
    EXPECT_EQ(std::vector<int>{UBUS_STATUS_TIMEOUT}, outcome.completed);
}

TEST_F(Async, FailsAtReconnecting)
{
    begin();
    ubus_complete_request_async(ctx, &req);
    broker.serve([this] { EXPECT_EQ(UBUS_STATUS_OK, ubus_reconnect(ctx, broker.path.c_str())); }, greeting());
    EXPECT_EQ(std::vector<int>{UBUS_STATUS_TIMEOUT}, outcome.completed);
}

TEST_F(Async, IsLeftAloneWhenTheContextGoes)
{
    begin();
    ubus_complete_request_async(ctx, &req);
    ubus_free(ctx);
    ctx = nullptr;
    EXPECT_EQ(std::vector<int>(), outcome.completed);
}

TEST_F(Async, CompletesWhileAnotherRequestWaits)
{
    begin();
    ubus_complete_request_async(ctx, &req);
    broker.say(status("0001 00001001", 3) + status("0002 00001001", 4));
    EXPECT_EQ(UBUS_STATUS_NOT_FOUND, ubus_invoke(ctx, 0x1001, "b", arguments.head, nullptr, nullptr, 0));
    EXPECT_EQ(std::vector<int>{3}, outcome.completed);
}

// Each object that a look-up reports is asked something at once: the next report waits until the answer is there.
TEST_F(Request, IsNotReportedToInsideItsOwnCallback)
{
    static int inside;
    static std::vector<std::string> seen;
    inside = 0;
    seen.clear();
    broker.say(message("00 02 0001 00000000", "02000006 'a' 00 0000  03000008 00001001  05000008 00002001") +
               message("00 02 0001 00000000", "02000006 'b' 00 0000  03000008 00001002  05000008 00002001") +
               status("0001 00000000", 0) + status("0002 00001001", 0) + status("0003 00001002", 4));
    auto ask = [](ubus_context *ctx, ubus_object_data *object, void *priv) {
        EXPECT_EQ(1, ++inside);
        uint32_t const id = object->id;
        int const status = ubus_invoke(ctx, id, "x", static_cast<blob_buf *>(priv)->head, nullptr, nullptr, 5000);
        seen.push_back(std::string(object->path) + " " + std::to_string(status));
        --inside;
    };
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup(ctx, nullptr, ask, &arguments));
    EXPECT_EQ((std::vector<std::string>{"a 0", "b 4"}), seen);
}

class Notification : public Request
{
  protected:
    ubus_object object = {.id = 0x1001};
};

TEST_F(Notification, ReturnsAtOnceWhereNoAnswerIsWanted)
{
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(ctx, &object, "up", arguments.head, -1));
    EXPECT_EQ(bytes("00 0a 0001 00001001  00000020"
                    "03000008 00001001"
                    "04000007 'up' 00 00"
                    "07000004"
                    "0a000005 01 000000"),
              broker.heard());
}

TEST_F(Notification, WaitsForEverySubscriber)
{
    broker.say(message("00 01 0001 00001001", "03000008 00001001  01000008 00000000"
                                              "0b000014 00000008 000000a1 00000008 000000a2") +
               status("0001 000000a2", 6) + message("00 02 0001 000000a1", "07000004") + status("0001 000000a2", 0));
    EXPECT_EQ(UBUS_STATUS_TIMEOUT, ubus_notify(ctx, &object, "up", arguments.head, 100));
    EXPECT_EQ(bytes("00 0a 0001 00001001  00000018  03000008 00001001  04000007 'up' 00 00  07000004"), broker.heard());

    broker.say(message("00 01 0002 00001001", "03000008 00001001  01000008 00000000"
                                              "0b000014 00000008 000000a1 00000008 000000a2") +
               status("0002 000000a2", 6) + status("0002 000000a1", 0));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(ctx, &object, "up", arguments.head, 0));
}

TEST_F(Notification, IsDoneWithoutSubscribers)
{
    broker.say(message("00 01 0001 00001001", "03000008 00001001  01000008 00000000  0b000004"));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(ctx, &object, "up", arguments.head, 0));
}

TEST_F(Notification, SucceedsAlsoWhereTheBrokerRefusesIt)
{
    broker.say(status("0001 00001001", 6));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(ctx, &object, "up", arguments.head, 0));
}

TEST_F(Notification, WaitsForSixteenSubscribersAtMost)
{
    std::string list, answers;
    Bytes all;
    for (int i = 0; i < 17; i++)
        list += " 00000008 000000" + std::string(1, "ab"[i / 10]) + std::string(1, static_cast<char>('0' + i % 10));
    for (int i = 0; i < 16; i++) {
        char peer[32];
        snprintf(peer, sizeof(peer), "0001 000000%c%d", "ab"[i / 10], i % 10);
        all = all + status(peer, 0);
    }
    broker.say(message("00 01 0001 00001001", "01000008 00000000  0b00008c" + list) + all);
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(ctx, &object, "up", arguments.head, 5000));
}

TEST_F(Notification, PassesOverMalformedSubscribers)
{
    broker.say(message("00 01 0001 00001001", "01000008 00000000  0b000018"
                                              "00000006 00a1 0000  00000004 00000008 000000a2") +
               status("0001 000000a2", 0));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify(ctx, &object, "up", arguments.head, 5000));
}

TEST_F(Request, SendsAnEvent)
{
    blobmsg_add_u8(&arguments, "up", 1);
    broker.say(status("0001 00000001", 6));
    EXPECT_EQ(UBUS_STATUS_PERMISSION_DENIED, ubus_send_event(ctx, "link", arguments.head));
    EXPECT_EQ(bytes("00 05 0001 00000001  0000004c"
                    "03000008 00000001"
                    "04000009 'send' 00 000000"
                    "07000034"
                    "83000011 0002 'id' 00 000000 'link' 00 000000"
                    "8200001c 0004 'data' 00 00  8700000d 0002 'up' 00 000000 01 000000"),
              broker.heard());
}

TEST_F(Notification, TellsOfEachAnswer)
{
    static std::vector<std::string> seen;
    seen.clear();
    ubus_notify_request notify;
    EXPECT_EQ(UBUS_STATUS_OK, ubus_notify_async(ctx, &object, "up", nullptr, &notify));
    notify.status_cb = [](ubus_notify_request *, int place, int status) {
        seen.push_back("status " + std::to_string(place) + " " + std::to_string(status));
    };
    notify.data_cb = [](ubus_notify_request *, int type, blob_attr *msg) {
        seen.push_back("data " + std::to_string(type) + " " + std::to_string(blob_len(msg)));
    };
    notify.complete_cb = [](ubus_notify_request *, int place, int status) {
        seen.push_back("complete " + std::to_string(place) + " " + std::to_string(status));
    };
    ubus_complete_request_async(ctx, &notify.req);
    // The second subscriber has subscribed twice.
    broker.say(message("00 01 0001 00001001", "03000008 00001001  01000008 00000000"
                                              "0b00001c 00000008 000000a1 00000008 000000a2 00000008 000000a2") +
               status("0001 000000a2", 6) + message("00 02 0001 000000a1", "07000004") + status("0001 000000a1", 0) +
               status("0001 000000a2", 0));
    turn();
    EXPECT_EQ((std::vector<std::string>{"status 2 6", "data 2 0", "status 1 0", "status 3 0", "complete 0 0"}), seen);
}

TEST_F(Async, EndsWhenRequestsAreFlushed)
{
    begin();
    ubus_complete_request_async(ctx, &req);
    ubus_flush_requests(ctx);
    EXPECT_EQ(std::vector<int>{UBUS_STATUS_TIMEOUT}, outcome.completed);
}

TEST_F(Request, LooksUpTheLastOfAllWithoutAPath)
{
    uint32_t id = 7;
    broker.say(status("0001 00000000", 0) +
               message("00 02 0002 00000000", "02000006 'a' 00 0000  03000008 00001001  05000008 00002001") +
               message("00 02 0002 00000000", "02000006 'b' 00 0000  03000008 00001002  05000008 00002001") +
               status("0002 00000000", 0));
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup_id(ctx, nullptr, &id));
    EXPECT_EQ(7u, id);
    EXPECT_EQ(UBUS_STATUS_OK, ubus_lookup_id(ctx, nullptr, &id));
    EXPECT_EQ(0x1002u, id);
}

} // namespace
