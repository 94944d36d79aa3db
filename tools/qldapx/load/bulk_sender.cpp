#include "identity.h"
#include "load/bulk_batch.h"
#include "load/bulk_discovery.h"
#include "load/sender.h"
#include "text.h"

#include <algorithm>
#include <deque>
#include <fmt/format.h>
#include <qldapx.h>
#include <utility>

namespace qldapx {
namespace {

constexpr std::size_t mostBatchBytes = std::size_t{1} << 20U;
constexpr int smallestBatch = 1, largestBatch = 1000, usualBatch = 100;

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
    void account(BulkBatch &batch, const Refusal &refusal, const BulkFailures &failures);
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
    int id = 0;
    channel.require(ldap_lburp_start_request(channel.ld(), &id));
    const Answer answer = channel.receive(id);
    int code = LDAP_SUCCESS, transactionSize = 0;
    char *text = nullptr;
    const int parsed = ldap_parse_lburp_start_response(channel.ld(), answer.message.get(), &code,
                                                       &text, &transactionSize, 0);
    const std::string words = takeLdapText(text);
    if (code != LDAP_SUCCESS)
        throw NoBulkUpdate({"load",
                            context_.run.uri(),
                            code,
                            ldap_err2string(code),
                            "the server does not begin a bulk update",
                            words,
                            {},
                            "--fallback loads with ordinary operations"});
    if (parsed != LDAP_SUCCESS)
        serverFault(fmt::format("the answer to the start of the bulk update could not be "
                                "understood: {}",
                                ldap_err2string(parsed)));
    open_ = true;
    number_ = 0;
    setBatchSize(transactionSize);
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
    const Refusal refusal = channel.result(channel.receive(only.id));
    account(only, refusal, {});
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
    channel.require(
        ldap_lburp_operation_request(channel.ld(), sent.number, operations_.data(), &sent.id));
    channel.sent();
    for (std::size_t i = 0; i < sent.count; ++i)
        sent.records[i].forget();
}

void BulkSender::take(const Answer &answer) {
    const auto batch = std::find_if(underWay_.begin(), underWay_.end(),
                                    [&](const BulkBatch &each) { return each.id == answer.id(); });
    if (!answer || batch == underWay_.end())
        return;
    int code = LDAP_SUCCESS;
    char *text = nullptr;
    BulkFailures failures;
    const int parsed =
        ldap_parse_lburp_operation_response(context_.channel.ld(), answer.message.get(), &code,
                                            &text, &failures.count, &failures.list, 0);
    const Refusal refusal = {code, takeLdapText(text)};
    // A refusal of the whole request may come without the operation's OID.
    const bool isRefusal = parsed == LDAP_NOT_SUPPORTED && code != LDAP_SUCCESS;
    if (parsed != LDAP_SUCCESS && !isRefusal)
        serverFault(fmt::format("the answer to request {} of the bulk update could not be "
                                "understood: {}",
                                batch->number, ldap_err2string(parsed)));
    account(*batch, refusal, failures);
    bytesUnderWay_ -= batch->bytes;
    batch->clear();
    spare_.push_back(std::move(*batch));
    underWay_.erase(batch);
}

void BulkSender::account(BulkBatch &batch, const Refusal &refusal, const BulkFailures &failures) {
    if (refusal.code != LDAP_SUCCESS && failures.count == 0)
        return refuse(batch, refusal);
    std::vector<const LBURPOperationFailure *> byPlace(batch.count);
    for (int i = 0; i < failures.count; ++i) {
        const LBURPOperationFailure &failure = failures.list[i];
        const auto place = static_cast<std::size_t>(failure.operationNumber) - 1;
        if (place >= batch.count || byPlace[place] != nullptr)
            serverFault(fmt::format("it reports a failure of operation {} of a request with {}{}",
                                    failure.operationNumber, batch.count,
                                    place < batch.count ? ", twice" : ""));
        byPlace[place] = &failure;
    }
    batch.isCounted = true;
    for (std::size_t i = 0; i < batch.count; ++i) {
        const LBURPOperationFailure *failure = byPlace[i];
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
    int unused = 0;
    channel.require(ldap_lburp_operation_request(channel.ld(), number, nullptr, &unused));
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
    int id = 0;
    channel.require(ldap_lburp_end_request(channel.ld(), number_, &id));
    const Refusal refusal = channel.result(channel.receive(id));
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
