// Wire types byte by byte, and the image of every record against offsets written out by hand.
#include "core/wire.h"

#include <climits>
#include <memory>
#include <new>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "core/backend.h"
#include "core/shared_records.h"
#include "system/commands_records.h"
#include "system/device_info_records.h"
#include "system/iptv_records.h"
#include "system/led_switch_records.h"
#include "system/neighbour_info_records.h"
#include "system/server_info_records.h"
#include "tests/support/bytes.h"
#include "wifi/radio_records.h"

using namespace std::string_literals;
using test_support::Bytes;

namespace
{

template <typename Record> std::string bytes_of(const Record &record)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    return {reinterpret_cast<const char *>(&record), sizeof(record)};
}

template <typename Record> Bytes image(const Record &record)
{
    return Bytes(bytes_of(record));
}

// Fills a text field to its full width.
template <size_t N> void fill(char (&field)[N], char letter)
{
    memset(field, letter, N);
}

// --- Integers ---

TEST(LittleEndian, PutsTheLeastSignificantByteFirst)
{
    EXPECT_EQ(bytes_of(le16(0x0102)), "\x02\x01"s);
    EXPECT_EQ(bytes_of(le32(0x01020304)), "\x04\x03\x02\x01"s);
    EXPECT_EQ(bytes_of(le64(0x0102030405060708)), "\x08\x07\x06\x05\x04\x03\x02\x01"s);
    EXPECT_EQ(bytes_of(sle32(-2)), "\xFE\xFF\xFF\xFF"s);
}

TEST(LittleEndian, PutsTheLowWordOfACounterFirst)
{
    struct Counter {
        le32 low;
        le32 high;
    } counter;
    le64 value = 0x1122334455667788;
    memcpy(&counter, &value, sizeof(counter));
    EXPECT_EQ(counter.low, 0x55667788u);
    EXPECT_EQ(counter.high, 0x11223344u);
}

template <typename Wire, typename Integer> void expect_kept(std::initializer_list<Integer> values)
{
    for (Integer value : values)
        EXPECT_EQ(static_cast<Integer>(Wire(value)), value);
}

TEST(LittleEndian, KeepsEveryValue)
{
    expect_kept<le16, uint16_t>({0, 1, 0x7F, 0x80, 0xFF, 0x100, 0x8000, 0xFFFF});
    expect_kept<le32, uint32_t>({0, 1, 0x80, 0xFF00, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF});
    expect_kept<le64, uint64_t>({0, 1, 0x80000000, 0xFFFFFFFF, 0x100000000, 0x8000000000000000, UINT64_MAX});
    expect_kept<sle32, int32_t>({0, 1, -1, INT_MIN, INT_MAX, -128});
}

TEST(LittleEndian, ReadsAtAnyAddress)
{
    struct Unaligned {
        char before;
        le64 value;
        char between;
        le16 last;
    };
    static_assert(sizeof(Unaligned) == 12 && alignof(Unaligned) == 1);
    const char bytes[] = "?\x08\x07\x06\x05\x04\x03\x02\x01?\xFE\xCA";
    Unaligned record;
    memcpy(&record, bytes, sizeof(record));
    EXPECT_EQ(record.value, 0x0102030405060708u);
    EXPECT_EQ(record.last, 0xCAFE);
}

TEST(LittleEndian, IsZeroWhenValueInitialised)
{
    struct Record {
        le16 half;
        sle32 word;
        le64 counter;
        char text[3];
    };
    alignas(Record) unsigned char memory[sizeof(Record)];
    memset(memory, 0xEE, sizeof(memory));
    auto *record = new (memory) Record{};
    EXPECT_EQ(bytes_of(*record), std::string(17, '\0'));
}

// --- Texts ---

// A field between two neighbours that nothing may touch.
struct Guarded {
    char before[4];
    char field[8];
    char after[4];
};

Guarded guarded()
{
    Guarded guarded;
    memset(&guarded, '#', sizeof(guarded));
    return guarded;
}

std::string copied(const char *text)
{
    Guarded record = guarded();
    copy_text(record.field, text);
    return bytes_of(record);
}

std::string copied(const char *text, size_t limit)
{
    Guarded record = guarded();
    copy_text(record.field, text, limit);
    return bytes_of(record);
}

TEST(CopyText, ZeroesTheRestOfTheField)
{
    EXPECT_EQ(copied(""), "####\0\0\0\0\0\0\0\0####"s);
    EXPECT_EQ(copied("abc"), "####abc\0\0\0\0\0####"s);
}

TEST(CopyText, FillsTheFieldToItsLastByte)
{
    EXPECT_EQ(copied("abcdefg"), "####abcdefg\0####"s);
    EXPECT_EQ(copied("abcdefgh"), "####abcdefgh####"s);
    EXPECT_EQ(copied("abcdefghi"), "####abcdefgh####"s);
}

TEST(CopyText, StopsAtTheLimit)
{
    EXPECT_EQ(copied("abcdefghi", 7), "####abcdefg\0####"s);
    EXPECT_EQ(copied("abcdefghi", 3), "####abc\0\0\0\0\0####"s);
    EXPECT_EQ(copied("abcdefghi", 0), "####\0\0\0\0\0\0\0\0####"s);
}

TEST(CopyText, NeverPassesTheFieldWhateverTheLimit)
{
    EXPECT_EQ(copied("abcdefghijkl", 9), "####abcdefgh####"s);
    EXPECT_EQ(copied("abcdefghijkl", SIZE_MAX), "####abcdefgh####"s);
}

TEST(CopyText, ReadsNoFurtherThanTheLimit)
{
    // No NUL behind the text: an address sanitizer sees every byte read too far.
    std::string heap(8, 'x');
    auto text = std::make_unique<char[]>(8);
    memcpy(text.get(), heap.data(), 8);
    EXPECT_EQ(copied(text.get()), "####xxxxxxxx####"s);
}

std::string read(const std::string &field)
{
    Guarded record = guarded();
    memcpy(record.field, field.data(), sizeof(record.field));
    return read_text(record.field).data;
}

TEST(ReadText, EndsAtTheNulOrTheFullWidth)
{
    EXPECT_EQ(read("\0bcdefgh"s), "");
    EXPECT_EQ(read("abc\0efgh"s), "abc");
    EXPECT_EQ(read("abcdefg\0"s), "abcdefg");
    EXPECT_EQ(read("abcdefgh"s), "abcdefgh");
}

TEST(ReadText, LeavesRoomForTheLongerFormOfAnAddress)
{
    char narrow[12];
    char wide[20];
    static_assert(sizeof(read_text(narrow).data) == 18);
    static_assert(sizeof(read_text(wide).data) == 21);
    fill(narrow, 'a');
    EXPECT_STREQ(read_text(narrow).data, "aaaaaaaaaaaa");
}

// --- Counts ---

TEST(EntryCount, IsCutAtWhatTheRecordHolds)
{
    ChannelScoreList list{};
    const uint32_t rows[][2] = {{0, 0}, {1, 1}, {31, 31}, {32, 32}, {33, 32}, {0x80000000, 32}, {0xFFFFFFFF, 32}};
    for (auto [count, expected] : rows) {
        list.count = count;
        EXPECT_EQ(entry_count(list), expected) << count;
    }
}

// --- Records ---

// Each image gives every named field a value of its own, and every text its full width.

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

TEST(MessageTypes, AreTheServicesOwn)
{
    EXPECT_EQ(kGetHwInfo, 0u);
    EXPECT_EQ(kGetFwInfo, 1u);
    EXPECT_EQ(kGetManuInfo, 2u);
    EXPECT_EQ(kGetManageInfo, 3u);
    EXPECT_EQ(kGetFuncSupport, 4u);
    EXPECT_EQ(kReboot, 16u);
    EXPECT_EQ(kReset, 17u);
    EXPECT_EQ(kUpgrade, 19u);
    EXPECT_EQ(kGetLedSwitch, 20u);
    EXPECT_EQ(kSetLedSwitch, 21u);
    EXPECT_EQ(kGetUplinkSupport, 23u);
    EXPECT_EQ(kGetWanStatus, 24u);
    EXPECT_EQ(kSetDhcp, 28u);
    EXPECT_EQ(kSetBridge, 34u);
    EXPECT_EQ(kStartChannelScan, 60u);
    EXPECT_EQ(kGetPortNum, 91u);
    EXPECT_EQ(kListWifiTimers, 98u);
    EXPECT_EQ(kGetIptv, 137u);
    EXPECT_EQ(kSetIptv, 138u);
    EXPECT_EQ(kGetOpvmBasicInfo, 164u);
    EXPECT_EQ(kGetServerInfo, 165u);
    EXPECT_EQ(kSetServerInfo, 166u);
    EXPECT_EQ(kSetRadio, 180u);
    EXPECT_EQ(kGetRadio, 181u);
    EXPECT_EQ(kSetApBasic, 184u);
    EXPECT_EQ(kGetApBasic, 185u);
    EXPECT_EQ(kGetNeighbours, 195u);
    EXPECT_EQ(kListUrlFilters, 206u);
    EXPECT_EQ(kListDnsFilters, 211u);
    EXPECT_EQ(kGetFactoryFlag, 239u);
}

} // namespace
