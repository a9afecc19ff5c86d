// Quality of service: its switches and the classification rules.

#include "checks.h"
#include "filters/qos_records.h"
#include "records.h"
#include "service.h"

constexpr Name kProtocols[] = {{1, "tcp"}, {2, "udp"}, {3, "icmp"}};

constexpr char kEnable[] = "enable";
constexpr char kDscp[] = "dscp";
constexpr char k8021p[] = "8021p";

static void describe(auto &&field, ClassificationRecord &record)
{
    field("index", record.index);
    field("name", record.name);
    field("priority", record.priority);
    field("dscp", record.dscp);
    field("vlan8021p", record.vlan8021p);
    field("protocols", record.protocols, Names{kProtocols});
    field("srcip", record.srcip);
    field("srcmask", record.srcmask);
    field("srcport", record.srcport);
    field("srcmac", record.srcmac);
    field("dstip", record.dstip);
    field("dstmask", record.dstmask);
    field("dstport", record.dstport);
    field("dstmac", record.dstmac);
}

static void describe(auto &&field, ClassificationIndexRecord &record)
{
    field("index", record.index);
}

static void describe(auto &&field, QosSwitchRecord &record)
{
    field("on", record.code, YesNo{});
}

namespace
{

ReturnCode check_qos_switch(const QosSwitchRecord &record)
{
    return check_switch(record.code);
}

// An address or a mask that is not given is empty.
bool is_ipv4_or_empty(std::string_view text)
{
    return text.empty() || is_ipv4(text);
}

bool is_mac_or_empty(std::string_view text)
{
    return text.empty() || is_mac(text);
}

// -1 stands for no marking.
ReturnCode check_markings(const ClassificationRecord &rule)
{
    return first_refusal(check_range(rule.priority, 0, 7), check_range(rule.dscp, -1, 63),
                         check_range(rule.vlan8021p, -1, 7));
}

ReturnCode check_addresses(const ClassificationRecord &rule)
{
    if (!is_mac_or_empty(text_of(rule.srcmac)) || !is_mac_or_empty(text_of(rule.dstmac)))
        return kBadMac;
    if (!is_ipv4_or_empty(text_of(rule.srcip)) || !is_ipv4_or_empty(text_of(rule.srcmask)) ||
        !is_ipv4_or_empty(text_of(rule.dstip)) || !is_ipv4_or_empty(text_of(rule.dstmask)))
        return kBadAddress;
    return rule.srcport > 0xFFFF || rule.dstport > 0xFFFF ? kBadPort : kOk;
}

ReturnCode check_protocols(const ClassificationRecord &rule)
{
    for (const le32 &protocol : rule.protocols)
        if (protocol > 3)
            return kBadProtocol;
    return kOk;
}

ReturnCode check_classification(const ClassificationRecord &rule)
{
    return first_refusal(text_of(rule.name).empty() ? kBadName : kOk, check_markings(rule), check_protocols(rule),
                         check_addresses(rule));
}

template <const char *key> Reply get_switch(const Json &home)
{
    return QosSwitchRecord{YesNo{}.decode(home.at("qos").at(key))};
}

template <const char *key> Reply set_switch(Json &home, const QosSwitchRecord &record)
{
    home["qos"][key] = YesNo{}.encode(record.code);
    return kOk;
}

Reply list_classifications(const Json &home)
{
    return to_list<ClassificationList>(home.at("classifications"));
}

Reply add_classification(Json &home, const ClassificationRecord &request)
{
    ClassificationRecord record = request;
    return add_entry(home["classifications"], record, std::size(ClassificationList{}.entries)) ? kOk : kFull;
}

Reply delete_classification(Json &home, const ClassificationIndexRecord &request)
{
    return remove_entry(home["classifications"], request.index) ? kOk : kNotFound;
}

constexpr Row kRows[] = {
    {kAddClassification, "ORVC_ADD_QOSCLASSIFICATION", serve<add_classification, check_classification>},
    {kDeleteClassification, "ORVC_DEL_QOSCLASSIFICATION", serve<delete_classification>},
    {kListClassifications, "ORVC_GET_QOSCLASSIFICATION", serve<list_classifications>},
    {kSetQos, "ORVC_SET_QOS", serve<set_switch<kEnable>, check_qos_switch>},
    {kGetQos, "ORVC_GET_QOS", serve<get_switch<kEnable>>},
    {kSetQosDscp, "ORVC_SET_QOSDSCP", serve<set_switch<kDscp>, check_qos_switch>},
    {kGetQosDscp, "ORVC_GET_QOSDSCP", serve<get_switch<kDscp>>},
    {kSetQos8021p, "ORVC_SET_QOS8021P", serve<set_switch<k8021p>, check_qos_switch>},
    {kGetQos8021p, "ORVC_GET_QOS8021P", serve<get_switch<k8021p>>},
};
const Family family = {kRows};

} // namespace
