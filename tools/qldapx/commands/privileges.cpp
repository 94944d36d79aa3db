#include "errors.h"
#include "identity.h"
#include "operation.h"
#include "text.h"

#include <fmt/format.h>
#include <memory>

namespace qldapx {
namespace {

struct Arguments {
    std::string dn;
    std::optional<std::string> trustee;
    std::vector<std::string> attributes;
};

int fetchOne(Run &run, const Arguments &args, const std::string &trustee) {
    return performed(run, args.dn, [&](session_ref at) {
        return identity::effective_privileges(at, args.dn, trustee, args.attributes.front());
    });
}

std::vector<int> fetchSeveral(Run &run, const Arguments &args, const std::string &trustee) {
    std::vector<const char *> names;
    for (const std::string &attribute : args.attributes)
        names.push_back(attribute.c_str());
    std::vector<int> bits(names.size());
    names.push_back(nullptr);
    const int count = performed(run, args.dn, [&](session_ref at) {
        return identity::effective_privileges(at, args.dn, trustee, names.data(), bits.data(),
                                              static_cast<int>(bits.size()));
    });
    if (static_cast<std::size_t>(count) == bits.size())
        return bits;
    throw Failure({"privileges",
                   args.dn,
                   {},
                   {},
                   fmt::format("{} attributes were asked for, and the server answered for {}",
                               bits.size(), count),
                   {},
                   {},
                   "ask for one attribute at a time"});
}

void print(Run &run, const Arguments &args, const std::string &trustee,
           const std::vector<int> &bits) {
    Output::Json list = Output::Json::array();
    Output::Rows rows;
    for (std::size_t i = 0; i < bits.size(); ++i) {
        const std::string hex = fmt::format("0x{:08x}", static_cast<unsigned>(bits[i]));
        list.push_back({{"attribute", args.attributes[i]}, {"privileges", bits[i]}, {"hex", hex}});
        rows.push_back({printable(args.attributes[i]), std::to_string(bits[i]), hex});
    }
    if (run.out.isJson())
        run.out.json({{"dn", args.dn}, {"trustee", trustee}, {"attributes", list}});
    else
        run.out.table(rows);
}

void show(Run &run, const Arguments &args) {
    const std::string trustee = args.trustee ? *args.trustee : boundIdentity(run);
    const std::vector<int> bits = args.attributes.size() == 1
                                      ? std::vector<int>{fetchOne(run, args, trustee)}
                                      : fetchSeveral(run, args, trustee);
    print(run, args, trustee, bits);
}

} // namespace

void addPrivileges(CLI::App &root, Tool &tool) {
    CLI::App &command =
        addCommand(root, "privileges", "Say what someone may do with the attributes of an entry",
                   {"privileges 'cn=Ada Brandt,ou=people,dc=example,dc=com' cn mail",
                    "privileges 'cn=Ada Brandt,ou=people,dc=example,dc=com' mail "
                    "--trustee 'cn=Bruno Castell,ou=people,dc=example,dc=com'"});
    auto args = std::make_shared<Arguments>();
    command.add_option("DN", args->dn, "DN of the entry")->required();
    command.add_option("ATTR", args->attributes, "An attribute; without one, * (all of them)");
    command.add_option("--trustee", args->trustee, "Whose rights; without it, one's own")
        ->type_name("DN");
    command.callback([&tool, args] {
        if (args->attributes.empty())
            args->attributes = {"*"};
        tool.action = [args](Run &run) { show(run, *args); };
    });
}

} // namespace qldapx
