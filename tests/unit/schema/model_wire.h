// model_wire.h - what a server says when its schema is fetched, and what it hears when it is saved.
#pragma once

#include "model_element.h"
#include "support/ber.h"

#include <array>
#include <gtest/gtest.h>
#include <ldap.h>
#include <memory>
#include <qldapx.h>

namespace qldapx_test::model {

struct Change {
    int operation;
    unsigned kind;
    std::string description;
};

struct SchemaRelease {
    void operator()(LDAPSchema *schema) const { EXPECT_EQ(ldap_schema_free(schema), LDAP_SUCCESS); }
};
using SchemaPtr = std::unique_ptr<LDAPSchema, SchemaRelease>;

using Descriptions = std::array<Values, kindCount>;

// Fetches from a server that has these.
SchemaPtr fetch(const Descriptions &descriptions);

// Saves to a server that answers with this code, and gives the bytes that it heard; expects the
// code or, when nothing is heard, success.
Bytes save(LDAPSchema *schema, int answer);

// The request with these changes; empty: none.
Bytes modifyRequest(const std::vector<Change> &changes);

} // namespace qldapx_test::model
