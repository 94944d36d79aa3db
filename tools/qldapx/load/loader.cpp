#include "load/loader.h"

#include "load/rename_rule.h"
#include "load/report.h"
#include "load/resumption.h"
#include "load/sender.h"
#include "progress.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>
#include <unistd.h>

namespace qldapx {
namespace {

// The clock is looked at once in so many records.
constexpr std::uint64_t recordsPerLook = 64;

class Loader {
  public:
    Loader(Run &run, const LoadOptions &options)
        : run_(run), options_(options), path_(checkpointPath(options)), stream_(options.file),
          reader_(stream_), progress_(run.out.isJson()),
          journal_(stream_.name(), run.out.isJson(), progress_) {}

    /** What would keep it from beginning, before anybody is asked for a password. */
    void checkFiles() const;
    void load();

  private:
    using Kind = RecordReader::Kind;
    using Verdict = DoubtfulRecord::Verdict;

    void resume();
    void begin();
    std::unique_ptr<Sender> makeSender();
    bool settle(DoubtfulRecord &doubtful);
    void account(const Record &record, Verdict verdict);
    void sendAll();
    bool send(Kind kind, Record &record);
    bool reportMalformed(const Record &record, const RecordFault &fault);
    void finish();
    void breakOff(const Failure &failure);
    [[nodiscard]] bool isWhole() const;
    [[nodiscard]] std::string progressLine(double seconds) const;
    [[nodiscard]] LoadOutcome outcome() const;

    Run &run_;
    const LoadOptions &options_;
    const std::optional<std::string> path_;
    LdifStream stream_;
    RecordReader reader_;
    Progress progress_;
    Journal journal_;
    std::optional<Resumption> resumption_;
    std::uint64_t doneBefore_ = 0;
    std::unique_ptr<Channel> channel_;
    std::unique_ptr<LoadContext> context_;
    std::unique_ptr<Sender> sender_;
    std::string mode_ = "bulk";
    bool atEnd_ = false;
    bool broken_ = false;
    const Pace::Clock::time_point start_ = Pace::Clock::now();
};

void Loader::checkFiles() const {
    if (options_.resume && !path_)
        throw UsageError("standard input has no checkpoint of its own",
                         "name it with --checkpoint FILE");
    if (!options_.resume && path_ && Checkpoint::exists(*path_))
        throw UsageError(fmt::format("{} says that this file is loaded in part", printable(*path_)),
                         "--resume goes on with it; to start over remove it first, but what is "
                         "loaded already will then fail");
    if (!options_.resume && options_.rejects && access(options_.rejects->c_str(), F_OK) == 0)
        throw UsageError(fmt::format("{} exists already", printable(*options_.rejects)),
                         "choose another name for --rejects, or move that file away");
}

void Loader::resume() {
    resumption_.emplace(*path_, identityOf(run_, options_));
    const LoadState &state = resumption_->state();
    journal_.resume(state);
    const Tally total = state.counts.total();
    doneBefore_ = total.done + total.failed;
    resumption_->read(reader_, stream_.name());
}

std::unique_ptr<Sender> Loader::makeSender() {
    try {
        return bulkSender(*context_);
    } catch (const NoBulkUpdate &failure) {
        if (!options_.fallback)
            throw;
        if (options_.bulkRenames)
            warn("--rename bulk has no meaning for ordinary operations", run_.out.isJson());
        mode_ = "ordinary";
        journal_.setBulk(false);
        return ordinarySender(*context_);
    }
}

void Loader::begin() {
    run_.open();
    channel_ = std::make_unique<Channel>(run_, run_.connection().timeout);
    context_ = std::make_unique<LoadContext>(
        LoadContext{run_, options_, journal_, *channel_, Pace(options_.rate)});
    if (resumption_)
        resumption_->judge(*channel_, options_);
    if (Interruption::requested())
        return;
    sender_ = makeSender();
    if (options_.rejects)
        journal_.keepRejects(*options_.rejects, options_.resume);
    if (path_)
        journal_.keepCheckpoint(*path_, identityOf(run_, options_));
}

/** False ends the load. */
bool Loader::settle(DoubtfulRecord &doubtful) {
    Record &record = doubtful.record;
    if (doubtful.fault)
        return reportMalformed(record, *doubtful.fault);
    const bool isUnclear = doubtful.verdict == Verdict::Unclear;
    const bool isSentAgain = options_.doubtful == LoadOptions::Doubtful::Send;
    if (doubtful.verdict == Verdict::NotDone || (isUnclear && isSentAgain))
        return send(Kind::Record, record);
    sender_->flush();
    if (context_->stopping())
        return false;
    if (isUnclear)
        journal_.skipped(record);
    else
        account(record, doubtful.verdict);
    return true;
}

void Loader::account(const Record &record, Verdict verdict) {
    const std::uint64_t item = journal_.sending(record);
    if (verdict == Verdict::Done)
        journal_.done(item, record.kind);
    else
        journal_.unknown(item, record.kind);
    journal_.settle(item);
}

/** False ends the load. With --continue it is one of the rejects, behind those before it. */
bool Loader::reportMalformed(const Record &record, const RecordFault &fault) {
    if (options_.goOn) {
        sender_->flush();
        if (!context_->stopping())
            journal_.malformed(record, fault);
        return true;
    }
    sender_->flush();
    sender_->drain();
    Problem problem;
    problem.operation = "load";
    problem.object = fmt::format("{}:{}", stream_.name(), fault.line);
    problem.reason = fault.reason;
    problem.hint = path_ ? "mend the record, and go on with --resume" : "mend the record";
    progress_.hide();
    run_.failed(Failure(std::move(problem)));
    return false;
}

/** False ends the load. */
bool Loader::send(Kind kind, Record &record) {
    if (kind == Kind::Malformed)
        return reportMalformed(record, reader_.fault());
    if (kind == Kind::Record) {
        if (const auto fault = renameFault(record, options_))
            return reportMalformed(record, *fault);
        sender_->add(record);
        return true;
    }
    sender_->flush();
    sender_->drain();
    Problem problem;
    problem.operation = "load";
    problem.object = fmt::format("{}:{}", stream_.name(), reader_.fault().line);
    problem.reason = reader_.fault().reason;
    progress_.hide();
    run_.failed(Failure(std::move(problem)));
    return false;
}

void Loader::sendAll() {
    bool goesOn = true;
    if (resumption_)
        for (DoubtfulRecord &doubtful : resumption_->doubtful())
            goesOn = goesOn && !context_->stopping() && settle(doubtful);
    Record record;
    while (goesOn && !context_->stopping()) {
        const Kind kind = reader_.next(record);
        atEnd_ = kind == Kind::End;
        goesOn = !atEnd_ && send(kind, record);
        if (record.number % recordsPerLook == 0)
            progress_.show([this](double seconds) { return progressLine(seconds); });
    }
    sender_->flush();
    sender_->drain();
    sender_->end();
}

std::string Loader::progressLine(double seconds) const {
    const Tally total = journal_.counts().total();
    const std::uint64_t updates = total.done + total.failed - doneBefore_;
    std::string line =
        fmt::format("{} updates, {:.0f}/s, {}", updates,
                    static_cast<double>(updates) / (seconds + 1e-3), byteCount(stream_.consumed()));
    if (!stream_.size() || stream_.consumed() == 0)
        return line;
    const double left =
        static_cast<double>(*stream_.size()) / static_cast<double>(stream_.consumed()) * seconds -
        seconds;
    return line +
           fmt::format(" of {}, {:.0f} s left", byteCount(*stream_.size()), std::max(left, 0.0));
}

void Loader::breakOff(const Failure &failure) {
    broken_ = true;
    sender_->giveUp();
    Problem problem = failure.problem();
    if (path_ && !isWhole())
        problem.hint += (problem.hint.empty() ? "" : "; ") +
                        std::string("--resume looks what was carried out, and goes on");
    progress_.hide();
    run_.failed(Failure(std::move(problem)));
}

bool Loader::isWhole() const {
    return atEnd_ && journal_.state().settled.record == reader_.count();
}

LoadOutcome Loader::outcome() const {
    using End = LoadOutcome::End;
    LoadOutcome result;
    result.file = options_.file;
    result.mode = mode_;
    result.counts = journal_.counts();
    result.records = reader_.count();
    result.skipped = resumption_ ? resumption_->state().settled.record : 0;
    result.seconds = std::chrono::duration<double>(Pace::Clock::now() - start_).count();
    const Tally total = result.counts.total();
    result.updates = total.done + total.failed - doneBefore_;
    if (journal_.rejects() != nullptr)
        result.rejects = journal_.rejects()->path();
    if (journal_.checkpoint() != nullptr)
        result.checkpoint = journal_.checkpoint()->path();
    result.cannotResume = !path_ && !isWhole();
    if (!isWhole() && broken_)
        result.end = End::Broken;
    else if (!isWhole())
        result.end = Interruption::requested() ? End::Interrupted : End::Stopped;
    else // what broke then was the end of the bulk update, or a file
        result.end = result.counts.hasFailures() ? End::Failures : End::Done;
    return result;
}

void Loader::finish() {
    progress_.hide();
    journal_.reportRest();
    try {
        journal_.finish(isWhole());
    } catch (const Failure &failure) {
        run_.failed(failure);
    }
    if (journal_.counts().hasFailures())
        run_.endsInFailure();
    printOutcome(run_.out, outcome());
}

void Loader::load() {
    if (options_.resume)
        resume();
    if (!Interruption::requested())
        begin();
    if (sender_ == nullptr)
        return;
    try {
        sendAll();
    } catch (const Failure &failure) {
        breakOff(failure);
    }
    finish();
}

} // namespace

void load(Run &run, const LoadOptions &options) {
    Loader loader(run, options);
    loader.checkFiles();
    run.keepPassword();
    const Interruption interruption;
    if (options.bulkRenames)
        warn(
            "--rename bulk: a renaming goes with the new RDN as its new superior, too, and removes "
            "the old RDN's values",
            run.out.isJson());
    try {
        loader.load();
    } catch (const Failure &) {
        if (!Interruption::requested()) // which makes calls of libldap fail
            throw;
    }
    run.out.flush();
    if (!Interruption::requested())
        return;
    run.close();
    Interruption::endProcess();
}

} // namespace qldapx
