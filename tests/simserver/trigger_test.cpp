#include "in_process.h"

#include <gtest/gtest.h>

namespace {

std::string shown(InProcess &server, const std::string &name) {
    const auto response = server.ask(
        wire::search({.base = "cn=triggers,cn=monitor", .scope = 0, .attributes = {name}}));
    return response.entryAttributes.at(0).empty() ? "none"
                                                  : response.entryAttributes[0][0].values.at(0);
}

TEST(Triggers, AreCounted) {
    InProcess server;
    server.bindAdmin();
    const std::pair<int, const char *> cases[] = {
        {9, "refreshRuns"},  {43, "backlinkRuns"},   {47, "janitorRuns"},       {49, "limberRuns"},
        {51, "skulkerRuns"}, {53, "schemaSyncRuns"}, {55, "partitionPurgeRuns"}};
    for (const auto &[request, name] : cases) {
        EXPECT_EQ(shown(server, name), "none");
        const auto response = server.extended(request);
        EXPECT_EQ(response.code, 0);
        EXPECT_EQ(response.oid, wire::strataOid(request + 1));
        EXPECT_EQ(response.value, "none");
        EXPECT_EQ(shown(server, name), "1");
        server.extended(request);
        EXPECT_EQ(shown(server, name), "2");
    }
}

TEST(Triggers, LimberRemembersItsDn) {
    InProcess server;
    server.bindAdmin();
    EXPECT_EQ(server.extended(49).code, 0);
    EXPECT_EQ(shown(server, "limberDN"), "none");
    EXPECT_EQ(server.extended(49, wire::text(kServer2)).code, 0);
    EXPECT_EQ(shown(server, "limberDN"), kServer2);
    EXPECT_EQ(shown(server, "limberRuns"), "2");
    EXPECT_EQ(server.extended(49, wire::text("nonsense")).code, 34);
    EXPECT_EQ(shown(server, "limberRuns"), "2");
}

} // namespace
