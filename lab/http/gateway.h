// The handling of each request: sessions are asked, the bus is called, streams are fed.
#pragma once

#include <memory>
#include <string>

#include "bus.h"
#include "notifications.h"
#include "orvcd.h"
#include "recording.h"
#include "rpc.h"
#include "server.h"
#include "sessions.h"

class Gateway
{
  public:
    struct Options {
        std::string bus;
        std::string page;
        std::string api;
        std::string recording;
        std::string orvcd, service, events;
        int call_time_out_s = 60;
    };

    Gateway(const Options &options, Sessions &sessions);
    void serve(const std::shared_ptr<Exchange> &exchange);

  private:
    struct Batch;
    using Answered = std::function<void(std::string answer)>;

    void serve_rpc(const std::shared_ptr<Exchange> &exchange);
    void serve_rpc_call(const std::shared_ptr<Exchange> &exchange);
    void serve_list(Exchange &exchange);
    void serve_subscription(Exchange &exchange);
    void serve_lab(const std::shared_ptr<Exchange> &exchange);
    void serve_page(Exchange &exchange) const;
    void serve_api(Exchange &exchange) const;
    void serve_requests(Exchange &exchange);
    void serve_notifications(Exchange &exchange, const std::string &session);

    void go_on(const std::shared_ptr<Batch> &batch);
    void answer_one(const RpcRequest &request, int time_out_ms, const Answered &answered);
    void call(const RpcRequest &request, int time_out_ms, std::function<void(const RpcError &)> refused,
              Bus::Done done);
    std::string list_paths();
    std::string list_patterns(const std::vector<std::string> &patterns);
    int list(const std::string &pattern, Listing &listing);

    Options options_;
    Sessions &sessions_;
    Bus bus_;
    Orvcd orvcd_;
    Recording recording_;
    Notifications notifications_{bus_};
};
