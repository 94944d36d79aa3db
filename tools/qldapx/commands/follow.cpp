#include "commands/follow.h"

#include "entry_output.h"
#include "errors.h"
#include "interruption.h"
#include "operation.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fmt/format.h>
#include <unistd.h>

namespace qldapx {
namespace {

struct ChangeKind {
    int bit;
    const char *name;  // on the command line
    const char *words; // in the output
};

constexpr std::array kinds = {
    ChangeKind{1, "add", "add"},
    ChangeKind{2, "delete", "delete"},
    ChangeKind{4, "modify", "modify"},
    ChangeKind{8, "moddn", "modify DN"},
};

/** What an entry's control says of it. */
struct Change {
    std::string kind;
    std::optional<std::string> previousDn;
    std::optional<int> number;
};

std::string wordsOf(int bit) {
    const auto kind = std::find_if(kinds.begin(), kinds.end(),
                                   [bit](const ChangeKind &each) { return each.bit == bit; });
    return kind == kinds.end() ? fmt::format("change of type {}", bit) : kind->words;
}

[[noreturn]] void failToRead(const std::string &dn, int code) {
    throw Failure({"search",
                   dn,
                   code,
                   ldap_err2string(code),
                   "what the server says of the change could not be understood",
                   {},
                   {},
                   "follow without it: qldapx search"});
}

/** Prints each change, and ends after some. */
class Follower : public SearchHandler {
  public:
    Follower(Output &out, const FollowOptions &options) : out_(out), options_(options) {}

    bool entry(LDAP *ld, const Entry &entry, LDAPControl **controls) override;
    void reference(const std::vector<std::string> &uris) override;
    int done(LDAP *ld, LDAPControl **controls) override;
    int next(LDAP *ld, int id, LDAPMessage **message) override;

  private:
    [[nodiscard]] Change readChange(LDAP *ld, const Entry &entry, LDAPControl **list) const;
    void print(const Change &change, const Entry &entry);
    static void wait(int descriptor);

    Output &out_;
    const FollowOptions &options_;
    std::size_t printed_ = 0;
};

Change Follower::readChange(LDAP *ld, const Entry &entry, LDAPControl **list) const {
    const auto notice =
        controls::entry_change(session_ref(borrow, ld), control_list_ref(borrow, list));
    Change change;
    if (notice) {
        change.kind = wordsOf(notice->type);
        if (notice->previous_dn)
            change.previousDn = std::string(notice->previous_dn);
        change.number = notice->number;
    } else if (notice.error().code() == LDAP_CONTROL_NOT_FOUND) {
        change.kind = options_.existing ? "existing" : "unknown";
    } else {
        failToRead(entry.dn, notice.error().code());
    }
    return change;
}

void Follower::print(const Change &change, const Entry &entry) {
    if (out_.isJson()) {
        const Output::Json fields = {
            {"change", change.kind},
            {"previousDN", change.previousDn ? Output::Json(*change.previousDn) : Output::Json()},
            {"changeNumber", change.number ? Output::Json(*change.number) : Output::Json()}};
        std::string line = jsonText(fields);
        line.back() = ',';
        out_.line(line + jsonMembers(entry) + "}");
        return;
    }
    out_.text(ldifComment("change: " + change.kind));
    if (change.previousDn)
        out_.text(ldifComment("previous DN: " + *change.previousDn));
    if (change.number)
        out_.text(ldifComment(fmt::format("change number: {}", *change.number)));
    printLdif(out_, entry);
}

bool Follower::entry(LDAP *ld, const Entry &entry, LDAPControl **list) {
    print(readChange(ld, entry, list), entry);
    out_.flush();
    ++printed_;
    return !options_.count || printed_ < *options_.count;
}

void Follower::reference(const std::vector<std::string> &uris) {
    if (out_.isJson())
        out_.line(jsonText(Output::Json{{"references", uris}}));
    else
        for (const std::string &uri : uris)
            out_.text(ldifComment("ref: " + uri));
    out_.flush();
}

int Follower::done(LDAP * /*ld*/, LDAPControl ** /*controls*/) {
    throw Failure({"search",
                   {},
                   {},
                   {},
                   "the server ended the search that was to go on",
                   {},
                   {},
                   "does it know persistent search (2.16.840.1.113730.3.4.3)? Start anew"});
}

// A quiet directory is no failure: only the end of the connection, or Ctrl-C, ends the wait.
int Follower::next(LDAP *ld, int id, LDAPMessage **message) {
    int descriptor = -1;
    ldap_get_option(ld, LDAP_OPT_DESC, &descriptor);
    while (!Interruption::requested()) {
        timeval poll = {0, 0};
        const int kind = ldap_result(ld, id, LDAP_MSG_ONE, &poll, message);
        if (kind != 0)
            return kind;
        wait(descriptor);
    }
    return -1;
}

// As long as nothing changes nothing is written either, and a reader that goes would not be
// noticed.
void Follower::wait(int descriptor) {
    std::array<pollfd, 2> ends = {{{descriptor, POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    Interruption::wait(ends, std::chrono::seconds(1));
    if ((ends[1].revents & POLLERR) != 0)
        throw OutputError(EPIPE);
}

int typesOf(const FollowOptions &options) {
    int types = 0;
    for (const ChangeKind &kind : kinds)
        if (options.changes.empty() || std::find(options.changes.begin(), options.changes.end(),
                                                 kind.name) != options.changes.end())
            types |= kind.bit;
    return types;
}

} // namespace

std::vector<std::string> changeNames() {
    std::vector<std::string> names;
    names.reserve(kinds.size());
    for (const ChangeKind &kind : kinds)
        names.emplace_back(kind.name);
    return names;
}

void follow(Run &run, const SearchRequest &request, const FollowOptions &options) {
    run.attach([&](session_ref at) {
        return controls::persistent_search(at, {typesOf(options), !options.existing});
    });
    const Interruption interruption;
    Follower follower(run.out, options);
    try {
        search(run, request, follower);
    } catch (const std::runtime_error &) {
        if (!Interruption::requested())
            throw;
        Interruption::endProcess();
    }
}

} // namespace qldapx
