#include "homes.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "schema.h"

extern const char bare_home_text[], mesh_home_text[]; // homes/, each what it has other than the default home

namespace
{

Json changed_home(const char *difference)
{
    Json home = default_home();
    home.merge_patch(Json::parse(difference));
    return home;
}

// A block of flats that shares one router: every kind of station, most of them on line.
Json crowded_home()
{
    constexpr unsigned kStations = 128;
    Json home = default_home();
    Json &stations = home["stations"];
    const Json model = stations[0];
    stations = Json::array();
    for (unsigned number = 1; number <= kStations; number++) {
        static constexpr const char *kMedia[] = {"2.4 GHz", "5 GHz", "5 GHz", "wired"};
        static constexpr const char *kSsids[] = {"Birch Lane 7", "Birch Lane 7 5G", "Birch Lane 7 Study", ""};
        static constexpr unsigned kRates[] = {144, 866, 1201, 1000};
        unsigned kind = number % 4;
        char mac[18];
        snprintf(mac, sizeof(mac), "02:00:5E:10:00:%02X", number);
        Json station = model;
        station["mac"] = mac;
        station["host_name"] = "flat-" + std::to_string((number + 3) / 4) + "-" + std::to_string(kind + 1);
        station["device_name"] = "";
        station["address"] = "192.168.10." + std::to_string(20 + number);
        station["medium"] = kMedia[kind];
        station["port"] = kind == 3 ? 1 + number / 4 % 3 : 0;
        station["ssid"] = kSsids[kind];
        station["active"] = number % 5 != 0;
        station["online_time"] = number * 300;
        station["address6"] = "2001:db8:10::1:" + std::to_string(number);
        station["brand"] = station["model"] = "";
        station["download_speed"] = number * 40;
        station["upload_speed"] = number * 5;
        station["rssi"] = kind == 3 ? 0 : -40 - static_cast<int>(number % 45);
        station["rate"] = kRates[kind];
        station["duplex"] = kind == 3 ? "full" : "none";
        station["storage_access"] = false;
        stations.push_back(station);
    }
    return home;
}

std::string read_whole(const std::string &file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error(file + ": " + strerror(errno));
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

} // namespace

Json parse_home(const std::string &text, const std::string &file, bool lenient)
{
    try {
        Json home = Json::parse(text);
        Json whole = home;
        complete_home(whole);
        for (const Problem &problem : judge_home(home))
            if (problem.is_unknown_key)
                fprintf(stderr, "orvcd: %s: %s\n", file.c_str(), problem.text.c_str());
            else if (!lenient)
                throw std::runtime_error(problem.text);
        return whole;
    } catch (const std::exception &error) {
        throw std::runtime_error(file + ": this is no state of a home (left as it is): " + error.what());
    }
}

Json read_home(const std::string &file, bool lenient)
{
    return parse_home(read_whole(file), file, lenient);
}

Json find_home(const std::string &name, bool lenient)
{
    if (name == "home")
        return default_home();
    if (name == "crowded")
        return crowded_home();
    if (name == "bare")
        return changed_home(bare_home_text);
    if (name == "mesh")
        return changed_home(mesh_home_text);
    return read_home(name, lenient);
}

bool check_home_file(const std::string &file)
{
    std::vector<Problem> problems;
    try {
        Json home = Json::parse(read_whole(file));
        problems = judge_home(home);
        complete_home(home);
    } catch (const std::exception &error) {
        if (problems.empty())
            problems.push_back({error.what(), false});
    }
    for (const Problem &problem : problems)
        printf("%s: %s\n", file.c_str(), problem.text.c_str());
    if (problems.empty())
        printf("%s: a home\n", file.c_str());
    return problems.empty();
}
