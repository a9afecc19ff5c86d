// The image of every record that goes over a socket, against offsets written out by hand, and the message types. Each
// image gives every named field a value of its own, and every text its full width.

#include <cstring>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "core/backend.h"
#include "core/shared_records.h"
#include "events/event_records.h"
#include "filters/filter_records.h"
#include "filters/qos_records.h"
#include "filters/vsie_records.h"
#include "filters/wifi_timer_records.h"
#include "system/commands_records.h"
#include "system/device_info_records.h"
#include "system/diagnostics_records.h"
#include "system/iptv_records.h"
#include "system/lan_info_records.h"
#include "system/led_switch_records.h"
#include "system/neighbour_info_records.h"
#include "system/server_info_records.h"
#include "system/wan_info_records.h"
#include "tests/support/bytes.h"
#include "wifi/access_list_records.h"
#include "wifi/access_point_records.h"
#include "wifi/mesh_records.h"
#include "wifi/radio_records.h"
#include "wifi/roaming_records.h"

using namespace std::string_literals;
using test_support::Bytes;

namespace
{

template <typename Record> Bytes image(const Record &record)
{
    static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
    return Bytes({reinterpret_cast<const char *>(&record), sizeof(record)});
}

// Fills a text field, or one of bytes, to its full width.
template <typename Byte, size_t N> void fill(Byte (&field)[N], char letter)
{
    static_assert(sizeof(Byte) == 1);
    memset(field, letter, N);
}

// --- Shared records, system commands, device information, small settings ---

TEST(RecordImage, ReturnCode)
{
    EXPECT_EQ(image(ReturnCode{0x01020304}), Bytes(4).u32(0, 0x01020304));
}

TEST(RecordImage, ManuInfo)
{
    ManuInfoRecord record{};
    fill(record.mac, 'm');
    EXPECT_EQ(image(record), Bytes(96).text(0, std::string(18, 'm')));
}

TEST(RecordImage, WanStatus)
{
    WanStatusRecord record{};
    record.work_mode = 0x01020304;
    record.link = 0x11121314;
    fill(record.address, 'a');
    fill(record.subnet_mask, 's');
    fill(record.gateway, 'g');
    fill(record.dns1, '1');
    fill(record.dns2, '2');
    EXPECT_EQ(image(record), Bytes(168)
                                 .u32(0, 0x01020304)
                                 .u32(4, 0x11121314)
                                 .text(8, std::string(16, 'a'))
                                 .text(24, std::string(16, 's'))
                                 .text(40, std::string(16, 'g'))
                                 .text(88, std::string(16, '1'))
                                 .text(104, std::string(16, '2')));
}

TEST(RecordImage, SetDhcp)
{
    EXPECT_EQ(image(SetDhcpRecord{kDhcpValue}), Bytes(4).text(0, "\xDC\x05\0\0"s));
}

TEST(RecordImage, PortNum)
{
    PortNumRecord record{};
    record.lan_count = 0x01010101;
    for (uint32_t i = 0; i < 8; i++)
        record.lan_ports[i] = 0x02020201 + i;
    record.wan_count = 0x03030303;
    record.wan_ports[0] = 0x04040401;
    record.wan_ports[1] = 0x04040402;
    EXPECT_EQ(image(record), Bytes(48)
                                 .u32(0, 0x01010101)
                                 .u32(4, 0x02020201)
                                 .u32(8, 0x02020202)
                                 .u32(12, 0x02020203)
                                 .u32(16, 0x02020204)
                                 .u32(20, 0x02020205)
                                 .u32(24, 0x02020206)
                                 .u32(28, 0x02020207)
                                 .u32(32, 0x02020208)
                                 .u32(36, 0x03030303)
                                 .u32(40, 0x04040401)
                                 .u32(44, 0x04040402));
}

WifiTimerRecord wifi_timer()
{
    WifiTimerRecord record{};
    record.index = 0x01020304;
    record.fixed1 = 0x11121314;
    record.enable = 0x21222324;
    record.fixed2 = 0x31323334;
    record.hour = -23;
    record.minute = -59;
    record.weekday = 0x41424344;
    return record;
}

Bytes wifi_timer_image()
{
    return Bytes(36)
        .u32(0, 0x01020304)
        .u32(4, 0x11121314)
        .u32(8, 0x21222324)
        .u32(12, 0x31323334)
        .u32(16, 0xFFFFFFE9)
        .u32(20, 0xFFFFFFC5)
        .u32(32, 0x41424344);
}

TEST(RecordImage, WifiTimer)
{
    EXPECT_EQ(image(wifi_timer()), wifi_timer_image());
}

TEST(RecordImage, WifiTimerList)
{
    WifiTimerList list{};
    list.count = 0x05060708;
    list.entries[0] = wifi_timer();
    list.entries[31] = wifi_timer();
    EXPECT_EQ(image(list),
              Bytes(1156).u32(0, 0x05060708).text(4, wifi_timer_image().data()).text(1120, wifi_timer_image().data()));
}

TEST(RecordImage, Radio)
{
    RadioRecord record{};
    record.band = 0x01010101;
    record.enable = 0x02020202;
    record.txpower = 0x03030303;
    record.channel = 0x04040404;
    record.current_channel = 0x05050505;
    record.bandwidth = 0x06060606;
    record.mode = 0x07070707;
    record.ap_count = 0x08080808;
    record.load = 0x09090909;
    record.change_mask = 0x0A0A0A0A;
    EXPECT_EQ(image(record), Bytes(48)
                                 .u32(0, 0x01010101)
                                 .u32(4, 0x02020202)
                                 .u32(8, 0x03030303)
                                 .u32(12, 0x04040404)
                                 .u32(16, 0x05050505)
                                 .u32(20, 0x06060606)
                                 .u32(24, 0x07070707)
                                 .u32(32, 0x08080808)
                                 .u32(36, 0x09090909)
                                 .u32(44, 0x0A0A0A0A));
}

TEST(RecordImage, ApBasic)
{
    ApBasicRecord record{};
    record.band = 0x01010101;
    record.ap_index = 0x02020202;
    record.enable = 0x03030303;
    fill(record.ssid, 's');
    fill(record.bssid, 'b');
    record.auth = 0x04040404;
    record.encrypt = 0x05050505;
    fill(record.key, 'k');
    record.hide = 0x06060606;
    record.change_mask = 0x07070707;
    EXPECT_EQ(image(record), Bytes(200)
                                 .u32(0, 0x01010101)
                                 .u32(4, 0x02020202)
                                 .u32(8, 0x03030303)
                                 .text(12, std::string(32, 's'))
                                 .text(76, std::string(32, 'b'))
                                 .u32(108, 0x04040404)
                                 .u32(112, 0x05050505)
                                 .text(116, std::string(64, 'k'))
                                 .u32(180, 0x06060606)
                                 .u32(196, 0x07070707));
}

UrlFilterRecord url_filter()
{
    UrlFilterRecord record{};
    record.index = 0x01010101;
    record.enable = 0x02020202;
    fill(record.urls[0], 'u');
    fill(record.urls[31], 'U');
    fill(record.name, 'n');
    fill(record.macs[0], 'm');
    fill(record.macs[31], 'M');
    record.mode = 0x03030303;
    record.weekdays = 0x04040404;
    record.ranges[0] = {0x05050501, 0x05050502};
    record.ranges[1] = {0x05050503, 0x05050504};
    record.ranges[2] = {0x05050505, 0x05050506};
    return record;
}

Bytes url_filter_image()
{
    return Bytes(2120)
        .u32(0, 0x01010101)
        .u32(4, 0x02020202)
        .text(8, std::string(32, 'u'))
        .text(1000, std::string(32, 'U'))
        .text(1032, std::string(32, 'n'))
        .text(1064, std::string(32, 'm'))
        .text(2056, std::string(32, 'M'))
        .u32(2088, 0x03030303)
        .u32(2092, 0x04040404)
        .u32(2096, 0x05050501)
        .u32(2100, 0x05050502)
        .u32(2104, 0x05050503)
        .u32(2108, 0x05050504)
        .u32(2112, 0x05050505)
        .u32(2116, 0x05050506);
}

TEST(RecordImage, UrlFilter)
{
    EXPECT_EQ(image(url_filter()), url_filter_image());
}

TEST(RecordImage, UrlFilterList)
{
    UrlFilterList list{};
    list.count = 0x06060606;
    list.entries[0] = url_filter();
    list.entries[31] = url_filter();
    EXPECT_EQ(
        image(list),
        Bytes(67844).u32(0, 0x06060606).text(4, url_filter_image().data()).text(65724, url_filter_image().data()));
}

DnsFilterRecord dns_filter()
{
    DnsFilterRecord record{};
    record.index = 0x01010101;
    record.enable = 0x02020202;
    fill(record.hostnames[0], 'h');
    fill(record.hostnames[31], 'H');
    fill(record.name, 'n');
    fill(record.mac, 'm');
    record.action = 0x03030303;
    record.mode = 0x04040404;
    record.weekdays = 0x05050505;
    record.ranges[0] = {0x06060601, 0x06060602};
    record.ranges[1] = {0x06060603, 0x06060604};
    record.ranges[2] = {0x06060605, 0x06060606};
    return record;
}

Bytes dns_filter_image()
{
    return Bytes(1132)
        .u32(0, 0x01010101)
        .u32(4, 0x02020202)
        .text(8, std::string(32, 'h'))
        .text(1000, std::string(32, 'H'))
        .text(1032, std::string(32, 'n'))
        .text(1064, std::string(32, 'm'))
        .u32(1096, 0x03030303)
        .u32(1100, 0x04040404)
        .u32(1104, 0x05050505)
        .u32(1108, 0x06060601)
        .u32(1112, 0x06060602)
        .u32(1116, 0x06060603)
        .u32(1120, 0x06060604)
        .u32(1124, 0x06060605)
        .u32(1128, 0x06060606);
}

TEST(RecordImage, DnsFilter)
{
    EXPECT_EQ(image(dns_filter()), dns_filter_image());
}

TEST(RecordImage, DnsFilterList)
{
    DnsFilterList list{};
    list.count = 0x07070707;
    list.entries[0] = dns_filter();
    list.entries[31] = dns_filter();
    EXPECT_EQ(
        image(list),
        Bytes(36228).u32(0, 0x07070707).text(4, dns_filter_image().data()).text(35096, dns_filter_image().data()));
}

TEST(RecordImage, FactoryFlag)
{
    EXPECT_EQ(image(FactoryFlagRecord{0x01020304}), Bytes(4).u32(0, 0x01020304));
}

TEST(RecordImage, Reboot)
{
    EXPECT_EQ(image(RebootRecord{}), Bytes(4));
}

TEST(RecordImage, Upgrade)
{
    UpgradeRecord record{};
    fill(record.url, 'u');
    record.file_size = -2;
    fill(record.checksum, 'c');
    record.reboot = 0x01020304;
    EXPECT_EQ(image(record), Bytes(456)
                                 .text(0, std::string(384, 'u'))
                                 .text(384, "\xFE\xFF\xFF\xFF")
                                 .text(388, std::string(64, 'c'))
                                 .u32(452, 0x01020304));
}

TEST(RecordImage, HwInfo)
{
    HwInfoRecord record{};
    fill(record.vendor, 'v');
    fill(record.model, 'm');
    fill(record.hardware_version, 'h');
    fill(record.url, 'u');
    record.lan_rates[0] = 0x01010101;
    record.lan_rates[1] = 0x01010102;
    record.lan_rates[2] = 0x01010103;
    record.wan_rate = 0x02020202;
    fill(record.description, 'd');
    record.standards1 = 0x03030301;
    record.standards2 = 0x03030302;
    record.wifi_rate1 = 0x04040401;
    record.wifi_rate2 = 0x04040402;
    EXPECT_EQ(image(record), Bytes(352)
                                 .text(0, std::string(16, 'v'))
                                 .text(16, std::string(32, 'm'))
                                 .text(48, std::string(32, 'h'))
                                 .text(80, std::string(108, 'u'))
                                 .u32(188, 0x01010101)
                                 .u32(192, 0x01010102)
                                 .u32(196, 0x01010103)
                                 .u32(204, 0x02020202)
                                 .text(256, std::string(72, 'd'))
                                 .u32(328, 0x03030301)
                                 .u32(336, 0x03030302)
                                 .u32(344, 0x04040401)
                                 .u32(348, 0x04040402));
}

TEST(RecordImage, FwInfo)
{
    FwInfoRecord record{};
    fill(record.software_version, 's');
    EXPECT_EQ(image(record), Bytes(160).text(0, std::string(160, 's')));
}

TEST(RecordImage, ManageInfo)
{
    ManageInfoRecord record{};
    fill(record.address, 'a');
    EXPECT_EQ(image(record), Bytes(96).text(80, std::string(16, 'a')));
}

TEST(RecordImage, FuncSupport)
{
    FuncSupportRecord record{};
    record.dual_band = 0x01010101;
    record.usb = 0x02020202;
    record.vpn = 0x03030303;
    record.mesh2 = 0x05050505;
    record.mesh1 = 0x07070707;
    EXPECT_EQ(
        image(record),
        Bytes(32).u32(4, 0x01010101).u32(8, 0x02020202).u32(12, 0x03030303).u32(20, 0x05050505).u32(28, 0x07070707));
}

TEST(RecordImage, UplinkSupport)
{
    UplinkSupportRecord record{};
    for (uint32_t i = 0; i < 5; i++)
        record.words[i] = 0x01010101 + i;
    EXPECT_EQ(
        image(record),
        Bytes(20).u32(0, 0x01010101).u32(4, 0x01010102).u32(8, 0x01010103).u32(12, 0x01010104).u32(16, 0x01010105));
}

TEST(RecordImage, SetBridge)
{
    EXPECT_EQ(image(SetBridgeRecord{0x01020304}), Bytes(4).u32(0, 0x01020304));
}

TEST(RecordImage, OpvmBasicInfo)
{
    OpvmBasicInfoRecord record{};
    fill(record.equipment_id, 'e');
    fill(record.serial_number, 's');
    fill(record.interface_version, 'i');
    EXPECT_EQ(image(record),
              Bytes(72).text(0, std::string(16, 'e')).text(16, std::string(35, 's')).text(51, std::string(21, 'i')));
}

TEST(RecordImage, Iptv)
{
    IptvRecord record{};
    record.enable = 0x01010101;
    record.vlans[0] = {0x02020201, 0x02020202, 0x02020203, 0x02020204};
    record.vlans[1] = {0x03030301, 0x03030302, 0x03030303, 0x03030304};
    EXPECT_EQ(image(record), Bytes(36)
                                 .u32(0, 0x01010101)
                                 .u32(4, 0x02020201)
                                 .u32(8, 0x02020202)
                                 .u32(12, 0x02020203)
                                 .u32(16, 0x02020204)
                                 .u32(20, 0x03030301)
                                 .u32(24, 0x03030302)
                                 .u32(28, 0x03030303)
                                 .u32(32, 0x03030304));
    // Which word of a VLAN is which.
    IptvVlan vlan{};
    vlan.vlan_id = 1;
    vlan.ethernet_mask = 2;
    vlan.wifi_2g_mask = 3;
    vlan.wifi_5g_mask = 4;
    EXPECT_EQ(image(vlan), Bytes(16).u32(0, 1).u32(4, 2).u32(8, 3).u32(12, 4));
}

TEST(RecordImage, LedSwitch)
{
    EXPECT_EQ(image(LedSwitchRecord{0x01020304}), Bytes(4).u32(0, 0x01020304));
}

TEST(RecordImage, NeighbourRequest)
{
    NeighbourRequest record{};
    record.band = 0x01020304;
    EXPECT_EQ(image(record), Bytes(8).u32(0, 0x01020304));
}

NeighbourRecord neighbour()
{
    NeighbourRecord record{};
    fill(record.ssid, 's');
    fill(record.bssid, 'b');
    record.channel = 0x01020304;
    record.rssi = -70;
    record.standards = 0x11121314;
    return record;
}

Bytes neighbour_image()
{
    return Bytes(92)
        .text(0, std::string(33, 's'))
        .text(33, std::string(35, 'b'))
        .u32(68, 0x01020304)
        .u32(72, 0xFFFFFFBA)
        .u32(76, 0x11121314);
}

TEST(RecordImage, NeighbourList)
{
    NeighbourList list{};
    list.count = 0x21222324;
    list.entries[0] = neighbour();
    list.entries[31] = neighbour();
    EXPECT_EQ(image(list),
              Bytes(2952).u32(4, 0x21222324).text(8, neighbour_image().data()).text(2860, neighbour_image().data()));
}

TEST(RecordImage, ServerInfo)
{
    ServerInfoRecord record{};
    fill(record.bssaddr, 'b');
    fill(record.abiaddr, 'a');
    fill(record.devtoken, 't');
    fill(record.devid, 'i');
    fill(record.backup[0], '0');
    fill(record.backup[15], 'f');
    record.given_mask = 0x01020304;
    EXPECT_EQ(image(record), Bytes(1304)
                                 .text(0, std::string(65, 'b'))
                                 .text(65, std::string(65, 'a'))
                                 .text(130, std::string(65, 't'))
                                 .text(195, std::string(65, 'i'))
                                 .text(260, std::string(65, '0'))
                                 .text(1235, std::string(65, 'f'))
                                 .u32(1300, 0x01020304));
}

TEST(RecordImage, ChannelScoreList)
{
    ChannelScoreList list{};
    list.band = 0x01010101;
    list.count = 0x02020202;
    list.entries[0].channel = 0x03030301;
    list.entries[0].score = 0x03030302;
    list.entries[31].channel = 0x04040401;
    list.entries[31].score = 0x04040402;
    EXPECT_EQ(image(list), Bytes(264)
                               .u32(0, 0x01010101)
                               .u32(4, 0x02020202)
                               .u32(8, 0x03030301)
                               .u32(12, 0x03030302)
                               .u32(256, 0x04040401)
                               .u32(260, 0x04040402));
}

// --- WAN and IPv6 ---

TEST(RecordImage, RunTime)
{
    RunTimeRecord record{};
    record.online_time = 0x01010101;
    EXPECT_EQ(image(record), Bytes(104).u32(68, 0x01010101));
}

TEST(RecordImage, Ipv6Enable)
{
    Ipv6EnableRecord record{};
    record.enable = 0x01010101;
    EXPECT_EQ(image(record), Bytes(4).u32(0, 0x01010101));
}

TEST(RecordImage, Ipv6Info)
{
    Ipv6InfoRecord record{};
    record.enable = 0x01010101;
    record.link = 0x02020202;
    fill(record.address, 'a');
    fill(record.prefix, 'b');
    record.prefix_length = 0x03030303;
    fill(record.gateway, 'c');
    fill(record.dns1, 'd');
    fill(record.dns2, 'e');
    EXPECT_EQ(image(record), Bytes(356)
                                 .u32(0, 0x01010101)
                                 .u32(4, 0x02020202)
                                 .text(8, std::string(64, 'a'))
                                 .text(72, std::string(64, 'b'))
                                 .u32(136, 0x03030303)
                                 .text(140, std::string(64, 'c'))
                                 .text(204, std::string(64, 'd'))
                                 .text(268, std::string(64, 'e')));
}

TEST(RecordImage, Pppoe)
{
    PppoeRecord record{};
    fill(record.name, 'a');
    fill(record.password, 'b');
    record.value = 0x01010101;
    EXPECT_EQ(image(record),
              Bytes(140).text(0, std::string(33, 'a')).text(33, std::string(33, 'b')).u32(136, 0x01010101));
}

TEST(RecordImage, PortStatus)
{
    PortStatusRecord record{};
    record.kind = 0x01010101;
    record.port = 0x02020202;
    record.duplex = 0x03030303;
    record.rate = 0x04040404;
    EXPECT_EQ(image(record), Bytes(20).u32(0, 0x01010101).u32(4, 0x02020202).u32(12, 0x03030303).u32(16, 0x04040404));
}

TEST(RecordImage, PortTraffic)
{
    PortTrafficRecord record{};
    record.kind = 0x01010101;
    record.port = 0x02020202;
    record.bytes_sent = 0x0322334455667788;
    record.bytes_received = 0x0422334455667788;
    record.packets_sent = 0x0522334455667788;
    record.packets_received = 0x0622334455667788;
    record.crc_errors = 0x0722334455667788;
    EXPECT_EQ(image(record), Bytes(72)
                                 .u32(0, 0x01010101)
                                 .u32(4, 0x02020202)
                                 .u64(8, 0x0322334455667788)
                                 .u64(16, 0x0422334455667788)
                                 .u64(24, 0x0522334455667788)
                                 .u64(32, 0x0622334455667788)
                                 .u64(40, 0x0722334455667788));
}

TEST(RecordImage, PortRate)
{
    PortRateRecord record{};
    record.kind = 0x01010101;
    record.port = 0x02020202;
    record.download = 0x03030303;
    record.upload = 0x04040404;
    EXPECT_EQ(image(record), Bytes(16).u32(0, 0x01010101).u32(4, 0x02020202).u32(8, 0x03030303).u32(12, 0x04040404));
}

// --- Stations ---

TEST(RecordImage, Station)
{
    StationRecord record{};
    fill(record.mac, 'a');
    fill(record.host_name, 'b');
    fill(record.device_name, 'c');
    fill(record.address, 'd');
    record.medium = 0x01010101;
    record.port = 0x02020202;
    fill(record.ssid, 'e');
    record.active = 0x03030303;
    record.online_time = 0x04040404;
    record.changed_at = 0x05050505;
    fill(record.virtual_mac, 'f');
    fill(record.address6, 'g');
    fill(record.brand, 'h');
    fill(record.model, 'i');
    record.download_speed = 0x06060606;
    record.upload_speed = 0x07070707;
    record.rssi = -8;
    record.rate = 0x09090909;
    record.duplex = 0x0A0A0A0A;
    record.storage_access = 0x0B0B0B0B;
    record.internet_access = 0x0C0C0C0C;
    record.wifi_access = 0x0D0D0D0D;
    record.bytes_received = 0x0E22334455667788;
    record.bytes_sent = 0x0F22334455667788;
    record.packets_received = 0x1022334455667788;
    record.packets_sent = 0x1122334455667788;
    record.retries_received = 0x1222334455667788;
    record.retries_sent = 0x1322334455667788;
    record.failures_received = 0x1422334455667788;
    record.failures_sent = 0x1522334455667788;
    record.packets_lost = 0x1622334455667788;
    EXPECT_EQ(image(record), Bytes(544)
                                 .text(0, std::string(32, 'a'))
                                 .text(32, std::string(64, 'b'))
                                 .text(96, std::string(64, 'c'))
                                 .text(160, std::string(16, 'd'))
                                 .u32(176, 0x01010101)
                                 .u32(180, 0x02020202)
                                 .text(184, std::string(32, 'e'))
                                 .u32(216, 0x03030303)
                                 .u32(220, 0x04040404)
                                 .u32(224, 0x05050505)
                                 .text(228, std::string(32, 'f'))
                                 .text(260, std::string(64, 'g'))
                                 .text(360, std::string(32, 'h'))
                                 .text(392, std::string(32, 'i'))
                                 .u32(424, 0x06060606)
                                 .u32(428, 0x07070707)
                                 .u32(432, 0xFFFFFFF8)
                                 .u32(440, 0x09090909)
                                 .u32(448, 0x0A0A0A0A)
                                 .u32(452, 0x0B0B0B0B)
                                 .u32(456, 0x0C0C0C0C)
                                 .u32(460, 0x0D0D0D0D)
                                 .u64(472, 0x0E22334455667788)
                                 .u64(480, 0x0F22334455667788)
                                 .u64(488, 0x1022334455667788)
                                 .u64(496, 0x1122334455667788)
                                 .u64(504, 0x1222334455667788)
                                 .u64(512, 0x1322334455667788)
                                 .u64(520, 0x1422334455667788)
                                 .u64(528, 0x1522334455667788)
                                 .u64(536, 0x1622334455667788));
}

TEST(RecordImage, StationListHeader)
{
    StationListHeader record{};
    record.count = 0x01010101;
    EXPECT_EQ(image(record), Bytes(8).u32(0, 0x01010101));
}

TEST(RecordImage, StationCounts)
{
    StationCountsRecord record{};
    record.total = 0x01010101;
    record.wired = 0x02020202;
    record.wifi_2g = 0x03030303;
    record.wifi_5g = 0x04040404;
    EXPECT_EQ(image(record), Bytes(20).u32(0, 0x01010101).u32(8, 0x02020202).u32(12, 0x03030303).u32(16, 0x04040404));
}

TEST(RecordImage, StationName)
{
    StationNameRecord record{};
    fill(record.mac, 'a');
    fill(record.device_name, 'b');
    EXPECT_EQ(image(record), Bytes(96).text(0, std::string(32, 'a')).text(32, std::string(64, 'b')));
}

TEST(RecordImage, StationModel)
{
    StationModelRecord record{};
    fill(record.mac, 'a');
    fill(record.brand, 'b');
    fill(record.model, 'c');
    record.change_mask = 0x01010101;
    EXPECT_EQ(image(record), Bytes(100)
                                 .text(0, std::string(32, 'a'))
                                 .text(32, std::string(32, 'b'))
                                 .text(64, std::string(32, 'c'))
                                 .u32(96, 0x01010101));
}

TEST(RecordImage, StationAccess)
{
    StationAccessRecord record{};
    fill(record.mac, 'a');
    record.flag = 0x01010101;
    EXPECT_EQ(image(record), Bytes(36).text(0, std::string(32, 'a')).u32(32, 0x01010101));
}

TEST(RecordImage, StationRateLimit)
{
    StationRateLimitRecord record{};
    record.limited = 0x01010101;
    fill(record.mac, 'a');
    record.downstream = 0x02020202;
    record.upstream = 0x03030303;
    record.change_mask = 0x04040404;
    EXPECT_EQ(image(record), Bytes(80)
                                 .u32(0, 0x01010101)
                                 .text(4, std::string(32, 'a'))
                                 .u32(68, 0x02020202)
                                 .u32(72, 0x03030303)
                                 .u32(76, 0x04040404));
}

// --- Diagnostics ---

TEST(RecordImage, CpuRate)
{
    CpuRateRecord record{};
    record.usage = 0x01010101;
    record.temperature = 0x02020202;
    EXPECT_EQ(image(record), Bytes(8).u32(0, 0x01010101).u32(4, 0x02020202));
}

TEST(RecordImage, MemoryRate)
{
    MemoryRateRecord record{};
    record.usage = 0x01010101;
    EXPECT_EQ(image(record), Bytes(4).u32(0, 0x01010101));
}

TEST(RecordImage, FlashRate)
{
    FlashRateRecord record{};
    record.free = 0x01010101;
    record.usage = 0x02020202;
    EXPECT_EQ(image(record), Bytes(8).u32(0, 0x01010101).u32(4, 0x02020202));
}

TEST(RecordImage, OpenPorts)
{
    OpenPortsRecord record{};
    record.ports[0] = 0x01010101;
    record.ports[1] = 0x02020202;
    record.ports[31] = 0x03030303;
    EXPECT_EQ(image(record), Bytes(128).u32(0, 0x01010101).u32(4, 0x02020202).u32(124, 0x03030303));
}

TEST(RecordImage, Ping)
{
    PingRecord record{};
    fill(record.host, 'a');
    record.count = 0x01010101;
    record.timeout = 0x02020202;
    record.block_size = 0x03030303;
    record.given_mask = 0x04040404;
    EXPECT_EQ(image(record), Bytes(148)
                                 .text(0, std::string(64, 'a'))
                                 .u32(64, 0x01010101)
                                 .u32(68, 0x02020202)
                                 .u32(72, 0x03030303)
                                 .u32(144, 0x04040404));
}

TEST(RecordImage, Traceroute)
{
    TracerouteRecord record{};
    fill(record.host, 'a');
    record.tries = 0x01010101;
    record.timeout = 0x02020202;
    record.block_size = 0x03030303;
    record.max_hops = 0x04040404;
    record.fixed = 0x05050505;
    record.given_mask = 0x06060606;
    EXPECT_EQ(image(record), Bytes(88)
                                 .text(0, std::string(64, 'a'))
                                 .u32(64, 0x01010101)
                                 .u32(68, 0x02020202)
                                 .u32(72, 0x03030303)
                                 .u32(76, 0x04040404)
                                 .u32(80, 0x05050505)
                                 .u32(84, 0x06060606));
}

// --- Radios ---

TEST(RecordImage, Disassociate)
{
    DisassociateRecord record{};
    record.count = 0x01010101;
    fill(record.macs[0], 'a');
    fill(record.macs[1], 'b');
    fill(record.macs[31], 'c');
    EXPECT_EQ(image(record), Bytes(1036)
                                 .u32(0, 0x01010101)
                                 .text(12, std::string(32, 'a'))
                                 .text(44, std::string(32, 'b'))
                                 .text(1004, std::string(32, 'c')));
}

TEST(RecordImage, Switch)
{
    SwitchRecord record{};
    record.code = 0x01010101;
    EXPECT_EQ(image(record), Bytes(4).u32(0, 0x01010101));
}

TEST(RecordImage, Wps)
{
    WpsRecord record{};
    record.index = 0x01010101;
    record.code = 0x02020202;
    EXPECT_EQ(image(record), Bytes(8).u32(0, 0x01010101).u32(4, 0x02020202));
}

// --- Access points ---

TEST(RecordImage, ApStatistics)
{
    ApStatisticsRecord record{};
    record.interface_kind = 0x01010101;
    record.ap_index = 0x02020202;
    record.tx_bytes = 0x0322334455667788;
    record.rx_bytes = 0x0422334455667788;
    record.tx_packets = 0x0522334455667788;
    record.rx_packets = 0x0622334455667788;
    record.tx_errors = 0x0722334455667788;
    record.rx_errors = 0x0822334455667788;
    record.tx_drops = 0x0922334455667788;
    record.rx_drops = 0x0A22334455667788;
    EXPECT_EQ(image(record), Bytes(72)
                                 .u32(0, 0x01010101)
                                 .u32(4, 0x02020202)
                                 .u64(8, 0x0322334455667788)
                                 .u64(16, 0x0422334455667788)
                                 .u64(24, 0x0522334455667788)
                                 .u64(32, 0x0622334455667788)
                                 .u64(40, 0x0722334455667788)
                                 .u64(48, 0x0822334455667788)
                                 .u64(56, 0x0922334455667788)
                                 .u64(64, 0x0A22334455667788));
}

TEST(RecordImage, ApRateLimit)
{
    ApRateLimitRecord record{};
    record.band = 0x01010101;
    record.ap_index = 0x02020202;
    record.upstream = 0x03030303;
    record.downstream = 0x04040404;
    record.change_mask = 0x05050505;
    EXPECT_EQ(
        image(record),
        Bytes(20).u32(0, 0x01010101).u32(4, 0x02020202).u32(8, 0x03030303).u32(12, 0x04040404).u32(16, 0x05050505));
}

TEST(RecordImage, ApAccessMode)
{
    ApAccessModeRecord record{};
    record.band = 0x01010101;
    record.ap_index = 0x02020202;
    record.mode = 0x03030303;
    EXPECT_EQ(image(record), Bytes(12).u32(0, 0x01010101).u32(4, 0x02020202).u32(8, 0x03030303));
}

TEST(RecordImage, ApAccessRule)
{
    ApAccessRuleRecord record{};
    record.band = 0x01010101;
    record.ap_index = 0x02020202;
    record.rule = 0x03030303;
    record.count = 0x04040404;
    fill(record.entries[0].address, 'a');
    record.entries[0].port = 0x05050505;
    fill(record.entries[9].address, 'b');
    record.entries[9].port = 0x06060606;
    EXPECT_EQ(image(record), Bytes(216)
                                 .u32(0, 0x01010101)
                                 .u32(4, 0x02020202)
                                 .u32(8, 0x03030303)
                                 .u32(12, 0x04040404)
                                 .text(16, std::string(16, 'a'))
                                 .u32(32, 0x05050505)
                                 .text(196, std::string(16, 'b'))
                                 .u32(212, 0x06060606));
}

TEST(RecordImage, DualBandSync)
{
    DualBandSyncRecord record{};
    record.enable = 0x01010101;
    EXPECT_EQ(image(record), Bytes(4).u32(0, 0x01010101));
}

// --- Access lists ---

AccessListRecord access_list_entry()
{
    AccessListRecord record{};
    record.index = 0x01010101;
    fill(record.name, 'a');
    fill(record.mac, 'b');
    return record;
}

Bytes access_list_entry_image()
{
    return Bytes(100).u32(0, 0x01010101).text(4, std::string(64, 'a')).text(68, std::string(32, 'b'));
}

TEST(RecordImage, AccessList)
{
    EXPECT_EQ(image(access_list_entry()), access_list_entry_image());
}

TEST(RecordImage, AccessListIndex)
{
    AccessListIndexRecord record{};
    record.index = 0x01010101;
    EXPECT_EQ(image(record), Bytes(4).u32(0, 0x01010101));
}

TEST(RecordImage, AccessListAnswer)
{
    AccessListAnswer list{};
    list.count = 0x01010101;
    list.entries[0] = access_list_entry();
    list.entries[127] = access_list_entry();
    EXPECT_EQ(image(list), Bytes(12804)
                               .u32(0, 0x01010101)
                               .text(4, access_list_entry_image().data())
                               .text(12704, access_list_entry_image().data()));
}

// --- Mesh ---

TEST(RecordImage, Mesh)
{
    MeshRecord record{};
    record.mode = 0x01010101;
    fill(record.al_mac, 'a');
    record.online_time = 0x02020202;
    record.status = 0x03030303;
    record.change_mask = 0x04040404;
    EXPECT_EQ(image(record), Bytes(36)
                                 .u32(0, 0x01010101)
                                 .text(4, std::string(20, 'a'))
                                 .u32(24, 0x02020202)
                                 .u32(28, 0x03030303)
                                 .u32(32, 0x04040404));
}

TEST(RecordImage, BackhaulBss)
{
    BackhaulBssRecord record{};
    fill(record.ssid, 'a');
    fill(record.key, 'b');
    record.auth = 0x01010101;
    record.encrypt = 0x02020202;
    EXPECT_EQ(image(record), Bytes(104)
                                 .text(0, std::string(32, 'a'))
                                 .text(32, std::string(64, 'b'))
                                 .u32(96, 0x01010101)
                                 .u32(100, 0x02020202));
}

TEST(RecordImage, TopologyRequest)
{
    TopologyRequest record{};
    fill(record.mac, 'a');
    EXPECT_EQ(image(record), Bytes(18).text(0, std::string(18, 'a')));
}

TopologyStation topology_station()
{
    TopologyStation station{};
    station.link = 0x01010101;
    station.bss_index = 0x02020202;
    fill(station.mac, 'a');
    station.seconds = 0x03030303;
    station.up_rate = 0x04040404;
    station.down_rate = 0x05050505;
    return station;
}

Bytes topology_station_image()
{
    return Bytes(204)
        .u32(0, 0x01010101)
        .u32(4, 0x02020202)
        .text(12, std::string(24, 'a'))
        .u32(36, 0x03030303)
        .u32(188, 0x04040404)
        .u32(192, 0x05050505);
}

TEST(RecordImage, TopologyStation)
{
    EXPECT_EQ(image(topology_station()), topology_station_image());
}

TEST(RecordImage, Topology)
{
    TopologyRecord record{};
    fill(record.backhaul_al_mac, 'a');
    record.backhaul_type = 0x01010101;
    record.up_rate = 0x02020202;
    record.down_rate = 0x03030303;
    record.band_2g.count = 0x04040404;
    fill(record.band_2g.entries[0].bssid, 'b');
    fill(record.band_2g.entries[0].ssid, 'c');
    fill(record.band_2g.entries[1].bssid, 'd');
    fill(record.band_2g.entries[1].ssid, 'e');
    record.band_5g.count = 0x05050505;
    fill(record.band_5g.entries[0].bssid, 'f');
    fill(record.band_5g.entries[0].ssid, 'g');
    fill(record.band_5g.entries[1].bssid, 'h');
    fill(record.band_5g.entries[1].ssid, 'i');
    record.stations.count = 0x06060606;
    record.stations.entries[0] = topology_station();
    record.stations.entries[63] = topology_station();
    EXPECT_EQ(image(record), Bytes(13440)
                                 .text(44, std::string(104, 'a'))
                                 .u32(148, 0x01010101)
                                 .u32(152, 0x02020202)
                                 .u32(156, 0x03030303)
                                 .u32(164, 0x04040404)
                                 .text(168, std::string(18, 'b'))
                                 .text(186, std::string(32, 'c'))
                                 .text(218, std::string(18, 'd'))
                                 .text(236, std::string(32, 'e'))
                                 .u32(272, 0x05050505)
                                 .text(276, std::string(18, 'f'))
                                 .text(294, std::string(32, 'g'))
                                 .text(326, std::string(18, 'h'))
                                 .text(344, std::string(32, 'i'))
                                 .u32(376, 0x06060606)
                                 .text(380, topology_station_image().data())
                                 .text(13232, topology_station_image().data()));
}

TEST(RecordImage, TopologyMap)
{
    TopologyMap map{};
    map.count = 0x01010101;
    fill(map.entries[0].device_mac, 'a');
    fill(map.entries[0].topology_mac, 'b');
    fill(map.entries[3].device_mac, 'c');
    fill(map.entries[3].topology_mac, 'd');
    EXPECT_EQ(image(map), Bytes(328)
                              .u32(0, 0x01010101)
                              .text(8, std::string(18, 'a'))
                              .text(26, std::string(18, 'b'))
                              .text(248, std::string(18, 'c'))
                              .text(266, std::string(18, 'd')));
}

TEST(RecordImage, MeshRoaming)
{
    MeshRoamingRecord record{};
    record.roaming = 0x01010101;
    record.change_mask = 0x02020202;
    EXPECT_EQ(image(record), Bytes(16).u32(0, 0x01010101).u32(12, 0x02020202));
}

// --- Roaming ---

TEST(RecordImage, Roaming)
{
    RoamingRecord record{};
    record.enable = 0x01010101;
    record.threshold_rssi = -2;
    record.report_interval = -3;
    record.start_time = -4;
    record.start_rssi = -5;
    record.threshold_copy = -6;
    record.change_mask = 0x07070707;
    EXPECT_EQ(image(record), Bytes(32)
                                 .u32(0, 0x01010101)
                                 .u32(4, 0xFFFFFFFE)
                                 .u32(8, 0xFFFFFFFD)
                                 .u32(12, 0xFFFFFFFC)
                                 .u32(16, 0xFFFFFFFB)
                                 .u32(24, 0xFFFFFFFA)
                                 .u32(28, 0x07070707));
}

TEST(RecordImage, StationRssi)
{
    StationRssiRecord record{};
    fill(record.mac, 'a');
    record.rssi = -1;
    record.band = 0x02020202;
    EXPECT_EQ(image(record), Bytes(28).text(0, std::string(20, 'a')).u32(20, 0xFFFFFFFF).u32(24, 0x02020202));
}

TEST(RecordImage, ApRssiQuery)
{
    ApRssiQueryRecord record{};
    record.count = 0x01010101;
    fill(record.mac, 'a');
    fill(record.entries[0].bssid, 'b');
    record.entries[0].channel = 0x02020202;
    fill(record.entries[31].bssid, 'c');
    record.entries[31].channel = 0x03030303;
    EXPECT_EQ(image(record), Bytes(660)
                                 .u32(0, 0x01010101)
                                 .text(4, std::string(16, 'a'))
                                 .text(20, std::string(16, 'b'))
                                 .u32(36, 0x02020202)
                                 .text(640, std::string(16, 'c'))
                                 .u32(656, 0x03030303));
}

TEST(RecordImage, ApRssiAnswer)
{
    ApRssiAnswer record{};
    record.count = 0x01010101;
    fill(record.entries[0].bssid, 'a');
    record.entries[0].rssi = -2;
    fill(record.entries[31].bssid, 'b');
    record.entries[31].rssi = -3;
    EXPECT_EQ(image(record), Bytes(644)
                                 .u32(0, 0x01010101)
                                 .text(4, std::string(16, 'a'))
                                 .u32(20, 0xFFFFFFFE)
                                 .text(624, std::string(16, 'b'))
                                 .u32(640, 0xFFFFFFFD));
}

TEST(RecordImage, Transition)
{
    TransitionRecord record{};
    fill(record.mac, 'a');
    fill(record.bssid, 'b');
    record.channel = 0x01010101;
    EXPECT_EQ(image(record),
              Bytes(32).text(0, std::string(13, 'a')).text(13, std::string(15, 'b')).u32(28, 0x01010101));
}

// --- Wi-Fi timers ---

TEST(RecordImage, WifiTimerIndex)
{
    WifiTimerIndexRecord record{};
    record.index = 0x01010101;
    EXPECT_EQ(image(record), Bytes(4).u32(0, 0x01010101));
}

// --- Quality of service ---

ClassificationRecord classification()
{
    ClassificationRecord record{};
    record.index = 0x01010101;
    fill(record.name, 'a');
    record.priority = -2;
    record.dscp = -3;
    record.vlan8021p = -4;
    record.protocols[0] = 0x05050505;
    record.protocols[7] = 0x06060606;
    fill(record.srcip, 'b');
    fill(record.srcmask, 'c');
    record.srcport = 0x07070707;
    fill(record.srcmac, 'd');
    fill(record.dstip, 'e');
    fill(record.dstmask, 'f');
    record.dstport = 0x08080808;
    fill(record.dstmac, 'g');
    return record;
}

Bytes classification_image()
{
    return Bytes(200)
        .u32(0, 0x01010101)
        .text(4, std::string(36, 'a'))
        .u32(40, 0xFFFFFFFE)
        .u32(44, 0xFFFFFFFD)
        .u32(48, 0xFFFFFFFC)
        .u32(52, 0x05050505)
        .u32(80, 0x06060606)
        .text(84, std::string(17, 'b'))
        .text(101, std::string(17, 'c'))
        .u32(120, 0x07070707)
        .text(124, std::string(17, 'd'))
        .text(141, std::string(17, 'e'))
        .text(158, std::string(17, 'f'))
        .u32(176, 0x08080808)
        .text(180, std::string(17, 'g'));
}

TEST(RecordImage, Classification)
{
    EXPECT_EQ(image(classification()), classification_image());
}

TEST(RecordImage, ClassificationList)
{
    ClassificationList list{};
    list.count = 0x01010101;
    list.entries[0] = classification();
    list.entries[31] = classification();
    EXPECT_EQ(image(list), Bytes(6404)
                               .u32(0, 0x01010101)
                               .text(4, classification_image().data())
                               .text(6204, classification_image().data()));
}

TEST(RecordImage, ClassificationIndex)
{
    ClassificationIndexRecord record{};
    record.index = 0x01010101;
    EXPECT_EQ(image(record), Bytes(4).u32(0, 0x01010101));
}

TEST(RecordImage, QosSwitch)
{
    QosSwitchRecord record{};
    record.code = 0x01010101;
    EXPECT_EQ(image(record), Bytes(4).u32(0, 0x01010101));
}

// --- Vendor-specific information elements ---

TEST(RecordImage, VsieLimits)
{
    VsieLimitsRecord record{};
    record.beacon_entries = 0x01010101;
    record.beacon_concurrent = 0x02020202;
    record.probe_request_entries = 0x03030303;
    record.probe_response_entries = 0x04040404;
    EXPECT_EQ(image(record), Bytes(16).u32(0, 0x01010101).u32(4, 0x02020202).u32(8, 0x03030303).u32(12, 0x04040404));
}

TEST(RecordImage, VsieIndex)
{
    VsieIndexRecord record{};
    record.index = 0x01010101;
    EXPECT_EQ(image(record), Bytes(4).u32(0, 0x01010101));
}

BeaconIeRecord beacon_ie()
{
    BeaconIeRecord record{};
    record.index = 0x01010101;
    fill(record.service_name, 'a');
    record.ssid_index = -2;
    record.duration = -3;
    record.length = 0x04040404;
    record.data[0] = 0x05050505;
    record.data[1] = 0x06060606;
    record.data[255] = 0x07070707;
    return record;
}

Bytes beacon_ie_image()
{
    return Bytes(1104)
        .u32(0, 0x01010101)
        .text(4, std::string(64, 'a'))
        .u32(68, 0xFFFFFFFE)
        .u32(72, 0xFFFFFFFD)
        .u32(76, 0x04040404)
        .u32(80, 0x05050505)
        .u32(84, 0x06060606)
        .u32(1100, 0x07070707);
}

TEST(RecordImage, BeaconIe)
{
    EXPECT_EQ(image(beacon_ie()), beacon_ie_image());
}

TEST(RecordImage, BeaconIeList)
{
    BeaconIeList list{};
    list.count = 0x01010101;
    list.entries[0] = beacon_ie();
    list.entries[7] = beacon_ie();
    EXPECT_EQ(image(list),
              Bytes(8836).u32(0, 0x01010101).text(4, beacon_ie_image().data()).text(7732, beacon_ie_image().data()));
}

TEST(RecordImage, BeaconIeRun)
{
    BeaconIeRunRecord record{};
    record.index = 0x01010101;
    record.run = 0x02020202;
    EXPECT_EQ(image(record), Bytes(8).u32(0, 0x01010101).u32(4, 0x02020202));
}

ProbeFrame probe_frame()
{
    ProbeFrame frame{};
    fill(frame.mac, 'a');
    frame.band = 0x01010101;
    frame.length = 0x02020202;
    fill(frame.data, 'b');
    return frame;
}

Bytes probe_frame_image()
{
    return Bytes(292)
        .text(4, std::string(20, 'a'))
        .u32(24, 0x01010101)
        .u32(28, 0x02020202)
        .text(32, std::string(260, 'b'));
}

TEST(RecordImage, ProbeFrame)
{
    EXPECT_EQ(image(probe_frame()), probe_frame_image());
}

ProbeWatchRecord probe_watch()
{
    ProbeWatchRecord record{};
    record.index = 0x01010101;
    fill(record.service_name, 'a');
    record.band = 0x02020202;
    fill(record.oui, 'b');
    record.frame_count = 0x03030303;
    record.frames[0] = probe_frame();
    record.frames[7] = probe_frame();
    return record;
}

Bytes probe_watch_image()
{
    return Bytes(2416)
        .u32(0, 0x01010101)
        .text(4, std::string(64, 'a'))
        .u32(68, 0x02020202)
        .text(72, std::string(3, 'b'))
        .u32(76, 0x03030303)
        .text(80, probe_frame_image().data())
        .text(2124, probe_frame_image().data());
}

TEST(RecordImage, ProbeWatch)
{
    EXPECT_EQ(image(probe_watch()), probe_watch_image());
}

TEST(RecordImage, ProbeWatchList)
{
    ProbeWatchList list{};
    list.count = 0x01010101;
    list.entries[0] = probe_watch();
    list.entries[2] = probe_watch();
    EXPECT_EQ(
        image(list),
        Bytes(7252).u32(0, 0x01010101).text(4, probe_watch_image().data()).text(4836, probe_watch_image().data()));
}

TEST(RecordImage, ProbeFlush)
{
    ProbeFlushRecord record{};
    fill(record.service_name, 'a');
    EXPECT_EQ(image(record), Bytes(64).text(0, std::string(64, 'a')));
}

ProbeResponseIeRecord probe_response_ie()
{
    ProbeResponseIeRecord record{};
    record.index = 0x01010101;
    fill(record.mac, 'a');
    record.band = 0x02020202;
    record.length = 0x03030303;
    fill(record.data, 'b');
    return record;
}

Bytes probe_response_ie_image()
{
    return Bytes(288)
        .u32(0, 0x01010101)
        .text(4, std::string(18, 'a'))
        .u32(24, 0x02020202)
        .u32(28, 0x03030303)
        .text(32, std::string(256, 'b'));
}

TEST(RecordImage, ProbeResponseIe)
{
    EXPECT_EQ(image(probe_response_ie()), probe_response_ie_image());
}

TEST(RecordImage, ProbeResponseIeList)
{
    ProbeResponseIeList list{};
    list.count = 0x01010101;
    list.entries[0] = probe_response_ie();
    list.entries[2] = probe_response_ie();
    EXPECT_EQ(image(list), Bytes(868)
                               .u32(0, 0x01010101)
                               .text(4, probe_response_ie_image().data())
                               .text(580, probe_response_ie_image().data()));
}

// --- Events ---

TEST(RecordImage, EventHeader)
{
    EventHeader header{};
    header.type = 0x01010101;
    header.length = 0x02020202;
    EXPECT_EQ(image(header), Bytes(16).u32(0, 0x01010101).u32(12, 0x02020202));
}

TEST(RecordImage, SwitchEvent)
{
    SwitchEvent event{};
    event.code = 0x01010101;
    EXPECT_EQ(image(event), Bytes(4).u32(0, 0x01010101));
}

TEST(RecordImage, PingResultEvent)
{
    PingResultEvent event{};
    event.received = 0x01010101;
    event.loss = 0x02020202;
    event.average = 0x03030303;
    event.minimum = 0x04040404;
    event.maximum = 0x05050505;
    EXPECT_EQ(
        image(event),
        Bytes(24).u32(0, 0x01010101).u32(4, 0x02020202).u32(12, 0x03030303).u32(16, 0x04040404).u32(20, 0x05050505));
}

TEST(RecordImage, WanUpDownEvent)
{
    WanUpDownEvent event{};
    event.state = 0x01010101;
    fill(event.address, 'a');
    EXPECT_EQ(image(event), Bytes(28).u32(8, 0x01010101).text(12, std::string(16, 'a')));
}

TEST(RecordImage, WanIpChangeEvent)
{
    WanIpChangeEvent event{};
    event.status = 0x01010101;
    fill(event.address, 'a');
    EXPECT_EQ(image(event), Bytes(24).u32(4, 0x01010101).text(8, std::string(16, 'a')));
}

TEST(RecordImage, WpsSwitchEvent)
{
    WpsSwitchEvent event{};
    event.code = 0x01010101;
    EXPECT_EQ(image(event), Bytes(8).u32(4, 0x01010101));
}

TEST(RecordImage, ChannelChangeEvent)
{
    ChannelChangeEvent event{};
    event.band = 0x01010101;
    event.channel = 0x02020202;
    EXPECT_EQ(image(event), Bytes(16).u32(0, 0x01010101).u32(12, 0x02020202));
}

TEST(RecordImage, SsidChangeEvent)
{
    SsidChangeEvent event{};
    event.band = 0x01010101;
    event.ap_index = 0x02020202;
    fill(event.ssid, 'a');
    EXPECT_EQ(image(event), Bytes(44).u32(0, 0x01010101).u32(4, 0x02020202).text(12, std::string(32, 'a')));
}

TEST(RecordImage, StationEvent)
{
    StationEvent event{};
    fill(event.mac, 'a');
    fill(event.host_name, 'b');
    event.medium = 0x01010101;
    event.port = 0x02020202;
    event.active = 0x03030303;
    fill(event.virtual_mac, 'c');
    EXPECT_EQ(image(event), Bytes(260)
                                .text(0, std::string(32, 'a'))
                                .text(32, std::string(64, 'b'))
                                .u32(176, 0x01010101)
                                .u32(180, 0x02020202)
                                .u32(216, 0x03030303)
                                .text(228, std::string(32, 'c')));
}

TEST(RecordImage, PasswordErrorEvent)
{
    PasswordErrorEvent event{};
    fill(event.mac, 'a');
    EXPECT_EQ(image(event), Bytes(32).text(0, std::string(32, 'a')));
}

TEST(RecordImage, RoamingEvent)
{
    RoamingEvent event{};
    fill(event.mac, 'a');
    event.bandwidth = 0x01010101;
    event.rssi = -2;
    event.connect_time = 0x03030303;
    event.channel = 0x04040404;
    fill(event.bssid, 'b');
    event.support_11k = 0x05A5;
    event.support_11v = 0x06A5;
    EXPECT_EQ(image(event), Bytes(66)
                                .text(0, std::string(20, 'a'))
                                .u32(20, 0x01010101)
                                .u32(24, 0xFFFFFFFE)
                                .u32(28, 0x03030303)
                                .u32(40, 0x04040404)
                                .text(44, std::string(18, 'b'))
                                .text(62, "\xA5\x05")
                                .text(64, "\xA5\x06"));
}

TEST(RecordImage, VsieRecordEvent)
{
    VsieRecordEvent event{};
    fill(event.mac, 'a');
    event.band = 0x01010101;
    event.length = 0x02020202;
    fill(event.data, 'b');
    fill(event.oui, 'c');
    EXPECT_EQ(image(event), Bytes(290)
                                .text(4, std::string(20, 'a'))
                                .u32(24, 0x01010101)
                                .u32(28, 0x02020202)
                                .text(32, std::string(255, 'b'))
                                .text(287, std::string(3, 'c')));
}

// --- Message types ---

TEST(MessageTypes, AreTheServicesOwn)
{
    const std::pair<uint32_t, uint32_t> types[] = {
        {kGetHwInfo, 0},
        {kGetFwInfo, 1},
        {kGetManuInfo, 2},
        {kGetManageInfo, 3},
        {kGetFuncSupport, 4},
        {kGetCpuRate, 5},
        {kGetMemoryRate, 6},
        {kGetFlashRate, 7},
        {kGetRunTime, 8},
        {kGetTcpPorts, 9},
        {kGetUdpPorts, 10},
        {kReboot, 16},
        {kReset, 17},
        {kUpgrade, 19},
        {kGetLedSwitch, 20},
        {kSetLedSwitch, 21},
        {kGetUplinkSupport, 23},
        {kGetWanStatus, 24},
        {kSetIpv6Enable, 25},
        {kGetIpv6Info, 26},
        {kSetDhcp, 28},
        {kGetPppoe, 31},
        {kSetPppoe, 32},
        {kSetBridge, 34},
        {kPing, 50},
        {kTraceroute, 51},
        {kDisassociate, 59},
        {kStartChannelScan, 60},
        {kSetMesh, 61},
        {kGetMesh, 62},
        {kGetBackhaulBss, 63},
        {kGetTopology, 64},
        {kGetTopologyMap, 65},
        {kSetMeshRoaming, 66},
        {kGetMeshRoaming, 67},
        {kGetPortNum, 91},
        {kGetPortStatus, 92},
        {kGetPortTraffic, 93},
        {kGetApStatistics, 93},
        {kGetPortRate, 94},
        {kListWifiTimers, 98},
        {kSetWifiTimer, 99},
        {kGetWifiTimer, 100},
        {kAddWifiTimer, 101},
        {kDeleteWifiTimer, 102},
        {kListStations, 103},
        {kGetStation, 104},
        {kGetStationCounts, 105},
        {kSetStationName, 106},
        {kSetStationModel, 107},
        {kAddBlacklist, 117},
        {kDeleteBlacklist, 118},
        {kListBlacklist, 119},
        {kAddWhitelist, 120},
        {kDeleteWhitelist, 121},
        {kListWhitelist, 122},
        {kSetInternetAccess, 123},
        {kSetWifiAccess, 126},
        {kGetRateLimit, 135},
        {kSetRateLimit, 136},
        {kGetIptv, 137},
        {kSetIptv, 138},
        {kGetRoaming, 141},
        {kSetRoaming, 142},
        {kGetStationRssi, 143},
        {kQueryApRssi, 144},
        {kRequestTransition, 145},
        {kAddClassification, 153},
        {kDeleteClassification, 154},
        {kListClassifications, 155},
        {kGetOpvmBasicInfo, 164},
        {kGetServerInfo, 165},
        {kSetServerInfo, 166},
        {kGetElinkSync, 167},
        {kSetElinkSync, 168},
        {kSetWifiSwitch, 177},
        {kGetWifiSwitch, 178},
        {kSetRadio, 180},
        {kGetRadio, 181},
        {kSetApBasic, 184},
        {kGetApBasic, 185},
        {kSetApRateLimit, 188},
        {kGetApRateLimit, 189},
        {kSetApAccessMode, 190},
        {kGetApAccessMode, 191},
        {kSetApAccessRule, 192},
        {kGetApAccessRule, 193},
        {kGetNeighbours, 195},
        {kSetWps, 196},
        {kGetWps, 197},
        {kGetChannelScores, 198},
        {kSetQos, 199},
        {kGetQos, 200},
        {kSetQosDscp, 201},
        {kGetQosDscp, 202},
        {kSetQos8021p, 203},
        {kGetQos8021p, 204},
        {kSetUrlFilter, 205},
        {kListUrlFilters, 206},
        {kDeleteUrlFilter, 207},
        {kAddUrlFilter, 208},
        {kGetUrlFilter, 209},
        {kSetDnsFilter, 210},
        {kListDnsFilters, 211},
        {kDeleteDnsFilter, 212},
        {kAddDnsFilter, 213},
        {kGetDnsFilter, 214},
        {kGetVsieLimits, 215},
        {kAddBeaconIe, 217},
        {kDeleteBeaconIe, 218},
        {kListBeaconIes, 219},
        {kRunBeaconIe, 220},
        {kAddProbeWatch, 221},
        {kDeleteProbeWatch, 222},
        {kListProbeWatches, 223},
        {kFlushProbeWatch, 224},
        {kAddProbeResponseIe, 225},
        {kDeleteProbeResponseIe, 226},
        {kListProbeResponseIes, 227},
        {kGetDualBandSync, 235},
        {kGetFactoryFlag, 239},
        {kSetFactoryFlag, 240},
    };
    for (auto [name, number] : types)
        EXPECT_EQ(name, number);
}

TEST(EventTypes, AreTheServicesOwn)
{
    const std::pair<uint32_t, uint32_t> types[] = {
        {kEventLedSwitch, 22},   {kEventPingResult, 52},   {kEventTraceResult, 53},    {kEventWanUpDown, 54},
        {kEventWanIpChange, 55}, {kEventWpsSwitch, 85},    {kEventWifiSwitch, 87},     {kEventChannelChange, 89},
        {kEventSsidChange, 90},  {kEventNewStation, 109},  {kEventStationState, 110},  {kEventWifiPasswordError, 111},
        {kEventRoaming, 146},    {kEventElinkSwitch, 169}, {kEventVsieNewRecord, 216}, {kEventTypeLimit, 248},
    };
    for (auto [name, number] : types)
        EXPECT_EQ(name, number);
}

} // namespace
