#include "targets.h"

#include <cstdio>
#include <cstdlib>

namespace qldapx_fuzz {

namespace {

std::vector<Target> allTargets() {
    std::vector<Target> all = {
        {"monitor_response", runMonitorResponse},
        {"monitor_answer", runMonitorAnswer},
        {"notification", runNotification},
        {"intermediate", runIntermediate},
        {"lburp_start_response", runLburpResponse},
        {"lburp_start_answer", runLburpAnswer},
        {"lburp_operation_response", runLburpResponse},
        {"lburp_operation_answer", runLburpAnswer},
        {"lburp_end_response", runLburpResponse},
        {"lburp_end_answer", runLburpAnswer},
        {"lburp_request", runLburpRequest},
        {"update", runUpdate},
        {"schema_entry", runSchemaEntry},
        {"schema_edits", runSchemaEdits},
        {"structure_rule", runStructureRule},
        {"digest_challenge", runDigestChallenge},
        {"token_list", runTokenList},
        {"digest_proof", runDigestProof},
        {"digest_bind", runDigestBind},
        {"trust_pem", runTrustPem},
        {"trust_der", runTrustDer},
        {"client_pem", runClientPem},
        {"pkcs12", runPkcs12},
        {"cert_attribute", runCertAttribute},
    };
    for (unsigned kind : decodedKinds())
        all.push_back({decoderName(kind), runDecoder, kind});
    return all;
}

} // namespace

const std::vector<Target> &targets() {
    static const std::vector<Target> all = allTargets();
    return all;
}

const Target &targetNamed(const std::string &name) {
    for (const Target &target : targets())
        if (target.name == name)
            return target;
    std::fprintf(stderr, "There is no fuzz target %s.\n", name.c_str());
    std::exit(2);
}

std::string decoderName(unsigned kind) {
    return "decoder_" + std::to_string(kind);
}

} // namespace qldapx_fuzz
