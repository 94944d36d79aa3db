#include "errors.h"
#include "operation.h"
#include "text.h"

#include <array>
#include <fmt/format.h>
#include <memory>

namespace qldapx {
namespace {

/** An operation on one partition, with flags. */
struct FlaggedOperation {
    const char *name;
    result<void> (*call)(session_ref, cstring, int);
    const char *done; // what then has happened to the partition
    const char *description;
    std::vector<std::string> examples;
};

/** An operation on a partition that has lost its connection to the tree, on one server. */
struct OrphanOperation {
    const char *name;
    result<void> (*call)(session_ref, cstring, cstring);
    const char *done;
    const char *description;
    std::vector<std::string> examples;
};

std::vector<FlaggedOperation> flaggedOperations() {
    return {{"split",
             partition::split,
             "split off",
             "Make an entry the root of a partition",
             {"partition split ou=people,dc=example,dc=com"}},
            {"merge",
             partition::merge,
             "merged",
             "Join a partition to the one above it",
             {"partition merge ou=emea,dc=example,dc=com"}},
            {"abort",
             partition::abort_operation,
             "operation aborted",
             "Give up an unfinished operation on a partition",
             {"partition split ou=people,dc=example,dc=com --flags 1",
              "partition abort ou=people,dc=example,dc=com"}}};
}

std::vector<OrphanOperation> orphanOperations() {
    const std::string names = " cn=strata2,ou=servers,dc=example,dc=com "
                              "ou=people,dc=example,dc=com";
    return {{"split-orphan",
             partition::split_orphan,
             "split off",
             "Split a partition that lost its connection to the tree",
             {"partition split-orphan" + names}},
            {"remove-orphan",
             partition::remove_orphan,
             "removed",
             "Remove a partition that lost its connection to the tree",
             {"partition split-orphan" + names, "partition remove-orphan" + names}}};
}

void addFlagged(CLI::App &group, Tool &tool, const FlaggedOperation &operation) {
    struct Arguments {
        std::string dn;
        int flags = 0;
    };
    CLI::App &command =
        addCommand(group, operation.name, operation.description, operation.examples);
    auto args = std::make_shared<Arguments>();
    command.add_option("DN", args->dn, "DN of the partition's root")->required();
    command.add_option("--flags", args->flags, "Flags, whose meaning is the server's")
        ->type_name("N")
        ->capture_default_str();
    command.callback([&tool, args, operation] {
        tool.action = [args, operation](Run &run) {
            performed(run, args->dn,
                      [&](session_ref at) { return operation.call(at, args->dn, args->flags); });
            run.done(fmt::format("partition {} {}", printable(args->dn), operation.done),
                     {{"partition", args->dn}, {"flags", args->flags}});
        };
    });
}

void addOrphan(CLI::App &group, Tool &tool, const OrphanOperation &operation) {
    struct Arguments {
        std::string server, partition;
    };
    CLI::App &command =
        addCommand(group, operation.name, operation.description, operation.examples);
    auto args = std::make_shared<Arguments>();
    command.add_option("SERVER_DN", args->server, "DN of the server that holds it")->required();
    command.add_option("PARTITION_DN", args->partition, "DN of the partition's root")->required();
    command.callback([&tool, args, operation] {
        tool.action = [args, operation](Run &run) {
            performed(run, args->partition, [&](session_ref at) {
                return operation.call(at, args->server, args->partition);
            });
            run.done(fmt::format("orphan partition {} on {} {}", printable(args->partition),
                                 printable(args->server), operation.done),
                     {{"server", args->server}, {"partition", args->partition}});
        };
    });
}

int countEntries(Run &run, const std::string &dn) {
    return performed(run, dn, [&](session_ref at) { return partition::entry_count(at, dn); });
}

void printCount(Run &run, const std::string &dn, int count) {
    run.out.line(fmt::format("{:>8}  {}", count, printable(dn)));
}

// After either, libldap would go on over a new connection that is not bound.
bool endsSession(const Failure &failure) {
    return failure.problem().code == LDAP_SERVER_DOWN || failure.problem().code == LDAP_TIMEOUT;
}

/** Counts them all: one that fails does not hide the others. */
void countAll(Run &run, const std::vector<std::string> &dns) {
    Output::Json counts = Output::Json::array();
    run.open();
    for (const std::string &dn : dns) {
        try {
            const int count = countEntries(run, dn);
            counts.push_back({{"dn", dn}, {"entries", count}});
            if (!run.out.isJson())
                printCount(run, dn, count);
        } catch (const Failure &failure) {
            run.failed(failure);
            if (endsSession(failure))
                break;
        }
    }
    if (run.out.isJson())
        run.out.json(counts);
}

void addCount(CLI::App &group, Tool &tool) {
    CLI::App &command = addCommand(group, "count", "Say how many entries partitions hold",
                                   {"partition count dc=example,dc=com ou=emea,dc=example,dc=com"});
    auto dns = std::make_shared<std::vector<std::string>>();
    command.add_option("DN", *dns, "DN of a partition's root")->required();
    command.callback([&tool, dns] { tool.action = [dns](Run &run) { countAll(run, *dns); }; });
}

} // namespace

void addPartition(CLI::App &root, Tool &tool) {
    CLI::App &group = addGroup(root, "partition", "Split, merge and count partitions of the tree");
    for (const FlaggedOperation &operation : flaggedOperations())
        addFlagged(group, tool, operation);
    addCount(group, tool);
    for (const OrphanOperation &operation : orphanOperations())
        addOrphan(group, tool, operation);
}

} // namespace qldapx
