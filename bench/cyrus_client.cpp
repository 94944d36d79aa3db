#include "cyrus_client.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace bench {
namespace {

constexpr char password[] = "secret";

int giveUser(void *, int, const char **result, unsigned *length) {
    *result = "joe";
    if (length != nullptr)
        *length = 3;
    return SASL_OK;
}

int givePassword(sasl_conn_t *, void *, int, sasl_secret_t **result) {
    static auto *const secret =
        static_cast<sasl_secret_t *>(std::malloc(sizeof(sasl_secret_t) + sizeof password));
    secret->len = sizeof password - 1;
    std::memcpy(secret->data, password, sizeof password);
    *result = secret;
    return SASL_OK;
}

int giveRealm(void *, int, const char **offered, const char **result) {
    *result = offered[0];
    return SASL_OK;
}

// The interface takes all of them as functions without arguments.
template <class Function>
int (*plain(Function *function))() {
    return reinterpret_cast<int (*)()>(reinterpret_cast<void (*)()>(function));
}

const sasl_callback_t callbacks[] = {
    {SASL_CB_USER, plain(giveUser), nullptr},     {SASL_CB_AUTHNAME, plain(giveUser), nullptr},
    {SASL_CB_PASS, plain(givePassword), nullptr}, {SASL_CB_GETREALM, plain(giveRealm), nullptr},
    {SASL_CB_LIST_END, nullptr, nullptr},
};

void require(int result, int wanted, const char *what) {
    if (result == wanted)
        return;
    std::fprintf(stderr, "%s: %s\n", what, sasl_errstring(result, nullptr, nullptr));
    std::exit(1);
}

} // namespace

CyrusClient::CyrusClient() {
    static const int initialised = sasl_client_init(callbacks);
    require(initialised, SASL_OK, "sasl_client_init");
    require(sasl_client_new("ldap", "localhost", nullptr, nullptr, callbacks, 0, &connection_),
            SASL_OK, "sasl_client_new");
    sasl_security_properties_t plainOnly = {};
    sasl_setprop(connection_, SASL_SEC_PROPS, &plainOnly);
    const char *out = nullptr, *chosen = nullptr;
    unsigned length = 0;
    require(sasl_client_start(connection_, "DIGEST-MD5", nullptr, &out, &length, &chosen),
            SASL_CONTINUE, "sasl_client_start");
}

void CyrusClient::answer(std::string_view challenge) {
    const char *out = nullptr;
    unsigned length = 0;
    require(sasl_client_step(connection_, challenge.data(), static_cast<unsigned>(challenge.size()),
                             nullptr, &out, &length),
            SASL_CONTINUE, "sasl_client_step");
}

} // namespace bench
