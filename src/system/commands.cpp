// wexond: the whole-device commands. Each is one request; the daemon downloads, flashes and restarts nothing itself.

#include "system/commands_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"

namespace
{

enum { DOWNURL, FILESIZE, CHKSUM, ISREBOOT };

const blobmsg_policy upgrade_policy[] = {
    {.name = "downurl", .type = BLOBMSG_TYPE_STRING},
    {.name = "filesize", .type = BLOBMSG_TYPE_INT32},
    {.name = "chksum", .type = BLOBMSG_TYPE_STRING},
    {.name = "isreboot", .type = BLOBMSG_TYPE_STRING},
};

constexpr size_t kUrlLimit = 256; // of a wider field

int wexond_upgrade(Call &call)
{
    Arguments<4> arguments(upgrade_policy, call.message);
    if (arguments.require(call)) {
        CALL_LOG(call, "downurl:%s / filesize:%d / chksum:%s / isreboot:%s \n\n", arguments.text(DOWNURL),
                 arguments.number(FILESIZE), arguments.text(CHKSUM), arguments.text(ISREBOOT));
        UpgradeRecord record{};
        copy_text(record.url, arguments.text(DOWNURL), kUrlLimit);
        record.file_size = static_cast<int32_t>(arguments.number(FILESIZE));
        copy_text(record.checksum, arguments.text(CHKSUM));
        // Deliberate: only the text "0" means no; "no", "false" and the empty text mean yes.
        record.reboot = strcmp(arguments.text(ISREBOOT), "0") != 0;
        exchange(call, kUpgrade, record, "upgrade");
    }
    return send_for_set(call);
}

int wexond_reboot(Call &call)
{
    exchange(call, kReboot, RebootRecord{}, "reboot");
    return send_for_set(call);
}

int wexond_reset(Call &call)
{
    exchange(call, kReset, nullptr, 0, "reset");
    return send_for_set(call);
}

const ubus_method methods[] = {
    UBUS_METHOD("upgrade", SERVE(wexond_upgrade), upgrade_policy),
    UBUS_METHOD_NOARG("reboot", SERVE(wexond_reboot)),
    UBUS_METHOD_NOARG("reset", SERVE(wexond_reset)),
};

ubus_object_type type = bus_object_type("wexond", methods);

} // namespace

ubus_object wexond_object = {
    .name = "wexond",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
