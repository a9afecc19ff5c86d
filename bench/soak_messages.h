// Messages for any method: what an agent would send, and what none should.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

struct SoakArgument {
    std::string name;
    uint32_t type;                   // that it has to be sent in: enum blobmsg_type
    std::vector<std::string> values; // sensible ones, as bytes
};

struct SoakMethod {
    std::string object;
    uint32_t id; // the object's
    std::string name;
    std::vector<SoakArgument> arguments = {};
    bool may_be_silent = false;
};

// The methods of an object as they are described.
std::vector<SoakMethod> soak_methods(const std::string &object, uint32_t id);

using Random = std::mt19937;

// A number below `limit`, the same on every machine.
size_t below(Random &random, size_t limit);

// The values of a message, byte by byte: usually every argument with a value that makes sense, else with one of them
// missing, of another type, or of a size or a content that nobody expects, with arguments that the method does not
// know, or bytes that are no message.
std::string make_message(Random &random, const SoakMethod &method);

// Every argument with a sensible value.
std::string sensible_message(Random &random, const SoakMethod &method);
