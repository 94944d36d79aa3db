// Loads into OpenLDAP's server.
#include "peer/slapd_server.h"
#include "system/load_peer_fallback.h"

namespace test {
namespace {

struct Slapd : SlapdServer {
    static constexpr const char *password = adminPassword;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Slapd, LoadPeerFallback, Slapd);

} // namespace
} // namespace test
