// record.h - how the records of events are described.
//
// A record's fields stand in the order of the wire; each knows its place in the record and its
// type, and the type knows how it is read and, if the record owns it, released. So decoding and
// release follow from one description.
#pragma once

#include "qldapx/event_record.h"

#include <cstdint>
#include <lber.h>
#include <span>

namespace qldapx::events {

struct Field;

struct FieldType {
    // Reads the field from the wire into the record. Gives a result code.
    int (*read)(BerElement *ber, char *record, const Field &field);
    // NULL: the record owns nothing there.
    void (*release)(char *record, const Field &field);
    // LDAPX_EVENT_...; 0 for what is on the wire but in no field.
    int published;
    // Where fields share their storage: whether it is this one that holds a value.
    bool (*holds)(const char *record) = nullptr;
};

struct Field {
    const char *name;
    const FieldType *type;
    std::uint16_t offset;
    // Where the number of bytes or elements stands in the record; with an array in the record
    // itself: how many there are.
    std::uint16_t count = 0;
};

struct Record {
    const char *name;
    std::uint16_t kind;
    std::uint16_t size;
    std::span<const Field> fields;
};

constexpr std::uint16_t firstKind = 0x61;
constexpr std::uint16_t netAddressKind = 0x68;
constexpr std::uint16_t lastKind = 0x7D;

// NULL for a kind without record.
const Record *recordOf(ber_tag_t kind);

// Reads a payload's contents into a new record. *eventData is NULL after a failure.
[[nodiscard]] int readRecord(BerElement *ber, const Record &record, void **eventData);

// Releases a record that no caller will see, so that nobody can hold on to a part of it.
void discardRecord(void *eventData);

// The word in front of a record.
using KindWord = std::uint64_t;
inline KindWord *kindWord(void *eventData) {
    return static_cast<KindWord *>(eventData) - 1;
}
inline KindWord kindOf(const void *eventData) {
    return *(static_cast<const KindWord *>(eventData) - 1);
}

template <class T>
T &at(char *record, std::uint16_t offset) {
    return *reinterpret_cast<T *>(record + offset);
}

template <class T>
const T &at(const char *record, std::uint16_t offset) {
    return *reinterpret_cast<const T *>(record + offset);
}

} // namespace qldapx::events
