#pragma once

#include "errors.h"
#include "load/checkpoint.h"
#include "load/rejects.h"
#include "progress.h"

#include <deque>
#include <memory>
#include <optional>

namespace qldapx {

/** What a server, or this side, says of an update that failed. */
struct Refusal {
    int code;
    std::string text;
};

/**
 * The account of a load: what has been sent, what became of it, and what is in doubt. The rejects
 * and the checkpoint are written from it. Throws Failure when they cannot be.
 */
class Journal {
  public:
    Journal(std::string file, bool json, Progress &progress)
        : file_(std::move(file)), json_(json), progress_(progress) {}

    /** From what a checkpoint says. */
    void resume(const LoadState &state);
    void keepRejects(const std::string &path, bool append);
    /** Begins a checkpoint, of what there is so far. */
    void keepCheckpoint(const std::string &path, const LoadIdentity &identity);
    void setBulk(bool bulk) { state_.bulk = bulk; }

    /** Records up to this one, behind those of the last call, are sent next. */
    std::uint64_t sending(const Record &last);
    void done(std::uint64_t item, Update kind) { ++countsOf(item).of(kind).done; }
    /** A later one was carried out: so was this one, or it failed. */
    void unknown(std::uint64_t item, Update kind) { ++countsOf(item).of(kind).unknown; }
    void failed(std::uint64_t item, const Record &record, const Refusal &refusal);
    /** All of the item's records are accounted for. */
    void settle(std::uint64_t item);
    /** The only record of an item of its own. */
    void malformed(const Record &record, const RecordFault &fault);
    /** What nobody can tell of, the user does not want sent again. */
    void skipped(const Record &record);
    /** No answer will come any more. */
    void inDoubt(Update kind) { ++inDoubt_.of(kind).inDoubt; }

    [[nodiscard]] bool hasFailures() const { return failures_ > 0; }
    [[nodiscard]] Counts counts() const;
    [[nodiscard]] const LoadState &state() const { return state_; }
    [[nodiscard]] const Rejects *rejects() const { return rejects_.get(); }
    [[nodiscard]] const Checkpoint *checkpoint() const { return checkpoint_.get(); }
    /** Prints how many failures were not printed. */
    void reportRest() const;
    /** Brings everything to the disk; a checkpoint that nobody needs goes. */
    void finish(bool whole);

  private:
    struct Item {
        Position last;
        Counts counts;
        bool settled = false;
    };

    Counts &countsOf(std::uint64_t item) {
        return items_[static_cast<std::size_t>(item - firstItem_)].counts;
    }
    void reject(const Record &record, const std::vector<std::string> &comments,
                const Problem &problem);
    std::string place(const Record &record) const;
    void writeCheckpoint();

    std::string file_;
    bool json_;
    Progress &progress_; // which gives way to what is reported
    LoadState state_;
    std::deque<Item> items_; // those that are not settled, and settled ones behind them
    std::uint64_t firstItem_ = 0;
    Counts inDoubt_;
    std::uint64_t failures_ = 0; // of this run
    std::uint64_t reported_ = 0;
    std::uint64_t unreported_ = 0;
    std::unique_ptr<Rejects> rejects_;
    std::unique_ptr<Checkpoint> checkpoint_;
};

} // namespace qldapx
