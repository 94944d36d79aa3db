#include "load/loader.h"

#include "identity.h"
#include "load/doubt.h"
#include "load/rename_rule.h"
#include "load/report.h"
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

std::optional<std::string> checkpointPath(const LoadOptions &options) {
    if (options.checkpoint || options.readsStandardInput())
        return options.checkpoint;
    return options.file + ".checkpoint";
}

/** What a load of this file into this server is called. */
LoadIdentity identityOf(const Run &run, const LoadOptions &options) {
    const ConnectionOptions &connection = run.connection();
    char *configured = nullptr;
    ldap_get_option(nullptr, LDAP_OPT_URI, &configured);
    const std::string uri = takeLdapText(configured);
    return {options.file, connection.uri.value_or(uri), connection.bindDn.value_or("")};
}

[[noreturn]] void refuseCheckpoint(const std::string &what, const std::string &path) {
    throw UsageError(what, fmt::format("to start over remove {}, but what is loaded already will "
                                       "then fail",
                                       printable(path)));
}

class Loader {
  public:
    Loader(Run &run, const LoadOptions &options)
        : run_(run), options_(options), path_(checkpointPath(options)), stream_(options.file),
          reader_(stream_), journal_(stream_.name(), run.out.isJson()),
          progress_(run.out.isJson()) {}

    void load();

  private:
    using Kind = RecordReader::Kind;
    using Verdict = DoubtfulRecord::Verdict;

    void checkFiles() const;
    void readCheckpoint();
    void skipSettled();
    void readDoubtful();
    [[nodiscard]] bool readsAsBefore(const Position &position) const;
    void begin();
    std::unique_ptr<Sender> makeSender();
    void refuseUnclear() const;
    void settle(DoubtfulRecord &doubtful);
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
    Journal journal_;
    Progress progress_;
    std::optional<LoadState> resumed_;
    std::vector<DoubtfulRecord> doubtful_;
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

void Loader::readCheckpoint() {
    const Checkpoint::Saved saved = Checkpoint::read(*path_);
    const LoadIdentity identity = identityOf(run_, options_);
    if (saved.identity.server != identity.server)
        refuseCheckpoint(fmt::format("{} is of a load into {}, and this one goes to {}",
                                     printable(*path_), printable(saved.identity.server),
                                     printable(identity.server)),
                         *path_);
    if (saved.identity.bindDn != identity.bindDn)
        refuseCheckpoint(fmt::format("{} is of a load as \"{}\", and this one is as \"{}\"",
                                     printable(*path_), printable(saved.identity.bindDn),
                                     printable(identity.bindDn)),
                         *path_);
    resumed_ = saved.state;
    journal_.resume(saved.state);
    doneBefore_ = saved.state.counts.total().done + saved.state.counts.total().failed;
}

bool Loader::readsAsBefore(const Position &position) const {
    return reader_.count() == position.record && reader_.checksum() == position.checksum;
}

void Loader::skipSettled() {
    Record record;
    while (reader_.count() < resumed_->settled.record && !Interruption::requested())
        if (reader_.next(record) >= Kind::Unreadable)
            break;
}

// They come before the first record of this run, so that they fit into memory as they did when
// they were sent.
void Loader::readDoubtful() {
    const bool settledIsSame = readsAsBefore(resumed_->settled);
    while (settledIsSame && reader_.count() < resumed_->sent.record) {
        DoubtfulRecord next;
        const Kind kind = reader_.next(next.record);
        if (kind >= Kind::Unreadable)
            break;
        if (kind == Kind::Malformed)
            next.fault = reader_.fault();
        doubtful_.push_back(std::move(next));
    }
    if (!Interruption::requested() && (!settledIsSame || !readsAsBefore(resumed_->sent)))
        refuseCheckpoint(fmt::format("{} is not what it was: its first {} records have been sent, "
                                     "and now read differently",
                                     stream_.name(), resumed_->sent.record),
                         *path_);
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
    if (!doubtful_.empty())
        judge(*channel_, doubtful_, resumed_->bulk, options_.bulkRenames);
    if (Interruption::requested())
        return;
    refuseUnclear();
    sender_ = makeSender();
    if (options_.rejects)
        journal_.keepRejects(*options_.rejects, options_.resume);
    if (path_)
        journal_.keepCheckpoint(*path_, identityOf(run_, options_));
}

void Loader::refuseUnclear() const {
    const auto unclear =
        std::find_if(doubtful_.begin(), doubtful_.end(), [](const DoubtfulRecord &each) {
            return each.verdict == Verdict::Unclear && !each.fault;
        });
    if (unclear == doubtful_.end() || options_.doubtful != LoadOptions::Doubtful::Stop)
        return;
    Problem problem;
    problem.operation = "load";
    problem.object = unclear->record.dnInText();
    problem.reason =
        fmt::format("{}:{}: nobody can tell whether this update was carried out before "
                    "the load broke",
                    stream_.name(), unclear->record.line);
    problem.hint =
        "look at the entry; then --doubtful skip puts such updates into the rejects, and "
        "--doubtful send sends them again";
    throw Failure(std::move(problem));
}

void Loader::settle(DoubtfulRecord &doubtful) {
    Record &record = doubtful.record;
    const bool sends =
        doubtful.verdict == Verdict::NotDone ||
        (doubtful.verdict == Verdict::Unclear && options_.doubtful == LoadOptions::Doubtful::Send);
    if (doubtful.fault) {
        reportMalformed(record, *doubtful.fault);
        return;
    }
    if (sends)
        return sender_->add(record);
    sender_->flush();
    if (context_->stopping())
        return;
    if (doubtful.verdict == Verdict::Unclear)
        return journal_.skipped(record);
    const std::uint64_t item = journal_.sending(record);
    if (doubtful.verdict == Verdict::Done)
        journal_.done(item, record.kind);
    else if (doubtful.verdict == Verdict::Unknown)
        journal_.unknown(item, record.kind);
    else
        journal_.failed(item, record,
                        {LDAP_OTHER, "not carried out, although a later update was; the server's "
                                     "answer was lost"});
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
    run_.failed(Failure(std::move(problem)));
    return false;
}

void Loader::sendAll() {
    for (DoubtfulRecord &doubtful : doubtful_)
        if (!context_->stopping())
            settle(doubtful);
    Record record;
    bool goesOn = true;
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
    if (path_)
        problem.hint += (problem.hint.empty() ? "" : "; ") +
                        std::string("--resume looks what was carried out, and goes on");
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
    result.skipped = resumed_ ? resumed_->settled.record : 0;
    result.seconds = std::chrono::duration<double>(Pace::Clock::now() - start_).count();
    const Tally total = result.counts.total();
    result.updates = total.done + total.failed - doneBefore_;
    if (journal_.rejects() != nullptr)
        result.rejects = journal_.rejects()->path();
    if (journal_.checkpoint() != nullptr)
        result.checkpoint = journal_.checkpoint()->path();
    result.cannotResume = !path_ && !isWhole();
    if (broken_)
        result.end = End::Broken;
    else if (!isWhole())
        result.end = Interruption::requested() ? End::Interrupted : End::Stopped;
    else
        result.end = journal_.hasFailures() ? End::Failures : End::Done;
    return result;
}

void Loader::finish() {
    journal_.reportRest();
    try {
        journal_.finish(isWhole());
    } catch (const Failure &failure) {
        run_.failed(failure);
    }
    if (journal_.hasFailures())
        run_.endsInFailure();
    printOutcome(run_.out, outcome());
}

void Loader::load() {
    checkFiles();
    if (options_.resume) {
        readCheckpoint();
        skipSettled();
        readDoubtful();
    }
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
    const Interruption interruption;
    if (options.bulkRenames)
        warn(
            "--rename bulk: a renaming goes with the new RDN as its new superior, too, and removes "
            "the old RDN's values",
            run.out.isJson());
    Loader(run, options).load();
    run.out.flush();
    if (!Interruption::requested())
        return;
    run.close();
    Interruption::endProcess();
}

} // namespace qldapx
