#include "entry_output.h"
#include "errors.h"
#include "operation.h"

namespace qldapx {
namespace {

struct Arguments {
    std::string dn;
    std::vector<std::string> attributes;
    std::vector<std::string> classes;
    std::optional<int> mode;
};

/** The items of the list form; they refer to the arguments. */
std::vector<GetEffectiveItem> itemsOf(const Arguments &args) {
    std::vector<GetEffectiveItem> items;
    for (const std::string &attribute : args.attributes)
        items.push_back({attribute.c_str(), nullptr});
    for (const std::string &name : args.classes)
        items.push_back({nullptr, name.c_str()});
    return items;
}

void show(Run &run, const Arguments &args) {
    constexpr int listForm = 2, both = 1;
    const std::vector<GetEffectiveItem> items = itemsOf(args);
    std::vector<const GetEffectiveItem *> list;
    list.reserve(items.size() + 1);
    for (const GetEffectiveItem &item : items)
        list.push_back(&item);
    list.push_back(nullptr);
    const int mode = items.empty() ? args.mode.value_or(both) : listForm;
    run.attach([&](session_ref at) { return controls::effective_rights(at, mode, list.data()); });
    SearchRequest request;
    request.base = args.dn;
    request.scope = LDAP_SCOPE_BASE;
    request.attributes = {LDAP_NO_ATTRS}; // the rights come without being selected
    searchAndPrint(run, request);
}

void checkArguments(const Arguments &args) {
    if (args.mode && (!args.attributes.empty() || !args.classes.empty()))
        throw UsageError("--mode asks for an entry's rights as a whole, without ATTR and --class",
                         "give the one or the other");
}

} // namespace

void addRights(CLI::App &root, Tool &tool) {
    const std::string ada = "'cn=Ada Brandt,ou=people,dc=example,dc=com'";
    CLI::App &command = addCommand(
        root, "rights",
        "Print one's own rights to an entry as the server words them, classes included; privileges "
        "prints anybody's rights as plain bits",
        {"rights " + ada, "rights " + ada + " cn mail --class person"});
    auto args = std::make_shared<Arguments>();
    command.add_option("DN", args->dn, "DN of the entry")->required();
    command.add_option("ATTR", args->attributes, "An attribute; without one, see --mode");
    command.add_option("--class", args->classes, "The attributes of a class; may be repeated")
        ->type_name("NAME")
        ->allow_extra_args(false);
    command
        .add_option("--mode", args->mode,
                    "Without ATTR and --class: 0 or 1, whose meaning is the server's (default 1)")
        ->type_name("N")
        ->check(CLI::Range(0, 1).description(""));
    command.callback([&tool, args] {
        checkArguments(*args);
        tool.action = [args](Run &run) { show(run, *args); };
    });
}

} // namespace qldapx
