// Where the daemon meets the rest of the router. The paths are fixed; they stand in a translation unit of their own so
// that a build for tests can put all of them below a folder of its choosing.
#pragma once

struct Paths {
    const char *service;      // socket of the configuration service
    const char *event_socket; // socket on which the daemon takes events
    const char *debug_flag;   // while this file of root or of our own exists, log lines are written
    const char *console;      // where they are written
    const char *bus;          // socket of the bus; null for the bus library's default
};

const Paths &paths();
