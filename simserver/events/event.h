#pragma once

#include "events/record.h"
#include "tree.h"

#include <cstdint>
#include <memory>
#include <string>

namespace stratasim {

/** Something that happened, as it goes to everybody who monitors it. */
class Event {
  public:
    /** An address of type 0 is none. */
    Event(std::int32_t type, std::int32_t result, Record record, const NetAddress &address = {});

    std::int32_t type() const { return type_; }
    /** False for a result code that says that what was tried has not been done. */
    bool succeeded() const;
    /** The protocolOp of a notification: all of the message but its id. */
    const std::string &protocolOp() const { return protocolOp_; }
    /** The event as if it were an entry, for filters; made when it is asked for first. */
    const Node &node() const;

  private:
    std::int32_t type_;
    std::int32_t result_;
    Record record_;
    std::string protocolOp_;
    mutable std::unique_ptr<Node> node_;
};

using EventPointer = std::shared_ptr<const Event>;

} // namespace stratasim
