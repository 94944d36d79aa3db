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

/** Makes a control that goes with every request of the run from now on. */
template <typename Creation>
void attach(Run &run, const Creation &create) {
    run.attach([&](LDAP *ld, LDAPControl **made) {
        result<control> created = create(session_ref(borrow, ld));
        if (!created)
            return created.error().code();
        *made = created->release();
        return LDAP_SUCCESS;
    });
}

} // namespace qldapx
