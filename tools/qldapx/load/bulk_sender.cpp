#include "load/bulk_batch.h"
#include "load/bulk_discovery.h"
#include "load/sender.h"
#include "text.h"

#include <algorithm>
#include <deque>
#include <fmt/format.h>
#include <utility>

namespace qldapx {
namespace {

constexpr std::size_t mostBatchBytes = std::size_t{1} << 20U;
constexpr int smallestBatch = 1, largestBatch = 1000, usualBatch = 100;

Refusal refusalOf(const error &why) {
    return {why.code(), std::string(why.message())};
}

class BulkSender : public Sender {
  public:
    explicit BulkSender(LoadContext &context) : context_(context) { openSequence(); }

    void add(Record &record) override;
    void flush() override;
    void drain() override;
    void end() override;
    void giveUp() override;

  private:
    void openSequence();
    void setBatchSize(int transactionSize);
    void rename(Record &record);
    void awaitRoom();
    void send();
    void take(const Answer &answer);
    void account(BulkBatch &batch, const bulk::failure_list &failures);
    void refuse(BulkBatch &batch, const Refusal &refusal);
    void closeGap(int number);
    [[noreturn]] void serverFault(const std::string &reason) const;

    LoadContext &context_;
    bool open_ = false;
    bool warned_ = false;
    int number_ = 0;
    std::size_t batchSize_ = usualBatch;
    BulkBatch batch_; // that is being filled
    std::deque<BulkBatch> underWay_;
    std::vector<BulkBatch> spare_;
    std::size_t bytesUnderWay_ = 0;
    std::vector<LBURPOperation *> operations_;
};

void BulkSender::serverFault(const std::string &reason) const {
    Problem problem;
    problem.operation = "load";
    problem.object = context_.run.uri();
    problem.reason = reason;
    problem.hint = "is it a Strata server, and does nothing between change its answers?";
    throw Failure(std::move(problem));
}

void BulkSender::setBatchSize(int transactionSize) {
    const bool isSane = transactionSize >= smallestBatch;
    const int servers = isSane ? std::min(transactionSize, largestBatch) : usualBatch;
    const int wanted = context_.options.batch.value_or(servers);
    if (isSane && wanted > transactionSize && !std::exchange(warned_, true))
        warn(fmt::format("the server wants at most {} operations in a request; sending {}, as "
                         "--batch says",
                         transactionSize, wanted),
             context_.run.out.isJson());
    batchSize_ = static_cast<std::size_t>(context_.pace.batch(wanted));
}

void BulkSender::openSequence() {
    if (open_)
        return;
    Channel &channel = context_.channel;
    const Answer answer = channel.receive(channel.require(bulk::request_start(channel.session())));
    const auto size = bulk::take_start(channel.session(), answer.message);
    if (!size && size.error().code() > 0)
        throw NoBulkUpdate({"load",
                            context_.run.uri(),
                            size.error().code(),
                            std::string(size.error().name()),
                            "the server does not begin a bulk update",
                            std::string(size.error().message()),
                            {},
                            "--fallback loads with ordinary operations"});
    if (!size)
        serverFault(fmt::format("the answer to the start of the bulk update could not be "
                                "understood: {}",
                                size.error().name().view()));
    open_ = true;
    number_ = 0;
    setBatchSize(*size);
}

void BulkSender::add(Record &record) {
    if (record.kind == Update::Rename && !context_.options.bulkRenames)
        return rename(record);
    openSequence();
    if (batch_.count > 0 && batch_.bytes + record.size() > mostBatchBytes)
        flush();
    batch_.add(record);
    if (batch_.count >= batchSize_)
        flush();
}

// LBURP cannot say what an ordinary renaming can, and the order of updates must stay: the sequence
// ends, and the next update begins another one.
void BulkSender::rename(Record &record) {
    flush();
    drain();
    if (context_.stopping())
        return;
    end();
    awaitPace(context_, [](const Answer &) {});
    if (context_.stopping())
        return;
    Channel &channel = context_.channel;
    batch_.add(record);
    Record &mine = batch_.records.front();
    batch_.item = context_.journal.sending(mine);
    context_.pace.sent(1);
    underWay_.push_back(std::move(batch_));
    batch_ = BulkBatch();
    BulkBatch &only = underWay_.back();
    channel.require(sendOrdinary(channel.ld(), only.records.front(), only.id));
    const Refusal refusal = channel.refusal(channel.receive(only.id));
    if (refusal.code == LDAP_SUCCESS)
        account(only, {});
    else
        refuse(only, refusal);
    underWay_.pop_back();
}

void BulkSender::awaitRoom() {
    const auto window = static_cast<std::size_t>(context_.options.window);
    while (underWay_.size() >= window ||
           (!underWay_.empty() && bytesUnderWay_ + batch_.bytes > mostBytesUnderWay))
        take(context_.channel.receive());
    awaitPace(context_, [this](const Answer &answer) { take(answer); });
    while (const Answer answer = context_.channel.receive(Pace::Clock::time_point()))
        take(answer);
}

void BulkSender::flush() {
    if (batch_.count == 0)
        return;
    awaitRoom();
    if (context_.stopping())
        batch_.clear();
    else
        send();
}

void BulkSender::send() {
    Channel &channel = context_.channel;
    operations_.clear();
    for (std::size_t i = 0; i < batch_.count; ++i)
        operations_.push_back(batch_.records[i].operation());
    operations_.push_back(nullptr);
    batch_.item = context_.journal.sending(batch_.records[batch_.count - 1]);
    batch_.number = ++number_;
    context_.pace.sent(batch_.count);
    bytesUnderWay_ += batch_.bytes;
    underWay_.push_back(std::move(batch_));
    batch_ = BulkBatch();
    if (!spare_.empty()) {
        std::swap(batch_, spare_.back());
        spare_.pop_back();
    }
    BulkBatch &sent = underWay_.back();
    sent.id = channel.require(
        bulk::request_operations(channel.session(), sent.number, operations_.data()));
    channel.sent();
    for (std::size_t i = 0; i < sent.count; ++i)
        sent.records[i].forget();
}

void BulkSender::take(const Answer &answer) {
    const auto batch = std::find_if(underWay_.begin(), underWay_.end(),
                                    [&](const BulkBatch &each) { return each.id == answer.id(); });
    if (!answer || batch == underWay_.end())
        return;
    const auto failures = bulk::take_operations(context_.channel.session(), answer.message);
    if (failures)
        account(*batch, *failures);
    else if (failures.error().code() > 0)
        refuse(*batch, refusalOf(failures.error()));
    else
        serverFault(fmt::format("the answer to request {} of the bulk update could not be "
                                "understood: {}",
                                batch->number, failures.error().name().view()));
    bytesUnderWay_ -= batch->bytes;
    batch->clear();
    spare_.push_back(std::move(*batch));
    underWay_.erase(batch);
}

void BulkSender::account(BulkBatch &batch, const bulk::failure_list &failures) {
    std::vector<const bulk::failure *> byPlace(batch.count);
    for (const bulk::failure &failure : failures) {
        const auto place = static_cast<std::size_t>(failure.operationNumber) - 1;
        if (place >= batch.count || byPlace[place] != nullptr)
            serverFault(fmt::format("it reports a failure of operation {} of a request with {}{}",
                                    failure.operationNumber, batch.count,
                                    place < batch.count ? ", twice" : ""));
        byPlace[place] = &failure;
    }
    batch.isCounted = true;
    for (std::size_t i = 0; i < batch.count; ++i) {
        const bulk::failure *failure = byPlace[i];
        if (failure == nullptr)
            context_.journal.done(batch.item, batch.records[i].kind);
        else
            context_.journal.failed(batch.item, batch.records[i],
                                    {failure->resultCode, failure->errorMessage});
    }
    context_.journal.settle(batch.item);
}

void BulkSender::refuse(BulkBatch &batch, const Refusal &refusal) {
    batch.isCounted = true;
    for (std::size_t i = 0; i < batch.count; ++i)
        context_.journal.failed(batch.item, batch.records[i], refusal);
    context_.journal.settle(batch.item);
    if (batch.number > 0)
        closeGap(batch.number);
}

// A request that is refused as a whole has not used up its number, and those behind it wait at the
// server for it: an empty one takes its place. Where the number counts, this is refused in turn.
void BulkSender::closeGap(int number) {
    Channel &channel = context_.channel;
    channel.require(bulk::request_operations(channel.session(), number, nullptr));
}

void BulkSender::drain() {
    while (!underWay_.empty())
        take(context_.channel.receive());
}

void BulkSender::end() {
    if (!open_)
        return;
    open_ = false;
    Channel &channel = context_.channel;
    const int id = channel.require(bulk::request_end(channel.session(), number_));
    const Refusal refusal = channel.refusal(channel.receive(id));
    if (refusal.code != LDAP_SUCCESS)
        warn(fmt::format("the server answered the end of the bulk update with {} ({}) {}",
                         ldap_err2string(refusal.code), refusal.code, printable(refusal.text)),
             context_.run.out.isJson());
}

void BulkSender::giveUp() {
    for (const BulkBatch &batch : underWay_)
        for (std::size_t i = 0; i < batch.count && !batch.isCounted; ++i)
            context_.journal.inDoubt(batch.records[i].kind);
    underWay_.clear();
}

} // namespace

std::unique_ptr<Sender> bulkSender(LoadContext &context) {
    int code = LDAP_SUCCESS;
    const bool listed = listsBulkUpdate(context.channel.ld(), code);
    if (code < 0)
        context.channel.fail(code);
    if (!listed)
        throw NoBulkUpdate({"load",
                            context.run.uri(),
                            {},
                            {},
                            "the server does not know bulk updates (LBURP): its root DSE does not "
                            "list 2.16.840.1.907341.1.142.100.1",
                            {},
                            {},
                            "--fallback loads with ordinary operations"});
    return std::make_unique<BulkSender>(context);
}

} // namespace qldapx
