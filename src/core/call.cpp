#include "core/call.h"

#include <cstdarg>
#include <cstdio>

namespace
{

void set_failure(Status &status, const char *format, va_list arguments)
{
    status.failed = 1;
    vsnprintf(status.reason, sizeof(status.reason), format, arguments);
}

} // namespace

// NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks the arguments against the format
void fail(Status &status, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    set_failure(status, format, arguments);
    va_end(arguments);
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks the arguments against the format
void fail(Call &call, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    set_failure(call.status, format, arguments);
    va_end(arguments);
}

int serve(ubus_object *object, ubus_request_data *request, const char *method, blob_attr *message, const char *function,
          Handler handler)
{
    Call call = {object, request, message, function, {}};
    CALL_LOG(call, "-- Object:[%s], Method:[%s] --\n", object->name, method);
    return handler(call);
}
