// Bulk update: encoders, requests and answers.
#include "lburp/answered.h"
#include "lburp/samples.h"
#include "memory/rows.h"

namespace qldapx_test::memory {
namespace {

char dn[] = "cn=a", rdn[] = "cn=b";

using Encode = std::function<int(LDAPMod **mods, LDAPControl **controls, BerElement *ber)>;

// The caller's encoder is released with a failure, and only then.
void encode(Trial &trial, const char *function, const Encode &work) {
    const Watch watch(trial);
    Modifications mods;
    mods.bytes(0, "a", {manyBytes, manyBytes, manyBytes});
    RequestControls controls;
    controls.add("1.2", true, manyBytes);
    LDAPMod **list = mods.list();
    LDAPControl **controlList = controls.list();
    BerElement *ber = ber_alloc_t(0);
    const int result = trial.code(function, [&] { return work(list, controlList, ber); });
    trial.expect(result == LDAP_SUCCESS || result == LDAP_ENCODING_ERROR, "another code");
    if (result == LDAP_SUCCESS)
        ber_free(ber, 1);
}

#define ENCODER(function, ...)                                                                     \
    {                                                                                              \
#function, [](LDAPMod **mods, LDAPControl **controls, BerElement *ber) {                      \
         static_cast<void>(mods);                                                                  \
         return function(__VA_ARGS__, controls, ber);                                              \
     }    \
    }

const std::pair<const char *, Encode> encoders[] = {
    ENCODER(LBURPEncodeAdd, nullptr, dn, mods),
    ENCODER(LBURPEncodeDelete, nullptr, dn),
    ENCODER(LBURPEncodeMod, nullptr, dn, mods),
    ENCODER(LBURPEncodeModRDN, nullptr, dn, rdn, dn, 1),
};

using Request = std::function<int(LDAP *ld, int *id)>;

void request(Trial &trial, const char *function, const Request &work) {
    ScriptedPeer peer({ScriptedPeer::silence()});
    const Watch watch(trial);
    LDAP *ld = peer.session();
    int id = unset;
    const int result = trial.code(function, [&] { return work(ld, &id); });
    trial.expect((id > 0) == (result == LDAP_SUCCESS), "another output");
    peer.closeSession();
}

const std::pair<const char *, Request> requests[] = {
    {"ldap_lburp_start_request", ldap_lburp_start_request},
    {"ldap_lburp_operation_request", sendMuch},
    {"ldap_lburp_end_request", [](LDAP *ld, int *id) { return ldap_lburp_end_request(ld, 1, id); }},
};

// The session with its unread answer is watched, but not its peer: threads give memory back where
// they end.
class Watched {
  public:
    Watched(Trial &trial, const Bytes &operation)
        : peer_({ScriptedPeer::answer(operation)}), watch_(trial) {
        int id = 0;
        timeval patience{10, 0};
        ldap_lburp_start_request(session(), &id);
        ldap_result(session(), id, LDAP_MSG_ONE, &patience, &message_);
    }
    ~Watched() {
        ldap_msgfree(message_);
        peer_.closeSession();
    }
    Watched(const Watched &) = delete;
    Watched &operator=(const Watched &) = delete;

    LDAP *session() { return peer_.session(); }
    LDAPMessage *message() { return message_; }
    void allow(long blocks) { watch_.allow(blocks); }

  private:
    ScriptedPeer peer_;
    Watch watch_;
    LDAPMessage *message_ = nullptr;
};

void parseStart(Trial &trial) {
    static const Bytes operation = extendedResponse(0, startResponseOid, sequence({integer(5)}));
    Watched answer(trial, operation);
    int code = 0, size = unset;
    char *text = nullptr;
    const int result = trial.code("ldap_parse_lburp_start_response", [&] {
        return ldap_parse_lburp_start_response(answer.session(), answer.message(), &code, &text,
                                               &size, 0);
    });
    trial.expect(size == (result == LDAP_SUCCESS ? 5 : unset), "another output");
    trial.expect(resultCode(answer.session()) == result, "another code in the session");
    ldap_memfree(text);
}

void parseEnd(Trial &trial) {
    static const Bytes operation = extendedResponse(0, endResponseOid, "x");
    Watched answer(trial, operation);
    char *text = nullptr;
    const int result = trial.code("ldap_parse_lburp_end_response", [&] {
        return ldap_parse_lburp_end_response(answer.session(), answer.message(), nullptr, &text, 0);
    });
    trial.expect(resultCode(answer.session()) == result, "another code in the session");
    ldap_memfree(text);
}

// The messages of a list that is given up half read are lost: that is its contract, and no more.
void parseOperation(Trial &trial) {
    constexpr int failures = 3;
    static const Bytes one = failure(0, 68, "dc=x", "exists");
    static const Bytes operation = extendedResponse(80, operationResponseOid, one + one + one);
    Watched answer(trial, operation);
    int code = 0, count = unset;
    LBURPOperationFailure *list = nullptr;
    char *text = nullptr;
    const int result = trial.code("ldap_parse_lburp_operation_response", [&] {
        return ldap_parse_lburp_operation_response(answer.session(), answer.message(), &code, &text,
                                                   &count, &list, 0);
    });
    trial.expect(count == (result == LDAP_SUCCESS ? failures : 0), "another count");
    trial.expect((list != nullptr) == (result == LDAP_SUCCESS), "another output");
    ldap_memfree(text);
    answer.allow(result == LDAP_SUCCESS ? 0 : failures);
    for (int i = 0; i < count; ++i)
        ldap_memfree(list[i].errorMessage);
    ldapx_memfree(list);
}

} // namespace

void addBulkUpdate(Rows &rows) {
    for (const auto &[function, work] : encoders)
        rows.push_back({function, [function = function, work = work](Trial &trial) {
                            encode(trial, function, work);
                        }});
    for (const auto &[function, work] : requests)
        rows.push_back({function, [function = function, work = work](Trial &trial) {
                            request(trial, function, work);
                        }});
    rows.push_back({"start's answer", parseStart});
    rows.push_back({"end's answer", parseEnd});
    rows.push_back({"operations' answer", parseOperation});
}

} // namespace qldapx_test::memory
