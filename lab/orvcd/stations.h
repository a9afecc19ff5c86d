// Work of several families on the home's stations.
#pragma once

#include <string>

#include "home.h"

// A MAC address of twelve digits in its colon form; anything else as it is.
std::string colon_mac(const std::string &mac);

// Puts a station on or off line and tells the daemon.
void set_station_active(Json &home, const std::string &mac, bool active);
