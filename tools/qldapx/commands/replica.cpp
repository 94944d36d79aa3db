#include "command.h"
#include "errors.h"
#include "text.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <qldapx.h>
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

    char *partitionDn() { return partition.data(); }
    char *serverDn() { return server.data(); }
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
    int (*call)(LDAP *, Arguments &);
    const char *done; // with the partition and the server for {0} and {1}
    std::vector<std::string> examples;
};

std::vector<Order> changes() {
    constexpr unsigned replica = takesPartition | takesServer;
    return {
        {"add",
         "Give a server a replica of a partition",
         replica | takesType | takesFlags,
         [](LDAP *ld, Arguments &args) {
             return ldap_add_replica(ld, args.partitionDn(), args.serverDn(), args.type,
                                     args.flags);
         },
         "replica of {0} added on {1}",
         {fmt::format("partition split {}", people),
          fmt::format("replica remove {} {}", people, strata2),
          fmt::format("replica add {} {} --type 2", people, strata2)}},
        {"remove",
         "Take a server's replica of a partition away",
         replica | takesFlags,
         [](LDAP *ld, Arguments &args) {
             return ldap_remove_replica(ld, args.partitionDn(), args.serverDn(), args.flags);
         },
         "replica of {0} removed from {1}",
         {fmt::format("replica remove {} {}", emea, strata2)}},
        {"retype",
         "Change the type of a replica",
         replica | takesType | takesFlags,
         [](LDAP *ld, Arguments &args) {
             return ldap_change_replica_type(ld, args.partitionDn(), args.serverDn(), args.type,
                                             args.flags);
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
         [](LDAP *ld, Arguments &args) {
             return ldap_send_all_updates(ld, args.partitionDn(),
                                          args.server.empty() ? nullptr : args.serverDn());
         },
         "updates of {0} are being sent",
         {fmt::format("replica send-updates {}", emea)}},
        {"receive-updates",
         "Fetch all updates of a replica anew",
         replica,
         [](LDAP *ld, Arguments &args) {
             return ldap_receive_all_updates(ld, args.partitionDn(), args.serverDn(), nullptr);
         },
         "updates of {0} are being received on {1}",
         {fmt::format("replica receive-updates {} {}", emea, strata2)}},
        {"sync",
         "Ask for a replica to be synchronised",
         replica | takesDelay,
         [](LDAP *ld, Arguments &args) {
             return ldap_request_partition_sync(ld, args.serverDn(), args.partitionDn(),
                                                args.delay);
         },
         "synchronisation of {0} on {1} requested",
         {fmt::format("replica sync {} {} --delay 5", emea, strata2)}},
        {"schema-sync",
         "Ask for a server's schema to be synchronised",
         takesServer | takesDelay,
         [](LDAP *ld, Arguments &args) {
             return ldap_request_schema_sync(ld, args.serverDn(), args.delay);
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
            run.perform(objectOf(*args), [&](LDAP *ld) { return order.call(ld, *args); });
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

ReplicaInfo fetchInfo(Run &run, Arguments &args) {
    ReplicaInfo info = {};
    run.perform(objectOf(args), [&](LDAP *ld) {
        const AbortIsFailure guard(objectOf(args), run.out.isJson());
        return ldap_get_replica_info(ld, args.partitionDn(), args.serverDn(), &info);
    });
    return info;
}

void printInfo(Run &run, const ReplicaInfo &info) {
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

std::vector<std::string> fetchList(Run &run, Arguments &args) {
    struct Release {
        void operator()(char **list) const { ber_memvfree(reinterpret_cast<void **>(list)); }
    };
    char **list = nullptr;
    run.perform(args.partition,
                [&](LDAP *ld) { return ldap_list_replicas(ld, args.partitionDn(), &list); });
    const std::unique_ptr<char *, Release> owner(list);
    std::vector<std::string> replicas;
    for (char **each = list; each != nullptr && *each != nullptr; ++each)
        replicas.emplace_back(*each);
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
