// HTTP requests to the lab's gateway as far as they are judged without sockets and bus.
//   input: method, target, Host, Origin and Authorization (a line each), then the body

#include <algorithm>
#include <optional>
#include <vector>

#include "access_lists.h"
#include "fuzz/input.h"
#include "request.h"
#include "rpc.h"
#include "sessions.h"

namespace
{

const std::vector<std::string> kHosts = {"localhost", "127.0.0.1"};

std::string take_line(std::string_view &text)
{
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    return std::string(line);
}

Request read_request(std::string_view text)
{
    Request request;
    request.method = take_line(text);
    request.target = take_line(text);
    request.host = take_line(text);
    if (std::string origin = take_line(text); !origin.empty())
        request.origin = origin;
    if (std::string authorization = take_line(text); !authorization.empty())
        request.authorization = authorization;
    request.body = text;
    return request;
}

// Nothing leads out of the folder or to what is hidden in it.
void check_file(const std::string &file)
{
    REQUIRE(!file.empty() && file.front() != '/' && file.back() != '/');
    REQUIRE(("/" + file).find("/.") == std::string::npos && file.find("//") == std::string::npos);
    REQUIRE(std::none_of(file.begin(), file.end(), [](unsigned char c) { return c < ' ' || c == '\\'; }));
    REQUIRE(content_type(file) != nullptr);
}

void check_verdict(const Request &request)
{
    const Verdict verdict = judge(request, kHosts);
    if (const auto *answer = std::get_if<Answer>(&verdict)) {
        REQUIRE(answer->status == 200 || (400 <= answer->status && answer->status < 500));
        return;
    }
    REQUIRE(!request.origin || request.origin->size() == request.host.size() + strlen("http://"));
    const auto &destination = std::get<Destination>(verdict);
    if (destination.route == Route::PAGE)
        check_file(destination.rest);
    else
        REQUIRE(path_of(request.target).ends_with(destination.rest));
}

// Whatever is read can be answered: by JSON that the same reader takes.
void check_request(const RpcRequest &request)
{
    REQUIRE(read_json(request.id).has_value());
    REQUIRE(read_json(rpc_error(request.id, request.error)).has_value() || request.id.size() > 30);
    REQUIRE(request.kind != RpcRequest::CALL || request.arguments.is_object());
    for (const std::string *text : {&request.session, &request.object, &request.method})
        REQUIRE(text->find('\0') == std::string::npos);
}

// Nobody gets in, and what he asks for is answered.
void check_session(const RpcRequest &request)
{
    static const AccessLists lists = [] {
        AccessLists made;
        made.add(R"({"unauthenticated": {"read": {"ubus": {"session": ["access", "login"]}}},
                     "all": {"write": {"ubus": {"*": ["*"]}}}})");
        return made;
    }();
    static Sessions sessions(lists, {{"admin", {"fuzz", {}, {"*"}}}});
    static const std::string known = [] {
        const auto reply =
            sessions.call(kNullSession, "login", {{"username", "admin"}, {"password", "fuzz"}, {"timeout", 0}});
        return *text_member(*reply.data, "ubus_rpc_session");
    }();
    if (request.kind != RpcRequest::CALL)
        return;
    if (request.session != known)
        REQUIRE(!sessions.may(request.session, "ubus", request.object.c_str(), request.method.c_str()) ||
                (request.object == "session" && (request.method == "login" || request.method == "access")));
    if (request.method == "destroy")
        return;
    const auto reply = sessions.call(known, request.method, request.arguments);
    REQUIRE(0 <= reply.status && reply.status <= 13);
    REQUIRE(!reply.data || read_json(write_json(*reply.data)).has_value());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Request request = read_request({reinterpret_cast<const char *>(data), size});
    check_verdict(request);
    const RpcBody body = read_rpc(request.body);
    REQUIRE(body.is_array || body.requests.size() == 1);
    REQUIRE(body.requests.size() <= kMostRequests);
    std::vector<RpcRequest> requests = body.requests;
    requests.push_back(read_rpc_call(request.body, "test", session_of(request)));
    for (const RpcRequest &one : requests) {
        check_request(one);
        check_session(one);
    }
    return 0;
}
