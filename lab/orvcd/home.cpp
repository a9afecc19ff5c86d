#include "home.h"

#include <stdexcept>
#include <strings.h>
#include <utility>

extern const char default_home_text[]; // default_home.json

namespace
{

// Numbers, switches and texts stand for one another (a code without a name is a number), and so does the form of a text
// that is no UTF-8; what such a value may be is judged where it is read.
std::string shape_of(const Json &value)
{
    if (value.is_array())
        return "a list";
    return value.is_object() && !value.contains("hex") ? "an object" : "a value";
}

void expect_shape(const Json &value, const Json &model, const std::string &place)
{
    if (shape_of(value) != shape_of(model))
        throw std::runtime_error(place + " is " + shape_of(value) + ", not " + shape_of(model));
}

void complete(Json &object, const Json &model, const std::string &place)
{
    for (const auto &[key, inner] : model.items()) {
        std::string here = place + "/" + key;
        Json &value = object.contains(key) ? object[key] : object[key] = inner;
        expect_shape(value, inner, here);
        if (inner.is_object())
            complete(value, inner, here);
        for (size_t at = 0; inner.is_array() && !inner.empty() && at < value.size(); at++)
            expect_shape(value[at], inner[0], here + "/" + std::to_string(at));
    }
}

} // namespace

const Json &default_home()
{
    static const Json home = Json::parse(default_home_text);
    return home;
}

namespace
{

Json &first_home_storage()
{
    static Json home = default_home();
    return home;
}

} // namespace

const Json &first_home()
{
    return first_home_storage();
}

void set_first_home(Json home)
{
    first_home_storage() = std::move(home);
}

void complete_home(Json &home)
{
    expect_shape(home, default_home(), "the document");
    complete(home, default_home(), "");
}

const Json *radio_of(const Json &home, uint32_t band)
{
    return band > 1 ? nullptr : &home.at("wifi").at(band == 0 ? "2.4 GHz" : "5 GHz");
}

Json *radio_of(Json &home, uint32_t band)
{
    return const_cast<Json *>(radio_of(std::as_const(home), band));
}

const Json *find_entry(const Json &list, uint32_t index)
{
    for (const Json &entry : list)
        if (entry.value("index", 0u) == index)
            return &entry;
    return nullptr;
}

Json *find_entry(Json &list, uint32_t index)
{
    return const_cast<Json *>(find_entry(std::as_const(list), index));
}

uint32_t free_index(const Json &list, size_t limit)
{
    if (list.size() >= limit)
        return 0;
    uint32_t index = 1;
    while (find_entry(list, index))
        index++;
    return index;
}

bool remove_entry(Json &list, uint32_t index)
{
    for (auto entry = list.begin(); entry != list.end(); ++entry) {
        if (entry->value("index", 0u) == index) {
            list.erase(entry);
            return true;
        }
    }
    return false;
}

const Json *find_station(const Json &home, const std::string &mac)
{
    for (const Json &station : home.at("stations"))
        if (strcasecmp(station.value("mac", "").c_str(), mac.c_str()) == 0)
            return &station;
    return nullptr;
}

Json *find_station(Json &home, const std::string &mac)
{
    return const_cast<Json *>(find_station(std::as_const(home), mac));
}
