#include "rpc.h"

namespace
{

RpcRequest fail(RpcRequest request, const RpcError &error)
{
    request.kind = RpcRequest::ERROR;
    request.error = error;
    return request;
}

// The parameters are taken by type in turn; what is of another type in between is passed over.
bool take_call(const Json &parameters, RpcRequest &request)
{
    if (!parameters.is_array())
        return false;
    std::string *const texts[] = {&request.session, &request.object, &request.method};
    size_t count = 0;
    for (const Json &parameter : parameters) {
        if (count < std::size(texts) && parameter.is_string()) {
            *texts[count++] = parameter.get_ref<const std::string &>();
        } else if (count == std::size(texts) && parameter.is_object()) {
            request.arguments = parameter;
            return true;
        }
    }
    return false;
}

RpcRequest take_list(const Json &parameters, RpcRequest request)
{
    request.kind = parameters.is_array() ? RpcRequest::LIST : RpcRequest::LIST_PATHS;
    if (parameters.is_array())
        for (const Json &parameter : parameters)
            if (parameter.is_string())
                request.patterns.push_back(parameter.get<std::string>());
    return request;
}

Json member(const Json &object, const char *name)
{
    auto found = object.find(name);
    return found == object.end() ? Json() : *found;
}

// Common to both forms: the id, and whether it is a request at all.
bool take_head(const Json &object, RpcRequest &request)
{
    if (!object.is_object())
        return false;
    request.id = write_json(member(object, "id"));
    const std::string *version = text_member(object, "jsonrpc");
    return version && *version == "2.0" && text_member(object, "method");
}

RpcRequest read_request(const Json &object)
{
    RpcRequest request;
    if (!take_head(object, request))
        return request;
    const std::string &method = *text_member(object, "method");
    const Json parameters = member(object, "params");
    if (method == "list")
        return take_list(parameters, std::move(request));
    if (method != "call")
        return fail(std::move(request), kMethodNotFound);
    if (take_call(parameters, request))
        request.kind = RpcRequest::CALL;
    return request;
}

} // namespace

RpcBody read_rpc(std::string_view body)
{
    RpcBody result;
    const std::optional<Json> json = read_json(body);
    if (!json || !json->is_array()) {
        result.requests.push_back(json ? read_request(*json) : RpcRequest());
    } else if (json->size() > kMostRequests) {
        result.requests.push_back(fail({}, kInvalidRequest));
    } else {
        result.is_array = true;
        for (const Json &element : *json)
            result.requests.push_back(read_request(element));
    }
    return result;
}

RpcRequest read_rpc_call(std::string_view body, const std::string &object, const std::string &session)
{
    RpcRequest request;
    const std::optional<Json> json = read_json(body);
    if (!json || !take_head(*json, request))
        return request;
    request.session = session;
    request.object = object;
    request.method = *text_member(*json, "method");
    const Json parameters = member(*json, "params");
    if (!parameters.is_null() && !parameters.is_object())
        return request;
    if (parameters.is_object())
        request.arguments = parameters;
    request.kind = RpcRequest::CALL;
    return request;
}

static std::string envelope(const std::string &id, const char *key, const std::string &value)
{
    return R"({"jsonrpc":"2.0","id":)" + id + ",\"" + key + "\":" + value + "}";
}

std::string code_and_message(int code, const char *message)
{
    return write_json({{"code", code}, {"message", message}});
}

std::string rpc_error(const std::string &id, const RpcError &error)
{
    return envelope(id, "error", code_and_message(error.code, error.message));
}

std::string rpc_result(const std::string &id, const std::string &result)
{
    return envelope(id, "result", result);
}
