// digest_bind ROUNDS - binds by DIGEST-MD5 with slapd, over TCP, by this library and by libldap
// (cyrus-sasl), in turn on a session each.
//
// Times are the clock's: most of a bind is waiting. Prints one line per figure.
#include "slapd_server.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ldap.h>
#include <qldapx.h>
#include <sasl/sasl.h>
#include <vector>

namespace {

constexpr char user[] = "joe";
constexpr char password[] = "secret";

using Clock = std::chrono::steady_clock;

void require(int result, const char *what) {
    if (result == LDAP_SUCCESS)
        return;
    std::fprintf(stderr, "%s: %s\n", what, ldap_err2string(result));
    std::exit(1);
}

test::SlapdServer startServer() {
    return test::SlapdServer(test::SlapdServer::Transport::tcp, {}, test::SlapdServer::usualSchemas,
                             "sasl-host localhost\nsasl-realm example.com\n"
                             "authz-regexp \"uid=(.*),cn=[^,]*,cn=digest-md5,cn=auth\""
                             " \"uid=$1,ou=people,dc=example,dc=com\"\n");
}

void addUser(const test::SlapdServer &server) {
    char type[] = "objectClass", account[] = "account", simple[] = "simpleSecurityObject",
         uidType[] = "uid", uid[] = "joe", passwordType[] = "userPassword", secret[] = "secret";
    char *classes[] = {account, simple, nullptr}, *uids[] = {uid, nullptr},
         *secrets[] = {secret, nullptr};
    LDAPMod mods[] = {{LDAP_MOD_ADD, type, {classes}},
                      {LDAP_MOD_ADD, uidType, {uids}},
                      {LDAP_MOD_ADD, passwordType, {secrets}}};
    LDAPMod *list[] = {&mods[0], &mods[1], &mods[2], nullptr};
    LDAP *admin = server.session();
    require(ldap_add_ext_s(admin, "uid=joe,ou=people,dc=example,dc=com", list, nullptr, nullptr),
            "adding the user");
    ldap_unbind_ext_s(admin, nullptr, nullptr);
}

LDAP *open(const test::SlapdServer &server) {
    LDAP *ld = nullptr;
    require(ldap_initialize(&ld, server.uri().c_str()), "ldap_initialize");
    const int version = LDAP_VERSION3;
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld, LDAP_OPT_X_SASL_NOCANON, LDAP_OPT_ON);
    return ld;
}

void bindByLibrary(LDAP *ld) {
    void *context = nullptr;
    require(ldap_bind_digest_md5_start(ld, &context), "ldap_bind_digest_md5_start");
    require(ldap_bind_digest_md5_finish(&context, user, password, -1, 0, QLDAPX_DIGEST_COMPLETE),
            "ldap_bind_digest_md5_finish");
}

int answer(LDAP *, unsigned, void *, void *questions) {
    for (auto *each = static_cast<sasl_interact_t *>(questions); each->id != SASL_CB_LIST_END;
         ++each) {
        const char *text = each->defresult != nullptr ? each->defresult : "";
        if (each->id == SASL_CB_AUTHNAME)
            text = user;
        if (each->id == SASL_CB_PASS)
            text = password;
        each->result = text;
        each->len = static_cast<unsigned>(std::strlen(text));
    }
    return LDAP_SUCCESS;
}

// Without a layer of encryption, which the library's binds have none of either.
void bindByLibldap(LDAP *ld) {
    char properties[] = "maxssf=0";
    ldap_set_option(ld, LDAP_OPT_X_SASL_SECPROPS, properties);
    require(ldap_sasl_interactive_bind_s(ld, nullptr, "DIGEST-MD5", nullptr, nullptr,
                                         LDAP_SASL_QUIET, answer, nullptr),
            "ldap_sasl_interactive_bind_s");
}

// The median of a hundred.
template <class Bind>
double microseconds(LDAP *ld, Bind bind) {
    std::vector<double> times(100);
    for (double &each : times) {
        const auto start = Clock::now();
        bind(ld);
        each = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
    }
    std::nth_element(times.begin(), times.begin() + 50, times.end());
    return times[50];
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s ROUNDS\n", argv[0]);
        return 2;
    }
    const test::SlapdServer server = startServer();
    addUser(server);
    LDAP *own = open(server), *libldaps = open(server);
    for (int round = std::atoi(argv[1]); round > 0; --round) {
        const double library = microseconds(own, bindByLibrary);
        const double libldap = microseconds(libldaps, bindByLibldap);
        std::printf("bind-library %.1f\nbind-peer %.1f\nbind-ratio %.4f\n", library, libldap,
                    library / libldap);
    }
    ldap_unbind_ext_s(own, nullptr, nullptr);
    ldap_unbind_ext_s(libldaps, nullptr, nullptr);
    return 0;
}
