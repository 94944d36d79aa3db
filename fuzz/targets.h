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

} // namespace qldapx_fuzz
