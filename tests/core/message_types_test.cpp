// The message types. What the records look like is asserted where they stand, and tested byte by byte by the tests of
// their families.

#include <utility>

#include <gtest/gtest.h>

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
#include "wifi/access_list_records.h"
#include "wifi/access_point_records.h"
#include "wifi/mesh_records.h"
#include "wifi/radio_records.h"
#include "wifi/roaming_records.h"

namespace
{

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
