#include "core/catalogue.h"

extern ubus_object wexond_object;
extern ubus_object wexond_iptv_object;
extern ubus_object wexond_ledswitch_object;
extern ubus_object wexond_serverinfo_object;
extern ubus_object wexond_devinfo_object;
extern ubus_object wexond_neighbourinfo_object;
extern ubus_object wexond_devinfo_ext_object;

std::span<ubus_object *const> catalogue_objects()
{
    static constexpr ubus_object *kObjects[] = {
        &wexond_object,         &wexond_iptv_object,          &wexond_ledswitch_object,   &wexond_serverinfo_object,
        &wexond_devinfo_object, &wexond_neighbourinfo_object, &wexond_devinfo_ext_object,
    };
    return kObjects;
}

const EntryTypes catalogue_entry_types = {};
