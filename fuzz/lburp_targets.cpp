// The parsers of the answers to a bulk update's three requests.
#include "heap_watch.h"
#include "lburp_answer.h"
#include "support/ldap_message.h"
#include "targets.h"

#include <qldapx.h>

namespace qldapx_fuzz {

namespace {

constexpr char startOid[] = "2.16.840.1.907341.1.142.100.2";
constexpr char operationOid[] = "2.16.840.1.907341.1.142.100.7";
constexpr char endOid[] = "2.16.840.1.907341.1.142.100.5";
constexpr int untouched = 4711;

// What a parser has to give.
struct Expected {
    LburpAnswer answer;
    int result = LDAP_SUCCESS;
    int transactionSize = untouched;
    // Those that are given after success and lost after a failure.
    std::vector<Failure> failures;

    Expected(LDAP *ld, LDAPMessage *message) : answer(ld, message) {}
    [[nodiscard]] Texts messages() const {
        Texts all;
        for (const Failure &failure : failures)
            all.push_back(failure.message);
        return all;
    }
};

Expected expectedStart(LDAP *ld, LDAPMessage *message) {
    const Unwatched pause;
    Expected expected(ld, message);
    const LburpAnswer &answer = expected.answer;
    expected.result = answer.resultUnder(startOid);
    // With a value any OID counts.
    if (answer.parsed != LDAP_SUCCESS || !answer.oid || !answer.value)
        return expected;
    const std::optional<int> size = transactionSizeIn(*answer.value);
    expected.result = size ? LDAP_SUCCESS : LDAP_DECODING_ERROR;
    expected.transactionSize = size.value_or(untouched);
    return expected;
}

Expected expectedOperation(LDAP *ld, LDAPMessage *message) {
    const Unwatched pause;
    Expected expected(ld, message);
    expected.result = expected.answer.resultUnder(operationOid);
    if (expected.result != LDAP_SUCCESS || !expected.answer.value)
        return expected;
    FailureList list = failuresIn(*expected.answer.value);
    expected.result = list.decodes ? LDAP_SUCCESS : LDAP_DECODING_ERROR;
    expected.failures = std::move(list.failures);
    return expected;
}

Expected expectedEnd(LDAP *ld, LDAPMessage *message) {
    const Unwatched pause;
    Expected expected(ld, message);
    expected.result = expected.answer.resultUnder(endOid);
    return expected;
}

// What every parser gives of an answer.
struct Given {
    int result = untouched;
    int code = untouched;
    char *message = nullptr;
};

void requireGiven(LDAP *ld, const Expected &expected, const Given &given) {
    requireStored(ld, given.result);
    require(given.result == expected.result, "another result than the answer has");
    const LburpAnswer &answer = expected.answer;
    if (answer.parsed == LDAP_SUCCESS) {
        require(given.code == answer.code, "another result code of the server");
        require(given.message == nullptr ? !answer.message : answer.message == given.message,
                "another message of the server");
    }
    ldap_memfree(given.message);
}

// After a call that was to release the message.
void requireReleased(const Expected &expected, int wanted, int result, MessagePtr message) {
    require(result == wanted, "another result without outputs");
    if (expected.answer.parsed == LDAP_SUCCESS)
        static_cast<void>(message.release());
}

Texts parseStart(LDAP *ld, MessagePtr message) {
    const Expected expected = expectedStart(ld, message.get());
    Given given;
    int size = untouched, code = 0;
    given.result =
        ldap_parse_lburp_start_response(ld, message.get(), &given.code, &given.message, &size, 0);
    requireGiven(ld, expected, given);
    require(size == expected.transactionSize, "another transaction size");
    int again = ldap_parse_lburp_start_response(ld, message.get(), &code, nullptr, nullptr, 1);
    requireReleased(expected, expected.result, again, std::move(message));
    return {};
}

void requireFailures(const Expected &expected, int count, LBURPOperationFailure *given) {
    if (expected.result != LDAP_SUCCESS) {
        require(count == 0 && given == nullptr, "operations that failed, after a failure");
        return;
    }
    require(count == static_cast<int>(expected.failures.size()), "another number of failures");
    for (int i = 0; i < count; ++i) {
        const Failure &failure = expected.failures[static_cast<std::size_t>(i)];
        require(given[i].operationNumber == failure.number && given[i].resultCode == failure.code &&
                    failure.message == given[i].errorMessage,
                "another failure");
        ldap_memfree(given[i].errorMessage);
    }
    ldapx_memfree(given);
}

Texts parseOperation(LDAP *ld, MessagePtr message) {
    const Expected expected = expectedOperation(ld, message.get());
    Given given;
    int count = untouched, code = 0;
    LBURPOperationFailure unwritten{};
    LBURPOperationFailure *failures = &unwritten;
    given.result = ldap_parse_lburp_operation_response(ld, message.get(), &given.code,
                                                       &given.message, &count, &failures, 0);
    requireGiven(ld, expected, given);
    requireFailures(expected, count, failures);
    const bool hasList =
        expected.answer.resultUnder(operationOid) == LDAP_SUCCESS && expected.answer.value;
    int again =
        ldap_parse_lburp_operation_response(ld, message.get(), &code, nullptr, nullptr, nullptr, 1);
    requireReleased(expected, hasList ? LDAP_PARAM_ERROR : expected.result, again,
                    std::move(message));
    const Unwatched pause;
    return expected.result == LDAP_SUCCESS ? Texts() : expected.messages();
}

Texts parseEnd(LDAP *ld, MessagePtr message) {
    const Expected expected = expectedEnd(ld, message.get());
    Given given;
    int code = 0;
    given.result = ldap_parse_lburp_end_response(ld, message.get(), &given.code, &given.message, 0);
    requireGiven(ld, expected, given);
    int again = ldap_parse_lburp_end_response(ld, message.get(), &code, nullptr, 1);
    requireReleased(expected, expected.result, again, std::move(message));
    return {};
}

struct Parser {
    const char *name;
    const char *oid;
    Texts (*parse)(LDAP *ld, MessagePtr message);
};

constexpr Parser parsers[] = {
    {"lburp_start", startOid, parseStart},
    {"lburp_operation", operationOid, parseOperation},
    {"lburp_end", endOid, parseEnd},
};

const Parser &parserOf(const Target &target) {
    for (const Parser &parser : parsers)
        if (target.name.rfind(std::string(parser.name) + "_", 0) == 0)
            return parser;
    std::abort();
}

} // namespace

void runLburpResponse(const Target &target, const Bytes &bytes) {
    const Parser &parser = parserOf(target);
    withMessage(qldapx_test::extendedResponse(0, parser.oid, bytes), parser.parse);
}

void runLburpAnswer(const Target &target, const Bytes &bytes) {
    if (!hasEmptyName(bytes))
        withMessage(bytes, parserOf(target).parse);
}

} // namespace qldapx_fuzz
