#pragma once

#include "schema_server.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/** A server whose administrator changes the schema. */
class SchemaFixture : public testing::Test {
  protected:
    SchemaFixture() { server_.bindAdmin(); }

    int code(const std::vector<wire::Mod> &changes) {
        return server_.code(schema_server::modify(changes));
    }
    void accept(const std::vector<wire::Mod> &changes) {
        const auto response = server_.ask(schema_server::modify(changes));
        EXPECT_EQ(response.code, 0) << response.diagnostic;
    }
    /** Expects the refusal, its text, and that nothing has changed. */
    void refuse(int code, const std::string &part, const std::vector<wire::Mod> &changes) {
        const std::string before = everything();
        const auto response = server_.ask(schema_server::modify(changes));
        EXPECT_EQ(response.code, code) << response.diagnostic;
        EXPECT_TRUE(schema_server::contains(response.diagnostic, part))
            << response.diagnostic << "\nlacks " << part;
        EXPECT_EQ(everything(), before);
    }
    std::string everything() {
        return server_.raw(wire::message(
            1, wire::search({.base = schema_server::kDn, .scope = 0, .attributes = {"*", "+"}})));
    }

    InProcess server_;
};
