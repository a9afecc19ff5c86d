#include "service.h"

#include <array>
#include <cstdio>
#include <cstdlib>

static const Family *const kFamilies[] = {
    &kAccessPointFamily,   &kCommandFamily, &kDeviceInfoFamily, &kDnsFilterFamily, &kIptvFamily, &kLedSwitchFamily,
    &kNeighbourInfoFamily, &kRadioFamily,   &kServerInfoFamily, &kUrlFilterFamily, &kWanFamily,  &kWifiTimerFamily,
};

static std::array<const Row *, 256> collect_rows()
{
    std::array<const Row *, 256> by_type = {};
    for (const Family *family : kFamilies) {
        for (const Row &row : *family) {
            const Row *&place = by_type.at(row.type);
            if (place) {
                fprintf(stderr, "orvcd: %s and %s are both of type %u\n", place->name, row.name, row.type);
                abort();
            }
            place = &row;
        }
    }
    return by_type;
}

const Row *find_row(uint32_t type)
{
    static const std::array<const Row *, 256> by_type = collect_rows();
    return type < by_type.size() ? by_type[type] : nullptr;
}

Reply Service::answer(const Request &request)
{
    const Row *row = find_row(request.type);
    if (!row) {
        fprintf(stderr, "orvcd: unknown message type %u (flag %u, %zu bytes, %u expected)\n", request.type,
                request.flag, request.payload.size(), request.expected);
        return kUnknownType;
    }
    std::lock_guard lock(mutex_);
    try {
        return row->handle(state_, request);
    } catch (const std::exception &error) {
        fprintf(stderr, "orvcd: %s: %s\n", row->name, error.what());
        return kFailed;
    }
}
