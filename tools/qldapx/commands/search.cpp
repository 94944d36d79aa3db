#include "commands/follow.h"
#include "entry_output.h"
#include "errors.h"

#include <map>

namespace qldapx {
namespace {

std::map<std::string, int> scopes() {
    return {{"base", LDAP_SCOPE_BASE}, {"one", LDAP_SCOPE_ONELEVEL}, {"sub", LDAP_SCOPE_SUBTREE}};
}

struct Arguments {
    SearchRequest request;
    std::string scope = "sub";
    std::string filter; // or an attribute
    bool follow = false;
    FollowOptions following;
};

// As with ldapsearch: the first argument is a filter if it can be one.
void sortArguments(Arguments &args) {
    SearchRequest &request = args.request;
    request.scope = scopes().at(args.scope);
    if (args.filter.find_first_of("=(") != std::string::npos)
        request.filter = args.filter;
    else if (!args.filter.empty())
        request.attributes.insert(request.attributes.begin(), args.filter);
    checkFilter(request.filter);
}

void refuseWithoutFollow(const Arguments &args) {
    const FollowOptions &options = args.following;
    if (!args.follow && (!options.changes.empty() || options.existing || options.count))
        throw UsageError("--changes, --existing and --count belong to --follow",
                         "add --follow; -z limits an ordinary search");
    if (args.follow && args.request.typesOnly)
        throw UsageError("-A and --follow do not go together", "leave out -A");
}

void run(Run &run, Arguments &args) {
    refuseWithoutFollow(args);
    sortArguments(args);
    if (args.follow)
        follow(run, args.request, args.following);
    else
        searchAndPrint(run, args.request);
}

void addLimits(CLI::App &command, SearchRequest &request) {
    constexpr int any = 0x7fffffff;
    const auto number = [&](const char *name, std::optional<int> &value, const char *description) {
        return command.add_option(name, value, description)
            ->check(CLI::Range(0, any).description(""));
    };
    number("-z", request.sizeLimit, "At most so many entries; 0 for no limit")->type_name("N");
    number("-l", request.timeLimit, "The server searches at most so long")->type_name("SECONDS");
    command.add_flag("-A", request.typesOnly, "Names of attributes only, no values");
}

void addFollowing(CLI::App &command, Arguments &args) {
    command.add_flag("--follow", args.follow,
                     "Go on, and print each change as it happens, until Ctrl-C");
    command
        .add_option("--changes", args.following.changes,
                    "With --follow: only these, of add, delete, modify, moddn")
        ->type_name("KIND,KIND")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::IsMember(changeNames()).description(""));
    command.add_flag("--existing", args.following.existing,
                     "With --follow: first print what is there now");
    command
        .add_option("--count", args.following.count,
                    "With --follow: end after so many entries, existing ones counted")
        ->type_name("N")
        ->check(CLI::PositiveNumber.description(""));
}

} // namespace

void addSearch(CLI::App &root, Tool &tool) {
    CLI::App &command =
        addCommand(root, "search", "Find entries and print them as LDIF, or follow their changes",
                   {"search -b dc=example,dc=com '(cn=Ada*)' cn mail",
                    "search -b ou=people,dc=example,dc=com -s base --follow --existing --count 1"});
    auto args = std::make_shared<Arguments>();
    SearchRequest &request = args->request;
    command.add_option("FILTER", args->filter,
                       "What to find, as in '(cn=Ada*)'; without one, every entry");
    command.add_option("ATTR", request.attributes,
                       "What to print of it, + for operational ones; without one, all the others");
    command.add_option("-b", request.base, "Where to search; without it, BASE of ldap.conf")
        ->type_name("DN");
    command
        .add_option("-s", args->scope,
                    "base: the entry itself; one: those right below it; sub: all of it")
        ->type_name("base|one|sub")
        ->check(CLI::IsMember(scopes()).description(""))
        ->capture_default_str();
    addLimits(command, request);
    addFollowing(command, *args);
    command.callback([&tool, args] { tool.action = [args](Run &r) { run(r, *args); }; });
}

} // namespace qldapx
