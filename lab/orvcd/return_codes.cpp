#include "return_codes.h"

const char *name_of(uint32_t code)
{
    switch (static_cast<ReturnCode>(code)) {
    case kOk:
        return "done";
    case kUnknownType:
        return "unknown message type";
    case kBadLength:
        return "record of another length";
    case kNotFound:
        return "no such entry";
    case kFailed:
        return "the state cannot be read or written";
    case kFull:
        return "the list is full";
    case kBadSwitch:
        return "neither on nor off";
    case kBadChannel:
        return "no channel of this band";
    case kBadBandwidth:
        return "no bandwidth of this band";
    case kBadPower:
        return "no transmit power";
    case kBadSsid:
        return "empty SSID";
    case kBadAuth:
        return "unknown authentication";
    case kBadEncryption:
        return "no encryption for this authentication";
    case kBadKey:
        return "no key for this authentication";
    case kBadMac:
        return "no MAC address";
    case kBadAddress:
        return "no IP address";
    case kBadPort:
        return "no such port";
    case kBadVlan:
        return "no VLAN";
    case kBadRange:
        return "number out of range";
    case kBadTime:
        return "no time of day";
    case kBadWeekday:
        return "no weekday";
    case kBadProtocol:
        return "unknown protocol";
    case kBadMode:
        return "unknown mode";
    case kBadName:
        return "empty name";
    case kBadUrl:
        return "no URL";
    case kBadElement:
        return "no information element";
    case kExists:
        return "there already";
    }
    return "unnamed code";
}
