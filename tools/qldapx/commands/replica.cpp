#include "errors.h"
#include "operation.h"
#include "text.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <unistd.h>

namespace qldapx {
namespace {

/** What the replica commands take, each its own part of it. */
struct Arguments {
    std::string partition;
    std::string server;
    int type = 0;
    int flags = 0;
    int delay = 0;
};

constexpr const char *emea = "ou=emea,dc=example,dc=com";
constexpr const char *people = "ou=people,dc=example,dc=com";
constexpr const char *strata1 = "cn=strata1,ou=servers,dc=example,dc=com";
constexpr const char *strata2 = "cn=strata2,ou=servers,dc=example,dc=com";

enum Takes : unsigned {
    takesPartition = 1U,
    takesServer = 2U,
    takesServerOrNone = 4U,
    takesType = 8U,
    takesFlags = 16U,
    takesDelay = 32U,
};

/** An operation that gives no data. */
struct Order {
    const char *name;
    const char *description;
    unsigned takes;
    result<void> (*call)(session_ref, const Arguments &);
    const char *done; // with the partition and the server for {0} and {1}
    std::vector<std::string> examples;
};

std::vector<Order> changes() {
    constexpr unsigned replica = takesPartition | takesServer;
    return {
        {"add",
         "Give a server a replica of a partition",
         replica | takesType | takesFlags,
         [](session_ref at, const Arguments &args) {
             return replica::add(at, args.partition, args.server, args.type, args.flags);
         },
         "replica of {0} added on {1}",
         {fmt::format("partition split {}", people),
          fmt::format("replica remove {} {}", people, strata2),
          fmt::format("replica add {} {} --type 2", people, strata2)}},
        {"remove",
         "Take a server's replica of a partition away",
         replica | takesFlags,
         [](session_ref at, const Arguments &args) {
             return replica::remove(at, args.partition, args.server, args.flags);
         },
         "replica of {0} removed from {1}",
         {fmt::format("replica remove {} {}", emea, strata2)}},
        {"retype",
         "Change the type of a replica",
         replica | takesType | takesFlags,
         [](session_ref at, const Arguments &args) {
             return replica::change_type(at, args.partition, args.server, args.type, args.flags);
         },
         "replica of {0} on {1} has another type",
         {fmt::format("replica retype {} {} --type 3", emea, strata2)}},
    };
}

std::vector<Order> updates() {
    constexpr unsigned replica = takesPartition | takesServer;
    return {
        {"send-updates",
         "Send all updates anew, to one server or to all",
         takesPartition | takesServerOrNone,
         [](session_ref at, const Arguments &args) {
             return replica::send_all_updates(at, args.partition,
                                              args.server.empty() ? nullptr : args.server.c_str());
         },
         "updates of {0} are being sent",
         {fmt::format("replica send-updates {}", emea)}},
        {"receive-updates",
         "Fetch all updates of a replica anew",
         replica,
         [](session_ref at, const Arguments &args) {
             return replica::receive_all_updates(at, args.partition, args.server);
         },
         "updates of {0} are being received on {1}",
         {fmt::format("replica receive-updates {} {}", emea, strata2)}},
        {"sync",
         "Ask for a replica to be synchronised",
         replica | takesDelay,
         [](session_ref at, const Arguments &args) {
             return replica::request_sync(at, args.partition, args.server, args.delay);
         },
         "synchronisation of {0} on {1} requested",
         {fmt::format("replica sync {} {} --delay 5", emea, strata2)}},
        {"schema-sync",
         "Ask for a server's schema to be synchronised",
         takesServer | takesDelay,
         [](session_ref at, const Arguments &args) {
             return replica::request_schema_sync(at, args.server, args.delay);
         },
         "synchronisation of the schema on {1} requested",
         {fmt::format("replica schema-sync {}", strata1)}},
    };
}

void declare(CLI::App &command, unsigned takes, Arguments &args) {
    if ((takes & takesPartition) != 0)
        command.add_option("PARTITION_DN", args.partition, "DN of the partition's root")
            ->required();
    if ((takes & (takesServer | takesServerOrNone)) != 0)
        command
            .add_option("SERVER_DN", args.server,
                        (takes & takesServer) != 0 ? "DN of the server"
                                                   : "DN of the server; without it, all servers")
            ->required((takes & takesServer) != 0);
    const auto number = [&command](const char *name, int &value, const char *description) {
        return command.add_option(name, value, description)->type_name("N");
    };
    if ((takes & takesType) != 0)
        number("--type", args.type, "Type of replica, the server's number")->required();
    if ((takes & takesFlags) != 0)
        number("--flags", args.flags, "Flags, whose meaning is the server's")
            ->capture_default_str();
    if ((takes & takesDelay) != 0)
        number("--delay", args.delay, "Start so much later, in the server's unit")
            ->capture_default_str();
}

Output::Json fieldsOf(unsigned takes, const Arguments &args) {
    Output::Json fields = Output::Json::object();
    if ((takes & takesPartition) != 0)
        fields["partition"] = args.partition;
    if ((takes & takesServer) != 0 || !args.server.empty())
        fields["server"] = args.server;
    if ((takes & takesType) != 0)
        fields["type"] = args.type;
    if ((takes & takesFlags) != 0)
        fields["flags"] = args.flags;
    if ((takes & takesDelay) != 0)
        fields["delay"] = args.delay;
    return fields;
}

/** What a refusal is about, for its message. */
std::string objectOf(const Arguments &args) {
    if (args.partition.empty() || args.server.empty())
        return args.partition + args.server;
    return fmt::format("{} on {}", args.partition, args.server);
}

void addOrder(CLI::App &group, Tool &tool, const Order &order) {
    CLI::App &command = addCommand(group, order.name, order.description, order.examples);
    auto args = std::make_shared<Arguments>();
    declare(command, order.takes, *args);
    command.callback([&tool, args, order] {
        tool.action = [args, order](Run &run) {
            performed(run, objectOf(*args), [&](session_ref at) { return order.call(at, *args); });
            run.done(fmt::format(fmt::runtime(order.done), printable(args->partition),
                                 printable(args->server)),
                     fieldsOf(order.takes, *args));
        };
    });
}

// The library ends the process, with a message of its own, when a report's DN has no room in its
// record. Ours then ends as one that failed, with the reason.
std::string lastWords;
int standardError = -1;

void sayLastWords(int /*signal*/) {
    if (write(standardError, lastWords.data(), lastWords.size()) < 0)
        _exit(exitFailed);
    _exit(exitFailed);
}

std::string tooLong(const std::string &object, bool json) {
    Problem problem;
    problem.operation = "replica info";
    problem.object = object;
    problem.reason = "the answer's DN is longer than the 770 bytes that a report can hold";
    return json ? problemLine(problem)
                : fmt::format("qldapx: {} {}\n  reason:       {}\n", problem.operation,
                              printable(problem.object), problem.reason);
}

class AbortIsFailure {
  public:
    AbortIsFailure(const std::string &object, bool json) {
        lastWords = tooLong(object, json);
        standardError = dup(STDERR_FILENO);
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDERR_FILENO);
        close(nowhere);
        std::signal(SIGABRT, sayLastWords);
    }
    ~AbortIsFailure() {
        std::signal(SIGABRT, SIG_DFL);
        dup2(standardError, STDERR_FILENO);
        close(standardError);
    }
    AbortIsFailure(const AbortIsFailure &) = delete;
    AbortIsFailure &operator=(const AbortIsFailure &) = delete;
};

replica::info fetchInfo(Run &run, const Arguments &args) {
    return performed(run, objectOf(args), [&](session_ref at) {
        const AbortIsFailure guard(objectOf(args), run.out.isJson());
        return replica::get_info(at, args.partition, args.server);
    });
}

void printInfo(Run &run, const replica::info &info) {
    const Output::Json fields = {{"number1", info.number1}, {"number2", info.number2},
                                 {"number3", info.number3}, {"number4", info.number4},
                                 {"number5", info.number5}, {"dn", info.dn},
                                 {"number6", info.number6}, {"number7", info.number7}};
    if (run.out.isJson()) {
        run.out.json(fields);
        return;
    }
    Output::Rows rows;
    for (const auto &[name, value] : fields.items())
        rows.push_back({name, value.is_string() ? printable(value.get<std::string>())
                                                : std::to_string(value.get<int>())});
    run.out.table(rows);
}

void addInfo(CLI::App &group, Tool &tool) {
    CLI::App &command = addCommand(group, "info", "Report on one replica",
                                   {fmt::format("replica info {} {}", emea, strata1)});
    auto args = std::make_shared<Arguments>();
    declare(command, takesPartition | takesServer, *args);
    command.callback([&tool, args] {
        tool.action = [args](Run &run) { printInfo(run, fetchInfo(run, *args)); };
    });
}

std::vector<std::string> fetchList(Run &run, const Arguments &args) {
    const ldap_text_list list = performed(
        run, args.partition, [&](session_ref at) { return replica::list(at, args.partition); });
    std::vector<std::string> replicas;
    for (const cstring each : list)
        replicas.emplace_back(each);
    return replicas;
}

void addList(CLI::App &group, Tool &tool) {
    CLI::App &command = addCommand(group, "list", "List the replicas of a partition",
                                   {fmt::format("replica list {}", emea)});
    auto args = std::make_shared<Arguments>();
    declare(command, takesPartition, *args);
    command.callback([&tool, args] {
        tool.action = [args](Run &run) {
            const auto replicas = fetchList(run, *args);
            if (run.out.isJson())
                run.out.json({{"partition", args->partition}, {"replicas", replicas}});
            else
                for (const std::string &replica : replicas)
                    run.out.line(printable(replica));
        };
    });
}

} // namespace

void addReplica(CLI::App &root, Tool &tool) {
    CLI::App &group = addGroup(root, "replica", "Add, remove, show and synchronise replicas");
    addList(group, tool);
    addInfo(group, tool);
    for (const Order &order : changes())
        addOrder(group, tool, order);
    for (const Order &order : updates())
        addOrder(group, tool, order);
}

} // namespace qldapx
