#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace stratasim {

/** What can happen; the number is that of the event on the wire. */
enum class EventType : std::int32_t {
    EntryAdded = 1,
    EntryDeleted,
    EntryModified,
    EntryRenamed,
    ValueAdded,
    ValueRemoved,
    MemberChanged,
    ClientAddress,
    ConnectionState,
    Bind,
    ConnectionOpened,
    ConnectionClosed,
    Search,
    SearchEntry,
    Add,
    Delete,
    Modify,
    Compare,
    ModifyDn,
    Abandon,
    Extended,
    Trigger,
    Response,
    PasswordModified,
    UnknownOperation,
    // These happen only in a replay.
    General,
    Plain,
    Bindery,
    ModuleState,
    ServerStarted,
    ServerStopped,
    ServerAddress,
    Parameter,
    LimitReached,
    StatusLog,
    Debug,
};

/** A row of the events that the server has. */
struct EventRow {
    EventType type;
    std::string_view name; // for people
    int kind;              // of its record
};

std::span<const EventRow> eventRows();
/** Null when there is none of that number. */
const EventRow *findEvent(std::int32_t number);

} // namespace stratasim
