#include "gateway.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <filesystem>

#include "files.h"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr const char *kSessionObject = "session";
constexpr size_t kMostAnswers = 4 * 1024 * 1024; // of an array, bytes

Answer json(std::string body)
{
    return {200, "application/json", std::move(body)};
}

Answer bus_failure(unsigned http_status, int status)
{
    return {http_status, "application/json", code_and_message(status, ubus_strerror(status))};
}

// [STATUS] or [STATUS,DATA]
std::string result_of(const Bus::Reply &reply)
{
    return "[" + std::to_string(reply.status) + (reply.data.empty() ? "" : ",") + reply.data + "]";
}

bool matches(const std::string &pattern, const std::string &path)
{
    if (!pattern.empty() && pattern.back() == '*')
        return path.starts_with(pattern.substr(0, pattern.size() - 1));
    return path == pattern;
}

size_t number_of(const std::string &text)
{
    size_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

} // namespace

Gateway::Gateway(const Options &options, Sessions &sessions)
    : options_(options), sessions_(sessions), bus_(options.bus), orvcd_(options.orvcd, options.service, options.events),
      recording_(options.recording)
{
}

void Gateway::serve(const std::shared_ptr<Exchange> &exchange)
{
    switch (exchange->destination().route) {
    case Route::RPC:
        return serve_rpc(exchange);
    case Route::CALL:
        return serve_rpc_call(exchange);
    case Route::LIST:
        return serve_list(*exchange);
    case Route::SUBSCRIBE:
        return serve_subscription(*exchange);
    case Route::PAGE:
        return serve_page(*exchange);
    case Route::NOTIFICATIONS:
    case Route::REQUESTS:
    case Route::FAULTS:
    case Route::PLAY_FAULT:
    case Route::EVENT:
    case Route::API:
        return serve_lab(exchange);
    }
}

// --- Calls ---

// The order of the checks is the routers': whether there is such an object is told to everybody.
void Gateway::call(const RpcRequest &request, int time_out_ms, std::function<void(const RpcError &)> refused,
                   Bus::Done done)
{
    const bool is_session = request.object == kSessionObject;
    const uint32_t object = is_session ? 0 : bus_.find(request.object);
    if (!is_session && object == 0)
        return refused(kObjectNotFound);
    if (!sessions_.may(request.session, "ubus", request.object.c_str(), request.method.c_str()))
        return refused(kAccessDenied);
    if (request.arguments.contains(kSessionArgument))
        return refused(kInvalidParameters);
    if (is_session) {
        const Sessions::Reply reply = sessions_.call(request.session, request.method, request.arguments);
        return done({reply.status, Bus::Reply::ANSWERED, reply.data ? write_json(*reply.data) : ""});
    }
    bus_.call(object, request.method, request.arguments, request.session, time_out_ms,
              [this, object, path = request.object, refused = std::move(refused),
               done = std::move(done)](const Bus::Reply &reply) {
                  if (reply.end != Bus::Reply::ANSWERED)
                      refused(reply.end == Bus::Reply::TIMED_OUT ? kTimedOut : kInternalError);
                  else if (reply.status == UBUS_STATUS_NOT_FOUND && bus_.find_anew(path) != object)
                      refused(kObjectNotFound); // it went, and that was not told yet
                  else
                      done(reply);
              });
}

void Gateway::answer_one(const RpcRequest &request, int time_out_ms, const Answered &answered)
{
    const std::string &id = request.id;
    switch (request.kind) {
    case RpcRequest::ERROR:
        return answered(rpc_error(id, request.error));
    case RpcRequest::LIST_PATHS:
        return answered(rpc_result(id, list_paths()));
    case RpcRequest::LIST:
        return answered(rpc_result(id, list_patterns(request.patterns)));
    case RpcRequest::CALL:
        call(
            request, time_out_ms, [=](const RpcError &error) { answered(rpc_error(id, error)); },
            [=](const Bus::Reply &reply) { answered(rpc_result(id, result_of(reply))); });
    }
}

// The requests of a body on their way.
struct Gateway::Batch {
    std::shared_ptr<Exchange> exchange;
    RpcBody body;
    Clock::time_point end;
    size_t next = 0;
    std::string answers;
    bool is_going = false; // on, in the loop below: an answer that comes at once is no further turn

    int left_ms() const
    {
        return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count());
    }

    void add(const std::string &answer)
    {
        const bool fits = answers.size() + answer.size() <= kMostAnswers;
        answers += (next == 0 ? "" : ",") + (fits ? answer : rpc_error(body.requests[next].id, kInternalError));
        next++;
    }
};

void Gateway::serve_rpc(const std::shared_ptr<Exchange> &exchange)
{
    auto batch = std::make_shared<Batch>();
    batch->exchange = exchange;
    batch->body = read_rpc(exchange->request().body);
    batch->end = Clock::now() + std::chrono::seconds(options_.call_time_out_s);
    go_on(batch);
}

// One after the other.
void Gateway::go_on(const std::shared_ptr<Batch> &batch)
{
    batch->is_going = true;
    while (batch->next < batch->body.requests.size()) {
        const RpcRequest &request = batch->body.requests[batch->next];
        const size_t before = batch->next;
        const int left = batch->left_ms();
        if (left <= 0 && request.kind == RpcRequest::CALL) {
            batch->add(rpc_error(request.id, kTimedOut));
            continue;
        }
        answer_one(request, left, [this, batch](const std::string &answer) {
            batch->add(answer);
            if (!batch->is_going)
                go_on(batch);
        });
        if (batch->next == before) {
            batch->is_going = false;
            return;
        }
    }
    batch->exchange->answer(json(batch->body.is_array ? "[" + batch->answers + "]" : std::move(batch->answers)));
}

void Gateway::serve_rpc_call(const std::shared_ptr<Exchange> &exchange)
{
    const RpcRequest request =
        read_rpc_call(exchange->request().body, exchange->destination().rest, session_of(exchange->request()));
    const std::string id = request.id;
    auto refuse = [=](const RpcError &error) { exchange->answer(json(rpc_error(id, error))); };
    if (request.kind == RpcRequest::ERROR)
        return refuse(request.error);
    call(request, options_.call_time_out_s * 1000, refuse, [=](const Bus::Reply &reply) {
        if (reply.status != UBUS_STATUS_OK)
            return refuse({reply.status, ubus_strerror(reply.status)});
        exchange->answer(json(rpc_result(id, reply.data.empty() ? "null" : reply.data)));
    });
}

// --- Lists, which anybody may read ---

// The object of the sessions is not on the bus, and is listed in its place.
int Gateway::list(const std::string &pattern, Listing &listing)
{
    const int status = pattern.empty() ? static_cast<int>(UBUS_STATUS_INVALID_ARGUMENT) : bus_.list(pattern, listing);
    if (!matches(pattern, kSessionObject))
        return status;
    auto place =
        std::find_if(listing.begin(), listing.end(), [](const auto &entry) { return entry.first > kSessionObject; });
    listing.insert(place, {kSessionObject, Sessions::signature()});
    return UBUS_STATUS_OK;
}

std::string Gateway::list_paths()
{
    Listing listing;
    list("*", listing);
    Json paths = Json::array();
    for (const auto &[path, methods] : listing)
        paths.push_back(path);
    return write_json(paths);
}

std::string Gateway::list_patterns(const std::vector<std::string> &patterns)
{
    Json objects = Json::object();
    for (const std::string &pattern : patterns) {
        Listing listing;
        list(pattern, listing);
        for (auto &[path, methods] : listing)
            objects[path] = std::move(methods);
    }
    return write_json(objects);
}

void Gateway::serve_list(Exchange &exchange)
{
    const std::string_view path = path_of(exchange.request().target);
    if (path == "/ubus/list")
        return exchange.answer(json(list_patterns({"*"})));
    Listing listing;
    const int status = list(exchange.destination().rest, listing);
    if (status != UBUS_STATUS_OK) {
        Answer answer = bus_failure(500, status);
        return exchange.answer(std::move(answer));
    }
    Json methods = Json::object();
    for (const auto &[object, its_methods] : listing)
        methods.update(its_methods);
    exchange.answer(json(write_json(methods)));
}

// --- Streams ---

// The right is asked for before the object is looked up: who has none does not learn what there is.
void Gateway::serve_subscription(Exchange &exchange)
{
    constexpr int kRefused = -13;
    const std::string &path = exchange.destination().rest;
    if (!sessions_.may(session_of(exchange.request()), "ubus", path.c_str(), ":subscribe"))
        return exchange.answer(json(code_and_message(kRefused, ubus_strerror(UBUS_STATUS_PERMISSION_DENIED))));
    if (bus_.find(path) == 0)
        return exchange.answer(bus_failure(200, UBUS_STATUS_NOT_FOUND));
    const std::shared_ptr<Stream> stream = exchange.answer_stream();
    if (!stream)
        return;
    uint64_t key = 0;
    const int status = bus_.subscribe(
        path,
        [stream](const Stream::Text &event) {
            if (event)
                stream->push(event);
            else
                stream->end();
        },
        key);
    if (status != UBUS_STATUS_OK)
        return stream->end();
    stream->gone = [this, key] { bus_.unsubscribe(key); };
}

void Gateway::serve_notifications(Exchange &exchange, const std::string &session)
{
    if (const std::shared_ptr<Stream> stream = exchange.answer_stream())
        notifications_.add(stream, sessions_.grants_of(session));
}

void Gateway::serve_requests(Exchange &exchange)
{
    if (!recording_.is_kept())
        return exchange.answer(failure(404, "this lab keeps no recording"));
    const size_t count = number_of(query_value(exchange.request().target, "last").value_or(""));
    if (const std::shared_ptr<Stream> stream = exchange.answer_stream())
        recording_.add(stream, count, exchange.request().last_event_id);
}

// --- The lab ---

void Gateway::serve_lab(const std::shared_ptr<Exchange> &exchange)
{
    const Route route = exchange->destination().route;
    const bool writes = route == Route::PLAY_FAULT || route == Route::EVENT;
    const char *object = route == Route::REQUESTS ? "requests"
                         : route == Route::API    ? "api"
                         : route == Route::EVENT  ? "event"
                                                  : "faults";
    const std::string session = session_of(exchange->request());
    if (session == kNullSession || !sessions_.is_there(session))
        return exchange->answer(failure(401, "no session"));
    if (route == Route::NOTIFICATIONS)
        return serve_notifications(*exchange, session);
    if (!sessions_.may(session, "lab", object, writes ? "write" : "read"))
        return exchange->answer(failure(403, "not allowed"));
    auto done = [exchange](Answer answer) { exchange->answer(std::move(answer)); };
    switch (route) {
    case Route::REQUESTS:
        return serve_requests(*exchange);
    case Route::API:
        return serve_api(*exchange);
    case Route::FAULTS:
        return orvcd_.list_faults(done);
    case Route::PLAY_FAULT:
        return orvcd_.play_fault(exchange->request().body, done);
    default:
        return orvcd_.send_event(exchange->request().body, done);
    }
}

// Each file as it is: the keys stand in the order of the bus.
void Gateway::serve_api(Exchange &exchange) const
{
    namespace fs = std::filesystem;
    std::error_code error;
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(options_.api, error))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    std::string array;
    for (const std::string &name : names)
        if (name.ends_with(".json") && !name.ends_with("schema.json"))
            array += (array.empty() ? "" : ",") + read_file_below(options_.api, name).value_or("null");
    exchange.answer(array.empty() ? failure(404, "no descriptions here") : json("[" + array + "]"));
}

void Gateway::serve_page(Exchange &exchange) const
{
    const std::string &name = exchange.destination().rest;
    std::optional<std::string> content = read_file_below(options_.page, name);
    if (content)
        return exchange.answer({200, content_type(name), std::move(*content)});
    exchange.answer({404, "text/html; charset=utf-8", "<h1>Not Found</h1>"});
}
