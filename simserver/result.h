#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace stratasim {

/** The result codes of RFC 4511 that this server uses. */
enum class ResultCode {
    Success = 0,
    OperationsError = 1,
    ProtocolError = 2,
    TimeLimitExceeded = 3,
    SizeLimitExceeded = 4,
    CompareFalse = 5,
    CompareTrue = 6,
    AuthMethodNotSupported = 7,
    AdminLimitExceeded = 11,
    UnavailableCriticalExtension = 12,
    SaslBindInProgress = 14,
    NoSuchAttribute = 16,
    UndefinedAttributeType = 17,
    ConstraintViolation = 19,
    AttributeOrValueExists = 20,
    InvalidAttributeSyntax = 21,
    NoSuchObject = 32,
    InvalidDnSyntax = 34,
    InappropriateAuthentication = 48,
    InvalidCredentials = 49,
    InsufficientAccessRights = 50,
    Busy = 51,
    UnwillingToPerform = 53,
    NamingViolation = 64,
    ObjectClassViolation = 65,
    NotAllowedOnNonLeaf = 66,
    NotAllowedOnRdn = 67,
    EntryAlreadyExists = 68,
    Other = 80,
    AuthorizationDenied = 123, // RFC 4370
};

/** LDAPResult of RFC 4511, without referrals: this server has none. */
struct Result {
    ResultCode code = ResultCode::Success;
    std::string matchedDn;
    std::string diagnostic;
};

/** Ends an operation early with a result that is not success. */
class OperationError : public std::runtime_error {
  public:
    OperationError(ResultCode code, const std::string &diagnostic, std::string matchedDn = {})
        : std::runtime_error(diagnostic), result_{code, std::move(matchedDn), diagnostic} {}

    const Result &result() const { return result_; }

  private:
    Result result_;
};

} // namespace stratasim
