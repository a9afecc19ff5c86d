// JSON-RPC 2.0 as routers speak it: what a body asks for, and what is answered.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "json_text.h"

struct RpcError {
    int code;
    const char *message;
};

constexpr RpcError kParseError{-32700, "Parse error"};
constexpr RpcError kInvalidRequest{-32600, "Invalid request"};
constexpr RpcError kMethodNotFound{-32601, "Method not found"};
constexpr RpcError kInvalidParameters{-32602, "Invalid parameters"};
constexpr RpcError kInternalError{-32603, "Internal error"};
constexpr RpcError kObjectNotFound{-32000, "Object not found"};
constexpr RpcError kAccessDenied{-32002, "Access denied"};
constexpr RpcError kTimedOut{-32003, "ubus request timed out"};

constexpr const char *kSessionArgument = "ubus_rpc_session";
constexpr size_t kMostRequests = 256; // of an array

struct RpcRequest {
    enum Kind { CALL, LIST_PATHS, LIST, ERROR };
    Kind kind = ERROR;
    RpcError error = kParseError;
    std::string id = "null"; // as JSON

    // of a call
    std::string session, object, method;
    Json arguments = Json::object();

    std::vector<std::string> patterns; // of a list
};

struct RpcBody {
    bool is_array = false;
    std::vector<RpcRequest> requests;
};

// Of the old form: the session, the object and the method are parameters.
RpcBody read_rpc(std::string_view body);
// Of the newer one, where object and session stand outside.
RpcRequest read_rpc_call(std::string_view body, const std::string &object, const std::string &session);

std::string rpc_error(const std::string &id, const RpcError &error);
// `result` is JSON.
std::string rpc_result(const std::string &id, const std::string &result);
// {"code":CODE,"message":TEXT}
std::string code_and_message(int code, const char *message);
