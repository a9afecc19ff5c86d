// The return codes of the service's answers. The daemon knows 0 and everything else; which one it is tells the person
// who reads the log.
#pragma once

#include <cstdint>

enum ReturnCode : uint32_t {
    kOk = 0,
    kUnknownType = 1,
    kBadLength = 2, // the request's record is not of its type's length
    kNotFound = 3,  // no entry of that index, no radio of that band
    kFailed = 4,    // the state could not be written, or holds what means nothing; standard error tells
    kFull = 5,      // the list has no room

    // For settings that no router takes; with --lenient none of these is answered.
    kBadSwitch = 16,
    kBadChannel = 17,
    kBadBandwidth = 18,
    kBadPower = 19,
    kBadSsid = 20,
    kBadAuth = 21,
    kBadEncryption = 22,
    kBadKey = 23,
    kBadMac = 24,
    kBadAddress = 25,
    kBadPort = 26,
    kBadVlan = 27,
    kBadRange = 28,
    kBadTime = 29,
    kBadWeekday = 30,
    kBadProtocol = 31,
    kBadMode = 32,
    kBadName = 33,
    kBadUrl = 34,
    kBadElement = 35,
    kExists = 36,
};

// "channel of no such band"; "unnamed code" where it is none of the above.
const char *name_of(uint32_t code);
