#include "base_search.h"

namespace qldapx {
namespace {

class ControlReader : public SearchHandler {
  public:
    explicit ControlReader(const std::function<int(LDAP *, LDAPControl **)> &parse)
        : parse_(parse) {}

    bool entry(LDAP * /*ld*/, const Entry & /*entry*/, LDAPControl ** /*controls*/) override {
        return true;
    }
    void reference(const std::vector<std::string> & /*uris*/) override {}
    int done(LDAP *ld, LDAPControl **controls) override { return parse_(ld, controls); }

  private:
    const std::function<int(LDAP *, LDAPControl **)> &parse_;
};

} // namespace

void searchForControls(Run &run, const std::string &dn,
                       const std::function<int(LDAP *, LDAPControl **)> &parse) {
    SearchRequest request;
    request.base = dn;
    request.scope = LDAP_SCOPE_BASE;
    request.attributes = {LDAP_NO_ATTRS};
    ControlReader reader(parse);
    search(run, request, reader);
}

} // namespace qldapx
