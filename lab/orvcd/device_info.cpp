// The device: its names, its parts, its abilities.

#include "core/shared_records.h"
#include "records.h"
#include "service.h"
#include "system/device_info_records.h"

static void describe(auto &&field, HwInfoRecord &record)
{
    field("vendor", record.vendor);
    field("model", record.model);
    field("hardware_version", record.hardware_version);
    field("url", record.url);
    field("description", record.description);
    field("lan_rates", record.lan_rates);
    field("wan_rate", record.wan_rate);
    field("standards_2.4_GHz", record.standards1, BitSet{kStandards});
    field("standards_5_GHz", record.standards2, BitSet{kStandards});
    field("wifi_rate_2.4_GHz", record.wifi_rate1);
    field("wifi_rate_5_GHz", record.wifi_rate2);
}

static void describe(auto &&field, FwInfoRecord &record)
{
    field("software_version", record.software_version);
}

static void describe(auto &&field, ManuInfoRecord &record)
{
    field("mac", record.mac);
}

static void describe(auto &&field, ManageInfoRecord &record)
{
    field("address", record.address);
}

static void describe(auto &&field, FuncSupportRecord &record)
{
    field("dual_band", record.dual_band, YesNo{});
    field("usb", record.usb, YesNo{});
    field("vpn", record.vpn, YesNo{});
    field("mesh1", record.mesh1, YesNo{});
    field("mesh2", record.mesh2, YesNo{});
}

static void describe(auto &&field, UplinkSupportRecord &record)
{
    field("words", record.words);
}

static void describe(auto &&field, PortNumRecord &record)
{
    field("lan", record.lan_ports);
    field("wan", record.wan_ports);
}

static void describe(auto &&field, OpvmBasicInfoRecord &record)
{
    field("equipment_id", record.equipment_id);
    field("serial_number", record.serial_number);
    field("interface_version", record.interface_version);
}

namespace
{

Reply get_hw_info(const Json &home)
{
    return to_record<HwInfoRecord>(home.at("hardware"));
}

Reply get_fw_info(const Json &home)
{
    return to_record<FwInfoRecord>(home.at("firmware"));
}

Reply get_manu_info(const Json &home)
{
    return to_record<ManuInfoRecord>(home.at("identity"));
}

Reply get_manage_info(const Json &home)
{
    return to_record<ManageInfoRecord>(home.at("management"));
}

Reply get_func_support(const Json &home)
{
    return to_record<FuncSupportRecord>(home.at("functions"));
}

Reply get_uplink_support(const Json &home)
{
    return to_record<UplinkSupportRecord>(home.at("uplink"));
}

// With or without a record in the request.
Reply get_port_num(const Json &home)
{
    const Json &ports = home.at("ports");
    auto record = to_record<PortNumRecord>(ports);
    record.lan_count = slot_count(ports.at("lan"), record.lan_ports);
    record.wan_count = slot_count(ports.at("wan"), record.wan_ports);
    return record;
}

Reply get_opvm_basic_info(const Json &home)
{
    return to_record<OpvmBasicInfoRecord>(home.at("operator"));
}

constexpr Row kRows[] = {
    {kGetHwInfo, "ORVC_GET_HWINFO", serve<get_hw_info>},
    {kGetFwInfo, "ORVC_GET_FWINFO", serve<get_fw_info>},
    {kGetManuInfo, "ORVC_GET_MANUINFO", serve<get_manu_info>},
    {kGetManageInfo, "ORVC_GET_MANAGEINFO", serve<get_manage_info>},
    {kGetFuncSupport, "ORVC_GET_FUNCSUPPORT", serve<get_func_support>},
    {kGetUplinkSupport, "ORVC_GET_UPLINKSUPPORT", serve<get_uplink_support>},
    {kGetPortNum, "ORVC_GET_PORTNUM", serve<get_port_num>},
    {kGetOpvmBasicInfo, "ORVC_GET_OPVMBASICINFO", serve<get_opvm_basic_info>},
};
const Family family = {kRows};

} // namespace
