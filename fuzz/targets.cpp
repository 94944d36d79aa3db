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
        {"extended_value", runExtendedValue},
        {"extended_answer", runExtendedAnswer},
        {"backup_answer", runBackupAnswer},
        {"backup_texts", runBackupTexts},
        {"replication_filter", runReplicationFilter},
        {"url_search", runUrlSearch},
        {"schema_dn", runSchemaDn},
        {"control_value", runControlValue},
        {"returned_buffer", runReturnedBuffer},
        {"tool_backup", runBackupFile},
        {"tool_ldif", runLdif},
        {"tool_checkpoint", runCheckpoint},
        {"tool_filter", runFilterText},
        {"tool_schema", runSchemaFile},
        {"simulator_requests", runRequests},
        {"simulator_replay", runReplayLine},
        {"simulator_schema", runSimulatedSchema},
        {"simulator_ldif", runSimulatedEntries},
        {"simulator_filter", runSimulatedFilter},
        {"simulator_image", runSimulatedImage},
        {"simulator_digest", runDigestResponse},
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
