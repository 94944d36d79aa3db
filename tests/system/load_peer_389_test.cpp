// Loads into 389-ds.
#include "peer/directory_server_389.h"
#include "system/load_peer_fallback.h"

namespace test {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(Server389, LoadPeerFallback, DirectoryServer389);

} // namespace
} // namespace test
