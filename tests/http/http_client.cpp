#include "tests/http/http_client.h"

#include <algorithm>
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/process.h"

HttpClient::HttpClient(uint16_t port) : port_(port), socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0)
        perror("connect");
}

HttpClient::~HttpClient()
{
    close(socket_);
}

bool HttpClient::write(const std::string &text) const
{
    return send(socket_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

void HttpClient::request(const std::string &method, const std::string &target, const std::string &body,
                         const std::string &more) const
{
    const std::string length = body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n";
    write(method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) + "\r\n" + length + more +
          "\r\n" + body);
}

bool HttpClient::read_more()
{
    char piece[65536];
    pollfd entry = {socket_, POLLIN, 0};
    if (poll(&entry, 1, static_cast<int>(test_support::kPatience.count())) != 1)
        return false;
    const ssize_t got = recv(socket_, piece, sizeof(piece), 0);
    if (got > 0)
        buffer_.append(piece, static_cast<size_t>(got));
    return got > 0;
}

std::string HttpClient::take(size_t length)
{
    while (buffer_.size() < length && read_more())
        ;
    std::string taken = buffer_.substr(0, length);
    buffer_.erase(0, length);
    return taken;
}

std::string HttpClient::read_until(const std::string &text)
{
    size_t found;
    while ((found = buffer_.find(text)) == std::string::npos && read_more())
        ;
    return take(found == std::string::npos ? buffer_.size() : found + text.size());
}

Response HttpClient::read_response(bool has_body)
{
    Response response;
    const std::string head = read_until("\r\n\r\n");
    if (!head.starts_with("HTTP/1."))
        return response;
    response.status = std::stoi(head.substr(9, 3));
    for (size_t begin = head.find("\r\n") + 2, end;
         (end = head.find("\r\n", begin)) != std::string::npos && end != begin; begin = end + 2) {
        const std::string line = head.substr(begin, end - begin);
        std::string name = line.substr(0, line.find(':'));
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return tolower(c); });
        response.headers[name] = line.substr(std::min(line.size(), name.size() + 2));
    }
    if (has_body && response.headers.contains("content-length"))
        response.body = take(std::stoul(response.headers["content-length"]));
    return response;
}

Response HttpClient::ask(const std::string &method, const std::string &target, const std::string &body,
                         const std::string &more)
{
    request(method, target, body, more);
    return read_response(method != "HEAD");
}

bool HttpClient::is_closed()
{
    while (read_more())
        ;
    pollfd entry = {socket_, POLLIN, 0};
    char byte;
    return poll(&entry, 1, 0) == 1 && recv(socket_, &byte, 1, 0) <= 0;
}
