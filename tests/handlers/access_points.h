// Shared by the tests of the access points: the bands, the records, and a daemon that starts with chosen access
// points.
#pragma once

#include <algorithm>
#include <sstream>
#include <vector>

#include "tests/support/daemon_test.h"

namespace access_points
{

using namespace test_support;

constexpr uint32_t kGetStatistics = 93;
constexpr uint32_t kGetRadio = 181;
constexpr uint32_t kSetBasic = 184;
constexpr uint32_t kGetBasic = 185;
constexpr uint32_t kSetRateLimit = 188;
constexpr uint32_t kGetRateLimit = 189;
constexpr uint32_t kSetAccessMode = 190;
constexpr uint32_t kGetAccessMode = 191;
constexpr uint32_t kSetAccessRule = 192;
constexpr uint32_t kGetAccessRule = 193;
constexpr uint32_t kGetDualBandSync = 235;
constexpr uint32_t kGetFactoryFlag = 239;
constexpr uint32_t kSetFactoryFlag = 240;

constexpr const char *kNoAnswerLog = "[wexond_check_ret.#]: Msg return buf = NULL\n";

struct Band {
    std::string name;            // in texts
    uint32_t index;              // in records
    uint32_t interface_kind;     // in statistics
    std::string object;          // of the band; ".<n>" makes that of an access point
    std::string function;        // of the band's handlers, before the method; with a "1" those of an access point's
    std::string default_ssid;    // before the index
    std::string rate_limit_word; // how entry set names the rate limit in the log
};

inline const Band kBands[] = {
    {"2.4G", 0, 3, "wexond.wifi.1.ap", "wexond_wifi1ap", "KVQ_", "rate limit"},
    {"5G", 1, 4, "wexond.wifi.2.ap", "wexond_wifi2ap", "KVQ_5G_", "ap rate limit"},
};

inline std::ostream &operator<<(std::ostream &stream, const Band &band)
{
    return stream << band.name;
}

// The end of a test's name.
inline std::string band_suffix(const testing::TestParamInfo<Band> &info)
{
    return "OfBand" + std::to_string(info.param.index + 1);
}

// Each record with band and index, zero otherwise.
inline Bytes basic(const Band &band, uint32_t index)
{
    return Bytes(200).u32(0, band.index).u32(4, index);
}

inline Bytes access_mode(const Band &band, uint32_t index)
{
    return Bytes(12).u32(0, band.index).u32(4, index);
}

inline Bytes access_rule(const Band &band, uint32_t index)
{
    return Bytes(216).u32(0, band.index).u32(4, index);
}

inline Bytes rate_limit(const Band &band, uint32_t index)
{
    return Bytes(20).u32(0, band.index).u32(4, index);
}

inline Bytes statistics(const Band &band, uint32_t index)
{
    return Bytes(72).u32(0, band.interface_kind).u32(4, index);
}

// The counters of an access point, the first four as texts.
inline ReplyFields shown_counters(const std::vector<std::string> &texts, const std::vector<int64_t> &numbers)
{
    return {{"txbytes", texts.at(0)},   {"rxbytes", texts.at(1)},    {"txpackets", texts.at(2)},
            {"rxpackets", texts.at(3)}, {"txerrors", numbers.at(0)}, {"rxerrors", numbers.at(1)},
            {"txdrops", numbers.at(2)}, {"rxdrops", numbers.at(3)}};
}

// An access point as list and get show it, by default one of zeroed records.
struct Shown {
    std::string enable = "no";
    int32_t hide = 0;
    std::string key = {};
    std::string ssid = {};
    std::string auth = "open";
    std::string encrypt = "none";
    std::string bssid = {};
    int32_t access_mode = 0;
    int32_t access_rule = 0;
    std::string allowed = {};
    int32_t upstream = 0;
    int32_t downstream = 0;

    ReplyFields fields() const
    {
        return {{"enable", enable},
                {"hide", hide},
                {"key", key},
                {"ssid", ssid},
                {"auth", auth},
                {"encrypt", encrypt},
                {"bssid", bssid},
                {"accessmode", access_mode},
                {"accessrule", access_rule},
                {"allowedipport", allowed},
                {"usbandwidth", upstream},
                {"dsbandwidth", downstream}};
    }
    ReplyText listed(uint32_t index) const { return table(ReplyFields{{"idx", index}} + fields()); }
};

// The requests that read the settings of an access point.
inline Requests readings(const Band &band, uint32_t index)
{
    return {{kGetBasic, 204, basic(band, index)},
            {kGetAccessMode, 16, access_mode(band, index)},
            {kGetAccessRule, 220, access_rule(band, index)},
            {kGetRateLimit, 24, rate_limit(band, index)}};
}

class OneBandTest : public DaemonTest
{
  protected:
    explicit OneBandTest(const Band &band) : band_(band) {}

    const Band &band() const { return band_; }
    std::string ap(uint32_t index) const { return band().object + "." + std::to_string(index); }
    std::string call_band(const std::string &method, std::string_view arguments = "{}")
    {
        return call(band().object, method, arguments);
    }
    std::string call_ap(uint32_t index, const std::string &method, std::string_view arguments = "{}")
    {
        return call(ap(index), method, arguments);
    }

    // Starts the daemon with these access points of the band; the others look as if they were never configured.
    void start_with(const std::vector<uint32_t> &indices)
    {
        uint32_t count = indices.empty() ? 1 : *std::max_element(indices.begin(), indices.end());
        service().answer(kGetRadio, record(Bytes(48).u32(32, count)));
        service().answer_by(kGetBasic, [this, indices](const Request &request) {
            auto byte = [&](size_t offset) { return static_cast<uint8_t>(request.payload.data()[offset]); };
            uint32_t of_band = byte(0), index = byte(4) + byte(5) * 256u;
            bool is_chosen = std::find(indices.begin(), indices.end(), index) != indices.end();
            if (of_band != band().index || is_chosen)
                return record(Bytes(200).u32(8, 1));
            return record(Bytes(200).text(12, band().default_ssid + std::to_string(index)));
        });
        start_daemon();
        accept_all();
    }

    // Every set request is accepted, dual-band sync is off, every record read is zero.
    void accept_all()
    {
        for (uint32_t type : {kSetBasic, kSetAccessMode, kSetAccessRule, kSetRateLimit, kSetFactoryFlag})
            service().answer(type, code(0));
        for (uint32_t type :
             {kGetBasic, kGetAccessMode, kGetAccessRule, kGetRateLimit, kGetStatistics, kGetDualBandSync})
            service().answer(type, code(0));
    }

    // The paths of the band's access points on the bus.
    std::vector<std::string> listed()
    {
        std::vector<std::string> paths;
        std::istringstream lines(client().list(band().object + ".*"));
        for (std::string line; std::getline(lines, line);)
            if (line.front() != ' ')
                paths.push_back(line);
        return paths;
    }

    // "2.4G" or "5G" in a text where the % stands.
    std::string text(std::string format) const { return format.replace(format.find('%'), 1, band().name); }

    std::string log(const std::string &method, const std::string &message) const
    {
        return "[" + band().function + method + ".#]: " + message;
    }
    std::string entry_line(const std::string &handler, const std::string &object, const std::string &method) const
    {
        return entry_log(band().function + handler, object, method);
    }

  private:
    const Band &band_;
};

class EitherBandTest : public OneBandTest, public testing::WithParamInterface<Band>
{
  protected:
    EitherBandTest() : OneBandTest(GetParam()) {}
};

} // namespace access_points
