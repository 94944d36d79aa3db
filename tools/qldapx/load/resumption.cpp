#include "load/resumption.h"

#include "interruption.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>

namespace qldapx {
namespace {

using Kind = RecordReader::Kind;

bool isAt(const RecordReader &reader, const Position &position) {
    return reader.count() == position.record && reader.checksum() == position.checksum;
}

} // namespace

std::optional<std::string> checkpointPath(const LoadOptions &options) {
    if (options.checkpoint || options.readsStandardInput())
        return options.checkpoint;
    return options.file + ".checkpoint";
}

LoadIdentity identityOf(const Run &run, const LoadOptions &options) {
    const ConnectionOptions &connection = run.connection();
    char *configured = nullptr;
    ldap_get_option(nullptr, LDAP_OPT_URI, &configured);
    const std::string uri(ldap_text(adopt, configured));
    return {options.file, connection.uri.value_or(uri), connection.who()};
}

Resumption::Resumption(std::string path, const LoadIdentity &identity) : path_(std::move(path)) {
    const Checkpoint::Saved saved = Checkpoint::read(path_);
    requireSame("into", saved.identity.server, identity.server);
    requireSame("as", saved.identity.bindDn, identity.bindDn);
    state_ = saved.state;
}

void Resumption::refuse(const std::string &reason) const {
    throw UsageError(reason, fmt::format("to start over remove {}, but what is loaded already will "
                                         "then fail",
                                         printable(path_)));
}

void Resumption::requireSame(const std::string &what, const std::string &then,
                             const std::string &now) {
    if (then != now)
        refuse(fmt::format("{} is of a load {} \"{}\", and this one is {} \"{}\"", printable(path_),
                           what, printable(then), what, printable(now)));
}

// The doubtful ones fit into memory as they did when they were sent.
void Resumption::read(RecordReader &reader, const std::string &file) {
    file_ = file;
    Record settled;
    while (reader.count() < state_.settled.record && !Interruption::requested())
        if (reader.next(settled) >= Kind::Unreadable)
            break;
    const bool settledIsSame = isAt(reader, state_.settled);
    while (settledIsSame && reader.count() < state_.sent.record) {
        DoubtfulRecord next;
        const Kind kind = reader.next(next.record);
        if (kind >= Kind::Unreadable)
            break;
        if (kind == Kind::Malformed)
            next.fault = reader.fault();
        doubtful_.push_back(std::move(next));
    }
    if (!Interruption::requested() && (!settledIsSame || !isAt(reader, state_.sent)))
        refuse(fmt::format("{} is not what it was: its first {} records have been sent, and now "
                           "read differently",
                           file, state_.sent.record));
}

void Resumption::judge(Channel &channel, const LoadOptions &options) {
    qldapx::judge(channel, doubtful_, state_.bulk, options.bulkRenames);
    const auto unclear =
        std::find_if(doubtful_.begin(), doubtful_.end(), [](const DoubtfulRecord &each) {
            return each.verdict == DoubtfulRecord::Verdict::Unclear && !each.fault;
        });
    if (unclear == doubtful_.end() || options.doubtful != LoadOptions::Doubtful::Stop ||
        Interruption::requested())
        return;
    Problem problem;
    problem.operation = "load";
    problem.object = unclear->record.dnInText();
    problem.reason = fmt::format("{}:{}: nobody can tell whether this update was carried out "
                                 "before the load broke",
                                 file_, unclear->record.line);
    problem.hint = "look at the entry; then --doubtful skip puts such updates into the rejects, "
                   "and --doubtful send sends them again";
    throw Failure(std::move(problem));
}

} // namespace qldapx
