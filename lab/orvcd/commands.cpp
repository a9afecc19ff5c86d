// The whole-device commands. A virtual router neither restarts nor installs anything; it notes what it was told.

#include "checks.h"
#include "records.h"
#include "service.h"
#include "system/commands_records.h"

static void describe(auto &&field, UpgradeRecord &record)
{
    field("url", record.url);
    field("file_size", record.file_size);
    field("checksum", record.checksum);
    field("reboot", record.reboot, YesNo{});
}

static void describe(auto &&, RebootRecord &) {}

namespace
{

ReturnCode check_upgrade(const UpgradeRecord &record)
{
    if (!is_url(text_of(record.url)))
        return kBadUrl;
    return record.reboot > 1 ? kBadSwitch : record.file_size > 0 ? kOk : kBadRange;
}

void count(Json &home, const char *command)
{
    Json &times = home["commands"][command];
    times = decode_number(times) + 1;
}

Reply reboot(Json &home, const RebootRecord &)
{
    count(home, "reboots");
    return kOk;
}

// Back to the home as it was at first, but for the notes.
Reply reset(Json &home)
{
    Json commands = home["commands"];
    home = first_home();
    home["commands"] = commands;
    count(home, "resets");
    return kOk;
}

Reply upgrade(Json &home, const UpgradeRecord &record)
{
    store(home["commands"]["last_upgrade"], record);
    count(home, "upgrades");
    return kOk;
}

constexpr Row kRows[] = {
    {kReboot, "ORVC_SET_REBOOT", serve<reboot>},
    {kReset, "ORVC_SET_RESET", serve<reset>},
    {kUpgrade, "ORVC_SET_UPGRADE", serve<upgrade, check_upgrade>},
};
const Family family = {kRows};

} // namespace
