#include "request.h"

#include <algorithm>
#include <cctype>

#include "json_text.h"
#include "rpc.h"
#include "sessions.h"

namespace
{

constexpr const char *kHtml = "text/html; charset=utf-8";

bool equal_without_case(std::string_view left, std::string_view right)
{
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(),
        [](unsigned char one, unsigned char other) { return tolower(one) == tolower(other); });
}

std::optional<std::string> percent_decode(std::string_view text)
{
    std::string decoded;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        auto digit = [&](size_t at) { return at < text.size() && isxdigit(static_cast<unsigned char>(text[at])); };
        if (!digit(i + 1) || !digit(i + 2))
            return std::nullopt;
        decoded += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
        i += 2;
    }
    return decoded;
}

// A page of another site reaches this address by a name of its own (which it may let point here), or says whence it
// comes.
bool is_from_here(const Request &request, const std::vector<std::string> &hosts)
{
    const std::string_view name = host_name(request.host);
    const bool known = std::any_of(hosts.begin(), hosts.end(),
                                   [&](const std::string &host) { return equal_without_case(name, host); });
    return known && (!request.origin || equal_without_case(*request.origin, "http://" + request.host));
}

// A file below the page's folder; the empty name is that of the folder itself.
std::optional<std::string> page_file(std::string_view path)
{
    const std::optional<std::string> decoded = percent_decode(path);
    if (!decoded || decoded->empty() || decoded->front() != '/')
        return std::nullopt;
    const std::string file = decoded->substr(1) + (decoded->back() == '/' ? "index.html" : "");
    for (size_t begin = 0; begin <= file.size();) {
        const size_t end = std::min(file.find('/', begin), file.size());
        if (begin == end || file[begin] == '.')
            return std::nullopt;
        begin = end + 1;
    }
    const bool plain =
        std::none_of(file.begin(), file.end(), [](unsigned char c) { return c < ' ' || c == '\\' || c == 127; });
    return plain ? std::optional(file) : std::nullopt;
}

struct Row {
    const char *path;
    bool is_beginning; // and the rest says of what
    const char *method;
    Route route;
};

constexpr Row kRows[] = {
    {"/ubus", false, "POST", Route::RPC},
    {"/ubus/", false, "POST", Route::RPC},
    {"/ubus/call/", true, "POST", Route::CALL},
    {"/ubus/list", false, "GET", Route::LIST},
    {"/ubus/list/", true, "GET", Route::LIST},
    {"/ubus/subscribe/", true, "GET", Route::SUBSCRIBE},
    {"/lab/notifications", false, "GET", Route::NOTIFICATIONS},
    {"/lab/requests", false, "GET", Route::REQUESTS},
    {"/lab/faults", false, "GET", Route::FAULTS},
    {"/lab/faults", false, "POST", Route::PLAY_FAULT},
    {"/lab/event", false, "POST", Route::EVENT},
    {"/lab/api", false, "GET", Route::API},
};

bool is_below(std::string_view path, std::string_view folder)
{
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::optional<Destination> find_row(const std::string &method, std::string_view path)
{
    for (const Row &row : kRows) {
        const std::string_view wanted = row.path;
        if (method == row.method && (row.is_beginning ? path.starts_with(wanted) : path == wanted))
            return Destination{row.route, std::string(path.substr(wanted.size()))};
    }
    return std::nullopt;
}

Answer refuse_bus(const std::string &method)
{
    if (method == "OPTIONS")
        return {200, nullptr, ""};
    if (method == "GET" || method == "POST")
        return {404, nullptr, ""};
    return {400, kHtml, "<h1>Bad Request</h1>"};
}

Answer refuse_lab(std::string_view path)
{
    const bool known =
        std::any_of(std::begin(kRows), std::end(kRows), [&](const Row &row) { return path == row.path; });
    return known ? failure(405, "not by this method") : failure(404, "there is no such thing");
}

} // namespace

Verdict judge(const Request &request, const std::vector<std::string> &hosts)
{
    if (!is_from_here(request, hosts))
        return Answer{403, kHtml, "<h1>Forbidden</h1>Not by this name, and not from pages of other sites."};
    const std::string_view path = path_of(request.target);
    if (std::optional<Destination> destination = find_row(request.method, path))
        return *destination;
    if (is_below(path, "/ubus"))
        return refuse_bus(request.method);
    if (is_below(path, "/lab"))
        return refuse_lab(path);
    if (request.method != "GET" && request.method != "HEAD")
        return Answer{405, kHtml, "<h1>Method Not Allowed</h1>"};
    if (std::optional<std::string> file = page_file(path))
        return Destination{Route::PAGE, *file};
    return Answer{404, kHtml, "<h1>Not Found</h1>"};
}

Answer refuse_long_body(Route route)
{
    if (route == Route::RPC || route == Route::CALL)
        return {200, "application/json", rpc_error("null", kParseError)};
    return failure(413, "too long");
}

static std::string named_session(const Request &request)
{
    constexpr std::string_view kScheme = "bearer ";
    const std::string &authorization = request.authorization.value_or("");
    if (equal_without_case(std::string_view(authorization).substr(0, kScheme.size()), kScheme))
        return authorization.substr(kScheme.size());
    return query_value(request.target, "session").value_or(kNullSession);
}

// On the bus an id would end at a NUL: one that has it is nobody's.
std::string session_of(const Request &request)
{
    std::string id = named_session(request);
    return id.find('\0') == std::string::npos ? id : "";
}

std::string_view path_of(std::string_view target)
{
    return target.substr(0, target.find('?'));
}

std::optional<std::string> query_value(std::string_view target, std::string_view name)
{
    const size_t mark = target.find('?');
    std::string_view query = mark == std::string_view::npos ? "" : target.substr(mark + 1);
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(query.size(), pair.size() + 1));
        if (pair.size() > name.size() && pair.starts_with(name) && pair[name.size()] == '=')
            return percent_decode(pair.substr(name.size() + 1));
    }
    return std::nullopt;
}

std::string_view host_name(std::string_view host)
{
    if (host.starts_with('['))
        return host.substr(1, std::min(host.find(']'), host.size()) - 1);
    return host.substr(0, host.find(':'));
}

const char *content_type(std::string_view file)
{
    static constexpr std::pair<std::string_view, const char *> kTypes[] = {
        {".html", kHtml},
        {".css", "text/css; charset=utf-8"},
        {".js", "text/javascript; charset=utf-8"},
        {".mjs", "text/javascript; charset=utf-8"},
        {".json", "application/json"},
        {".svg", "image/svg+xml"},
        {".png", "image/png"},
        {".ico", "image/x-icon"},
        {".woff2", "font/woff2"},
        {".webmanifest", "application/manifest+json"},
        {".txt", "text/plain; charset=utf-8"},
        {".md", "text/plain; charset=utf-8"},
    };
    for (const auto &[ending, type] : kTypes)
        if (file.ends_with(ending))
            return type;
    return "application/octet-stream";
}

Answer failure(unsigned status, const std::string &text)
{
    return {status, "application/json", write_json({{"error", text}})};
}
