#include "fake_broker.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

static std::string new_folder()
{
    std::string name = (std::filesystem::temp_directory_path() / "ubus-test-XXXXXX").string();
    return mkdtemp(name.data()) ? name : throw std::runtime_error("mkdtemp");
}

TemporaryFolder::TemporaryFolder() : path(new_folder()) {}

TemporaryFolder::~TemporaryFolder()
{
    std::filesystem::remove_all(path);
}

FakeBroker::FakeBroker() : path(folder.path + "/bus"), listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    EXPECT_EQ(0, bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof(address)));
    EXPECT_EQ(0, listen(listener, 1));
}

FakeBroker::~FakeBroker()
{
    hang_up();
    close(listener);
}

void FakeBroker::serve(const std::function<void()> &connecting, const Bytes &greeting)
{
    hang_up();
    std::thread server([&] {
        client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        say(greeting);
    });
    connecting();
    server.join();
}

void FakeBroker::say(const Bytes &data)
{
    EXPECT_EQ(static_cast<ssize_t>(data.size()), send(client, data.data(), data.size(), MSG_NOSIGNAL));
}

Bytes FakeBroker::heard()
{
    Bytes result;
    uint8_t part[4096];

    for (ssize_t got; (got = recv(client, part, sizeof(part), MSG_DONTWAIT)) > 0;)
        result.insert(result.end(), part, part + got);
    return result;
}

void FakeBroker::hang_up()
{
    if (client >= 0)
        close(client);
    client = -1;
}

Bytes greeting()
{
    return bytes("00 00 0000 11223344  00000004");
}

Bytes status(const char *seq_and_peer, int32_t value)
{
    char attribute[32];

    snprintf(attribute, sizeof(attribute), "01000008 %08x", static_cast<unsigned>(value));
    return message(std::string("00 01 ") + seq_and_peer, attribute);
}

void BusClient::SetUp()
{
    broker.serve([this] { ctx = ubus_connect(broker.path.c_str()); }, greeting());
    ASSERT_NE(nullptr, ctx);
    ubus_add_uloop(ctx);
}

void BusClient::TearDown()
{
    if (ctx)
        ubus_free(ctx);
    uloop_done();
    uloop_cancelled = false; // as a new process finds it
}

void BusClient::turn()
{
    for (int i = 0; i < 20; i++)
        uloop_run_timeout(0);
}

void BusClient::add(ubus_object *object)
{
    const Bytes none;
    const bool typed = object->type != nullptr;

    ctx->request_seq = 0;
    broker.say(message("00 02 0001 00000000", typed ? "03000008 00001001 05000008 00002001" : "03000008 00001001") +
               status("0001 00000000", 0));
    ASSERT_EQ(UBUS_STATUS_OK, ubus_add_object(ctx, object));
    ASSERT_NE(none, broker.heard());
    ctx->request_seq = 0;
}
