#include "bulk.h"
#include "jobs.h"

namespace soak {
namespace {

constexpr int requests = 5, window = 3, perRequest = 20;

/** Sends the batches, several of them under way at once. */
void update(Hand &hand, std::deque<Batch> &batches) {
    const int last = static_cast<int>(batches.size());
    Bulk bulk(hand.session(), longPatience);
    hand.expect("lburp start", bulk.start());
    int sent = 0;
    for (int answered = 0; answered < last; ++answered) {
        for (; sent < last && sent - answered < window; ++sent)
            hand.expect("ldap_lburp_operation_request",
                        bulk.send(sent + 1, batches[static_cast<std::size_t>(sent)]));
        hand.expect("lburp operation", bulk.collect());
    }
    hand.expect("lburp end", bulk.end(last));
}

} // namespace

void loadInBulk(Hand &hand) {
    std::vector<std::pair<std::string, std::string>> entries;
    std::deque<Batch> additions(requests), deletions(requests);
    for (int i = 0; i < requests * perRequest; ++i) {
        const auto &[dn, text] =
            entries.emplace_back(hand.freshDn("bulk"), hand.bytes(1 + hand.below(300)));
        additions[static_cast<std::size_t>(i / perRequest)].add(dn, text);
        deletions[static_cast<std::size_t>(i / perRequest)].remove(dn);
    }
    update(hand, additions);
    hand.verify(countEntries(hand, "(sn=Bulk)") == requests * perRequest, "not all was loaded");
    const auto &[dn, text] = entries[static_cast<std::size_t>(hand.below(requests * perRequest))];
    hand.verify(valueOf(hand, dn, "description") == text, "a loaded entry differs");
    update(hand, deletions);
    hand.verify(countEntries(hand, "(sn=Bulk)") == 0, "not all was deleted");
}

// Request 1 is missing, so that all others wait, as many as may; on a session that ends with it.
void fillBulkQueue(Hand &hand) {
    constexpr int mayWait = 64, tooMany = 3;
    const auto session = hand.another(adminDn, adminPassword);
    Bulk bulk(*session, longPatience);
    hand.expect("lburp start", bulk.start());
    Batch batch;
    batch.remove(hand.freshDn("never"));
    for (int i = 0; i < mayWait + tooMany; ++i)
        hand.expect("ldap_lburp_operation_request", bulk.send(i + 2, batch));
    for (int i = 0; i < tooMany; ++i)
        hand.expect("lburp operation", bulk.collect(), LDAP_BUSY);
}

} // namespace soak
