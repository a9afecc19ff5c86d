#include "bus.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

extern "C" {
#include <libubox/blobmsg_json.h>
}

#include "rpc.h"

namespace
{

constexpr int kRetryMs = 200;
constexpr size_t kMostIds = 4096;

std::string take_text(char *text)
{
    std::string result = text ? text : "";
    free(text);
    return result;
}

// A message as an object, on one line.
std::string format(blob_attr *message)
{
    return take_text(blobmsg_format_json_indent(message, true, -1));
}

void add_integer(blob_buf &buffer, const char *name, int64_t value)
{
    if (value >= INT32_MIN && value <= INT32_MAX)
        blobmsg_add_u32(&buffer, name, static_cast<uint32_t>(value));
    else
        blobmsg_add_u64(&buffer, name, static_cast<uint64_t>(value));
}

void add_value(blob_buf &buffer, const char *name, const Json &value);

void add_container(blob_buf &buffer, const char *name, const Json &value)
{
    const bool is_array = value.is_array();
    void *cookie = is_array ? blobmsg_open_array(&buffer, name) : blobmsg_open_table(&buffer, name);
    for (const auto &[key, member] : value.items())
        add_value(buffer, is_array ? "" : key.c_str(), member);
    blobmsg_close_table(&buffer, cookie);
}

void add_value(blob_buf &buffer, const char *name, const Json &value)
{
    switch (value.type()) {
    case Json::value_t::object:
    case Json::value_t::array:
        return add_container(buffer, name, value);
    case Json::value_t::string:
        blobmsg_add_string(&buffer, name, value.get_ref<const std::string &>().c_str());
        return;
    case Json::value_t::boolean:
        blobmsg_add_u8(&buffer, name, value.get<bool>());
        return;
    case Json::value_t::number_unsigned:
        return add_integer(buffer, name, static_cast<int64_t>(std::min<uint64_t>(value.get<uint64_t>(), INT64_MAX)));
    case Json::value_t::number_integer:
        return add_integer(buffer, name, value.get<int64_t>());
    case Json::value_t::number_float:
        blobmsg_add_double(&buffer, name, value.get<double>());
        return;
    case Json::value_t::null:
    case Json::value_t::binary:
    case Json::value_t::discarded:
        blobmsg_add_field(&buffer, BLOBMSG_TYPE_UNSPEC, name, nullptr, 0);
    }
}

const char *type_name(uint32_t type)
{
    switch (type) {
    case BLOBMSG_TYPE_INT8:
        return "boolean";
    case BLOBMSG_TYPE_INT32:
        return "number";
    case BLOBMSG_TYPE_STRING:
        return "string";
    case BLOBMSG_TYPE_ARRAY:
        return "array";
    case BLOBMSG_TYPE_TABLE:
        return "object";
    default:
        return "unknown";
    }
}

Json signature_of(const blob_attr *signature)
{
    Json methods = Json::object();
    blob_attr *method, *argument;
    size_t left, arguments_left;
    if (!signature)
        return methods;
    blob_for_each_attr (method, signature, left) {
        Json &arguments = methods[blobmsg_name(method)] = Json::object();
        blobmsg_for_each_attr (argument, method, arguments_left)
            if (blobmsg_type(argument) == BLOBMSG_TYPE_INT32)
                arguments[blobmsg_name(argument)] = type_name(blobmsg_get_u32(argument));
    }
    return methods;
}

} // namespace

struct Bus::Call {
    Bus *bus;
    std::list<Call>::iterator place;
    ubus_request request = {};
    Timer timer{[this] { bus->give_up(*this); }};
    Done done;
    std::string data; // of the messages so far, without braces
    bool has_data = false;
};

struct Bus::Subject {
    Tied<ubus_subscriber, Subject> subscriber;
    Bus *bus;
    std::string path;
    std::map<uint64_t, Receive> receivers;
};

Bus::Bus(const std::string &socket) : socket_(socket)
{
    uloop_init();
    context_.owner = changes_.owner = this;
    connect();
}

Bus::~Bus()
{
    if (was_connected_)
        ubus_shutdown(bus());
}

void Bus::connect()
{
    const char *path = socket_.empty() ? nullptr : socket_.c_str();
    if ((was_connected_ ? ubus_reconnect(bus(), path) : ubus_connect_ctx(bus(), path)) == UBUS_STATUS_OK)
        connected();
    else
        retry_.set(kRetryMs);
}

void Bus::connected()
{
    was_connected_ = is_connected_ = true;
    bus()->connection_lost = [](ubus_context *context) { owner_of<Bus>(context).lost(); };
    ubus_add_uloop(bus());
    changes_.item = {};
    changes_.item.cb = objects_changed;
    if (ubus_register_event_handler(bus(), &changes_.item, "ubus.object.*") != UBUS_STATUS_OK)
        lost();
    else if (changed)
        changed();
}

// The library calls this from the event loop, never inside a handler. What is registered goes, so that the next
// connection begins with nothing.
void Bus::lost()
{
    if (!is_connected_)
        return;
    is_connected_ = false;
    uloop_fd_delete(&bus()->sock);
    ids_.clear();
    ubus_remove_object(bus(), &changes_.item.obj);
    while (!subjects_.empty())
        end(*subjects_.begin()->second);
    retry_.set(kRetryMs);
}

void Bus::objects_changed(ubus_context *, ubus_event_handler *handler, const char *event, blob_attr *message)
{
    Bus &bus = owner_of<Bus>(handler);
    if (std::string_view(event) == "ubus.object.add") {
        if (bus.changed)
            bus.changed();
        return;
    }
    static const blobmsg_policy policy[] = {{"id", BLOBMSG_TYPE_INT32}, {"path", BLOBMSG_TYPE_STRING}};
    blob_attr *fields[std::size(policy)];
    blobmsg_parse(policy, std::size(policy), fields, blob_data(message), static_cast<unsigned>(blob_len(message)));
    if (fields[1])
        bus.ids_.erase(blobmsg_get_string(fields[1]));
}

uint32_t Bus::find(const std::string &path)
{
    if (auto known = ids_.find(path); known != ids_.end())
        return known->second;
    uint32_t id = 0;
    if (!is_connected_ || path.empty() || path.back() == '*' ||
        ubus_lookup_id(bus(), path.c_str(), &id) != UBUS_STATUS_OK)
        return 0;
    if (ids_.size() < kMostIds && is_connected_)
        ids_[path] = id;
    return id;
}

uint32_t Bus::find_anew(const std::string &path)
{
    ids_.erase(path);
    return find(path);
}

int Bus::list(const std::string &path, Listing &listing)
{
    if (!is_connected_)
        return UBUS_STATUS_CONNECTION_FAILED;
    return ubus_lookup(
        bus(), path.c_str(),
        [](ubus_context *, ubus_object_data *object, void *listing) {
            static_cast<Listing *>(listing)->emplace_back(object->path, signature_of(object->signature));
        },
        &listing);
}

void Bus::finish(Call &call, const Reply &reply)
{
    const Done done = std::move(call.done);
    calls_.erase(call.place);
    done(reply);
}

void Bus::call(uint32_t object, const std::string &method, const Json &arguments, const std::string &session,
               int time_out_ms, Done done)
{
    Call &call = calls_.emplace_front();
    call.bus = this;
    call.place = calls_.begin();
    call.done = std::move(done);

    blob_buf buffer = {};
    blob_buf_init(&buffer, 0);
    for (const auto &[name, value] : arguments.items())
        add_value(buffer, name.c_str(), value);
    blobmsg_add_string(&buffer, kSessionArgument, session.c_str());
    const int status = is_connected_ ? ubus_invoke_async(bus(), object, method.c_str(), buffer.head, &call.request)
                                     : static_cast<int>(UBUS_STATUS_CONNECTION_FAILED);
    blob_buf_free(&buffer);
    if (status != UBUS_STATUS_OK)
        return finish(call, {UBUS_STATUS_CONNECTION_FAILED, Reply::NOT_SENT, ""});

    call.request.priv = &call;
    call.request.data_cb = [](ubus_request *request, int, blob_attr *message) {
        Call &call = *static_cast<Call *>(request->priv);
        const std::string text = message ? format(message) : "";
        if (text.size() < 2)
            return;
        call.has_data = true;
        if (text.size() > 2)
            call.data += (call.data.empty() ? "" : ",") + text.substr(1, text.size() - 2);
    };
    call.request.complete_cb = [](ubus_request *request, int status) {
        Call &call = *static_cast<Call *>(request->priv);
        call.bus->finish(call, {status, Reply::ANSWERED, call.has_data ? "{" + call.data + "}" : ""});
    };
    call.timer.set(time_out_ms);
    ubus_complete_request_async(bus(), &call.request);
}

void Bus::give_up(Call &call)
{
    ubus_abort_request(bus(), &call.request);
    finish(call, {UBUS_STATUS_TIMEOUT, Reply::TIMED_OUT, ""});
}

int Bus::notified(ubus_context *, ubus_object *object, ubus_request_data *, const char *name, blob_attr *message)
{
    auto &subject = owner_of<Subject>(container_of(object, ubus_subscriber, obj));
    const auto event = std::make_shared<const std::string>("event: " + std::string(name) +
                                                           "\ndata: " + (message ? format(message) : "{}") + "\n\n");
    for (const auto &[key, receive] : subject.receivers)
        receive(event);
    return 0;
}

void Bus::subject_removed(ubus_context *, ubus_subscriber *subscriber, uint32_t)
{
    auto &subject = owner_of<Subject>(subscriber);
    subject.bus->end(subject);
}

int Bus::subscribe(const std::string &path, Receive receive, uint64_t &key)
{
    const uint32_t id = find(path);
    if (id == 0)
        return UBUS_STATUS_NOT_FOUND;
    std::unique_ptr<Subject> &subject = subjects_[path];
    if (!subject) {
        subject = std::make_unique<Subject>();
        subject->bus = this;
        subject->path = path;
        subject->subscriber.owner = subject.get();
        ubus_subscriber *subscriber = &subject->subscriber.item;
        subscriber->cb = notified;
        subscriber->remove_cb = subject_removed;
        int status = ubus_register_subscriber(bus(), subscriber);
        if (status == UBUS_STATUS_OK)
            status = ubus_subscribe(bus(), subscriber, id);
        if (status != UBUS_STATUS_OK) {
            drop(*subject);
            return status;
        }
    }
    key = ++last_key_;
    subject->receivers[key] = std::move(receive);
    return UBUS_STATUS_OK;
}

void Bus::unsubscribe(uint64_t key)
{
    for (auto &[path, subject] : subjects_) {
        if (subject->receivers.erase(key) == 0)
            continue;
        if (subject->receivers.empty())
            drop(*subject);
        return;
    }
}

void Bus::drop(Subject &subject)
{
    ubus_unregister_subscriber(bus(), &subject.subscriber.item);
    subjects_.erase(std::string(subject.path));
}

void Bus::end(Subject &subject)
{
    const std::map<uint64_t, Receive> receivers = std::move(subject.receivers);
    drop(subject);
    for (const auto &[key, receive] : receivers)
        receive(nullptr);
}
