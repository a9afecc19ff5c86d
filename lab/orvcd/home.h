// The home that the virtual router stands in: everything the service knows, as one JSON document that a person can read
// and edit. It ships as default_home.json; the state file of --state has the same form.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

const Json &default_home();

// The home that the service starts with where there is no state file yet, and that a reset leads back to: the default
// home, unless another one was set. Set before anything runs.
const Json &first_home();
void set_first_home(Json home);

// Fills in what `home` lacks from the default home, so that a state file of an older version serves on. Throws
// std::runtime_error naming the place where the two differ in shape (say, text where there is a list).
void complete_home(Json &home);

// The radio of a wire record's band: 0 the 2.4 GHz one, 1 the 5 GHz one; null for any other.
const Json *radio_of(const Json &home, uint32_t band);
Json *radio_of(Json &home, uint32_t band);

// The entry of a list whose "index" is `index`, or null.
const Json *find_entry(const Json &list, uint32_t index);
Json *find_entry(Json &list, uint32_t index);

// The lowest index from 1 that no entry of the list has; 0 where the list holds `limit` entries already.
uint32_t free_index(const Json &list, size_t limit);

// False where there is no such entry.
bool remove_entry(Json &list, uint32_t index);

// The station of this MAC address, in any letter case, or null.
const Json *find_station(const Json &home, const std::string &mac);
Json *find_station(Json &home, const std::string &mac);
