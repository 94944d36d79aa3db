#include "search.h"

#include "errors.h"
#include "messages.h"
#include "text.h"

#include <fmt/format.h>

// Exported by libldap, but in none of its installed headers.
extern "C" int ldap_pvt_put_filter(BerElement *ber, const char *filter);

namespace qldapx {
namespace {

struct FreeBer {
    // What it reads belongs to the message.
    void operator()(BerElement *ber) const { ber_free(ber, 0); }
};
struct FreeEncoder {
    void operator()(BerElement *ber) const { ber_free(ber, 1); }
};
struct FreeStrings {
    void operator()(char **strings) const { ber_memvfree(reinterpret_cast<void **>(strings)); }
};

std::span<const berval> valuesOf(const berval *array) {
    std::size_t count = 0;
    while (array != nullptr && array[count].bv_val != nullptr)
        ++count;
    return {array, count};
}

// By position: libldap's functions that take a name look for it from the start each time.
int readEntry(LDAP *ld, LDAPMessage *message, Entry &entry) {
    BerElement *start = nullptr;
    berval dn{};
    if (ldap_get_dn_ber(ld, message, &start, &dn) != LDAP_SUCCESS)
        return LDAP_DECODING_ERROR;
    const std::unique_ptr<BerElement, FreeBer> ber(start);
    entry.dn.assign(dn.bv_val, dn.bv_len);
    while (true) {
        berval name{}, *values = nullptr;
        if (ldap_get_attribute_ber(ld, message, ber.get(), &name, &values) != LDAP_SUCCESS)
            return LDAP_DECODING_ERROR;
        if (name.bv_val == nullptr)
            return LDAP_SUCCESS;
        Attribute attribute = {{name.bv_val, name.bv_len}, valuesOf(values), {}};
        attribute.array.reset(values);
        entry.attributes.push_back(std::move(attribute));
    }
}

/** Hands the entry over; `goOn` says whether the search goes on. */
int takeEntry(LDAP *ld, LDAPMessage *message, SearchHandler &handler, bool &goOn) {
    // The controls first: reading the attributes puts NULs over the tags behind them.
    const auto list = controls::of_entry(session_ref(borrow, ld), message_ref(borrow, message));
    if (!list)
        return list.error().code();
    Entry entry;
    const int code = readEntry(ld, message, entry);
    if (code == LDAP_SUCCESS)
        goOn = handler.entry(ld, entry, list->get());
    return code;
}

int takeReference(LDAP *ld, LDAPMessage *message, SearchHandler &handler) {
    char **uris = nullptr;
    if (ldap_parse_reference(ld, message, &uris, nullptr, 0) != LDAP_SUCCESS)
        return LDAP_DECODING_ERROR;
    const std::unique_ptr<char *, FreeStrings> owner(uris);
    std::vector<std::string> list;
    for (char **each = uris; each != nullptr && *each != nullptr; ++each)
        list.emplace_back(*each);
    handler.reference(list);
    return LDAP_SUCCESS;
}

int takeResult(LDAP *ld, LDAPMessage *message, SearchHandler &handler) {
    LDAPControl **controls = nullptr;
    int code = LDAP_SUCCESS;
    const int parsed =
        ldap_parse_result(ld, message, &code, nullptr, nullptr, nullptr, &controls, 0);
    const control_list owner(adopt, controls);
    if (parsed != LDAP_SUCCESS)
        return parsed;
    return code == LDAP_SUCCESS ? handler.done(ld, controls) : code;
}

int send(LDAP *ld, const SearchRequest &request, int &id) {
    std::vector<std::string> names = request.attributes;
    std::vector<char *> attributes;
    for (std::string &name : names)
        attributes.push_back(name.data());
    attributes.push_back(nullptr);
    if (request.timeLimit)
        ldap_set_option(ld, LDAP_OPT_TIMELIMIT, &*request.timeLimit);
    constexpr int configured = -1;
    return ldap_search_ext(ld, request.base ? request.base->c_str() : nullptr, request.scope,
                           request.filter.c_str(), names.empty() ? nullptr : attributes.data(),
                           static_cast<int>(request.typesOnly), nullptr, nullptr, nullptr,
                           request.sizeLimit.value_or(configured), &id);
}

/** Receives until the result; whatever else ends the search, the server is told. */
int receive(LDAP *ld, int id, SearchHandler &handler) {
    bool goOn = true;
    int code = LDAP_SUCCESS;
    while (goOn && code == LDAP_SUCCESS) {
        LDAPMessage *message = nullptr;
        const int kind = handler.next(ld, id, &message);
        const qldapx::message owner(adopt, message);
        if (kind == LDAP_RES_SEARCH_RESULT)
            return takeResult(ld, message, handler);
        if (kind <= 0)
            code = kind == 0 ? LDAP_TIMEOUT : failureCode(ld);
        else if (kind == LDAP_RES_SEARCH_ENTRY)
            code = takeEntry(ld, message, handler, goOn);
        else if (kind == LDAP_RES_SEARCH_REFERENCE)
            code = takeReference(ld, message, handler);
    }
    static_cast<void>(session_ref(borrow, ld).abandon(id));
    return code;
}

} // namespace

int SearchHandler::done(LDAP * /*ld*/, LDAPControl ** /*controls*/) {
    return LDAP_SUCCESS;
}

int SearchHandler::next(LDAP *ld, int id, LDAPMessage **message) {
    timeval *patience = nullptr;
    ldap_get_option(ld, LDAP_OPT_TIMEOUT, &patience);
    const int kind = ldap_result(ld, id, LDAP_MSG_ONE, patience, message);
    ldap_memfree(patience);
    return kind;
}

void checkFilter(const std::string &filter) {
    const std::unique_ptr<BerElement, FreeEncoder> ber(ber_alloc_t(LBER_USE_DER));
    if (ber == nullptr)
        throw std::bad_alloc();
    if (filter.empty() || ldap_pvt_put_filter(ber.get(), filter.c_str()) == -1)
        throw UsageError(fmt::format("\"{}\" is no filter", printable(filter)),
                         "one as in '(&(objectClass=person)(cn=Ada*))', in single quotes");
}

void search(Run &run, const SearchRequest &request, SearchHandler &handler) {
    run.perform(request.base.value_or(""), [&](LDAP *ld) {
        int id = 0;
        const int sent = send(ld, request, id);
        return sent == LDAP_SUCCESS ? receive(ld, id, handler) : sent;
    });
}

} // namespace qldapx
