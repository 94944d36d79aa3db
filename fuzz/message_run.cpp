#include "message_run.h"

#include "ber_ptr.h"
#include "heap_watch.h"

#include <algorithm>

namespace qldapx_fuzz {

namespace {

constexpr ber_tag_t responseNameTag = 0x8a;

} // namespace

// libldap's parser ends the process over a name without characters (assert( resoid[ 0 ] != '\0' )).
// That is libldap's fault and would hide ours, so no answer with such an element, wherever it
// stands, is sent.
bool hasEmptyName(const Bytes &operation) {
    BerPtr ber = decoderOf({operation.size(), const_cast<char *>(operation.data())});
    berval element;
    ber_len_t length = 0;
    ber_skip_tag(ber.get(), &length);
    for (ber_tag_t tag; (tag = ber_skip_element(ber.get(), &element)) != LBER_ERROR;)
        if (tag == responseNameTag && (element.bv_len == 0 || element.bv_val[0] == '\0'))
            return true;
    return false;
}

// The session outlives the run; only a message that libldap refuses ends it.
void withMessage(const Bytes &operation, Texts (*parse)(LDAP *ld, MessagePtr message)) {
    static std::unique_ptr<PeeredSession> session;
    if (session == nullptr)
        session = std::make_unique<PeeredSession>();
    HeapWatch watch(operation.size());
    if (MessagePtr message = session->receive(operation)) {
        const Texts lost = parse(session->get(), std::move(message));
        session->end();
        watch.releaseLost(lost);
    } else {
        session.reset();
        watch.releaseAll(); // libldap loses the message that it refuses
    }
}

void requireStored(LDAP *ld, int result) {
    int stored = 0;
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &stored);
    require(stored == result, "the session remembers another result");
}

void requireOneOf(std::initializer_list<int> expected, int result) {
    require(std::find(expected.begin(), expected.end(), result) != expected.end(),
            "an unexpected result");
}

} // namespace qldapx_fuzz
