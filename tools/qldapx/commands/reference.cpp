#include "base_search.h"
#include "errors.h"
#include "operation.h"
#include "text.h"

namespace qldapx {
namespace {

void show(Run &run, const std::string &dn) {
    run.attach([](session_ref at) { return controls::reference(at); });
    std::optional<std::string> reference;
    searchForControls(run, dn, [&](LDAP *ld, LDAPControl **list) {
        const auto answer =
            controls::reference_answer(session_ref(borrow, ld), control_list_ref(borrow, list));
        if (answer && *answer)
            reference = std::string(*answer);
        return answer ? LDAP_SUCCESS : answer.error().code();
    });
    if (!reference)
        throw Failure(
            {"reference", dn, {}, {}, "the server's answer has no reference", {}, {}, {}});
    if (run.out.isJson())
        run.out.json({{"dn", dn}, {"reference", *reference}});
    else
        run.out.line(printable(*reference));
}

} // namespace

void addReference(CLI::App &root, Tool &tool) {
    CLI::App &command = addCommand(root, "reference", "Print the server's reference to an entry",
                                   {"reference 'cn=Ada Brandt,ou=people,dc=example,dc=com'"});
    auto dn = std::make_shared<std::string>();
    command.add_option("DN", *dn, "DN of the entry")->required();
    command.callback([&tool, dn] { tool.action = [dn](Run &run) { show(run, *dn); }; });
}

} // namespace qldapx
