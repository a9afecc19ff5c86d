// Records of the device information. The read requests (0 to 4, 23, 164; with 2, 24 and 91 of the shared records) carry
// no record of their own.
#pragma once

#include "core/wire.h"

constexpr uint32_t kGetHwInfo = 0;

struct HwInfoRecord {
    char vendor[16];
    char model[32];
    char hardware_version[32];
    char url[108];
    le32 lan_rates[3]; // highest rate of each LAN port
    le32 reserved1;
    le32 wan_rate; // highest rate of the WAN port
    char reserved2[48];
    char description[72];
    le32 standards1; // first radio: 1 b, 2 g, 4 a, 8 n, 16 ac, 32 ax
    le32 reserved3;
    le32 standards2; // second radio
    le32 reserved4;
    le32 wifi_rate1; // highest rate of the first radio
    le32 wifi_rate2; // highest rate of the second radio
};
static_assert(sizeof(HwInfoRecord) == 352);
static_assert(offsetof(HwInfoRecord, model) == 16);
static_assert(offsetof(HwInfoRecord, hardware_version) == 48);
static_assert(offsetof(HwInfoRecord, url) == 80);
static_assert(offsetof(HwInfoRecord, lan_rates) == 188);
static_assert(offsetof(HwInfoRecord, wan_rate) == 204);
static_assert(offsetof(HwInfoRecord, description) == 256);
static_assert(offsetof(HwInfoRecord, standards1) == 328);
static_assert(offsetof(HwInfoRecord, standards2) == 336);
static_assert(offsetof(HwInfoRecord, wifi_rate1) == 344);
static_assert(offsetof(HwInfoRecord, wifi_rate2) == 348);

constexpr uint32_t kGetFwInfo = 1;

struct FwInfoRecord {
    char software_version[160];
};
static_assert(sizeof(FwInfoRecord) == 160);

constexpr uint32_t kGetManageInfo = 3;

struct ManageInfoRecord {
    char reserved[80];
    char address[16]; // IPv4
};
static_assert(sizeof(ManageInfoRecord) == 96);
static_assert(offsetof(ManageInfoRecord, address) == 80);

constexpr uint32_t kGetFuncSupport = 4;

// Each word is 1 where the function is there.
struct FuncSupportRecord {
    le32 reserved1;
    le32 dual_band;
    le32 usb;
    le32 vpn;
    le32 reserved2;
    le32 mesh2; // reported as 2
    le32 reserved3;
    le32 mesh1; // reported as 1, goes before mesh2
};
static_assert(sizeof(FuncSupportRecord) == 32);
static_assert(offsetof(FuncSupportRecord, dual_band) == 4);
static_assert(offsetof(FuncSupportRecord, usb) == 8);
static_assert(offsetof(FuncSupportRecord, vpn) == 12);
static_assert(offsetof(FuncSupportRecord, mesh2) == 20);
static_assert(offsetof(FuncSupportRecord, mesh1) == 28);

constexpr uint32_t kGetUplinkSupport = 23;

struct UplinkSupportRecord {
    le32 words[5]; // 0 and 3 are read: both 1 where any work mode suits
};
static_assert(sizeof(UplinkSupportRecord) == 20);

constexpr uint32_t kSetBridge = 34;

struct SetBridgeRecord {
    le32 enable; // the only value ever sent is 1
};
static_assert(sizeof(SetBridgeRecord) == 4);

constexpr uint32_t kGetOpvmBasicInfo = 164;

struct OpvmBasicInfoRecord {
    char equipment_id[16]; // the operator's name for the device
    char serial_number[35];
    char interface_version[21];
};
static_assert(sizeof(OpvmBasicInfoRecord) == 72);
static_assert(offsetof(OpvmBasicInfoRecord, serial_number) == 16);
static_assert(offsetof(OpvmBasicInfoRecord, interface_version) == 51);
