// The interface that agents build on: every object, its methods, and their arguments in order are those described.

#include <algorithm>
#include <regex>
#include <sstream>

#include "tests/support/daemon_test.h"
#include "tests/support/interface.h"

using namespace test_support;

namespace
{

// The lines that are no method.
std::vector<std::string> paths_in(const std::string &listing)
{
    std::vector<std::string> paths;
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);)
        if (!line.starts_with(' '))
            paths.push_back(line);
    return paths;
}

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
    for (const std::string &path : registered_objects())
        EXPECT_EQ(client().list(path), listing(path));
}

TEST_F(CatalogueTest, RegistersObjectsInTheirOrder)
{
    client().listen("ubus.object.add");
    launch_daemon();
    for (const std::string &path : registered_objects()) {
        static const std::regex id(R"("id": -?\d+)");
        EXPECT_EQ(std::regex_replace(client().next_message().value_or(""), id, R"("id": "#")"),
                  notification("ubus.object.add", {{"id", "#"}, {"path", path}}));
    }
    wait_until_up();
}

TEST_F(CatalogueTest, ListsEverythingDescribedAndNothingElse)
{
    // One entry in each list, the access points of the two bands are there always: its index after the count.
    service().answer(98, record(Bytes(1156).u32(0, 1).u32(4, 7)));
    service().answer(206, record(Bytes(67844).u32(0, 1).u32(4, 4)));
    service().answer(211, record(Bytes(36228).u32(0, 1).u32(4, 8)));
    start_daemon();
    // LAN hosts have entries from their first list on: one station, whose MAC address text is empty.
    service().answer(105, record(Bytes(20).u32(0, 1)));
    service().answer(103, record(Bytes(552).u32(0, 1)));
    service().answer(135, no_answer());
    call("wexond.laninfo", "list");
    std::string listings;
    std::vector<std::string> found, described;
    for (const std::string &path : paths_in(client().list("wexond*"))) {
        listings += listing(path);
        found.push_back(describe(path) ? describe(path)->name : path);
    }
    EXPECT_EQ(client().list("wexond*"), listings);
    for (const DescribedObject &object : described_objects())
        described.push_back(object.name);
    std::ranges::sort(found);
    EXPECT_EQ(found, described);
}

TEST_F(CatalogueTest, OtherMethodsAreNotFound)
{
    start_daemon();
    for (const std::string &path : registered_objects())
        for (const char *method : {"Get", "", "set ", "upgrade2"})
            EXPECT_EQ(call(path, method), "(Method not found)") << path << ' ' << method;
    EXPECT_EQ(service().take_requests(), Requests{});
}

} // namespace
