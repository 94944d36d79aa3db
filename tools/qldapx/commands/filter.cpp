#include "errors.h"
#include "filter_text.h"
#include "operation.h"
#include "text.h"

#include <fmt/format.h>
#include <memory>
#include <unistd.h>

namespace qldapx {
namespace {

struct GetArguments {
    std::string server;
    bool raw = false;
};

struct SetArguments {
    std::string server;
    std::string text;
    std::vector<std::string> classes;
    bool clear = false;
};

std::string fetchFilter(Run &run, const std::string &server) {
    return std::string(performed(
        run, server, [&](session_ref at) { return replication_filter::get(at, server); }));
}

Filter parseAnswer(const std::string &text, const std::string &server) {
    try {
        return parseFilter(text);
    } catch (const UsageError &) {
        throw Failure({"filter get",
                       server,
                       {},
                       {},
                       "the server's filter has a name that is empty",
                       {},
                       {},
                       "look at it with --raw"});
    }
}

void printFilter(Run &run, const Filter &filter) {
    if (run.out.isJson()) {
        Output::Json list = Output::Json::array();
        for (const FilterClass &group : filter)
            list.push_back({{"class", group.name}, {"attributes", group.attributes}});
        run.out.json(list);
        return;
    }
    Output::Rows rows;
    for (const FilterClass &group : filter) {
        std::string attributes;
        for (const std::string &attribute : group.attributes)
            attributes += (attributes.empty() ? "" : " ") + printable(attribute);
        rows.push_back({printable(group.name), attributes});
    }
    run.out.table(rows);
}

void get(Run &run, const GetArguments &args) {
    const std::string text = fetchFilter(run, args.server);
    if (!args.raw)
        printFilter(run, parseAnswer(text, args.server));
    else if (run.out.isJson())
        run.out.json({{"filter", text}});
    else
        run.out.line(isatty(STDOUT_FILENO) == 1 ? printable(text) : text);
}

void addGet(CLI::App &group, Tool &tool) {
    const std::string server = "cn=strata3,ou=servers,dc=example,dc=com";
    CLI::App &command =
        addCommand(group, "get", "Show a server's replication filter",
                   {"filter set " + server + " --class person=cn,sn", "filter get " + server});
    auto args = std::make_shared<GetArguments>();
    command.add_option("SERVER_DN", args->server, "DN of the server")->required();
    command.add_flag("--raw", args->raw, "Print the filter's text, as set takes it");
    command.callback([&tool, args] { tool.action = [args](Run &run) { get(run, *args); }; });
}

Filter givenFilter(const SetArguments &args) {
    const int ways = static_cast<int>(!args.text.empty()) +
                     static_cast<int>(!args.classes.empty()) + static_cast<int>(args.clear);
    if (ways != 1)
        throw UsageError("give the filter in one way: FILTER_TEXT, --class or --clear",
                         "qldapx filter set --help");
    if (!args.text.empty())
        return parseFilter(args.text);
    Filter filter;
    for (const std::string &text : args.classes)
        filter.push_back(parseFilterClass(text));
    return filter;
}

void set(Run &run, const SetArguments &args) {
    const Filter filter = givenFilter(args);
    const std::string text = filterText(filter);
    performed(run, args.server,
              [&](session_ref at) { return replication_filter::set(at, args.server, text); });
    const std::string server = printable(args.server);
    run.done(filter.empty() ? fmt::format("filter of {} cleared", server)
                            : fmt::format("filter of {} set: {} class{}", server, filter.size(),
                                          filter.size() == 1 ? "" : "es"),
             {{"server", args.server}, {"filter", text}});
}

void addSet(CLI::App &group, Tool &tool) {
    const std::string server = "cn=strata3,ou=servers,dc=example,dc=com";
    CLI::App &command =
        addCommand(group, "set", "Replace a server's replication filter",
                   {"filter set " + server + " --class person=cn,sn --class device=cn",
                    "filter set " + server + " 'person$cn$sn$$device$cn$$$'"});
    auto args = std::make_shared<SetArguments>();
    command.add_option("SERVER_DN", args->server, "DN of the server")->required();
    command.add_option("FILTER_TEXT", args->text,
                       "The filter: 'class$attribute$attribute$$...$' in single quotes");
    command.add_option("--class", args->classes, "A class and its attributes; may be repeated")
        ->type_name("NAME=ATTR,ATTR")
        ->allow_extra_args(false);
    command.add_flag("--clear", args->clear, "No filter: everything is replicated");
    command.callback([&tool, args] { tool.action = [args](Run &run) { set(run, *args); }; });
}

} // namespace

void addFilter(CLI::App &root, Tool &tool) {
    CLI::App &group = addGroup(root, "filter", "Show and set what a server replicates");
    addGet(group, tool);
    addSet(group, tool);
}

} // namespace qldapx
