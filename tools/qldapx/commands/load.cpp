#include "load/loader.h"

#include "errors.h"

#include <memory>

namespace qldapx {
namespace {

struct Arguments : LoadOptions {
    std::string renames = "ordinary";
    std::string doubtfulName = "stop";
};

void addSending(CLI::App &command, Arguments &args) {
    constexpr int mostOperations = 10000, mostRequests = 64, highestRate = 10'000'000;
    command
        .add_option("--batch", args.batch, "Updates in a request; without it, as the server says")
        ->type_name("N")
        ->check(CLI::Range(1, mostOperations).description(""));
    command.add_option("--window", args.window, "Requests under way at once")
        ->type_name("N")
        ->check(CLI::Range(1, mostRequests).description(""))
        ->capture_default_str();
    command.add_option("--rate", args.rate, "At most so many updates a second, evenly")
        ->type_name("N")
        ->check(CLI::Range(1, highestRate).description(""));
    command
        .add_option("--rename", args.renames,
                    "How renamings go: ordinary, in a gap of the bulk update, or bulk, which makes "
                    "the new RDN the new superior as well and removes the old RDN")
        ->type_name("HOW")
        ->check(CLI::IsMember({"ordinary", "bulk"}).description(""))
        ->capture_default_str();
    command.add_flag("--fallback", args.fallback,
                     "Use ordinary operations if the server does not know bulk updates");
}

void addFailures(CLI::App &command, Arguments &args) {
    command.add_flag("--continue", args.goOn, "Go on after a failure");
    command
        .add_option("--rejects", args.rejects,
                    "Write what could not be loaded to this file, as LDIF")
        ->type_name("FILE");
    command
        .add_option("--checkpoint", args.checkpoint,
                    "Keep here how far the load is; without it, in the file's name and .checkpoint")
        ->type_name("FILE");
    command.add_flag("--resume", args.resume, "Go on with a load that ended early");
    command
        .add_option("--doubtful", args.doubtfulName,
                    "With --resume, updates of which nobody can tell whether they were carried "
                    "out: stop, skip or send them")
        ->type_name("WHAT")
        ->check(CLI::IsMember({"stop", "skip", "send"}).description(""))
        ->capture_default_str();
    command.add_flag("--dry-run", args.dryRun, "Only look at the file, without a server");
}

std::string examples() {
    const std::string file = "printf '%s\\n' 'dn: ou=new,dc=example,dc=com' "
                             "'objectClass: organizationalUnit' 'ou: new' > new.ldif";
    return file + "\nqldapx load --dry-run new.ldif\n" +
           exampleLine("qldapx", "load new.ldif --rejects rejects.ldif");
}

void complete(Arguments &args) {
    using Doubtful = LoadOptions::Doubtful;
    args.bulkRenames = args.renames == "bulk";
    args.doubtful = args.doubtfulName == "skip"   ? Doubtful::Skip
                    : args.doubtfulName == "send" ? Doubtful::Send
                                                  : Doubtful::Stop;
}

} // namespace

void addLoad(CLI::App &root, Tool &tool) {
    CLI::App &command = addCommand(root, "load", "Load LDIF by bulk updates", {});
    command.footer(examples());
    auto args = std::make_shared<Arguments>();
    command
        .add_option("FILE", args->file,
                    "LDIF of entries or changes, also compressed by gzip; - is standard input")
        ->required();
    addSending(command, *args);
    addFailures(command, *args);
    command.callback([&tool, args] {
        complete(*args);
        tool.action = [args](Run &run) { args->dryRun ? checkFile(run, *args) : load(run, *args); };
    });
}

} // namespace qldapx
