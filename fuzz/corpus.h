// corpus.h - what fuzzing begins with.
#pragma once

#include "support/ber.h"

#include <string>
#include <vector>

namespace qldapx_fuzz {

using qldapx_test::Bytes;

struct Seed {
    std::string target;
    std::string name;
    Bytes bytes;
};

// Of every target.
std::vector<Seed> seeds();
// Those of bulk updates.
void addBulkUpdates(std::vector<Seed> &all);
// Those of schema access.
void addSchemas(std::vector<Seed> &all);
// Those of DIGEST-MD5.
void addDigests(std::vector<Seed> &all);
// Those of TLS set-up.
void addTls(std::vector<Seed> &all);
// Those of answers to other operations, of controls and of texts.
void addAnswers(std::vector<Seed> &all);
// Those of the tool's files and texts.
void addFiles(std::vector<Seed> &all);
// Those of the simulator.
void addSimulator(std::vector<Seed> &all);

} // namespace qldapx_fuzz
