// The operator's management servers and the device's identity towards them.

#include "records.h"
#include "service.h"
#include "system/server_info_records.h"

static void describe(auto &&field, ServerInfoRecord &record)
{
    field("bssaddr", record.bssaddr);
    field("abiaddr", record.abiaddr);
    field("devtoken", record.devtoken);
    field("devid", record.devid);
    field("backup", record.backup);
}

constexpr Name kGivenFields[] = {{1, "bssaddr"}, {2, "abiaddr"}, {4, "devtoken"}, {8, "devid"}, {16, "backup"}};

static void describe_message(auto &&field, ServerInfoRecord &record)
{
    field("given", record.given_mask, BitSet{kGivenFields});
}

namespace
{

Reply get_server_info(const Json &home)
{
    return to_record<ServerInfoRecord>(home.at("server_info"));
}

Reply set_server_info(Json &home, const ServerInfoRecord &record)
{
    const Json given = encode(record);
    for (const Name &field : kGivenFields)
        if (record.given_mask & field.code)
            home["server_info"][field.text] = given.at(field.text);
    return kOk;
}

constexpr Row kRows[] = {
    {kGetServerInfo, "ORVC_GET_SERVERINFO", serve<get_server_info>},
    {kSetServerInfo, "ORVC_SET_SERVERINFO", serve<set_server_info>},
};
const Family family = {kRows};

} // namespace
