#include "events/event.h"

#include "message.h"
#include "result.h"

namespace stratasim {
namespace {

// SEQUENCE { eventType INTEGER, eventResult INTEGER, payload, addressType INTEGER OPTIONAL,
//     address OCTET STRING OPTIONAL }
std::string notificationValue(std::int32_t type, std::int32_t result, const Record &record,
                              const NetAddress &address) {
    const bool addressed = address.type != 0;
    std::string value;
    ber::Writer writer(value);
    const std::size_t sequence = writer.open(ber::kSequence);
    writer.integer(type);
    writer.integer(result);
    appendPayload(value, record, addressed);
    if (addressed) {
        writer.integer(address.type);
        writer.octets(address.bytes);
    }
    writer.close(sequence);
    return value;
}

} // namespace

Event::Event(std::int32_t type, std::int32_t result, Record record, const NetAddress &address)
    : type_(type), result_(result), record_(std::move(record)) {
    constexpr std::string_view name = "2.16.840.1.907341.1.27.100.81";
    appendIntermediate(protocolOp_, name, notificationValue(type, result, record_, address));
    protocolOp_.shrink_to_fit();
}

bool Event::succeeded() const {
    const auto code = static_cast<ResultCode>(result_);
    return code == ResultCode::Success || code == ResultCode::CompareFalse ||
           code == ResultCode::CompareTrue;
}

const Node &Event::node() const {
    if (node_)
        return *node_;
    node_ = std::make_unique<Node>();
    Entry &entry = node_->entry;
    entry.set("eventResult", {std::to_string(result_)});
    entry.set("kind", {std::to_string(record_.type().kind)});
    for (const Field &field : record_.type().fields)
        if (auto texts = fieldTexts(record_, field); !texts.empty())
            entry.set(field.name, std::move(texts));
    return *node_;
}

} // namespace stratasim
