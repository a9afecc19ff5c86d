// Between wire records and the home document. A family describes the fields of a record once,
//
//     static void describe(auto &&field, LedSwitchRecord &record) { field("on", record.status, YesNo{}); }
//
// and to_record and store go through that description in either direction. Nothing is lost between them: a code without
// a name is kept as a number, a text that is no UTF-8 as {"hex": "..."}, a list without the empty slots at its end. A
// key that the document lacks is read as zero; a value that means nothing throws std::runtime_error.
#pragma once

#include <concepts>
#include <span>
#include <string>
#include <string_view>

#include "core/wire.h"
#include "home.h"

// Fields that are what they look like

std::string hex_of(std::string_view bytes);
Json encode_text(std::string_view text);
std::string decode_text(const Json &value);
uint64_t decode_number(const Json &value);

template <size_t N> Json encode(const char (&field)[N])
{
    return encode_text({field, strnlen(field, N)});
}
template <size_t N> void decode(const Json &value, char (&field)[N])
{
    copy_text(field, decode_text(value).c_str());
}

template <typename Integer> Json encode(const LittleEndian<Integer> &field)
{
    return static_cast<Integer>(field);
}
template <typename Integer> void decode(const Json &value, LittleEndian<Integer> &field)
{
    field = static_cast<Integer>(decode_number(value));
}

inline Json encode(const uint8_t &byte)
{
    return byte;
}
inline void decode(const Json &value, uint8_t &byte)
{
    byte = static_cast<uint8_t>(decode_number(value));
}

template <typename Record>
requires std::is_class_v<Record> Json encode(const Record &record);
template <typename Record>
requires std::is_class_v<Record>
void decode(const Json &value, Record &record);

template <typename Slot> bool is_empty(const Slot &slot)
{
    const char *bytes = reinterpret_cast<const char *>(&slot);
    return std::all_of(bytes, bytes + sizeof(slot), [](char byte) { return byte == 0; });
}

template <typename Slot, size_t N, typename Encode> Json encode_slots(const Slot (&slots)[N], Encode encode)
{
    size_t count = N;
    while (count > 0 && is_empty(slots[count - 1]))
        count--;
    Json list = Json::array();
    for (size_t at = 0; at < count; at++)
        list.push_back(encode(slots[at]));
    return list;
}

// How many of a list's values there is room for.
template <typename Slot, size_t N> uint32_t slot_count(const Json &list, const Slot (&)[N])
{
    return static_cast<uint32_t>(std::min(N, list.size()));
}

template <typename Slot, size_t N> Json encode(const Slot (&slots)[N])
{
    return encode_slots(
        slots, [](const Slot &slot) { return encode(slot); });
}
template <typename Slot, size_t N> void decode(const Json &list, Slot (&slots)[N])
{
    memset(slots, 0, sizeof(slots));
    for (size_t at = 0; at < slot_count(list, slots); at++)
        decode(list[at], slots[at]);
}

// Words that mean something else than a number

struct YesNo { // true is 1, false 0
    Json encode(uint32_t code) const;
    uint32_t decode(const Json &value) const;
};

struct Name {
    uint32_t code;
    const char *text;
};

struct Names { // one of the names
    std::span<const Name> names;
    Json encode(uint32_t code) const;
    uint32_t decode(const Json &value) const;
};

struct BitSet { // a list: the name of each bit's value that has one, the number of every other bit
    std::span<const Name> names;
    Json encode(uint32_t mask) const;
    uint32_t decode(const Json &list) const;
};

struct TimeOfDay { // "HH:MM", with ":SS" where there are any; the word is in seconds after midnight
    Json encode(uint32_t seconds) const;
    uint32_t decode(const Json &value) const;
};

extern const std::span<const Name> kWeekdays;  // of a BitSet: bit 0 Sunday, bits 1 to 6 Monday to Saturday
extern const std::span<const Name> kStandards; // of a BitSet: 802.11's letters

// Of more than one family
inline constexpr Name kBands[] = {{0, "2.4 GHz"}, {1, "5 GHz"}};
inline constexpr Name kBandwidths[] = {{0, "auto"}, {1, "20 MHz"}, {2, "40 MHz"}, {3, "80 MHz"}, {4, "160 MHz"}};

// Whole records

struct Encoder {
    Json &entry;
    template <typename Field> void operator()(const char *key, Field &field) { entry[key] = ::encode(field); }
    template <typename Field, typename Meaning> void operator()(const char *key, Field &field, const Meaning &meaning)
    {
        entry[key] = meaning.encode(field);
    }
    template <typename Slot, size_t N, typename Meaning>
    void operator()(const char *key, Slot (&slots)[N], const Meaning &meaning)
    {
        entry[key] = encode_slots(
            slots, [&](const Slot &slot) { return meaning.encode(slot); });
    }
};

struct Decoder {
    const Json &entry;
    static inline const Json nothing;
    const Json &at(const char *key) { return entry.contains(key) ? entry.at(key) : nothing; }
    template <typename Field> void operator()(const char *key, Field &field) { ::decode(at(key), field); }
    template <typename Field, typename Meaning> void operator()(const char *key, Field &field, const Meaning &meaning)
    {
        field = meaning.decode(at(key));
    }
    template <typename Slot, size_t N, typename Meaning>
    void operator()(const char *key, Slot (&slots)[N], const Meaning &meaning)
    {
        const Json &list = at(key);
        for (size_t slot = 0; slot < slot_count(list, slots); slot++)
            slots[slot] = meaning.decode(list[slot]);
    }
};

// The fields of a record besides those that the home document keeps: which entry it is about, which fields it changes.
// Only logs and recordings show it. A family describes it as it does the rest, by a describe_message of its own.
template <typename Field, typename Record> void describe_message(Field &&, Record &) {}

// Writes the described fields of a record over those of an entry, whose other keys stay as they are.
template <typename Record> void store(Json &entry, Record record)
{
    describe(Encoder{entry}, record);
}

template <typename Record> Record to_record(const Json &entry)
{
    Record record{};
    describe(Decoder{entry}, record);
    return record;
}

// A list answer: a count and as many entries as there is room for.
template <typename List> List to_list(const Json &entries)
{
    List list{};
    decode(entries, list.entries);
    list.count = slot_count(entries, list.entries);
    return list;
}

template <typename Record>
requires std::is_class_v<Record> Json encode(const Record &record)
{
    Json entry = Json::object();
    store(entry, record);
    return entry;
}
template <typename Record>
requires std::is_class_v<Record>
void decode(const Json &value, Record &record)
{
    record = to_record<Record>(value);
}

// The fields of a record in its bytes, for people to read; null where they are not the record's.
template <typename Record> Json fields_of(std::string_view bytes)
{
    Record record;
    if (bytes.size() != sizeof(record))
        return nullptr;
    memcpy(&record, bytes.data(), sizeof(record));
    Json fields = Json::object();
    if constexpr (requires(Encoder encoder) { describe(encoder, record); }) {
        describe_message(Encoder{fields}, record);
        describe(Encoder{fields}, record);
    } else { // a list
        describe_message(Encoder{fields}, record);
        fields["entries"] = encode(record.entries);
    }
    return fields;
}

// The same without what is zero: of a request to read, whose record only names what is asked for. A word that stands
// for zero, say of a band, names something.
template <typename Record> Json named_fields_of(std::string_view bytes)
{
    Json fields = fields_of<Record>(bytes);
    if (!fields.is_object())
        return fields;
    Record record{};
    Json zero = fields_of<Record>({reinterpret_cast<const char *>(&record), sizeof(record)});
    Json message = Json::object();
    describe_message(Encoder{message}, record);
    for (const auto &[key, value] : zero.items())
        if (fields.at(key) == value && !(message.contains(key) && value.is_string()))
            fields.erase(key);
    return fields;
}

// Lists of entries that have an "index". Adding gives the record the lowest free one; false where the list holds
// `limit` entries already.
template <typename Record> bool add_entry(Json &list, Record &record, size_t limit)
{
    record.index = free_index(list, limit);
    if (record.index != 0)
        list.push_back(encode(record));
    return record.index != 0;
}

// Writes over the entry of the record's index; false where there is none.
template <typename Record> bool store_entry(Json &list, const Record &record)
{
    Json *entry = find_entry(list, record.index);
    if (entry)
        store(*entry, record);
    return entry;
}
