#include "load/journal.h"

#include "errors.h"
#include "text.h"

#include <fmt/format.h>
#include <ldap.h>

namespace qldapx {
namespace {

// More of them help nobody; the rejects have them all.
constexpr std::uint64_t mostReported = 10;

} // namespace

void Journal::resume(const LoadState &state) {
    state_ = state;
}

void Journal::keepRejects(const std::string &path, bool append) {
    rejects_ = std::make_unique<Rejects>(path, append);
}

void Journal::keepCheckpoint(const std::string &path, const LoadIdentity &identity) {
    checkpoint_ = std::make_unique<Checkpoint>(path, identity, state_);
}

void Journal::writeCheckpoint() {
    if (checkpoint_ != nullptr)
        checkpoint_->write(state_);
}

std::uint64_t Journal::sending(const Record &last) {
    items_.push_back({{last.number, last.checksum}, {}, false});
    if (last.number > state_.sent.record) {
        state_.sent = items_.back().last;
        writeCheckpoint();
    }
    return firstItem_ + items_.size() - 1;
}

void Journal::settle(std::uint64_t item) {
    items_[static_cast<std::size_t>(item - firstItem_)].settled = true;
    if (rejects_ != nullptr)
        rejects_->flush();
    for (; !items_.empty() && items_.front().settled; items_.pop_front(), ++firstItem_) {
        state_.settled = items_.front().last;
        state_.counts += items_.front().counts;
    }
    writeCheckpoint();
}

std::string Journal::place(const Record &record) const {
    return fmt::format("{}:{}", file_, record.line);
}

void Journal::reject(const Record &record, const std::vector<std::string> &comments,
                     const Problem &problem) {
    if (rejects_ != nullptr) {
        rejects_->add(comments, record);
    } else if (reported_ < mostReported) {
        ++reported_;
        progress_.hide();
        report(problem, json_);
    } else {
        ++unreported_;
    }
}

void Journal::failed(std::uint64_t item, const Record &record, const Refusal &refusal) {
    ++failures_;
    Counts &counts = countsOf(item);
    ++counts.of(record.kind).failed;
    ++counts.results[refusal.code];
    const char *name = ldap_err2string(refusal.code);
    Problem problem;
    problem.operation = "load";
    problem.object = record.dnInText();
    problem.code = refusal.code;
    problem.name = name;
    problem.reason = place(record);
    problem.diagnostic = refusal.text;
    const std::string words = refusal.text.empty() ? std::string() : ": " + refusal.text;
    reject(record, {fmt::format("result {} ({}){}", refusal.code, name, words), place(record)},
           problem);
}

void Journal::malformed(const Record &record, const RecordFault &fault) {
    const std::uint64_t item = sending(record);
    ++countsOf(item).malformed;
    ++failures_;
    Problem problem;
    problem.operation = "load";
    problem.object = fmt::format("{}:{}", file_, fault.line);
    problem.reason = fault.reason;
    reject(record, {"malformed: " + fault.reason, fmt::format("{}:{}", file_, fault.line)},
           problem);
    settle(item);
}

void Journal::skipped(const Record &record) {
    const std::uint64_t item = sending(record);
    ++countsOf(item).of(record.kind).unknown;
    Problem problem;
    problem.operation = "load";
    problem.object = record.dnInText();
    problem.reason = place(record) + ": skipped: it may have been carried out, or not";
    reject(record,
           {"skipped: it may have been carried out before the load broke, or not", place(record)},
           problem);
    settle(item);
}

Counts Journal::counts() const {
    Counts all = state_.counts;
    for (const Item &item : items_)
        all += item.counts;
    all += inDoubt_;
    return all;
}

void Journal::reportRest() const {
    if (unreported_ > 0)
        warn(fmt::format("{} more could not be loaded; --rejects FILE keeps them all", unreported_),
             json_);
}

void Journal::finish(bool whole) {
    if (rejects_ != nullptr && rejects_->finish())
        rejects_.reset();
    if (checkpoint_ == nullptr)
        return;
    if (whole)
        checkpoint_->remove();
    else
        checkpoint_->sync();
    if (whole)
        checkpoint_.reset();
}

} // namespace qldapx
