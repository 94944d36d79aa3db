// The encoders of update operations, and the request that holds a batch of them.
#include "contents.h"
#include "message_run.h"
#include "targets.h"
#include "update.h"

namespace qldapx_fuzz {

namespace {

constexpr char operationOid[] = "2.16.840.1.907341.1.142.100.6";
constexpr int otherType = LDAP_REQ_COMPARE;

int encode(Update &update, BerElement *ber) {
    char *dn = pointerTo(update.dn);
    LDAPMod **list = update.changes.list();
    LDAPControl **controls = update.controls.list();
    switch (update.type) {
    case LDAP_REQ_ADD:
        return LBURPEncodeAdd(nullptr, dn, list, controls, ber);
    case LDAP_REQ_DELETE:
        return LBURPEncodeDelete(nullptr, dn, controls, ber);
    case LDAP_REQ_MODIFY:
        return LBURPEncodeMod(nullptr, dn, list, controls, ber);
    default:
        return LBURPEncodeModRDN(nullptr, dn, pointerTo(update.newRdn),
                                 pointerTo(update.newSuperior), update.deletesOldRdn ? -2 : 0,
                                 controls, ber);
    }
}

// One byte more than the value for liblber, which may look at it.
Bytes writtenTo(BerElement *ber) {
    berval value{};
    require(ber_flatten2(ber, &value, 0) == 0, "what was written cannot be read");
    return {value.bv_val, value.bv_len};
}

// The type as a request names it; a modify DN has no other new superior than the new RDN.
LBURPOperation operationOf(Update &update, bool isKnown) {
    const bool isRename = update.type == LDAP_REQ_MODDN;
    if (isRename) {
        update.newSuperior = update.newRdn;
        update.deletesOldRdn = true;
    }
    void *changes = isRename ? static_cast<void *>(pointerTo(update.newRdn))
                             : static_cast<void *>(update.changes.list());
    return {isKnown ? static_cast<std::int32_t>(update.type) : otherType, pointerTo(update.dn),
            changes, update.controls.list()};
}

class Batch {
  public:
    explicit Batch(Source &source) : sequenceNumber(source.number()) {
        while (!source.isEmpty() && updates_.size() < 64)
            add(source);
        for (LBURPOperation &operation : operations_)
            list_.push_back(&operation);
        list_.push_back(nullptr);
    }

    [[nodiscard]] LBURPOperation **list() { return list_.data(); }
    [[nodiscard]] int expected() const { return expected_; }
    // Ends the process unless the message is the request.
    void requireMessage(const Bytes &message, int id) const;

    const int sequenceNumber;

  private:
    void add(Source &source) {
        const bool isKnown = source.byte() != 0xff;
        Update &update = updates_.emplace_back(source);
        operations_.push_back(operationOf(update, isKnown));
        if (expected_ == LDAP_SUCCESS && !isKnown)
            expected_ = LDAP_NOT_SUPPORTED;
        else if (expected_ == LDAP_SUCCESS && !update.isEncodable())
            expected_ = LDAP_ENCODING_ERROR;
    }

    std::deque<Update> updates_;
    std::deque<LBURPOperation> operations_;
    std::vector<LBURPOperation *> list_;
    int expected_ = LDAP_SUCCESS;
};

// LDAPMessage ::= SEQUENCE { messageID INTEGER, ExtendedRequest }, and in that as its value
// SEQUENCE { sequenceNumber INTEGER, operation ... }
void Batch::requireMessage(const Bytes &message, int id) const {
    Contents all(message);
    Contents fields(all.element(LBER_SEQUENCE));
    all.end();
    fields.integer(id, LBER_INTEGER);
    Contents request(fields.element(LDAP_REQ_EXTENDED));
    fields.end();
    request.octets(operationOid, LDAP_TAG_EXOP_REQ_OID);
    Contents value(request.element(LDAP_TAG_EXOP_REQ_VALUE));
    request.end();
    Contents batch(value.element(LBER_SEQUENCE));
    value.end();
    batch.integer(sequenceNumber, LBER_INTEGER);
    for (const Update &update : updates_)
        requireOperation(batch, update);
    batch.end();
}

} // namespace

// The first byte tells which encoder is appended to.
void runUpdate(const Target & /*target*/, const Bytes &bytes) {
    Source source(bytes);
    const bool isDer = source.coin();
    Update update(source);
    HeapWatch watch(bytes.size());
    BerElement *ber = ber_alloc_t(isDer ? LBER_USE_DER : 0);
    const int result = encode(update, ber);
    require(result == (update.isEncodable() ? LDAP_SUCCESS : LDAP_ENCODING_ERROR),
            "another result than the operation has");
    if (result != LDAP_SUCCESS)
        return; // the encoder is released
    const Bytes written = writtenTo(ber);
    Contents contents(written);
    requireOperation(contents, update);
    contents.end();
    ber_free(ber, 1);
}

void runLburpRequest(const Target & /*target*/, const Bytes &bytes) {
    static PeeredSession session;
    Source source(bytes);
    Batch batch(source);
    HeapWatch watch(bytes.size());
    int id = 0;
    const int result =
        ldap_lburp_operation_request(session.get(), batch.sequenceNumber, batch.list(), &id);
    requireStored(session.get(), result);
    require(result == batch.expected(), "another result than the batch has");
    const Bytes sent = session.takeRequests();
    if (result == LDAP_SUCCESS) {
        batch.requireMessage(sent, id);
        session.end(id);
    }
    require(result == LDAP_SUCCESS || sent.empty(), "something was sent after a failure");
}

} // namespace qldapx_fuzz
