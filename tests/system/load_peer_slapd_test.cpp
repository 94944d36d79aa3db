// Loads into OpenLDAP's server.
#include "peer/slapd_server.h"
#include "system/load_peer_fallback.h"

namespace test {
namespace {

struct Slapd : SlapdServer {
    Slapd() {} // by hand: for clang a const one is not made otherwise
    static constexpr const char *password = adminPassword;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Slapd, LoadPeerFallback, Slapd);

} // namespace
} // namespace test
