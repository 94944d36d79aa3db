// targets.h - what is fuzzed: functions that take any bytes.
#pragma once

#include "support/ber.h"

#include <string>
#include <vector>

namespace qldapx_fuzz {

using qldapx_test::Bytes;

struct Target {
    std::string name;
    // Returns if the library did as its contract says with these bytes; otherwise the process ends.
    void (*run)(const Target &target, const Bytes &bytes);
    // Of a decoder: its kind.
    unsigned kind = 0;
};

const std::vector<Target> &targets();
// Ends the process when there is none of that name.
const Target &targetNamed(const std::string &name);

std::string decoderName(unsigned kind);

// Reads the bytes as the contents of a payload, with what follows it.
void runDecoder(const Target &target, const Bytes &bytes);
const std::vector<unsigned> &decodedKinds();

// Take the bytes as the value of a registration's answer, as the whole operation, as the value of a
// notification, and as the whole operation.
void runMonitorResponse(const Target &target, const Bytes &bytes);
void runMonitorAnswer(const Target &target, const Bytes &bytes);
void runNotification(const Target &target, const Bytes &bytes);
void runIntermediate(const Target &target, const Bytes &bytes);

// Take the bytes as the value of an answer to one of a bulk update's requests, and as the whole
// operation.
void runLburpResponse(const Target &target, const Bytes &bytes);
void runLburpAnswer(const Target &target, const Bytes &bytes);

// Make an update operation of the bytes, and a batch of them, and read what the library writes.
void runUpdate(const Target &target, const Bytes &bytes);
void runLburpRequest(const Target &target, const Bytes &bytes);

// Take the bytes as the entry that a schema is fetched from, as edits of a schema, and as the
// description of a structure rule.
void runSchemaEntry(const Target &target, const Bytes &bytes);
void runSchemaEdits(const Target &target, const Bytes &bytes);
void runStructureRule(const Target &target, const Bytes &bytes);

// Take the bytes as a challenge of DIGEST-MD5, as a list of tokens in one, as a server's proof, and
// as the answers to a whole bind.
void runDigestChallenge(const Target &target, const Bytes &bytes);
void runTokenList(const Target &target, const Bytes &bytes);
void runDigestProof(const Target &target, const Bytes &bytes);
void runDigestBind(const Target &target, const Bytes &bytes);

// Take the bytes as trust anchors, as the client's certificate and key (behind a byte for the
// password), and as the certificate that a verification callback is asked about (behind a byte for
// the size of buffers).
void runTrustPem(const Target &target, const Bytes &bytes);
void runTrustDer(const Target &target, const Bytes &bytes);
void runClientPem(const Target &target, const Bytes &bytes);
void runPkcs12(const Target &target, const Bytes &bytes);
void runCertAttribute(const Target &target, const Bytes &bytes);

// Take the bytes, behind one that chooses an administrative operation, as the value of its answer
// and as the whole answer.
void runExtendedValue(const Target &target, const Bytes &bytes);
void runExtendedAnswer(const Target &target, const Bytes &bytes);

// Take the bytes as the value of a backup's answer, as the state and the sizes of chunks that a
// caller gives, as the text of a replication filter, as a URL, and as the root DSE.
void runBackupAnswer(const Target &target, const Bytes &bytes);
void runBackupTexts(const Target &target, const Bytes &bytes);
void runReplicationFilter(const Target &target, const Bytes &bytes);
void runUrlSearch(const Target &target, const Bytes &bytes);
void runSchemaDn(const Target &target, const Bytes &bytes);

// Take the bytes as a control's value, and as elements that are copied one by one.
void runControlValue(const Target &target, const Bytes &bytes);
void runReturnedBuffer(const Target &target, const Bytes &bytes);

// Take the bytes as files and texts that the tool reads: a backup, records of LDIF, the state of a
// load, a replication filter, and descriptions of a schema.
void runBackupFile(const Target &target, const Bytes &bytes);
void runLdif(const Target &target, const Bytes &bytes);
void runCheckpoint(const Target &target, const Bytes &bytes);
void runFilterText(const Target &target, const Bytes &bytes);
void runSchemaFile(const Target &target, const Bytes &bytes);

// Take the bytes as what the simulator reads: requests of a connection, an event to be replayed, a
// schema, entries, a search filter, the image of an entry, and a response of DIGEST-MD5.
void runRequests(const Target &target, const Bytes &bytes);
void runReplayLine(const Target &target, const Bytes &bytes);
void runSimulatedSchema(const Target &target, const Bytes &bytes);
void runSimulatedEntries(const Target &target, const Bytes &bytes);
void runSimulatedFilter(const Target &target, const Bytes &bytes);
void runSimulatedImage(const Target &target, const Bytes &bytes);
void runDigestResponse(const Target &target, const Bytes &bytes);

} // namespace qldapx_fuzz
