#include "tests/http/gateway_test.h"

#include <csignal>
#include <unistd.h>

using namespace test_support;

std::string first_line(Process &process)
{
    std::string output;
    for (int attempt = 0; attempt < 2000 && process.is_running(); attempt++) {
        output = process.standard_output();
        if (output.find('\n') != std::string::npos)
            break;
        usleep(10000);
    }
    return output.substr(0, output.find('\n'));
}

void GatewayTest::SetUp()
{
    std::filesystem::create_directory(folder_ / "page");
    write_file("acl.json", R"({"test-read": {"read": {"ubus": {"test": ["echo", ":subscribe"], "no.such": ["*"]}}},
                               "test-write": {"write": {"ubus": {"test*": ["*"], "wexond*": ["*"]}}}})");
    write_file("users.json", R"({"admin": {"password": "admin", "write": ["*"]},
                                 "reader": {"password": "reader", "read": ["test-read", "lab"]}})");
    start_object();
    start_gateway();
}

void GatewayTest::TearDown()
{
    stop_gateway();
}

void GatewayTest::write_file(const std::string &name, const std::string &content)
{
    std::ofstream(folder_ / name) << content;
}

void GatewayTest::start_object()
{
    object_ = std::make_unique<Process>(std::vector<std::string>{built_program("http-test-object"), path("ubus.sock")});
    ASSERT_EQ(first_line(*object_), "there") << object_->standard_error();
}

void GatewayTest::start_gateway(const std::vector<std::string> &options)
{
    if (gateway_)
        stop_gateway();
    std::vector<std::string> words = {
        built_program("labhttpd"), "--bus",  path("ubus.sock"), "--acl", path("acl.json"), "--users",
        path("users.json"),        "--page", path("page")};
    words.insert(words.end(), options.begin(), options.end());
    gateway_ = std::make_unique<Process>(words);
    const std::string line = first_line(*gateway_);
    ASSERT_TRUE(line.starts_with("labhttpd serves http://127.0.0.1:")) << line << gateway_->standard_error();
    port_ = static_cast<uint16_t>(std::stoul(line.substr(line.rfind(':') + 1)));
}

void GatewayTest::stop_gateway()
{
    gateway_->send_signal(SIGTERM);
    EXPECT_EQ(gateway_->wait(), 0);
    EXPECT_EQ(gateway_->standard_error(), "");
}

Response GatewayTest::ask(const std::string &method, const std::string &target, const std::string &body,
                          const std::string &more) const
{
    return connect().ask(method, target, body, more);
}

std::string call_body(const std::string &session, const std::string &object, const std::string &method,
                      const std::string &arguments, const std::string &id)
{
    return R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":"call","params":[")" + session + R"(",")" + object +
           R"(",")" + method + R"(",)" + arguments + "]}";
}

std::string GatewayTest::call(const std::string &session, const std::string &object, const std::string &method,
                              const std::string &arguments) const
{
    return rpc(call_body(session, object, method, arguments));
}

std::string GatewayTest::login(const std::string &name, const std::string &more) const
{
    const std::string answer =
        call(kNobody, "session", "login", R"({"username":")" + name + R"(","password":")" + name + "\"" + more + "}");
    const std::string lead = R"({"jsonrpc":"2.0","id":1,"result":[0,{"ubus_rpc_session":")";
    EXPECT_TRUE(answer.starts_with(lead)) << answer;
    return answer.substr(std::min(lead.size(), answer.size()), 32);
}
