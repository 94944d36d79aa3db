#include "backup_file.h"
#include "errors.h"
#include "image_password.h"
#include "interruption.h"
#include "operation.h"
#include "progress.h"
#include "standard_streams.h"
#include "text.h"

#include <ctime>
#include <fmt/format.h>
#include <memory>
#include <strings.h>

namespace qldapx {
namespace {

struct Arguments {
    std::string dn;
    std::string file;
    std::string toCheck;
    ImagePassword password;
};

struct FreeLdap {
    void operator()(char *text) const { ldap_memfree(text); }
    void operator()(LDAPDN dn) const { ldap_dnfree(dn); }
};

/** A DN in one of its spellings; the text itself when it is none. */
std::string normalized(const std::string &text) {
    LDAPDN dn = nullptr;
    char *result = nullptr;
    if (ldap_str2dn(text.c_str(), &dn, LDAP_DN_FORMAT_LDAPV3) != LDAP_SUCCESS)
        return text;
    const std::unique_ptr<LDAPRDN, FreeLdap> owner(dn);
    if (ldap_dn2str(dn, &result, LDAP_DN_FORMAT_LDAPV3) != LDAP_SUCCESS)
        return text;
    const std::unique_ptr<char, FreeLdap> resultOwner(result);
    return result;
}

void requireSameDn(const Arguments &args, const std::string &dn) {
    if (strcasecmp(normalized(args.dn).c_str(), normalized(dn).c_str()) != 0)
        throw UsageError(fmt::format("{} is a backup of {}, not of {}", printable(args.file),
                                     printable(dn), printable(args.dn)),
                         "an entry is restored under its own DN; name that one, or another file");
}

std::string timeText(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    if (gmtime_r(&time, &parts) == nullptr)
        return std::to_string(seconds);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", parts.tm_year + 1900L,
                       parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

void printContents(Run &run, const std::string &file) {
    const BackupContents contents = BackupFile(file).check();
    const BackupHeader &header = contents.header;
    const std::string created = timeText(header.created);
    if (run.out.isJson())
        run.out.json({{"dn", header.dn},
                      {"server", header.server},
                      {"created", created},
                      {"bytes", contents.bytes},
                      {"pieces", contents.pieces}});
    else
        run.out.table({{"dn", printable(header.dn)},
                       {"server", printable(header.server)},
                       {"created", created},
                       {"bytes", std::to_string(contents.bytes)},
                       {"pieces", std::to_string(contents.pieces)}});
}

/** What a refusal means here, where the general words would mislead. */
[[noreturn]] void failAt(const Failure &failure, std::uint64_t piece, std::uint64_t pieces) {
    Problem problem = failure.problem();
    if (problem.code == LDAP_ALREADY_EXISTS)
        problem.hint = "restore recreates an entry that is gone; this one is there";
    if (problem.code == LDAP_INVALID_CREDENTIALS)
        problem.hint = "give the password that the backup was made with: --password-file or "
                       "--ask-password";
    if (pieces > 1)
        problem.reason += fmt::format("{}it was piece {} of {}", problem.reason.empty() ? "" : "; ",
                                      piece, pieces);
    throw Failure(std::move(problem));
}

/** What Ctrl-C leaves, and how to go on. */
[[noreturn]] void failInterrupted(const Arguments &args, std::uint64_t sent, std::uint64_t pieces) {
    throw Failure(
        {"restore",
         args.dn,
         {},
         {},
         fmt::format("interrupted when {} of {} piece{} had been sent{}", sent, pieces,
                     pieces == 1 ? "" : "s", sent < pieces ? "" : "; the entry may be there"),
         {},
         {},
         "the same command again sends all of it"});
}

void send(Run &run, Arguments &args, BackupFile &file, std::uint64_t pieces, Secret &password) {
    Progress progress(run.out.isJson());
    std::uint64_t piece = 0, bytes = 0;
    file.pieces([&](std::string &chunkSizes, std::string &data) {
        if (Interruption::requested())
            failInterrupted(args, piece, pieces);
        ++piece;
        try {
            performed(run, args.dn, [&](session_ref at) {
                return backup::restore(at, args.dn, password.data(), data, chunkSizes.data());
            });
        } catch (const Failure &failure) {
            // Which ends the wait for an answer.
            if (Interruption::requested() && failure.problem().code.value_or(0) < 0)
                failInterrupted(args, piece, pieces);
            failAt(failure, piece, pieces);
        }
        bytes += data.size();
        progress.show(piece, bytes);
    });
}

void sayDone(Run &run, const Arguments &args, const BackupContents &contents) {
    run.done(fmt::format("{} restored from {}: {} in {} piece{}", printable(args.dn),
                         printable(args.file), byteCount(contents.bytes), contents.pieces,
                         contents.pieces == 1 ? "" : "s"),
             {{"object", args.dn},
              {"file", args.file},
              {"bytes", contents.bytes},
              {"pieces", contents.pieces}});
}

void restore(Run &run, Arguments &args) {
    if (!args.toCheck.empty())
        return printContents(run, args.toCheck);
    BackupFile file(args.file);
    const BackupContents contents = file.check();
    requireSameDn(args, contents.header.dn);
    Secret password = imagePassword(args.password, false, run.out.isJson());
    run.open();
    const Interruption interruption;
    try {
        send(run, args, file, contents.pieces, password);
        sayDone(run, args, contents);
        finishOutput();
    } catch (const Failure &failure) {
        if (!Interruption::requested())
            throw;
        run.failed(failure);
    }
    if (Interruption::requested())
        Interruption::endProcess();
}

void checkArguments(const Arguments &args) {
    const bool both = !args.dn.empty() && !args.file.empty();
    if (args.toCheck.empty() ? !both : !args.dn.empty())
        throw UsageError(args.toCheck.empty() ? "DN and FILE are required"
                                              : "--check takes its file and nothing else",
                         "qldapx restore --help");
}

std::string examples() {
    const std::string ada = "'cn=Ada Brandt,ou=people,dc=example,dc=com'";
    return exampleLine("qldapx", "backup " + ada + " -o ada.backup") +
           "\nqldapx restore --check ada.backup\n" + exampleLine("ldapdelete -x", ada) + "\n" +
           exampleLine("qldapx", "restore " + ada + " ada.backup");
}

} // namespace

void addRestore(CLI::App &root, Tool &tool) {
    CLI::App &command =
        addCommand(root, "restore", "Recreate an entry that is gone from a backup's file", {});
    command.footer(examples());
    auto args = std::make_shared<Arguments>();
    command.add_option("DN", args->dn, "DN of the entry, that of the backup");
    command.add_option("FILE", args->file, "The file that backup wrote");
    command
        .add_option("--check", args->toCheck,
                    "Look at every byte of this file and say what it holds; nothing is sent")
        ->type_name("FILE");
    addImagePassword(command, args->password);
    command.callback([&tool, args] {
        checkArguments(*args);
        tool.action = [args](Run &run) { restore(run, *args); };
    });
}

} // namespace qldapx
