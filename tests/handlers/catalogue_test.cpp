// The interface that agents build on: every object, its methods, and their arguments in order are those described.

#include <algorithm>
#include <regex>

#include "tests/support/daemon_test.h"
#include "tests/support/interface.h"

using namespace test_support;

namespace
{

// In the order of registration.
constexpr const char *kCatalogue[] = {
    "wexond",
    "wexond.iptv",
    "wexond.ledswitch",
    "wexond.serverinfo",
    "wexond.devinfo",
    "wexond.laninfo",
    "wexond.waninfo",
    "wexond.neighbourinfo",
    "wexond.wifi",
    "wexond.wifi.blacklist",
    "wexond.wifi.whitelist",
    "wexond.wifi.mesh",
    "wexond.wifi.vsie",
    "wexond.wifi.vsie.beacontx",
    "wexond.wifi.vsie.proberx",
    "wexond.wifi.vsie.proberesp",
    "wexond.wifi.timer",
    "wexond.wifi.roaming",
    "wexond.wifi.1",
    "wexond.wifi.1.ap",
    "wexond.wifi.2",
    "wexond.wifi.2.ap",
    "wexond.qos",
    "wexond.qos.classification",
    "wexond.diagnostics",
    "wexond.filter.url",
    "wexond.filter.dns",
    "wexond.ipv6",
    "wexond.devinfo.ext",
};

// One entry of each kind; the access points of the two bands are two.
constexpr const char *kEntries[] = {
    "wexond.filter.dns.8", "wexond.filter.url.4", "wexond.laninfo.1",
    "wexond.wifi.1.ap.1",  "wexond.wifi.2.ap.1",  "wexond.wifi.timer.7",
};

// As it is described.
std::string listing(const std::string &path)
{
    const DescribedObject *object = describe(path);
    return object ? object->listing(path) : path + " is not described";
}

class CatalogueTest : public DaemonTest
{
};

TEST_F(CatalogueTest, ListsObjectsWithMethodsAndArguments)
{
    start_daemon();
    for (const char *path : kCatalogue)
        EXPECT_EQ(client().list(path), listing(path));
}

TEST_F(CatalogueTest, DescribesNothingElse)
{
    std::vector<std::string> described, there(std::begin(kCatalogue), std::end(kCatalogue));
    for (const DescribedObject &object : described_objects())
        described.push_back(object.name);
    for (const char *entry : kEntries)
        there.push_back(describe(entry)->name);
    std::ranges::sort(there);
    EXPECT_EQ(described, there);
}

TEST_F(CatalogueTest, RegistersObjectsInTheirOrder)
{
    client().listen("ubus.object.add");
    launch_daemon();
    for (const char *path : kCatalogue) {
        static const std::regex id(R"("id": -?\d+)");
        EXPECT_EQ(std::regex_replace(client().next_message().value_or(""), id, R"("id": #)"),
                  R"(ubus.object.add {"id": #, "path": ")" + std::string(path) + "\"}");
    }
    wait_until_up();
}

TEST_F(CatalogueTest, ListsNothingElseButItsEntries)
{
    // The first entry of each list: its index after the count.
    service().answer(98, record(Bytes(1156).u32(0, 1).u32(4, 7)));
    service().answer(206, record(Bytes(67844).u32(0, 1).u32(4, 4)));
    service().answer(211, record(Bytes(36228).u32(0, 1).u32(4, 8)));
    start_daemon();
    // LAN hosts have entries from their first list on: one station, whose MAC address text is empty.
    service().answer(105, record(Bytes(20).u32(0, 1)));
    service().answer(103, record(Bytes(552).u32(0, 1)));
    service().answer(135, no_answer());
    call("wexond.laninfo", "list");
    std::vector<std::string> paths(std::begin(kCatalogue), std::end(kCatalogue));
    paths.insert(paths.end(), std::begin(kEntries), std::end(kEntries));
    std::ranges::sort(paths);
    std::string listings;
    for (const std::string &path : paths)
        listings += listing(path);
    EXPECT_EQ(client().list("wexond*"), listings);
}

TEST_F(CatalogueTest, OtherMethodsAreNotFound)
{
    start_daemon();
    for (const char *path : kCatalogue)
        for (const char *method : {"Get", "", "set ", "upgrade2"})
            EXPECT_EQ(call(path, method), "(Method not found)") << path << ' ' << method;
    EXPECT_EQ(service().take_requests(), Requests{});
}

} // namespace
