// Records of quality of service: its switches and the classification rules.
#pragma once

#include "core/wire.h"

constexpr uint32_t kAddClassification = 153;
constexpr uint32_t kDeleteClassification = 154; // request: an index
constexpr uint32_t kListClassifications = 155;  // no request record

struct ClassificationRecord {
    le32 index; // assigned by the service
    char name[36];
    sle32 priority;
    sle32 dscp;
    sle32 vlan8021p;
    le32 protocols[8]; // IP protocol codes; 0: unused slot
    char srcip[17];
    char srcmask[17];
    char padding1[2];
    le32 srcport;
    char srcmac[17]; // colon form; may fill its field
    char dstip[17];
    char dstmask[17];
    char padding2;
    le32 dstport;
    char dstmac[17]; // colon form; may fill its field
    char padding3[3];
};
static_assert(sizeof(ClassificationRecord) == 200);
static_assert(offsetof(ClassificationRecord, name) == 4);
static_assert(offsetof(ClassificationRecord, priority) == 40);
static_assert(offsetof(ClassificationRecord, dscp) == 44);
static_assert(offsetof(ClassificationRecord, vlan8021p) == 48);
static_assert(offsetof(ClassificationRecord, protocols) == 52);
static_assert(offsetof(ClassificationRecord, srcip) == 84);
static_assert(offsetof(ClassificationRecord, srcmask) == 101);
static_assert(offsetof(ClassificationRecord, srcport) == 120);
static_assert(offsetof(ClassificationRecord, srcmac) == 124);
static_assert(offsetof(ClassificationRecord, dstip) == 141);
static_assert(offsetof(ClassificationRecord, dstmask) == 158);
static_assert(offsetof(ClassificationRecord, dstport) == 176);
static_assert(offsetof(ClassificationRecord, dstmac) == 180);

struct ClassificationList {
    le32 count;
    ClassificationRecord entries[32];
};
static_assert(sizeof(ClassificationList) == 6404);
static_assert(offsetof(ClassificationList, entries) == 4);

struct ClassificationIndexRecord {
    le32 index;
};
static_assert(sizeof(ClassificationIndexRecord) == 4);

// The switches: one word, a yes/no code. The read requests carry no record.
struct QosSwitchRecord {
    le32 code;
};
static_assert(sizeof(QosSwitchRecord) == 4);

constexpr uint32_t kSetQos = 199;
constexpr uint32_t kGetQos = 200;
constexpr uint32_t kSetQosDscp = 201;
constexpr uint32_t kGetQosDscp = 202;
constexpr uint32_t kSetQos8021p = 203;
constexpr uint32_t kGetQos8021p = 204;
