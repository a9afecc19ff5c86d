// The fixture of the tests whose daemon's memory is counted, and fails when they want it.
#pragma once

#include <atomic>

#include "tests/faults/fault_test.h"
#include "tests/faults/memory_control.h"

// Makes the control file, zeroed; to be unmapped.
MemoryControl *map_control(const std::filesystem::path &path);

// How many entries the service's lists have: one each, or none.
enum class World { full, empty };

struct Call {
    const char *object;
    const char *method;
    const char *arguments = "{}";
    World world = World::full;
};

class StarvedTest : public FaultTest
{
  protected:
    StarvedTest();
    ~StarvedTest() override;

    // Starts the daemon and waits until it takes calls.
    void start();
    void launch();

    // Makes the call in its world. What is armed meanwhile is disarmed then.
    std::string make(const Call &call);

    // Of the requests of a call, these go unanswered; none by default.
    void leave_unanswered(uint32_t first, uint32_t last);

    // The daemon's holdings when the handler of the last call has returned, which is after its answer.
    int64_t blocks();

    // Zeroed: all allocations succeed.
    MemoryControl *memory_;

  private:
    test_support::Answer answer(const test_support::Request &request);
    void wait_for_handler();

    std::atomic<World> world_ = World::full;
    std::atomic<uint32_t> requests_ = 0, first_unanswered_ = UINT32_MAX, last_unanswered_ = 0;
};

// Arguments that the methods take. What is added gets the number 2.
inline constexpr const char *kIndex2 = R"({"idx": 2})";
inline constexpr const char *kUrlRule = R"({"enable": "yes", "urls": ["a.example", "b.example"], "name": "n",
    "macs": ["001122334455"], "mode": 1, "weekdays": [1, 7], "timerange": "08:00-12:00"})";
inline constexpr const char *kDnsRule = R"({"enable": "yes", "hostnames": ["a.example"], "name": "n", "action": 1,
    "mac": "001122334455", "mode": 1, "weekdays": [1, 7], "timerange": "08:00-12:00"})";
inline constexpr const char *kTimer = R"({"weekday": "7", "time": "07:30", "enable": "yes"})";
inline constexpr const char *kAp = R"({"enable": "yes", "ssid": "s", "key": "k", "auth": "wpa2psk", "encrypt": "aes",
    "hide": 1, "accessmode": 1, "accessrule": 2, "allowedipport": "192.168.1.10:80", "usbandwidth": 1,
    "dsbandwidth": 2})";
inline constexpr const char *kRule = R"({"priority": 1, "dscp": 2, "vlan8021p": 3, "name": "n", "protocol": "tcp",
    "srcmac": "001122334455", "dstmac": "001122334456"})";

inline constexpr Call kAddUrlRule = {"wexond.filter.url", "add", kUrlRule};
inline constexpr Call kDeleteUrlRule = {"wexond.filter.url", "delete", kIndex2};
inline constexpr Call kAddDnsRule = {"wexond.filter.dns", "add", kDnsRule};
inline constexpr Call kDeleteDnsRule = {"wexond.filter.dns", "delete", kIndex2};
inline constexpr Call kAddTimer = {"wexond.wifi.timer", "add", kTimer};
inline constexpr Call kDeleteTimer = {"wexond.wifi.timer", "delete", kIndex2};
inline constexpr Call kAdd2gAp = {"wexond.wifi.1.ap", "add", kAp};
inline constexpr Call kDelete2gAp = {"wexond.wifi.1.ap", "delete", kIndex2};
inline constexpr Call kAdd5gAp = {"wexond.wifi.2.ap", "add", kAp};
inline constexpr Call kDelete5gAp = {"wexond.wifi.2.ap", "delete", kIndex2};
inline constexpr Call kAddRule = {"wexond.qos.classification", "add", kRule};
inline constexpr Call kDeleteRule = {"wexond.qos.classification", "delete", R"({"idx": 0})"};
inline constexpr Call kListStations = {"wexond.laninfo", "list"};
inline constexpr Call kListNoStations = {"wexond.laninfo", "list", "{}", World::empty};
inline constexpr Call kListTimers = {"wexond.wifi.timer", "list"};
inline constexpr Call kListNoTimers = {"wexond.wifi.timer", "list", "{}", World::empty};
inline constexpr Call kListUrlRules = {"wexond.filter.url", "list"};
inline constexpr Call kListNoUrlRules = {"wexond.filter.url", "list", "{}", World::empty};
inline constexpr Call kListDnsRules = {"wexond.filter.dns", "list"};
inline constexpr Call kListNoDnsRules = {"wexond.filter.dns", "list", "{}", World::empty};
inline constexpr Call kListRules = {"wexond.qos.classification", "list"};
inline constexpr Call kListNoRules = {"wexond.qos.classification", "list", "{}", World::empty};
