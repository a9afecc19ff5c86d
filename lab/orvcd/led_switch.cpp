// The front-panel LEDs.

#include "checks.h"
#include "events.h"
#include "records.h"
#include "service.h"
#include "system/led_switch_records.h"

static void describe(auto &&field, LedSwitchRecord &record)
{
    field("on", record.status, YesNo{});
}

namespace
{

ReturnCode check_led_switch(const LedSwitchRecord &record)
{
    return check_switch(record.status);
}

Reply get_led_switch(const Json &home)
{
    return to_record<LedSwitchRecord>(home.at("leds"));
}

Reply set_led_switch(Json &home, const LedSwitchRecord &record)
{
    store(home["leds"], record);
    announce(kEventLedSwitch, SwitchEvent{record.status});
    return kOk;
}

constexpr Event kFamilyEvents[] = {
    event_of<SwitchEvent>("led-switch", kEventLedSwitch, R"({"on": true})"),
};

constexpr Row kRows[] = {
    {kGetLedSwitch, "ORVC_GET_LEDSWITCH", serve<get_led_switch>},
    {kSetLedSwitch, "ORVC_SET_LEDSWITCH", serve<set_led_switch, check_led_switch>},
};
const Family family = {kRows, kFamilyEvents};

} // namespace
