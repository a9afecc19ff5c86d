// A client of HTTP that sends text as it is written in the test, and reads what comes.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

struct Response {
    int status = 0;                             // 0 where none came
    std::map<std::string, std::string> headers; // names in lower case
    std::string body;
};

class HttpClient
{
  public:
    explicit HttpClient(uint16_t port);
    ~HttpClient();
    HttpClient(const HttpClient &) = delete;
    HttpClient &operator=(const HttpClient &) = delete;

    // False where the other side does not take all of it.
    bool write(const std::string &text) const;
    // With a Host and, where there is a body, its length; `more` are further header lines.
    void request(const std::string &method, const std::string &target, const std::string &body = "",
                 const std::string &more = "") const;
    Response read_response(bool has_body = true);
    Response ask(const std::string &method, const std::string &target, const std::string &body = "",
                 const std::string &more = "");

    // All that has come when the text has (or nothing more does): taken, up to and with it.
    std::string read_until(const std::string &text);
    bool is_closed();
    int descriptor() const { return socket_; }

  private:
    bool read_more();
    std::string take(size_t length);

    uint16_t port_;
    int socket_;
    std::string buffer_;
};
