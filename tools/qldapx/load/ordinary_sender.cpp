#include "load/dn_order.h"
#include "load/request_controls.h"
#include "load/sender.h"

#include <algorithm>
#include <ldap.h>
#include <list>

namespace qldapx {
namespace {

/** Updates of one connection are carried out in any order: these two must not be. */
bool mustFollow(const std::string &next, const std::string &earlier) {
    return next == earlier || isBelow(next, earlier) || isBelow(earlier, next);
}

class OrdinarySender : public Sender {
  public:
    explicit OrdinarySender(LoadContext &context) : context_(context) {}

    void add(Record &record) override;
    void flush() override {}
    void drain() override { awaitRoom(1); }
    void end() override {}
    void giveUp() override;

  private:
    struct Sent {
        Record record;
        std::string dn;
        int id = 0;
        std::uint64_t item = 0;
        bool isCounted = false; // what has become of it
    };
    using SentList = std::list<Sent>;

    void awaitRoom(std::size_t window);
    void awaitOthers(const std::string &dn);
    void send(Record &record, const std::string &dn);
    void take(const Answer &answer);

    LoadContext &context_;
    SentList underWay_;
    SentList spare_;
    std::size_t bytesUnderWay_ = 0;
};

void OrdinarySender::awaitRoom(std::size_t window) {
    while (underWay_.size() >= window)
        take(context_.channel.receive());
}

void OrdinarySender::awaitOthers(const std::string &dn) {
    const auto isInTheWay = [&](const Sent &each) { return mustFollow(dn, each.dn); };
    while (std::any_of(underWay_.begin(), underWay_.end(), isInTheWay))
        take(context_.channel.receive());
}

void OrdinarySender::add(Record &record) {
    const bool alone = record.kind == Update::Rename;
    const std::string dn = comparableDn(record.dn());
    awaitRoom(alone ? 1 : static_cast<std::size_t>(context_.options.window));
    awaitOthers(dn);
    while (!underWay_.empty() && bytesUnderWay_ + record.size() > mostBytesUnderWay)
        take(context_.channel.receive());
    awaitPace(context_, [this](const Answer &answer) { take(answer); });
    while (const Answer answer = context_.channel.receive(Pace::Clock::time_point()))
        take(answer);
    if (context_.stopping())
        return;
    send(record, dn);
    if (alone)
        drain();
}

void OrdinarySender::send(Record &record, const std::string &dn) {
    if (spare_.empty())
        spare_.emplace_back();
    underWay_.splice(underWay_.end(), spare_, spare_.begin());
    Sent &sent = underWay_.back();
    sent.record.swap(record);
    sent.dn = dn;
    sent.id = 0;
    sent.isCounted = false;
    bytesUnderWay_ += sent.record.size();
    sent.item = context_.journal.sending(sent.record);
    context_.pace.sent(1);
    context_.channel.require(sendOrdinary(context_.channel.ld(), sent.record, sent.id));
    context_.channel.sent();
    sent.record.forget();
}

void OrdinarySender::take(const Answer &answer) {
    const auto sent = std::find_if(underWay_.begin(), underWay_.end(),
                                   [&](const Sent &each) { return each.id == answer.id(); });
    if (!answer || sent == underWay_.end())
        return;
    const Refusal refusal = context_.channel.refusal(answer);
    sent->isCounted = true;
    if (refusal.code == LDAP_SUCCESS)
        context_.journal.done(sent->item, sent->record.kind);
    else
        context_.journal.failed(sent->item, sent->record, refusal);
    context_.journal.settle(sent->item);
    bytesUnderWay_ -= sent->record.size();
    spare_.splice(spare_.end(), underWay_, sent);
}

void OrdinarySender::giveUp() {
    for (const Sent &sent : underWay_)
        if (!sent.isCounted)
            context_.journal.inDoubt(sent.record.kind);
    underWay_.clear();
}

} // namespace

int sendOrdinary(LDAP *ld, Record &record, int &id) {
    RequestControls controls(ld, record.controls());
    switch (record.kind) {
    case Update::Add:
        return ldap_add_ext(ld, record.dn(), record.changes(), controls.list(), nullptr, &id);
    case Update::Delete:
        return ldap_delete_ext(ld, record.dn(), controls.list(), nullptr, &id);
    case Update::Modify:
        return ldap_modify_ext(ld, record.dn(), record.changes(), controls.list(), nullptr, &id);
    default:
        return ldap_rename(ld, record.dn(), record.newRdn(), record.newSuperior(),
                           record.deletesOldRdn() ? 1 : 0, controls.list(), nullptr, &id);
    }
}

std::unique_ptr<Sender> ordinarySender(LoadContext &context) {
    return std::make_unique<OrdinarySender>(context);
}

} // namespace qldapx
