// The shipped program on its true paths. The test runs itself again where these are private: as root of a user
// namespace, with a mount namespace of its own.

#include <cstdlib>
#include <fstream>
#include <sys/mount.h>

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr const char *kInside = "WEXOND_TEST_INSIDE";

// Gives /tmp and /run to $1, and leaves the build folder $2 where it is, should it lie below /tmp. Then becomes the
// rest.
constexpr const char *kScript = R"(
    case "$2" in /tmp/*)
        mkdir -p "$1$2" && mount --rbind "$2" "$1$2" || exit 77 ;;
    esac
    mkdir -p "$1/tmp" "$1/run" && mount --rbind "$1/run" /run && mount --rbind "$1/tmp" /tmp || exit 77
    shift 2
    exec "$@"
)";

void work_on_true_paths()
{
    Console console("/tmp/console");
    ASSERT_EQ(mount("/tmp/console", "/dev/console", nullptr, MS_BIND, nullptr), 0) << strerror(errno);
    ScriptedService service("/tmp/orvc.sock");
    Bus bus("/var/run/ubus/ubus.sock");
    Process::Environment no_socket = {{"UBUS_SOCKET", {}}};
    Process daemon({built_program("wexond")}, no_socket);
    {
        BusClient client(bus.socket());
        client.wait_for_object("wexond.devinfo.ext");
        service.answer(20, record(Bytes(4).u32(0, 1)));
        EXPECT_EQ(client.call("wexond.ledswitch", "get"), R"({"wexond.ledswitch": {"status": "on"}})");
        EXPECT_EQ(console.take(), "");
        std::ofstream flag("/tmp/debug_wexond");
        EXPECT_EQ(client.call("wexond.ledswitch", "get"), R"({"wexond.ledswitch": {"status": "on"}})");
        EXPECT_EQ(console.take(), entry_log("wexond_ledswitch_get", "wexond.ledswitch", "get") + get_reply_log());
    }
    Process tool({bus_tool(), "-S", "call", "wexond.ledswitch", "get"}, no_socket);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.standard_output(), "{\"wexond.ledswitch\":{\"status\":\"on\"}}\n");
    bus.stop();
    EXPECT_EQ(daemon.wait(), 0);
    EXPECT_EQ(daemon.standard_error(), "");
}

TEST(ShippedDaemonTest, WorksOnItsTruePaths)
{
    NEEDS_BUS_TOOL();
    if (getenv(kInside))
        return work_on_true_paths();
    Process permission({"unshare", "-rm", "true"});
    if (permission.wait() != 0)
        GTEST_SKIP() << "no namespaces here: " << permission.standard_error();
    TemporaryFolder folder;
    Process inside({"unshare", "-rm", "sh", "-ec", kScript, "sh", folder.path(),
                    std::filesystem::path(built_program("")).parent_path().parent_path(),
                    std::filesystem::read_symlink("/proc/self/exe"),
                    "--gtest_filter=ShippedDaemonTest.WorksOnItsTruePaths"},
                   {{kInside, "yes"}});
    std::optional<int> status = inside.wait(3 * kPatience);
    if (status == 77)
        GTEST_SKIP() << "no private folders here: " << inside.standard_error();
    EXPECT_EQ(status, 0) << inside.standard_output() << inside.standard_error();
}

} // namespace
