// Descriptions of schema elements, read, written and released: by this library, and by libldap
// alone, which it leaves most kinds to.
#include "memory/exported.h"
#include "memory/rows.h"

#include <ldap_schema.h>
#include <qldapx.h>

namespace qldapx_test::memory {
namespace {

enum class Whose { thisLibrary, libldap };

template <class Record>
class Kind {
  public:
    // name: behind ldap_str2, and before 2str and _free.
    Kind(Whose whose, const std::string &name, const char *text) : text_(text) {
        readName_ = find(whose, "ldap_str2" + name, read_);
        writeName_ = find(whose, "ldap_" + name + "2str", write_);
        releaseName_ = find(whose, "ldap_" + name + "_free", release_);
    }

    void run(Trial &trial) const {
        const Watch watch(trial);
        int code = 0;
        const char *errorAt = nullptr;
        Record *record = trial.pointer(
            readName_.c_str(), [&] { return read_(text_, &code, &errorAt, LDAP_SCHEMA_ALLOW_ALL); },
            Without::mayGoOn);
        if (record == nullptr)
            return;
        ldap_memfree(trial.pointer(writeName_.c_str(), [&] { return write_(record); }));
        trial.call(releaseName_.c_str(), [&] { release_(record); });
    }

  private:
    template <class Function>
    static std::string find(Whose whose, const std::string &name, Function &function) {
        const bool isOurs = whose == Whose::thisLibrary;
        void *found = isOurs ? inLibrary(name.c_str()) : inLibldap(name.c_str());
        function = reinterpret_cast<Function>(found);
        return isOurs ? name : libldapAlone + name;
    }

    Record *(*read_)(const char *text, int *code, const char **errorAt, unsigned flags);
    char *(*write_)(Record *record);
    void (*release_)(Record *record);
    std::string readName_, writeName_, releaseName_;
    const char *text_;
};

template <class Record>
void add(Rows &rows, Whose whose, const char *name, const char *text) {
    rows.push_back(
        {name, [kind = Kind<Record>(whose, name, text)](Trial &trial) { kind.run(trial); }});
}

template <class Record>
void addBoth(Rows &rows, const char *name, const char *text) {
    add<Record>(rows, Whose::thisLibrary, name, text);
    add<Record>(rows, Whose::libldap, name, text);
}

constexpr char contentRule[] = "( 1.2 NAME ( 'a' 'b' ) DESC 'd' AUX ( s $ t ) MUST ( m $ n ) "
                               "MAY ( o $ p ) NOT ( q $ r ) X-A 'x' )";

// All of it is this library's: each failure has its code, and loses nothing.
void addStructureRule(Rows &rows) {
    rows.push_back(
        {"structure rule", [](Trial &trial) {
             int code = 0;
             const char *errorAt = nullptr;
             const Watch watch(trial);
             LDAPDITStructureRule *rule = trial.pointer("ldap_str2ditstructurerule", [&] {
                 return ldap_str2ditstructurerule(
                     "( '3' NAME ( 'a' 'b' ) DESC 'd' FORM f SUP ( 1 2 ) X-A 'x' )", &code,
                     &errorAt, LDAP_SCHEMA_ALLOW_ALL);
             });
             trial.expect(code == (rule != nullptr ? 0 : LDAP_SCHERR_OUTOFMEM), "another code");
             ldap_ditstructurerule_free(rule);
         }});
    add<LDAPDITStructureRule>(rows, Whose::thisLibrary, "ditstructurerule",
                              "( '3' NAME ( 'a' 'b' ) FORM f SUP ( 1 2 ) X-A 'x' X-B 'y' )");
}

} // namespace

void addDescriptions(Rows &rows) {
    addBoth<LDAPAttributeType>(
        rows, "attributetype",
        "( 1.2 NAME ( 'a' 'b' ) DESC 'd' SUP s EQUALITY e ORDERING o SUBSTR u SYNTAX 1.3{64} "
        "SINGLE-VALUE X-A ( 'x' 'y' ) X-B 'z' )");
    addBoth<LDAPObjectClass>(
        rows, "objectclass",
        "( 1.2 NAME ( 'a' 'b' ) DESC 'd' SUP ( s $ t ) STRUCTURAL MUST ( m $ n "
        ") MAY ( o $ p ) X-A ( 'x' 'y' ) )");
    addBoth<LDAPSyntax>(rows, "syntax", "( 1.2 DESC 'd' X-A ( 'x' 'y' ) X-B 'z' )");
    addBoth<LDAPMatchingRule>(
        rows, "matchingrule",
        "( 1.2 NAME ( 'a' 'b' ) DESC 'd' OBSOLETE SYNTAX 1.3 X-A ( 'x' 'y' ) )");
    addBoth<LDAPMatchingRuleUse>(
        rows, "matchingruleuse",
        "( 1.2 NAME ( 'a' 'b' ) DESC 'd' APPLIES ( s $ t ) X-A ( 'x' 'y' ) )");
    addBoth<LDAPNameForm>(
        rows, "nameform",
        "( 1.2 NAME ( 'a' 'b' ) DESC 'd' OC c MUST ( m $ n ) MAY ( o $ p ) X-A 'x' )");
    add<LDAPContentRule>(rows, Whose::thisLibrary, "ditcontentrule", contentRule);
    add<LDAPContentRule>(rows, Whose::libldap, "contentrule", contentRule);
    addStructureRule(rows);
}

} // namespace qldapx_test::memory
