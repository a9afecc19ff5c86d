#include "tests/support/bus_client.h"

#include <csignal>
#include <deque>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "tests/support/blobmsg_bytes.h"
#include "tests/support/interface.h"

extern "C" {
#include <libubus.h>
}

namespace test_support
{

namespace
{

constexpr int kCallTimeout = 110000; // ms; a call may wait for the whole of a slow start-up

constexpr const char *kTypeNames[] = {"null", "array", "table", "string", "int64", "int32", "int16", "bool", "double"};

std::string values_of(blob_attr *message)
{
    return {static_cast<char *>(blob_data(message)), blob_len(message)};
}

void add_reply(ubus_request *request, int, blob_attr *message)
{
    static_cast<std::vector<std::string> *>(request->priv)->push_back(values_of(message));
}

std::string type_name(blob_attr *argument)
{
    uint32_t type = blobmsg_get_u32(argument);
    return type < std::size(kTypeNames) ? kTypeNames[type] : std::to_string(type);
}

void add_object(ubus_context *, ubus_object_data *object, void *list)
{
    std::string text = object->path + std::string("\n");
    blob_attr *method, *argument;
    size_t methods_left, arguments_left;
    if (object->signature) {
        blob_for_each_attr (method, object->signature, methods_left) {
            text += std::string("  ") + blobmsg_name(method);
            blobmsg_for_each_attr (argument, method, arguments_left)
                text += std::string(" ") + blobmsg_name(argument) + ":" + type_name(argument);
            text += '\n';
        }
    }
    *static_cast<std::string *>(list) += text;
}

// Of a loop that is the process's own there can be but one of these.
std::deque<std::string> messages;
std::vector<std::string> subscriptions;

int keep_notification(ubus_context *, ubus_object *, ubus_request_data *, const char *name, blob_attr *message)
{
    check_notification(subscriptions, name, values_of(message));
    messages.push_back(std::string(name) + " " + to_text(values_of(message)));
    return 0;
}

void keep_event(ubus_context *, ubus_event_handler *, const char *name, blob_attr *message)
{
    messages.push_back(std::string(name) + " " + to_text(values_of(message)));
}

void check(int status, const std::string &what)
{
    if (status)
        throw std::runtime_error(what + ": " + ubus_strerror(status));
}

} // namespace

struct BusClient::State {
    ubus_context *context;
    ubus_subscriber subscriber = {};
    ubus_event_handler listener = {};
    std::deque<std::string> paths;
    std::deque<ubus_object> objects;
    ubus_object_type published = {.name = "published"}; // known to this client's broker

    std::string call(const std::string &path, const std::string &method, const std::string &values);
};

// The event loop must not take SIGCHLD, which belongs to Process.
BusClient::BusClient(const std::filesystem::path &socket) : state_(std::make_unique<State>())
{
    signal(SIGCHLD, [](int) {});
    state_->context = ubus_connect(socket.c_str());
    if (!state_->context)
        throw std::runtime_error("no bus at " + socket.string());
    ubus_add_uloop(state_->context);
    state_->subscriber.cb = keep_notification;
    state_->listener.cb = keep_event;
}

BusClient::~BusClient()
{
    ubus_free(state_->context);
    uloop_done();
    messages.clear();
    subscriptions.clear();
}

std::string BusClient::State::call(const std::string &path, const std::string &method, const std::string &values)
{
    uint32_t id;
    int status = ubus_lookup_id(context, path.c_str(), &id);
    if (status)
        return std::string("(object: ") + ubus_strerror(status) + ")";
    std::string message = big_endian32(static_cast<uint32_t>(sizeof(blob_attr) + values.size())) + values;
    std::vector<std::string> replies;
    auto *attribute = reinterpret_cast<blob_attr *>(message.data());
    status = ubus_invoke(context, id, method.c_str(), attribute, add_reply, &replies, kCallTimeout);
    if (status) {
        check_error(path, method);
        return std::string("(") + ubus_strerror(status) + ")";
    }
    check_reply(path, method, replies);
    std::string text;
    for (const std::string &reply : replies)
        text += (text.empty() ? "" : "\n") + to_text(reply);
    return text.empty() ? "(no reply)" : text;
}

std::string BusClient::call(const std::string &object, const std::string &method, std::string_view json)
{
    return state_->call(object, method, from_json(json));
}

std::string BusClient::call(const std::string &object, const std::string &method, const RawMessage &message)
{
    return state_->call(object, method, message.values);
}

std::string BusClient::list(const std::string &path)
{
    std::string text;
    ubus_lookup(state_->context, path.c_str(), add_object, &text);
    return text;
}

bool BusClient::has_object(const std::string &path)
{
    uint32_t id;
    return ubus_lookup_id(state_->context, path.c_str(), &id) == 0;
}

void BusClient::wait_for_object(const std::string &path)
{
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!has_object(path)) {
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("no object " + path);
        std::this_thread::sleep_for(Milliseconds(2));
    }
}

void BusClient::publish(const std::string &path)
{
    ubus_object &object = state_->objects.emplace_back();
    object.name = state_->paths.emplace_back(path).c_str();
    object.type = &state_->published;
    check(ubus_add_object(state_->context, &object), path);
}

void BusClient::subscribe(const std::string &path)
{
    uint32_t id;
    if (!state_->subscriber.obj.id)
        check(ubus_register_subscriber(state_->context, &state_->subscriber), "subscriber");
    check(ubus_lookup_id(state_->context, path.c_str(), &id), path);
    check(ubus_subscribe(state_->context, &state_->subscriber, id), path);
    subscriptions.push_back(path);
}

void BusClient::listen(const std::string &pattern)
{
    check(ubus_register_event_handler(state_->context, &state_->listener, pattern.c_str()), pattern);
}

std::optional<std::string> BusClient::next_message(Milliseconds limit)
{
    auto deadline = std::chrono::steady_clock::now() + limit;
    while (messages.empty() && std::chrono::steady_clock::now() < deadline)
        uloop_run_timeout(10);
    if (messages.empty())
        return {};
    std::string message = messages.front();
    messages.pop_front();
    return message;
}

} // namespace test_support
