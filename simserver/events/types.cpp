#include "events/types.h"

#include <algorithm>
#include <iterator>

namespace stratasim {
namespace {

constexpr EventRow kRows[] = {
    {EventType::EntryAdded, "entry-added", 97},
    {EventType::EntryDeleted, "entry-deleted", 97},
    {EventType::EntryModified, "entry-modified", 97},
    {EventType::EntryRenamed, "entry-renamed", 97},
    {EventType::ValueAdded, "value-added", 98},
    {EventType::ValueRemoved, "value-removed", 98},
    {EventType::MemberChanged, "member-changed", 102},
    {EventType::ClientAddress, "client-address", 104},
    {EventType::ConnectionState, "connection-state", 105},
    {EventType::Bind, "bind", 113},
    {EventType::ConnectionOpened, "connection-opened", 114},
    {EventType::ConnectionClosed, "connection-closed", 114},
    {EventType::Search, "search", 115},
    {EventType::SearchEntry, "search-entry", 116},
    {EventType::Add, "add", 117},
    {EventType::Delete, "delete", 117},
    {EventType::Modify, "modify", 117},
    {EventType::Compare, "compare", 118},
    {EventType::ModifyDn, "modify-dn", 119},
    {EventType::Abandon, "abandon", 120},
    {EventType::Extended, "extended-operation", 121},
    {EventType::Trigger, "trigger", 122},
    {EventType::Response, "response", 123},
    {EventType::PasswordModified, "password-modified", 124},
    {EventType::UnknownOperation, "unknown-operation", 125},
    {EventType::General, "general", 99},
    {EventType::Plain, "plain", 100},
    {EventType::Bindery, "bindery", 101},
    {EventType::ModuleState, "module-state", 103},
    {EventType::ServerStarted, "server-started", 106},
    {EventType::ServerStopped, "server-stopped", 107},
    {EventType::ServerAddress, "server-address", 108},
    {EventType::Parameter, "parameter-changed", 109},
    {EventType::LimitReached, "limit-reached", 110},
    {EventType::StatusLog, "status-log", 111},
    {EventType::Debug, "debug", 112},
};

} // namespace

std::span<const EventRow> eventRows() {
    return kRows;
}

const EventRow *findEvent(std::int32_t number) {
    const auto row = std::find_if(std::begin(kRows), std::end(kRows), [&](const EventRow &known) {
        return static_cast<std::int32_t>(known.type) == number;
    });
    return row == std::end(kRows) ? nullptr : row;
}

} // namespace stratasim
