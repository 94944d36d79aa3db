// model_random.h - elements and changes at random, of few keys and names, so that they meet often.
#pragma once

#include "model_run.h"

namespace qldapx_test::model {

// With an extension of its own, which tells it from all others.
Element randomElement(Random &random, unsigned kind);
// A key or a name, of whatever element.
std::string randomKey(Random &random, unsigned kind);
// What the contract allows and forbids, but for what ends the process: a changed key, and a failure
// after it.
std::vector<FieldChange> randomChanges(Random &random, unsigned kind, const Element &element);

} // namespace qldapx_test::model
