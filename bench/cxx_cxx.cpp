// The loops of cxx_instructions in C++'s way.
#include "cxx_loops.h"

#include "ten_attributes.h"

#include <qldapx.hpp>

namespace bench::cxx {

using qldapx::session_ref;

int counts(LDAP *ld, int rounds) {
    const session_ref session(qldapx::borrow, ld);
    int sum = 0;
    while (rounds-- > 0) {
        const auto count = qldapx::partition::entry_count(session, "ou=people,dc=example,dc=com");
        if (!count)
            return -1;
        sum += *count;
    }
    return sum;
}

namespace {

struct NumberOf {
    int operator()(const EntryEventData *data) const { return data->number1; }
    int operator()(const ExtOpEventData *data) const { return data->number1; }
    template <class Other>
    int operator()(const Other &) const {
        return 0;
    }
};

} // namespace

int events(LDAP *ld, int rounds) {
    auto stream = qldapx::events::monitor(session_ref(qldapx::borrow, ld), {{7, 0}});
    if (!stream)
        return -1;
    int sum = 0;
    while (rounds-- > 0) {
        const auto event = stream->next();
        if (!event)
            return -1;
        sum += event->type() + std::visit(NumberOf(), event->payload());
    }
    stream->release();
    return sum;
}

int elements(LDAP *ld, int rounds) {
    const auto schema = qldapx::schema::fetch(session_ref(qldapx::borrow, ld), "cn=schema");
    if (!schema)
        return -1;
    int sum = 0;
    while (rounds-- > 0)
        for (const LDAPAttributeType &type : schema->records<LDAPAttributeType>())
            sum += type.at_oid[0];
    return sum;
}

int adds(LDAP *, int rounds) {
    TenAttributes attributes;
    auto encoder = qldapx::bulk::encoder::make();
    while (rounds-- > 0)
        if (!encoder.add("uid=anna,ou=people,dc=example,dc=com", attributes.list()))
            return -1;
    return 0;
}

int builtAdds(LDAP *, int rounds) {
    qldapx::modifications attributes;
    auto encoder = qldapx::bulk::encoder::make();
    while (rounds-- > 0) {
        attributes.clear();
        for (const auto &text : tenTexts)
            attributes.attribute(text[0], {text[1]});
        if (!encoder.add("uid=anna,ou=people,dc=example,dc=com", attributes.get()))
            return -1;
    }
    return 0;
}

} // namespace bench::cxx
