// The library when memory runs out, at every allocation in turn.

#include "fake_broker.h"

#include <cstdlib>

#if defined(__has_feature)
#define HAS_FEATURE(x) __has_feature(x)
#else
#define HAS_FEATURE(x) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || HAS_FEATURE(address_sanitizer)
#define ALLOCATOR_IS_OURS 0 // it is the sanitizer's
#else
#define ALLOCATOR_IS_OURS 1
#endif

namespace
{

thread_local bool armed;
thread_local int remaining; // allocations that still succeed
thread_local bool failed;

void fail_after(int allocations)
{
    remaining = allocations;
    failed = false;
    armed = true;
}

} // namespace

#if ALLOCATOR_IS_OURS
static bool fails()
{
    if (!armed || remaining-- > 0)
        return false;
    return failed = true;
}

extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);

void *malloc(size_t size)
{
    return fails() ? nullptr : __libc_malloc(size);
}

void *calloc(size_t count, size_t size)
{
    return fails() ? nullptr : __libc_calloc(count, size);
}

void *realloc(void *memory, size_t size)
{
    return fails() ? nullptr : __libc_realloc(memory, size);
}
}
#endif

namespace
{

const blobmsg_policy policy[] = {{"name", BLOBMSG_TYPE_STRING}};
int refuse(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *)
{
    return UBUS_STATUS_PERMISSION_DENIED;
}
const ubus_method methods[] = {UBUS_METHOD("refuse", refuse, policy)};

class Memory : public testing::Test
{
  protected:
    void SetUp() override
    {
        if (!ALLOCATOR_IS_OURS)
            GTEST_SKIP() << "the sanitizer has the allocator";
    }

    // Connects anew and repeats the operation, with one more allocation each time, until it has all it needs.
    template <typename Operation> void starve(const Bytes &answers, Operation operation)
    {
        int status;
        int allocations = 0;
        do {
            broker.serve([&] { ASSERT_EQ(UBUS_STATUS_OK, ubus_connect_ctx(&ctx, broker.path.c_str())); }, greeting());
            broker.say(answers);
            fail_after(allocations++);
            status = operation(&ctx);
            armed = false;
            EXPECT_TRUE(!failed || status == UBUS_STATUS_NO_MEMORY || status == UBUS_STATUS_CONNECTION_FAILED)
                << status;
            ubus_shutdown(&ctx);
        } while (failed);
        EXPECT_EQ(UBUS_STATUS_OK, status);
        EXPECT_LT(1, allocations);
    }

    FakeBroker broker;
    ubus_context ctx;
};

TEST_F(Memory, MayRunOutWhileConnecting)
{
    ubus_context *made = nullptr;
    auto connect_with = [&](int allocations) {
        fail_after(allocations);
        made = ubus_connect(broker.path.c_str());
        armed = false;
        EXPECT_EQ(failed, made == nullptr);
    };
    connect_with(0); // does not come to the socket
    for (int allocations = 1; !made && allocations < 10; allocations++)
        broker.serve([&] { connect_with(allocations); }, greeting());
    ASSERT_NE(nullptr, made);
    ubus_free(made);
}

TEST_F(Memory, MayRunOutWhileAddingAnObject)
{
    ubus_object_type type;
    ubus_object object;
    starve(message("00 02 0001 00000000", "03000008 00001001  05000008 00002001") + status("0001 00000000", 0),
           [&](ubus_context *ctx) {
               type = UBUS_OBJECT_TYPE("test", methods);
               object = {.name = "test.object", .type = &type};
               return ubus_add_object(ctx, &object);
           });
    EXPECT_EQ(0x1001u, object.id);
}

TEST_F(Memory, MayRunOutWhileCallingAMethod)
{
    blob_buf buf = {};
    blob_buf_init(&buf, 0);
    blobmsg_add_string(&buf, "text", std::string(5000, 'x').c_str());
    starve(status("0001 00001001", 0),
           [&](ubus_context *ctx) { return ubus_invoke(ctx, 0x1001, "a", buf.head, nullptr, nullptr, 0); });
    starve({}, [&](ubus_context *ctx) {
        ubus_object object = {.id = 0x1001};
        return ubus_notify(ctx, &object, "a", buf.head, -1);
    });
    starve({}, [&](ubus_context *ctx) {
        ubus_request_data req = {.object = 0x1001, .peer = 0xaa, .seq = 7, .fd = -1};
        return ubus_send_reply(ctx, &req, buf.head);
    });
    starve(status("0001 00000001", 0), [&](ubus_context *ctx) { return ubus_send_event(ctx, "a", buf.head); });
    blob_buf_free(&buf);
}

TEST_F(Memory, SufficesForShortMessagesAlsoAfterALongOne)
{
    ubus_request_data req = {.object = 0x1001, .peer = 0xaa, .seq = 7, .fd = -1};
    blob_buf buf = {};
    blob_buf_init(&buf, 0);
    blobmsg_add_string(&buf, "text", std::string(70000, 'x').c_str());
    broker.serve([&] { ASSERT_EQ(UBUS_STATUS_OK, ubus_connect_ctx(&ctx, broker.path.c_str())); }, greeting());
    EXPECT_EQ(UBUS_STATUS_OK, ubus_send_reply(&ctx, &req, buf.head));
    broker.heard();
    fail_after(0);
    ubus_complete_deferred_request(&ctx, &req, 0);
    armed = false;
    EXPECT_EQ(bytes("00 01 0007 000000aa  00000014  01000008 00000000  03000008 00001001"), broker.heard());
    ubus_shutdown(&ctx);
    blob_buf_free(&buf);
}

TEST_F(Memory, MayRunOutWhileRegisteringAnEventHandler)
{
    ubus_event_handler handler;
    starve(message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0) +
               status("0002 00000001", 0) + status("0002 00000000", 0),
           [&](ubus_context *ctx) {
               handler = {};
               return ubus_register_event_handler(ctx, &handler, "*");
           });
}

// The message needs a buffer that is not to be had.
TEST_F(Memory, MayRunOutWhileReadingALongMessage)
{
    const Bytes data = bytes("00 02 0001 00001001  00010000  0700fffc") + Bytes(0xfff8, 0);
    starve(data + status("0001 00001001", 0), [](ubus_context *ctx) {
        blob_attr empty = {.id_len = cpu_to_be32(4)};
        return ubus_invoke(ctx, 0x1001, "a", &empty, nullptr, nullptr, 0);
    });
}

// A call that cannot be kept for later is answered at once.
TEST_F(Memory, MayRunOutWhileKeepingACall)
{
    broker.serve([&] { ASSERT_EQ(UBUS_STATUS_OK, ubus_connect_ctx(&ctx, broker.path.c_str())); }, greeting());
    broker.say(message("00 02 0001 00000000", "03000008 00001001") + status("0001 00000000", 0));
    ubus_object object = {.methods = methods, .n_methods = 1};
    ASSERT_EQ(UBUS_STATUS_OK, ubus_add_object(&ctx, &object));
    broker.heard();

    broker.say(message("00 05 0007 000000aa", "03000008 00001001  0400000b 'refuse' 00 00  07000004") +
               status("0002 00000000", 4));
    uint32_t id;
    fail_after(0);
    const int looked_up = ubus_lookup_id(&ctx, "a", &id);
    armed = false;
    EXPECT_EQ(UBUS_STATUS_NOT_FOUND, looked_up);
    EXPECT_EQ(bytes("00 04 0002 00000000  0000000c  02000006 'a' 00 0000"
                    "00 01 0007 000000aa  00000014  01000008 0000000b  03000008 00001001"),
              broker.heard());
    ubus_shutdown(&ctx);
}

} // namespace
