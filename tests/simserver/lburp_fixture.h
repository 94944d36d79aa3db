#pragma once

#include "lburp.h"

#include <gtest/gtest.h>

/** A server, and the administrator's connection to it. */
class LburpTest : public testing::Test {
  protected:
    LburpTest() { client_.bindAdmin(); }

    void start() { EXPECT_EQ(client_.ask(lburp::start()).code, 0); }
    int ask(const std::string &op) { return client_.ask(op).code; }
    bool isThere(const std::string &name) const {
        return server_.directory.tree.find(lburp::dn(name)) != nullptr;
    }
    std::string description(const std::string &name) const {
        const auto node = server_.directory.tree.find(lburp::dn(name));
        const auto *attribute = node ? node->entry.find("description") : nullptr;
        return attribute != nullptr ? attribute->values.at(0) : "";
    }

    InProcess server_;
    LocalClient client_{server_, 7};
};
