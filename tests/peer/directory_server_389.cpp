#include "directory_server_389.h"

#include "directory.h"

#include <fstream>
#include <iterator>
#include <pwd.h>
#include <semaphore.h>
#include <string_view>
#include <unistd.h>

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr char program[] = "/usr/sbin/ns-slapd";
constexpr char templatePath[] = "/usr/share/dirsrv/data/template-dse.ldif";

// Made when a server is installed the usual way; this one begins with it.
constexpr char backend[] = R"(dn: cn=userRoot,cn=ldbm database,cn=plugins,cn=config
objectClass: top
objectClass: extensibleObject
objectClass: nsBackendInstance
cn: userRoot
nsslapd-suffix: dc=example,dc=com

dn: cn="dc=example,dc=com",cn=mapping tree,cn=config
objectClass: top
objectClass: extensibleObject
objectClass: nsMappingTree
cn: dc=example,dc=com
nsslapd-state: backend
nsslapd-backend: userRoot
)";

// The server insists on a schema of its own, beside the package's.
constexpr char ownSchema[] = R"(dn: cn=schema
objectClass: top
objectClass: ldapSubentry
objectClass: subschema
cn: schema
)";

std::string read(const fs::path &path) {
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("cannot read " + path.string() +
                                 ": install the Debian package 389-ds-base");
    return {std::istreambuf_iterator<char>(file), {}};
}

void replaceAll(std::string &text, std::string_view what, const std::string &with) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
}

std::string userName() {
    const passwd *user = getpwuid(geteuid());
    if (user == nullptr)
        throw std::runtime_error("the user who runs this test has no name, which 389-ds needs");
    return user->pw_name;
}

// The server names the semaphore of its statistics by the last part of its configuration's path.
std::string semaphoreName(const fs::path &folder) {
    return "/" + folder.filename().string() + ".stats";
}

std::string accessRule(const std::string &name, const std::string &rights, const std::string &who) {
    return "(targetattr=\"*\")(version 3.0; acl \"" + name + "\"; allow(" + rights +
           ") userdn=\"ldap:///" + who + "\";)";
}

} // namespace

DirectoryServer389::DirectoryServer389()
    : folder_(makeFolder("389ds")), uri_(unixSocketUri(folder_ / "socket")) {
    auto cleanUp = [folder = folder_] {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
        sem_unlink(semaphoreName(folder).c_str());
    };
    try {
        writeConfiguration();
    } catch (...) {
        cleanUp(); // from now on the guard's task
        throw;
    }
    process_ = std::make_unique<GuardedProcess>(
        std::vector<std::string>{program, "-D", configuration(), "-i", folder_ / "pid", "-d", "0"},
        cleanUp);
    waitUntilItAnswers();
    addTree();
}

// Its last part names a semaphore of the whole system: it must be unique as the folder is.
fs::path DirectoryServer389::configuration() const {
    return folder_ / folder_.filename();
}

void DirectoryServer389::writeConfiguration() const {
    const std::pair<const char *, std::string> places[] = {
        {"%schema_dir%", configuration() / "schema"},
        {"%cert_dir%", configuration()},
        {"%config_dir%", configuration()},
        {"%lock_dir%", folder_ / "lock"},
        {"%tmp_dir%", folder_ / "tmp"},
        {"%ldif_dir%", folder_ / "ldif"},
        {"%bak_dir%", folder_ / "bak"},
        {"%run_dir%", folder_ / "run"},
        {"%inst_dir%", folder_ / "instance"},
        {"%log_dir%", folder_ / "log"},
        {"%db_dir%", folder_ / "db"},
        {"%db_home_dir%", folder_ / "db_home"},
    };
    const std::pair<const char *, std::string> values[] = {
        {"%fqdn%", "localhost"},
        {"%ds_port%", "0"}, // none: only the socket
        {"%ds_user%", userName()},
        {"%rootdn%", adminDn},
        {"%ds_passwd%", std::string("{CLEAR}") + password},
        {"%ds_suffix%", suffix},
        {"%db_lib%", "bdb"},
        {"%ldapi_enabled%", "on"},
        {"%ldapi%", folder_ / "socket"},
        {"%ldapi_autobind%", "off"},
    };
    std::string text = read(templatePath);
    for (const auto &[name, place] : places) {
        fs::create_directories(place);
        replaceAll(text, name, place);
    }
    for (const auto &[name, value] : values)
        replaceAll(text, name, value);
    // One empty line between two entries: a second one is an error to the server.
    text.erase(text.find_last_not_of('\n') + 1);
    std::ofstream(configuration() / "dse.ldif") << text << "\n\n" << backend;
    std::ofstream(configuration() / "schema/99user.ldif") << ownSchema;
}

void DirectoryServer389::waitUntilItAnswers() const {
    for (int attempt = 0; attempt < 600; ++attempt) {
        if (answers(uri_, adminDn, password))
            return;
        if (process_->endedWithin(50))
            throw std::runtime_error("ns-slapd ended at its start");
    }
    throw std::runtime_error("ns-slapd does not answer");
}

LDAP *DirectoryServer389::session(const std::string &dn) const {
    return openSession(uri_, dn, password);
}

void DirectoryServer389::addTree() const {
    LDAP *ld = session();
    mustAdd(ld, suffix,
            {{"objectClass", {"domain"}},
             {"dc", {"example"}},
             {"aci",
              {accessRule("all read", "read,search,compare", "all"),
               accessRule("agent stands for others", "proxy", agentDn),
               accessRule("writer writes", "all", writerDn)}}});
    mustAdd(ld, "ou=people,dc=example,dc=com",
            {{"objectClass", {"organizationalUnit"}}, {"ou", {"people"}}});
    mustAdd(ld, "cn=people,cn=mapping,cn=sasl,cn=config",
            {{"objectClass", {"nsSaslMapping"}},
             {"cn", {"people"}},
             {"nsSaslMapRegexString", {"^[^:@]+$"}},
             {"nsSaslMapBaseDNTemplate", {std::string("ou=people,") + suffix}},
             {"nsSaslMapFilterTemplate", {"(uid=&)"}}});
    for (const char *dn : {agentDn, writerDn, readerDn})
        mustAdd(
            ld, dn,
            {{"objectClass", {"account", "simpleSecurityObject"}}, {"userPassword", {password}}});
    ldap_unbind_ext_s(ld, nullptr, nullptr);
}

} // namespace test
