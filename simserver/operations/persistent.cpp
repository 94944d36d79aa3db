#include "operations/persistent.h"

#include "operations/controls.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

// What the persistent searches of one connection may keep for a client that does not read.
constexpr std::size_t kMaxWaiting = 4U * 1024 * 1024;

/** The number of a change's kind in the controls. */
std::int64_t changeType(Change::Kind kind) {
    switch (kind) {
    case Change::Kind::Add:
        return 1;
    case Change::Kind::Delete:
        return 2;
    case Change::Kind::Modify:
        return 4;
    case Change::Kind::Rename:
        break;
    }
    return 8;
}

// SEQUENCE { changeType ENUMERATED, previousDN OCTET STRING OPTIONAL, changeNumber [0] INTEGER }
std::string entryChange(const Change &change, std::uint64_t number) {
    constexpr std::uint8_t changeNumber = 0x80;
    std::string value;
    ber::Writer writer(value);
    const std::size_t sequence = writer.open(ber::kSequence);
    writer.integer(changeType(change.kind), ber::kEnumerated);
    if (change.kind == Change::Kind::Rename)
        writer.octets(change.previousDn);
    writer.integer(static_cast<std::int64_t>(number), changeNumber);
    writer.close(sequence);
    std::string controls;
    appendControl(controls, control::kEntryChange, value);
    return controls;
}

} // namespace

PersistentSearch::PersistentSearch(Context &context, SearchRequest request,
                                   std::shared_ptr<Node> base)
    : SearchOperation(context, std::move(request), std::move(base)), directory_(context.directory),
      connection_(context.connection), baseKey_(requireDn(answer().request().base).key) {
    connection_.beginWatch();
    directory_.changes.add(*this);
}

PersistentSearch::~PersistentSearch() {
    for (const std::string &message : waiting_)
        connection_.waitingChanges -= message.size();
    --connection_.watches;
    directory_.changes.remove(*this);
}

bool PersistentSearch::isInScope(std::string_view key) const {
    switch (answer().request().scope) {
    case Scope::Base:
        return key == baseKey_;
    case Scope::OneLevel:
        // The roots lie one level below the empty base, whatever their names look like.
        return baseKey_.empty() ? !directory_.tree.find(parentKey(key))
                                : parentKey(key) == baseKey_;
    case Scope::Subtree:
        break;
    }
    return isWithin(key, baseKey_);
}

bool PersistentSearch::concerns(const Change &change) const {
    const std::int64_t wanted = answer().request().controls.persistent->changeTypes;
    if ((wanted & changeType(change.kind)) == 0)
        return false;
    const bool was = change.kind == Change::Kind::Rename && isInScope(change.previousKey);
    return (was || isInScope(change.node.key)) && answer().matches(change.node);
}

void PersistentSearch::onChange(const Change &change, std::uint64_t number) {
    if (ending_ || !concerns(change))
        return;
    std::string message;
    const bool told = answer().request().controls.persistent->returnEntryChange;
    answer().writeEntry(message, change.node, told ? entryChange(change, number) : std::string());
    keep(std::move(message));
    if (wake_)
        wake_();
}

void PersistentSearch::keep(std::string message) {
    // One entry alone may be larger: a search that has nothing else to send sends it.
    if (connection_.waitingChanges > 0 &&
        connection_.waitingChanges + message.size() > kMaxWaiting) {
        ending_ = {ResultCode::AdminLimitExceeded,
                   {},
                   fmt::format("more than {} bytes of changes were waiting to be read: "
                               "the search has ended, and later changes are not reported",
                               kMaxWaiting)};
        return;
    }
    connection_.waitingChanges += message.size();
    waiting_.push_back(std::move(message));
}

OpenOperation::Progress PersistentSearch::produceRest(std::string &out, std::size_t enough) {
    for (; !waiting_.empty() && out.size() < enough; waiting_.pop_front()) {
        if (!answer().countEntry())
            return finish(out, {ResultCode::SizeLimitExceeded, {}, {}});
        out += waiting_.front();
        connection_.waitingChanges -= waiting_.front().size();
    }
    if (!waiting_.empty())
        return Progress::More;
    return ending_ ? finish(out, *ending_) : Progress::Waiting;
}

} // namespace stratasim
