// The interface as api/ describes it, for whoever needs objects, methods or arguments: there is no other list of them.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace test_support
{

using Json = nlohmann::ordered_json;

// A file of api/, its references replaced by what they refer to.
struct DescribedObject {
    std::string name; // ends in ".N" for a kind of entry object
    Json description;

    const Json &methods() const { return description["methods"]; }
    bool is_entry() const { return description.contains("entry_of"); }

    // As the bus lists it: the object's line, then one for each method with its arguments (see BusClient::list). A kind
    // of entry object is listed under the name of one of them.
    std::string listing(const std::string &path) const;
};

// In the order of their names; the entries' kinds follow the objects that they are entries of.
const std::vector<DescribedObject> &described_objects();

// The names of all but entries, in the order in which the daemon registers them.
const std::vector<std::string> &registered_objects();

// The description that stands for an object of the bus; null where there is none.
const DescribedObject *describe(const std::string &path);

// A piece that several objects share.
Json shared_piece(const std::string &name);

// Whether some calls of a described method get no reply.
bool may_be_silent(const Json &method);

// Values that an argument of a described method takes: those of its examples that succeed, its words, the ends of its
// range; where there are none, one of its type. Not empty.
std::vector<Json> sensible_values(const Json &method, const std::string &argument);

// Each argument with the first of them.
Json sensible_arguments(const Json &method);

} // namespace test_support
