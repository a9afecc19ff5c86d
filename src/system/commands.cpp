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

int wexond_upgrade(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                   blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<4> arguments(upgrade_policy, message);
    if (arguments.require(&call.status)) {
        WEXOND_LOG("downurl:%s / filesize:%d / chksum:%s / isreboot:%s \n\n", arguments.text(DOWNURL),
                   arguments.number(FILESIZE), arguments.text(CHKSUM), arguments.text(ISREBOOT));
        UpgradeRecord record{};
        copy_text(record.url, arguments.text(DOWNURL), kUrlLimit);
        record.file_size = static_cast<int32_t>(arguments.number(FILESIZE));
        copy_text(record.checksum, arguments.text(CHKSUM));
        // Deliberate: only the text "0" means no; "no", "false" and the empty text mean yes.
        record.reboot = strcmp(arguments.text(ISREBOOT), "0") != 0;
        exchange(kUpgrade, record, "upgrade", &call.status);
    }
    return wexond_send_for_set(request, &call.status);
}

int wexond_reboot(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *)
{
    Call call(object, method, __func__);
    exchange(kReboot, RebootRecord{}, "reboot", &call.status);
    return wexond_send_for_set(request, &call.status);
}

int wexond_reset(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *)
{
    Call call(object, method, __func__);
    exchange(kReset, nullptr, 0, "reset", &call.status);
    return wexond_send_for_set(request, &call.status);
}

const ubus_method methods[] = {
    UBUS_METHOD("upgrade", wexond_upgrade, upgrade_policy),
    UBUS_METHOD_NOARG("reboot", wexond_reboot),
    UBUS_METHOD_NOARG("reset", wexond_reset),
};

ubus_object_type type = UBUS_OBJECT_TYPE("wexond", methods);

} // namespace

ubus_object wexond_object = {
    .name = "wexond",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
