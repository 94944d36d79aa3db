#pragma once

#include "command.h"

#include <optional>
#include <qldapx.hpp>

namespace qldapx {

/** Runs one operation of the library on the run's session, and gives its value. */
template <typename Operation>
auto performed(Run &run, const std::string &object, const Operation &operation) {
    std::optional<std::invoke_result_t<const Operation &, session_ref>> outcome;
    run.perform(object, [&](LDAP *ld) {
        outcome.emplace(operation(session_ref(borrow, ld)));
        return outcome->has_value() ? LDAP_SUCCESS : outcome->error().code();
    });
    return std::move(*outcome).value();
}

} // namespace qldapx
