#pragma once

#include "in_process.h"
#include "progress.h"

#include <memory>
#include <string>

inline constexpr const char *kPersistentSearch = "2.16.840.1.113730.3.4.3";
inline constexpr const char *kEntryChange = "2.16.840.1.113730.3.4.7";

/** What a persistent search asks for, by default all changes and nothing else. */
struct WatchFor {
    std::uint8_t types = 15;
    bool changesOnly = true;
    bool returnChanges = true;
};

inline std::string watchControl(const WatchFor &what) {
    const std::string value =
        wire::tlv(0x30, wire::number(what.types) + wire::boolean(what.changesOnly) +
                            wire::boolean(what.returnChanges));
    return wire::control(kPersistentSearch, true, &value);
}

/** The value of an entry change control; previous is null unless the entry was renamed. */
inline std::string entryChange(std::uint8_t type, const char *previous, std::uint8_t number) {
    return wire::tlv(0x30, wire::enumerated(type) + (previous ? wire::text(previous) : "") +
                               wire::tlv(0x80, std::string(1, static_cast<char>(number))));
}

/** A persistent search on the connection of a server without sockets. */
class Watch {
  public:
    Watch(InProcess &server, const wire::Search &search, const WatchFor &what = {})
        : first_(server.ask(wire::search(search), watchControl(what))),
          operation_(std::move(server.last.open)) {}

    /** What came at once. */
    const wire::Response &first() const { return first_; }
    bool isOpen() const { return operation_ != nullptr; }
    stratasim::OpenOperation &operation() { return *operation_; }

    /** What came since the last look. */
    wire::Response changes() { return lookAt(operation_); }

  private:
    wire::Response first_;
    std::unique_ptr<stratasim::OpenOperation> operation_;
};
