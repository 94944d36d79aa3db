#pragma once

#include "digest.h"
#include "in_process.h"

#include <gtest/gtest.h>

namespace digest_client {

/** Binds in two steps; `edit` changes the response. */
template <typename Edit>
wire::Response bindAs(InProcess &server, const Edit &edit) {
    const auto challenge = server.ask(begin());
    EXPECT_EQ(challenge.code, 14);
    Response response{.nonce = valueIn(challenge.value, "nonce")};
    edit(response);
    return server.ask(response.op());
}

/** As Ada Brandt. */
inline wire::Response bind(InProcess &server) {
    return bindAs(server, [](Response &) {});
}

} // namespace digest_client
