// The interface that agents build on: every object, its methods, and their arguments in order.

#include <algorithm>
#include <regex>

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

// In the order of registration.
constexpr const char *kCatalogue = R"(
wexond
  upgrade downurl:string filesize:int32 chksum:string isreboot:string
  reboot
  reset
wexond.iptv
  set enable:string vlanid:int32 ethport:array 2.4G:array 5G:array
  get
wexond.ledswitch
  set status:string
  get
wexond.serverinfo
  set bssaddr:string abiaddr:string devtoken:string devid:string backup:array
  get
wexond.devinfo
  set workmode:string
  get
wexond.laninfo
  list
  getnum
  set internetaccess:int32 storageaccess:int32 usbandwidth:int32 dsbandwidth:int32 devname:string brand:string model:string
  get
wexond.waninfo
  set networktype:string pppoename:string pppoepwd:string
  get
wexond.neighbourinfo
  get
wexond.wifi
  deassociation macs:array
  set wifiswitch:string wpsswitch:string elinksync:string
  get wifiswitch:string wpsswitch:string elinksync:string
  channelscan
wexond.wifi.blacklist
  add mac:string name:string
  delete idx:int32
  list
wexond.wifi.whitelist
  add mac:string name:string
  delete idx:int32
  list
wexond.wifi.mesh
  set mode:string roaming:string
  get
  backhaulbss
  topo
wexond.wifi.vsie
  get
wexond.wifi.vsie.beacontx
  add servicename:string ssididx:int32 duration:int32 len:int32 iedata:array
  delete idx:int32
  list
  start idx:int32
  stop idx:int32
wexond.wifi.vsie.proberx
  add servicename:string band:int32 oui:array
  delete idx:int32
  list
  flush servicename:string
wexond.wifi.vsie.proberesp
  add mac:string iedata:array
  delete idx:int32
  list
wexond.wifi.timer
  add weekday:string time:string enable:string
  delete idx:int32
  list
wexond.wifi.roaming
  set enable:string thresholdrssi:int32 reportinterval:int32 starttime:int32 startrssi:int32
  get
  getrssiinfo macs:array
  startaprssiquery mac:string aps:array
  startstabsstransitionrequest mac:string channel:string bssid:string
wexond.wifi.1
  set channel:int32 txpower:string bandwidth:int32 enable:string
  get
  channelscore
wexond.wifi.1.ap
  add enable:string ssid:string key:string auth:string encrypt:string hide:int32 accessmode:int32 accessrule:int32 allowedipport:string usbandwidth:int32 dsbandwidth:int32
  delete idx:int32
  list
  stats
wexond.wifi.2
  set channel:int32 txpower:string bandwidth:int32 enable:string
  get
  channelscore
wexond.wifi.2.ap
  add enable:string ssid:string key:string auth:string encrypt:string hide:int32 accessmode:int32 accessrule:int32 allowedipport:string usbandwidth:int32 dsbandwidth:int32
  delete idx:int32
  list
  stats
wexond.qos
  set enable:string enabledscp:string enable8021p:string
  get
wexond.qos.classification
  add priority:int32 dscp:int32 vlan8021p:int32 name:string protocol:string srcmac:string dstmac:string
  delete idx:int32
  list
wexond.diagnostics
  get
  netstat
  ping host:string num:int32 timeout:int32 blocksize:int32
  traceroute host:string numoftries:int32 timeout:int32 blocksize:int32 maxhop:int32
wexond.filter.url
  add enable:string urls:array name:string macs:array mode:int32 weekdays:array timerange:string
  delete idx:int32
  list
  set enable:string urls:array name:string macs:array mode:int32 weekdays:array timerange:string
  get
wexond.filter.dns
  add enable:string hostnames:array name:string action:int32 mac:string mode:int32 weekdays:array timerange:string
  delete idx:int32
  list
wexond.ipv6
  set enable:string
  get
wexond.devinfo.ext
  get
)";

// One entry of each kind; the access points of the two bands are two.
constexpr const char *kEntries = R"(
wexond.filter.dns.8
  set enable:string hostnames:array name:string action:int32 mac:string mode:int32 weekdays:array timerange:string
  get
wexond.filter.url.4
  set enable:string urls:array name:string macs:array mode:int32 weekdays:array timerange:string
  get
wexond.laninfo.1
  list
  getnum
  set internetaccess:int32 storageaccess:int32 usbandwidth:int32 dsbandwidth:int32 devname:string brand:string model:string
  get
wexond.wifi.1.ap.1
  set enable:string ssid:string key:string auth:string encrypt:string hide:int32 accessmode:int32 accessrule:int32 allowedipport:string usbandwidth:int32 dsbandwidth:int32
  get
  stats
wexond.wifi.2.ap.1
  set enable:string ssid:string key:string auth:string encrypt:string hide:int32 accessmode:int32 accessrule:int32 allowedipport:string usbandwidth:int32 dsbandwidth:int32
  get
  stats
wexond.wifi.timer.7
  set weekday:string time:string enable:string
  get
)";

struct Object {
    std::string path, listing;
};

std::vector<Object> objects_in(std::string_view text)
{
    std::vector<Object> objects;
    std::istringstream lines((std::string(text.substr(1)))); // begins on the line after its quote
    for (std::string line; std::getline(lines, line);) {
        if (line[0] != ' ')
            objects.push_back({line, ""});
        objects.back().listing += line + '\n';
    }
    return objects;
}

class CatalogueTest : public DaemonTest
{
};

TEST_F(CatalogueTest, ListsObjectsWithMethodsAndArguments)
{
    start_daemon();
    std::vector<Object> objects = objects_in(kCatalogue);
    EXPECT_EQ(objects.size(), 29u);
    for (const Object &object : objects)
        EXPECT_EQ(client().list(object.path), object.listing);
}

TEST_F(CatalogueTest, RegistersObjectsInTheirOrder)
{
    client().listen("ubus.object.add");
    launch_daemon();
    for (const Object &object : objects_in(kCatalogue)) {
        static const std::regex id(R"("id": -?\d+)");
        EXPECT_EQ(std::regex_replace(client().next_message().value_or(""), id, R"("id": #)"),
                  R"(ubus.object.add {"id": #, "path": ")" + object.path + "\"}");
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
    std::vector<Object> objects = objects_in(kCatalogue), entries = objects_in(kEntries);
    objects.insert(objects.end(), entries.begin(), entries.end());
    std::ranges::sort(objects, {}, &Object::path);
    std::string listing;
    for (const Object &object : objects)
        listing += object.listing;
    EXPECT_EQ(client().list("wexond*"), listing);
}

TEST_F(CatalogueTest, OtherMethodsAreNotFound)
{
    start_daemon();
    for (const Object &object : objects_in(kCatalogue))
        for (const char *method : {"Get", "", "set ", "upgrade2"})
            EXPECT_EQ(call(object.path, method), "(Method not found)") << object.path << ' ' << method;
    EXPECT_EQ(service().take_requests(), Requests{});
}

} // namespace
