// Access lists: what clients that are not the superuser may do, each rule by itself.
#include "tests/ubusd/raw_bus.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include "tests/support/other_user.h"

using test_support::kNobody;

namespace
{

namespace fs = std::filesystem;

constexpr gid_t kNogroup = 65534;
constexpr uid_t kUnnamed = 54321;

struct Person {
    uid_t user = kNobody;
    gid_t group = kNogroup;
    std::vector<gid_t> groups = {};
};

// A client on whose connection the broker sees this person; its greeting is not read yet.
int connect_as(const std::string &path, const Person &person)
{
    int fd = -1;
    std::thread([&] {
        // The C library's own functions would change all threads.
        syscall(SYS_setgroups, person.groups.size(), person.groups.data());
        syscall(SYS_setresgid, person.group, person.group, person.group);
        syscall(SYS_setresuid, person.user, person.user, person.user);
        prctl(PR_SET_DUMPABLE, 1);
        fd = connect_to(path);
    }).join();
    return fd;
}

// A method without arguments, or several.
Bytes methods(const std::vector<std::string> &names)
{
    Bytes signature;
    for (const std::string &name : names) {
        Bytes header = wire("00 %02x", static_cast<unsigned>(name.size())) + Bytes(name.begin(), name.end());
        header.resize((header.size() + 1 + 3) / 4 * 4);
        signature = signature + wire("8200 %04x", static_cast<unsigned>(4 + header.size())) + header;
    }
    return signature;
}

// A value of a message.
Bytes value(const std::string &name, unsigned type, const Bytes &payload)
{
    Bytes header = wire("00 %02x", static_cast<unsigned>(name.size())) + Bytes(name.begin(), name.end());
    header.resize((header.size() + 1 + 3) / 4 * 4);
    Bytes content = header + payload;
    Bytes result = wire("%02x %06x", 0x80 | type, static_cast<unsigned>(4 + content.size())) + content;
    result.resize((result.size() + 3) / 4 * 4);
    return result;
}

Bytes text(const std::string &name, const std::string &content)
{
    return value(name, 3, Bytes(content.begin(), content.end()) + Bytes{0});
}

Bytes number(const std::string &name, uint32_t content)
{
    return value(name, 5, wire("%08x", content));
}

class Access : public testing::Test
{
  protected:
    void SetUp() override
    {
        NEEDS_OTHER_USERS();
        fs::permissions(folder.path(), fs::perms(0755));
    }

    std::string list_path(const std::string &name) const { return folder.path() + "/" + name; }

    void write(const std::string &name, const std::string &content, mode_t mode = 0644)
    {
        std::ofstream(list_path(name)) << content;
        chmod(list_path(name).c_str(), mode);
    }

    // A list for nobody.
    void allow(const std::string &rules) { write("list.json", R"({"user": "nobody", )" + rules + "}"); }

    // Starts the broker, an owner with an object of two methods, and whoever waits for new lists.
    void begin()
    {
        broker.emplace(Broker::Options{.path = list_path("bus.sock"), .arguments = {"-A", folder.path()}});
        owner.emplace(*broker);
        object = add("test", {"get", "set"});
        watcher.emplace(*broker);
        watching = watcher->add_anonymous();
        EXPECT_BYTES(
            watcher->ask(call(1, "register", number("object", watching) + text("pattern", "ubus.acl.sequence"))),
            status(1, 1, 0));
    }

    uint32_t add(std::string_view path, const std::vector<std::string> &names)
    {
        uint32_t added = number_at(owner->ask(message(6, 1, 0, attribute(2, path) + attribute(6, methods(names)))), 16);
        EXPECT_BYTES(owner->receive(), status(1, 0, 0));
        return added;
    }

    RawClient person(const Person &who = {}) { return RawClient(connect_as(broker->path(), who)); }

    // Reads the lists again; the event tells that it is done.
    void reload(unsigned sequence)
    {
        kill(broker->pid(), SIGHUP);
        EXPECT_BYTES(watcher->receive(), message(5, 0, 0,
                                                 attribute(3, watching) + attribute(4, "ubus.acl.sequence") +
                                                     attribute(7, number("sequence", sequence))));
    }

    // --- Requests, and whether they are allowed ---

    static Bytes call(uint32_t id, std::string_view method, const Bytes &arguments = {})
    {
        return message(5, 1, id, attribute(3, id) + attribute(4, method) + attribute(7, arguments));
    }

    bool may_call(const RawClient &client, uint32_t id, std::string_view method)
    {
        client.send(call(id, method) + message(3, 9, 0, {}));
        Bytes answer = client.receive();
        bool allowed = answer != status(1, id, 6);
        EXPECT_BYTES(allowed ? answer : client.receive(), message(2, 9, 0, {}));
        EXPECT_BYTES(client.receive(), status(9, 0, 0));
        if (allowed) {
            EXPECT_FALSE(owner->receive().empty());
        }
        return allowed;
    }

    bool may_call(const RawClient &client, std::string_view method) { return may_call(client, object, method); }

    // The methods that a look-up of the path shows; nothing where it shows no object.
    static std::optional<Bytes> look_up(const RawClient &client, std::string_view path, unsigned expected = 0)
    {
        Bytes answer = client.ask(message(4, 2, 0, attribute(2, path)));
        if (answer.size() > 1 && answer[1] == 1) {
            EXPECT_BYTES(answer, status(2, 0, expected));
            return {};
        }
        EXPECT_BYTES(client.receive(), status(2, 0, expected));
        size_t at = 12 + (4 + path.size() + 1 + 3) / 4 * 4 + 16;
        return at + 4 <= answer.size() ? Bytes(answer.begin() + at + 4, answer.end()) : Bytes{};
    }

    static bool may_publish(const RawClient &client, std::string_view path)
    {
        if (client.ask(message(6, 3, 0, attribute(2, path) + attribute(6, Bytes{}))) == status(3, 0, 2))
            return false;
        EXPECT_BYTES(client.receive(), status(3, 0, 0));
        return true;
    }

    bool may_subscribe(const RawClient &client, uint32_t target)
    {
        uint32_t subscriber = client.add_anonymous();
        Bytes answer = client.ask(message(8, 4, 0, attribute(3, subscriber) + attribute(8, target)));
        bool allowed = answer == status(4, 0, 0);
        EXPECT_TRUE(allowed || answer == status(4, 0, 4));
        if (allowed) {
            client.ask(message(9, 5, 0, attribute(3, subscriber) + attribute(8, target)));
            owner->receive();
            owner->receive();
        }
        return allowed;
    }

    static bool may_listen(const RawClient &client, const std::string &pattern)
    {
        Bytes answer =
            client.ask(call(1, "register", number("object", client.add_anonymous()) + text("pattern", pattern)));
        EXPECT_TRUE(answer == status(1, 1, 0) || answer == status(1, 1, 6));
        return answer == status(1, 1, 0);
    }

    static bool may_send(const RawClient &client, const std::string &id)
    {
        Bytes answer = client.ask(call(1, "send", text("id", id) + value("data", 2, {})));
        EXPECT_TRUE(answer == status(1, 1, 0) || answer == status(1, 1, 6));
        return answer == status(1, 1, 0);
    }

    Folder folder;
    std::optional<Broker> broker;
    std::optional<RawClient> owner, watcher;
    uint32_t object = 0, watching = 0;
};

TEST_F(Access, GivesNothingThatNoListGrants)
{
    begin();
    RawClient client = person();
    client.send(message(4, 2, 0, {}));
    EXPECT_BYTES(client.receive(), status(2, 0, 0));
    EXPECT_EQ(look_up(client, "test"), std::nullopt); // as if it had no type
    EXPECT_EQ(look_up(client, "te*"), std::nullopt);
    EXPECT_EQ(look_up(client, "other", 4), std::nullopt);
    EXPECT_FALSE(may_call(client, "get"));
    EXPECT_FALSE(may_call(client, "unknown"));
    EXPECT_FALSE(may_publish(client, "mine"));
    EXPECT_FALSE(may_subscribe(client, object));
    EXPECT_FALSE(may_listen(client, "event"));
    EXPECT_FALSE(may_listen(client, "*"));
    EXPECT_FALSE(may_send(client, "event"));
    EXPECT_TRUE(owner->has_nothing_more());
}

TEST_F(Access, LeavesTheSuperuserFree)
{
    begin();
    RawClient client = person({.user = 0, .group = kNogroup});
    EXPECT_EQ(look_up(client, "test"), methods({"get", "set"}));
    EXPECT_TRUE(may_call(client, "get"));
    EXPECT_TRUE(may_publish(client, "mine"));
    EXPECT_TRUE(may_subscribe(client, object));
    EXPECT_TRUE(may_listen(client, "*"));
    EXPECT_TRUE(may_send(client, "event"));
}

TEST_F(Access, AllowsMethodsByObject)
{
    struct Row {
        const char *rules;
        std::vector<std::string> methods; // that are shown and may be called
    };
    const Row rows[] = {
        {R"("test": {"methods": ["get"]})", {"get"}},
        {R"("test": {"methods": ["set", "get"]})", {"get", "set"}},
        {R"("test": {"methods": ["*"]})", {"get", "set"}},
        {R"("t*": {"methods": ["set"]})", {"set"}},
        {R"("test*": {"methods": ["set"]})", {"set"}},
        {R"("*": {"methods": ["set"]})", {"set"}},
        {R"("te*": {"methods": ["set"]}, "tes*": {"methods": ["get"]})", {"get", "set"}},
        {R"("test": {"methods": ["g*"]})", {}}, // a method of that name
        {R"("test": {"methods": []})", {}},
        {R"("test": {"methods": [1, "get", {}]})", {"get"}},
        {R"("test": {"methods": "get"})", {}},
        {R"("test": {"tags": ["get"], "acl": {"get": true}})", {}},
        {R"("test": ["get"])", {}},
        {R"("tes": {"methods": ["get"]})", {}},
        {R"("test.x": {"methods": ["get"]})", {}},
        {R"("*t": {"methods": ["get"]})", {}},
        {R"("": {"methods": ["get"]})", {}},
    };
    allow(R"("access": {})");
    begin();
    RawClient client = person();
    unsigned sequence = 1;
    for (const Row &row : rows) {
        allow(std::string(R"("access": {)") + row.rules + "}");
        reload(++sequence);
        EXPECT_EQ(look_up(client, "test"), row.methods.empty() ? std::nullopt : std::optional(methods(row.methods)))
            << row.rules;
        for (const char *method : {"get", "set"})
            EXPECT_EQ(may_call(client, method), std::ranges::count(row.methods, method) != 0) << row.rules << method;
    }
}

TEST_F(Access, AllowsMethodsThatDoNotExist)
{
    allow(R"("access": {"test": {"methods": ["other"]}})");
    begin();
    RawClient client = person();
    EXPECT_TRUE(may_call(client, "other"));
    EXPECT_EQ(look_up(client, "test"), std::nullopt);
}

TEST_F(Access, ListsObjectsOfWhichAMethodMayBeCalled)
{
    allow(R"("access": {"a.*": {"methods": ["get"]}, "c": {"methods": ["*"]}})");
    begin();
    add("a.1", {"get", "set"});
    add("a.2", {"set"});
    add("b", {"get"});
    add("c", {"set"});
    add("empty", {});
    RawClient client = person();
    client.send(message(4, 2, 0, {}));
    for (const char *path : {"a.1", "c", "empty"}) {
        Bytes data = client.receive();
        EXPECT_EQ(std::string(data.begin() + 16, data.begin() + 16 + strlen(path) + 1), std::string(path) + '\0');
    }
    EXPECT_BYTES(client.receive(), status(2, 0, 0));
}

TEST_F(Access, AllowsNoMoreThanItSays)
{
    struct Row {
        const char *rule;
        bool publish, subscribe, listen, send; // of the name `test`
    };
    const Row rows[] = {
        {R"("publish": ["test"])", true, false, false, false},
        {R"("subscribe": ["test"])", false, true, false, false},
        {R"("listen": ["test"])", false, false, true, false},
        {R"("send": ["test"])", false, false, false, true},
        {R"("publish": ["t*"])", true, false, false, false},
        {R"("subscribe": ["*"])", false, true, false, false},
        {R"("listen": ["x", "te*"])", false, false, true, false},
        {R"("send": [7, "test"])", false, false, false, true},
        {R"("send": "test")", false, false, false, false},
        {R"("listen": ["tes"])", false, false, false, false},
        {R"("inherit": ["test"])", false, false, false, false},
        {R"("access": {"test": {"methods": ["*"]}})", false, false, false, false},
    };
    allow(R"("access": {})");
    begin();
    owner->ask(message(7, 1, 0, attribute(3, object))); // so that the name may be published
    owner->receive();
    unsigned sequence = 1;
    for (const Row &row : rows) {
        allow(row.rule);
        reload(++sequence);
        RawClient client = person();
        EXPECT_EQ(may_listen(client, "test"), row.listen) << row.rule;
        EXPECT_EQ(may_send(client, "test"), row.send) << row.rule;
        EXPECT_EQ(may_publish(client, "test"), row.publish) << row.rule;
        client.close();
        object = add("test", {"get"});
        RawClient other = person();
        EXPECT_EQ(may_subscribe(other, object), row.subscribe) << row.rule;
        owner->ask(message(7, 1, 0, attribute(3, object)));
        owner->receive();
    }
}

TEST_F(Access, TakesThePatternOfAListenerForANameWithoutItsStar)
{
    struct Row {
        const char *rule;
        std::vector<std::string> allowed, refused;
    };
    const Row rows[] = {
        {"e.*", {"e.*", "e.x", "e.x*"}, {"e*", "e", "*"}},
        {"e", {"e", "e*"}, {"e.*", "ex*", "*"}},
        {"*", {"*", "e*", "e"}, {}},
    };
    allow(R"("access": {})");
    begin();
    unsigned sequence = 1;
    for (const Row &row : rows) {
        allow(std::string(R"("listen": [")") + row.rule + "\"]");
        reload(++sequence);
        RawClient client = person();
        for (const std::string &pattern : row.allowed)
            EXPECT_TRUE(may_listen(client, pattern)) << row.rule << ' ' << pattern;
        for (const std::string &pattern : row.refused)
            EXPECT_FALSE(may_listen(client, pattern)) << row.rule << ' ' << pattern;
    }
}

TEST_F(Access, RefusesEventsOfTheBrokersOwn)
{
    allow(R"("send": ["*"])");
    begin();
    RawClient client = person();
    EXPECT_FALSE(may_send(client, "ubus.object.add"));
    EXPECT_TRUE(may_send(client, "ubus"));
}

TEST_F(Access, IsForAUserOrAGroup)
{
    const gid_t mail = getgrnam("mail")->gr_gid;
    struct Row {
        const char *holder;
        Person person;
        bool allowed;
    };
    const Row rows[] = {
        {R"("user": "nobody")", {}, true},
        {R"("user": "daemon")", {}, false},
        {R"("user": "daemon")", {.user = getpwnam("daemon")->pw_uid}, true},
        {R"("user": "*")", {}, false},
        {R"("user": "no such user")", {}, false},
        {R"("user": 65534)", {}, false},
        {R"("group": "nogroup")", {}, true},
        {R"("group": "mail")", {}, false},
        {R"("group": "mail")", {.group = mail}, true},
        {R"("group": "mail")", {.groups = {kNogroup, mail}}, true},
        {R"("group": "no such group")", {}, false},
        {R"("group": "no such group")", {.group = 0}, true},    // stands for the superuser's group
        {R"("user": "daemon", "group": "nogroup")", {}, false}, // the user counts
        {R"("publish": [])", {}, false},
    };
    write("list.json", R"({"user": "nobody"})");
    begin();
    unsigned sequence = 1;
    for (const Row &row : rows) {
        write("list.json", std::string("{") + row.holder + R"(, "access": {"test": {"methods": ["get"]}}})");
        reload(++sequence);
        EXPECT_EQ(may_call(person(row.person), "get"), row.allowed) << row.holder;
    }
}

TEST_F(Access, AddsUpOverFiles)
{
    write("1.json", R"({"user": "nobody", "access": {"test": {"methods": ["get"]}}})");
    write("2.json", R"({"group": "nogroup", "access": {"test": {"methods": ["set"]}}})");
    write("3.json", R"({"user": "nobody", "access": {"test": {"methods": []}}})"); // nothing forbids
    write("4.json", R"({"user": "daemon", "access": {"test": {"methods": ["reset"]}}})");
    begin();
    RawClient client = person();
    EXPECT_TRUE(may_call(client, "get"));
    EXPECT_TRUE(may_call(client, "set"));
    EXPECT_FALSE(may_call(client, "reset"));
    EXPECT_EQ(look_up(client, "test"), methods({"get", "set"}));
}

TEST_F(Access, PassesOverFilesThatMayNotBeTrustedOrRead)
{
    const std::string good = R"({"user": "nobody", "access": {"test": {"methods": ["get"]}}})";
    const struct {
        const char *name;
        std::string content;
        mode_t mode;
        bool is_read;
    } rows[] = {
        {"a.json", good, 0644, true},
        {"a.json", good, 0600, true},
        {"a.json", good, 0755 & ~01, true},
        {"a.json", good, 0664, false},      // written by its group
        {"a.json", good, 0646, false},      // written by others
        {"a.json", good, 0645, false},      // executed by others
        {"a.json", good + "}", 0644, true}, // what follows is not looked at
        {"a.json", good.substr(0, good.size() - 1), 0644, false},
        {"a.json", "[" + good + "]", 0644, false},
        {"a.json", "", 0644, false},
        {"a.json", std::string(100, '{'), 0644, false},
        {"a.json", good.substr(0, good.size() - 1) + ", \"x\": " + std::string(40, '[') + std::string(40, ']') + "}",
         0644, false},
        {"a.json", good + std::string(65536 - good.size(), ' '), 0644, true},
        {"a.json", good + std::string(65537 - good.size(), ' '), 0644, false},
        {"a.txt", good, 0644, false},
        {"a.json~", good, 0644, false},
        {".a.json", good, 0644, false},
        {".json", good, 0644, false},
        {"json", good, 0644, false},
    };
    write("z.json", R"({"user": "nobody", "access": {"test": {"methods": ["set"]}}})");
    begin();
    RawClient client = person();
    unsigned sequence = 1;
    for (const auto &row : rows) {
        write(row.name, row.content, row.mode);
        reload(++sequence);
        EXPECT_EQ(may_call(client, "get"), row.is_read)
            << row.name << std::oct << row.mode << row.content.substr(0, 100);
        EXPECT_TRUE(may_call(client, "set")); // the other file is read in any case
        fs::remove(list_path(row.name));
    }
}

TEST_F(Access, PassesOverWhatIsNoFileOfTheSuperusers)
{
    const std::string good = R"({"user": "nobody", "access": {"test": {"methods": ["get"]}}})";
    write("z.json", R"({"user": "nobody"})");
    begin();
    RawClient client = person();
    auto is_read = [&, sequence = 1u]() mutable {
        reload(++sequence);
        return may_call(client, "get");
    };
    write("a.json", good);
    ASSERT_EQ(chown(list_path("a.json").c_str(), kNobody, 0), 0);
    EXPECT_FALSE(is_read());
    ASSERT_EQ(chown(list_path("a.json").c_str(), 0, kNogroup), 0);
    EXPECT_FALSE(is_read());
    ASSERT_EQ(chown(list_path("a.json").c_str(), 0, 0), 0);
    EXPECT_TRUE(is_read());
    fs::rename(list_path("a.json"), list_path("elsewhere"));
    EXPECT_FALSE(is_read());
    fs::create_symlink("elsewhere", list_path("a.json"));
    EXPECT_TRUE(is_read());
    fs::remove(list_path("a.json"));
    fs::create_directory(list_path("a.json"));
    EXPECT_FALSE(is_read());
    fs::remove(list_path("a.json"));
    ASSERT_EQ(mkfifo(list_path("a.json").c_str(), 0644), 0);
    EXPECT_FALSE(is_read());
}

TEST_F(Access, TakesFieldsOfOtherTypesForAbsent)
{
    write("list.json", R"({"user": ["nobody"], "group": "nogroup", "access": [{"test": {"methods": ["get"]}}],
                           "publish": {"mine": true}, "send": null, "listen": ["event", ["other"], null]})");
    begin();
    RawClient client = person();
    EXPECT_FALSE(may_call(client, "get"));
    EXPECT_FALSE(may_publish(client, "mine"));
    EXPECT_FALSE(may_send(client, "event"));
    EXPECT_TRUE(may_listen(client, "event")); // for the group: a user that is no text is none
    EXPECT_FALSE(may_listen(client, "other"));
}

TEST_F(Access, HasSoManyRulesAndFiles)
{
    auto rules = [](unsigned count) {
        std::string text = R"({"user": "nobody", "send": [)";
        for (unsigned i = 1; i < count; i++)
            text += "\"\",";
        return text + "\"event\"]}";
    };
    write("000.json", rules(4095));
    write("001.json", R"({"user": "nobody", "send": ["1", "2"]})"); // one too many
    write("002.json", R"({"user": "nobody", "send": ["3"]})");
    for (unsigned i = 3; i < 257; i++)
        write(std::to_string(1000 + i) + ".json", R"({"user": "nobody"})");
    begin();
    RawClient client = person();
    EXPECT_TRUE(may_send(client, "event"));
    EXPECT_FALSE(may_send(client, "1"));
    EXPECT_TRUE(may_send(client, "3"));
    write("000.json", "{}");
    write("1256.json", R"({"user": "nobody", "send": ["4"]})"); // the last but one is 1255
    write("1255.json", R"({"user": "nobody", "send": ["5"]})");
    reload(2);
    EXPECT_TRUE(may_send(client, "1"));
    EXPECT_FALSE(may_send(client, "4"));
    EXPECT_TRUE(may_send(client, "5"));
}

TEST_F(Access, IsReadAgainOnAHangUp)
{
    allow(R"("access": {"test": {"methods": ["get"]}}, "subscribe": ["test"])");
    begin();
    RawClient client = person();
    uint32_t subscriber = client.add_anonymous();
    EXPECT_BYTES(client.ask(message(8, 4, 0, attribute(3, subscriber) + attribute(8, object))), status(4, 0, 0));
    owner->receive();
    EXPECT_TRUE(may_call(client, "get"));

    allow(R"("access": {"test": {"methods": ["set"]}})");
    reload(2);
    EXPECT_FALSE(may_call(client, "get"));
    EXPECT_TRUE(may_call(client, "set"));
    // A right that was used once stays.
    owner->send(message(10, 5, 0, attribute(3, object) + attribute(4, "news") + wire("0a000005 01 000000")));
    EXPECT_EQ(client.receive().size() > 12, true);

    // Without any file nothing changes, and nobody is told.
    fs::remove(list_path("list.json"));
    kill(broker->pid(), SIGHUP);
    EXPECT_TRUE(watcher->has_nothing_more());
    write("other.json", "no JSON");
    reload(3);
    EXPECT_FALSE(may_call(client, "set"));
    allow(R"("access": {"test": {"methods": ["get"]}})");
    reload(4);
    EXPECT_TRUE(may_call(client, "get"));
}

TEST_F(Access, StartsWithoutAFolder)
{
    broker.emplace(Broker::Options{.path = list_path("bus.sock"), .arguments = {"-A", folder.path() + "/none"}});
    RawClient client = person();
    EXPECT_FALSE(may_send(client, "event"));
    kill(broker->pid(), SIGHUP);
    EXPECT_TRUE(client.has_nothing_more());
    RawClient root(*broker);
    EXPECT_BYTES(root.ask(call(2, "query")),
                 message(2, 1, 2, attribute(3, 2) + attribute(7, number("seq", 0) + value("acl", 1, {}))));
    EXPECT_BYTES(root.receive(), status(1, 2, 0));
}

TEST_F(Access, IsOpenWhereThatIsSaid)
{
    allow(R"("access": {})");
    broker.emplace(Broker::Options{.path = list_path("bus.sock"), .arguments = {"-A", folder.path(), "--open"}});
    owner.emplace(*broker);
    object = add("test", {"get"});
    for (uid_t user : {uid_t{kNobody}, kUnnamed}) {
        RawClient client = person({.user = user});
        EXPECT_EQ(look_up(client, "test"), methods({"get"}));
        EXPECT_TRUE(may_call(client, "get"));
        EXPECT_TRUE(may_publish(client, "mine"));
        EXPECT_TRUE(may_subscribe(client, object));
        EXPECT_TRUE(may_listen(client, "*"));
        EXPECT_TRUE(may_send(client, "event"));
    }
    kill(broker->pid(), SIGHUP);
    EXPECT_TRUE(owner->has_nothing_more());
    EXPECT_TRUE(may_send(person(), "event"));
}

TEST_F(Access, EndsTheConnectionOfWhoHasNoName)
{
    begin();
    for (const Person &who : {Person{.user = kUnnamed}, Person{.group = kUnnamed}}) {
        int fd = connect_as(broker->path(), who);
        char byte;
        EXPECT_EQ(recv(fd, &byte, 1, 0), 0);
        close(fd);
    }
    EXPECT_TRUE(person().has_nothing_more());
}

TEST_F(Access, NeverRefusesCallsOfObjectsWithoutAPath)
{
    begin();
    uint32_t anonymous = owner->add_anonymous();
    RawClient client = person();
    EXPECT_TRUE(may_call(client, anonymous, "any"));
    EXPECT_BYTES(client.ask(call(2, "other")), status(1, 2, 1));
    EXPECT_BYTES(client.ask(call(77, "any")), status(1, 77, 4));
}

TEST_F(Access, SubscribesToObjectsWithoutAPathByUserOrGroup)
{
    begin();
    RawClient one = person({.group = getgrnam("mail")->gr_gid});
    uint32_t target = one.add_anonymous();
    auto may = [&](const Person &who) {
        RawClient client = person(who);
        Bytes answer = client.ask(message(8, 4, 0, attribute(3, client.add_anonymous()) + attribute(8, target)));
        EXPECT_TRUE(answer == status(4, 0, 0) || answer == status(4, 0, 4));
        return answer == status(4, 0, 0);
    };
    EXPECT_TRUE(may({}));
    EXPECT_TRUE(may({.user = getpwnam("daemon")->pw_uid, .group = getgrnam("mail")->gr_gid}));
    EXPECT_FALSE(may({.user = getpwnam("daemon")->pw_uid}));
    EXPECT_FALSE(may({.user = 0, .group = 0})); // not the superuser either
}

TEST_F(Access, TellsOwnersWhatListsSayOfTheirObjects)
{
    write("1.json",
          R"({"user": "nobody", "publish": ["mine*"], "access": {"mine": {"methods": ["get"], "acl": {"a": 1}},
                        "test": {"acl": {"never": 1}}}})");
    write("2.json", R"({"group": "mail", "access": {"m*": {"acl": {}}, "other": {"acl": {}}}})");
    begin();
    RawClient client = person();
    client.add_anonymous();
    EXPECT_BYTES(client.ask(call(2, "query")),
                 message(2, 1, 2, attribute(3, 2) + attribute(7, number("seq", 1) + value("acl", 1, {}))));
    EXPECT_BYTES(client.receive(), status(1, 2, 0));
    EXPECT_TRUE(may_publish(client, "mine"));
    EXPECT_BYTES(
        client.ask(call(2, "query")),
        message(
            2, 1, 2,
            attribute(3, 2) +
                attribute(
                    7,
                    number("seq", 1) +
                        value("acl", 1,
                              value("", 2,
                                    text("obj", "mine") + text("user", "nobody") + value("acl", 2, number("a", 1))) +
                                  value("", 2, text("obj", "mine") + text("group", "mail") + value("acl", 2, {}))))));
    EXPECT_BYTES(client.receive(), status(1, 2, 0));
}

TEST_F(Access, ShowsOnlyWholeMethodsOfAHostileSignature)
{
    allow(R"("publish": ["*"], "access": {"*": {"methods": ["get"]}})");
    begin();
    const struct {
        Bytes signature;
        std::optional<Bytes> shown;
    } rows[] = {
        {methods({"get"}) + wire("82 ffffff 0003 'get' 00 0000"), methods({"get"})},
        {wire("82 000008 ffff 'ge'") + methods({"get"}), Bytes{}},
        {wire("00000000"), Bytes{}},
        {methods({"set"}) + wire("ffff"), std::nullopt},
    };
    for (const auto &row : rows) {
        RawClient client = person();
        EXPECT_TRUE(client.ask(message(6, 3, 0, attribute(2, "mine") + attribute(6, row.signature))).size() > 24);
        EXPECT_BYTES(client.receive(), status(3, 0, 0));
        EXPECT_EQ(look_up(client, "mine"), row.shown);
    }
}

} // namespace
