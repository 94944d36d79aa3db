// The replication filter: a text for the caller, on the wire
//   ReplicationFilter ::= SEQUENCE OF SEQUENCE {
//       className   OCTET STRING,
//       attributes  SEQUENCE OF OCTET STRING }
#include "qldapx/replication_filter.h"

#include "core/exchange.h"

#include <cstring>
#include <string_view>

namespace {

using qldapx::BervalPtr;
using qldapx::Decoder;
using qldapx::Exchange;
using qldapx::HeapPtr;
using qldapx::Operation;

constexpr Operation setFilter{"2.16.840.1.907341.1.27.100.35", "2.16.840.1.907341.1.27.100.36"};
// Servers answer the read under more than one OID: any is accepted.
constexpr Operation getFilter{"2.16.840.1.907341.1.27.100.37", nullptr};

constexpr char separator = '$';

// Cuts the text at its next "$" and encodes the piece in front of it with the format.
int encodeName(BerElement *encoder, const char *format, std::string_view &text) {
    std::size_t end = text.find(separator);
    if (end == text.npos)
        return LDAP_PARAM_ERROR;
    int written = ber_printf(encoder, format, text.data(), static_cast<ber_len_t>(end));
    text.remove_prefix(end + 1);
    return written == -1 ? LDAP_ENCODING_ERROR : LDAP_SUCCESS;
}

int encodeGroup(BerElement *encoder, std::string_view &text) {
    int result = encodeName(encoder, "{o{", text);
    while (result == LDAP_SUCCESS && !text.starts_with(separator))
        result = encodeName(encoder, "o", text);
    if (result != LDAP_SUCCESS)
        return result;
    text.remove_prefix(1);
    return ber_printf(encoder, "}}") == -1 ? LDAP_ENCODING_ERROR : LDAP_SUCCESS;
}

int encodeGroups(BerElement *encoder, std::string_view text) {
    while (!text.starts_with(separator)) {
        int result = encodeGroup(encoder, text);
        if (result != LDAP_SUCCESS)
            return result;
    }
    return ber_printf(encoder, "}") == -1 ? LDAP_ENCODING_ERROR : LDAP_SUCCESS;
}

// Builds the text in memory for the whole of it: an element's header takes at least as many
// bytes as the separators that stand for it.
class FilterText {
  public:
    explicit FilterText(char *text) : end_(text) { *end_ = '\0'; }

    void separate() {
        *end_++ = separator;
        *end_ = '\0';
    }

    // A "$" inside would be read as the end of the name, a NUL as the end of the text: a name
    // with either has no text.
    [[nodiscard]] bool name(std::string_view name) {
        if (name.find(separator) != name.npos || name.find('\0') != name.npos)
            return false;
        std::memcpy(end_, name.data(), name.size());
        end_ += name.size();
        separate();
        return true;
    }

  private:
    char *end_;
};

bool decodeName(Decoder &value, FilterText &text) {
    BervalPtr name;
    return value.octets(name) && text.name({name->bv_val, name->bv_len});
}

bool decodeGroup(Decoder &value, FilterText &text) {
    ber_len_t afterGroup = 0;
    ber_len_t afterAttributes = 0;
    if (!value.enter(LBER_SEQUENCE, &afterGroup) || !decodeName(value, text) ||
        !value.enter(LBER_SEQUENCE, &afterAttributes))
        return false;
    while (value.insideOf(afterAttributes))
        if (!decodeName(value, text))
            return false;
    text.separate();
    return value.endOf(afterAttributes) && value.endOf(afterGroup);
}

// Damage must never read as a shorter filter, because callers write back what they have read:
// every element has to end where its container says, and nothing may follow.
bool decodeGroups(Decoder &value, FilterText text) {
    ber_len_t after = 0;
    if (!value.enter(LBER_SEQUENCE, &after) || after != 0)
        return false;
    while (value.insideOf(after))
        if (!decodeGroup(value, text))
            return false;
    text.separate();
    return true;
}

} // namespace

extern "C" {

// Request: serverDN OCTET STRING, filter ReplicationFilter.
int ldap_set_replication_filter(LDAP *ld, char *serverDN, char *filter) {
    if (serverDN == nullptr || filter == nullptr)
        return LDAP_PARAM_ERROR;
    Exchange exchange(ld);
    BerElement *encoder = exchange.newEncoder();
    if (encoder == nullptr)
        return LDAP_NO_MEMORY;
    if (ber_printf(encoder, "s{", serverDN) == -1)
        return LDAP_ENCODING_ERROR;
    int result = encodeGroups(encoder, filter);
    return result == LDAP_SUCCESS ? exchange.send(setFilter) : result;
}

// Request: serverDN OCTET STRING. Response: ReplicationFilter.
int ldap_get_replication_filter(LDAP *ld, char *serverDN, char **filter) {
    if (serverDN == nullptr || filter == nullptr)
        return LDAP_PARAM_ERROR;
    Exchange exchange(ld);
    return exchange.response(exchange.call(getFilter, "s", serverDN), [&](Decoder &value) {
        constexpr ber_len_t closing = sizeof "$";
        HeapPtr text(static_cast<char *>(std::malloc(exchange.responseLength() + closing)));
        bool decoded = text != nullptr && decodeGroups(value, FilterText(text.get()));
        int outcome = text == nullptr ? LDAP_NO_MEMORY : LDAP_DECODING_ERROR;
        *filter = decoded ? text.release() : nullptr;
        return decoded ? LDAP_SUCCESS : outcome;
    });
}
}
