#include "tests/faults/agent.h"

#include <stdexcept>

#include "tests/support/blobmsg_bytes.h"
#include "tests/support/interface.h"

using namespace test_support;

static void require(int status, const std::string &what)
{
    if (status)
        throw std::runtime_error(what + ": " + ubus_strerror(status));
}

Agent::Agent(const std::filesystem::path &socket) : context_(ubus_connect(socket.c_str()))
{
    if (!context_)
        throw std::runtime_error("no bus at " + socket.string());
}

Agent::~Agent()
{
    ubus_free(context_);
}

void Agent::send(const std::string &object, const std::string &method, std::string_view json)
{
    if (path_ != object)
        require(ubus_lookup_id(context_, object.c_str(), &id_), object);
    path_ = object;
    method_ = method;
    std::string values = from_json(json);
    std::string message = big_endian32(static_cast<uint32_t>(sizeof(blob_attr) + values.size())) + values;
    auto *attribute = reinterpret_cast<blob_attr *>(message.data());
    require(ubus_invoke_async(context_, id_, method.c_str(), attribute, &request_), method);
}

std::string Agent::finish()
{
    std::vector<std::string> replies;
    request_.priv = &replies;
    request_.data_cb = [](ubus_request *request, int, blob_attr *message) {
        static_cast<std::vector<std::string> *>(request->priv)
            ->emplace_back(static_cast<char *>(blob_data(message)), blob_len(message));
    };
    int status = ubus_complete_request(context_, &request_, 60000);
    if (status)
        return std::string("(") + ubus_strerror(status) + ")";
    check_reply(path_, method_, replies);
    std::string text;
    for (const std::string &reply : replies)
        text += to_text(reply);
    return text;
}
