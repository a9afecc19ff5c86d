// labhttpd, the lab's HTTP gateway to the bus.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "access_lists.h"
#include "files.h"
#include "gateway.h"
#include "lab_lists.h"
#include "server.h"
#include "sessions.h"

namespace
{

struct Options {
    Server::Options server;
    Gateway::Options gateway;
    std::string acl;
    std::string users;
};

// The program's files: installed beside it, or in the source folder.
std::string where(const char *installed, const char *source)
{
    const std::string folder = data_folder();
    return folder.empty() ? std::string(SOURCE_FOLDER "/") + source : folder + "/" + installed;
}

void add_options(CLI::App &app, Options &options)
{
    Gateway::Options &gateway = options.gateway;
    auto add = [&](const char *name, auto &value, const char *type, const char *text) {
        app.add_option(name, value, text)->type_name(type)->capture_default_str();
    };
    gateway.page = where("page", "lab/http/page");
    gateway.api = where("api", "api");
    gateway.orvcd = program_folder() + "/orvcd";
    options.acl = where("wexond.json", "packaging/rpcd/wexond.json");
    add("--listen", options.server.address, "ADDRESS",
        "Where clients connect; what is not this machine's own loopback lets others in");
    add("--port", options.server.port, "PORT", "0: any that is free");
    add("--host", options.server.hosts, "NAME",
        "A further name by which it may be called, of a proxy say (several: again)");
    add("--bus", gateway.bus, "SOCKET", "The bus; by default the environment variable UBUS_SOCKET or the router's");
    add("--page", gateway.page, "DIR", "Files that are served");
    add("--api", gateway.api, "DIR", "Descriptions of the objects");
    add("--acl", options.acl, "FILE", "Access list");
    add("--users", options.users, "FILE", "Users; without it reader and admin");
    add("--record", gateway.recording, "FILE", "The recording that orvcd makes");
    add("--service", gateway.service, "SOCKET", "The lab's service, for faults");
    add("--events", gateway.events, "SOCKET", "Where the daemon takes events");
    add("--orvcd", gateway.orvcd, "FILE", "The program orvcd");
    add("--call-time-out", gateway.call_time_out_s, "SECONDS", "For a call");
    add("--patience", options.server.patience_s, "SECONDS", "For a request to come, and for an answer to be read");
    add("--connections", options.server.connections, "NUMBER", "At once");
    add("--streams", options.server.streams, "NUMBER", "At once");
}

void run(const Options &options)
{
    AccessLists lists;
    lists.add(kLabList);
    lists.add(read_whole_file(options.acl));
    Sessions sessions(lists, read_users(options.users.empty() ? kLabUsers : read_whole_file(options.users)));
    uloop_init();
    Gateway gateway(options.gateway, sessions);
    Server server(options.server, [&](const std::shared_ptr<Exchange> &exchange) { gateway.serve(exchange); });
    printf("labhttpd serves %s\n", server.url().c_str());
    uloop_run();
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    CLI::App app{"The lab's bus over HTTP, as routers have it: JSON-RPC, sessions, event streams, and a page.\n"
                 "Ends on SIGTERM and SIGINT."};
    setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        add_options(app, options);
        CLI11_PARSE(app, argc, argv);
        run(options);
        return 0;
    } catch (const std::exception &error) {
        fprintf(stderr, "labhttpd: %s\n", error.what());
        return 1;
    }
}
