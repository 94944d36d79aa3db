#include "faulty.h"

#include "bulk.h"
#include "operations.h"
#include "owners.h"
#include "registration.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <thread>

namespace soak {
namespace {

using namespace std::chrono_literals;

// Shorter than the delays of the servers.
constexpr std::chrono::seconds shortPatience{4};
constexpr const char *overflow = "queue-overflow";

int backUp(LDAP *ld, Hand & /*hand*/) {
    TextPtr state, data, chunks;
    int length = 0;
    return ldap_backup_object(ld, arg(adaDn), nullptr, out(state), out(data), out(chunks), &length);
}

// A wait that fails loses what the second step had made, up to the size of an answer and a few
// blocks beside it.
int bindByDigest(LDAP *ld, Hand &hand) {
    void *bind = nullptr;
    if (const int code = ldap_bind_digest_md5_start(ld, &bind); code != LDAP_SUCCESS)
        return code;
    const int code = ldap_bind_digest_md5_finish(&bind, "ada.brandt", adaPassword, -1, 0,
                                                 QLDAPX_DIGEST_COMPLETE);
    if (bind != nullptr) {
        ldap_bind_digest_md5_finish(&bind, nullptr, nullptr, -1, 0, QLDAPX_DIGEST_ABANDON);
        hand.tally().lose(1024);
    }
    return code;
}

int updateInBulk(LDAP *ld, Hand & /*hand*/) {
    Bulk bulk(ld, shortPatience);
    Batch batch;
    batch.add("cn=nobody,ou=nowhere,dc=example,dc=com", "never there");
    if (const int code = bulk.start(); code != LDAP_SUCCESS)
        return code;
    if (const int code = bulk.send(1, batch); code != LDAP_SUCCESS)
        return code;
    return bulk.collect();
}

int monitor(LDAP *ld, Hand & /*hand*/) {
    return Registration(ld).begin({entryAdded}, "", shortPatience);
}

struct Composed {
    const char *operation;
    int (*run)(LDAP *ld, Hand &hand);
};

/** Operations of more than one call, and such as have a job of their own. */
constexpr Composed composed[] = {
    {"backup-object", backUp},          {"digest-md5-challenge", bindByDigest},
    {"digest-md5-proof", bindByDigest}, {"lburp-operation", updateInBulk},
    {"monitor-events", monitor},
};

int run(const std::string &operation, LDAP *ld, Hand &hand) {
    for (const Composed &each : composed)
        if (operation == each.operation)
            return each.run(ld, hand);
    Scene scene{ld, "ou=emea,dc=example,dc=com", "ou=people,dc=example,dc=com", 81};
    const int code = operationNamed(operation)->run(scene);
    // What an earlier fault has prevented, such as a filter, is not there to be read.
    return code == wrongData ? LDAP_SUCCESS : code;
}

/** The names of all that there is to find. */
std::vector<std::string> allOf(const Faults &faults) {
    std::vector<std::string> names = faults.deaf;
    for (const Fault &fault : faults.faults)
        names.push_back(fault.operation);
    names.emplace_back(overflow);
    return names;
}

class Meeting {
  public:
    Meeting(Hand &hand, FaultBoard &board) : hand_(hand), board_(board), faults_(board.current()) {}

    /** What nobody has seen yet comes first. */
    void meetSomething() {
        std::vector<std::string> names = board_.unseen();
        if (names.empty())
            names = allOf(*faults_);
        const std::string &name =
            names[static_cast<std::size_t>(hand_.below(static_cast<int>(names.size())))];
        const auto fault = std::ranges::find(faults_->faults, name, &Fault::operation);
        if (fault != faults_->faults.end())
            meet(*fault);
        else if (name == overflow)
            overflowQueue();
        else if (std::ranges::find(faults_->deaf, name) != faults_->deaf.end())
            callDeaf(name);
    }

  private:
    // The server may have been stopped meanwhile.
    [[nodiscard]] bool isOver() const { return board_.current() != faults_; }

    // The connection may be broken by another fault; on a busy machine an answer may come late,
    // which a backup tells as its missing response OID, and a delay may pass unnoticed.
    static bool isExcused(const std::string &name, const std::string &kind, int code) {
        return code == LDAP_SERVER_DOWN || code == LDAP_TIMEOUT ||
               (code == LDAP_NOT_SUPPORTED && name == "backup-object") ||
               (code == LDAP_SUCCESS && kind.starts_with("delay"));
    }

    void judge(const std::string &name, const std::string &kind, int code, int wanted) {
        hand_.beat().going();
        hand_.tally().count("fault", kind, code);
        if (code == wanted)
            board_.seen(faults_, name);
        else if (!isExcused(name, kind, code) && !isOver())
            hand_.tally().complain("fault " + kind + " of " + name + " gave " +
                                   std::to_string(code) + ", not " + std::to_string(wanted));
    }

    // A connection that ends behind the answer is found by the next call.
    void meet(const Fault &fault) {
        Session session(faults_->uri, shortPatience);
        int code = session.bind(adminDn, adminPassword);
        if (code == LDAP_SUCCESS)
            code = run(fault.operation, session, hand_);
        if (code == LDAP_SUCCESS && fault.kind == "cut")
            code = run(fault.operation, session, hand_);
        judge(fault.operation, fault.kind, code, fault.code);
    }

    void callDeaf(const std::string &uri) {
        Session session(uri, shortPatience);
        const int code = session.bind(adminDn, adminPassword);
        const std::string kind = uri.starts_with("ldaps") ? "handshake" : "garbage";
        // What came is as bad as nothing: any failure will do.
        judge(uri, kind, code, code == LDAP_SUCCESS ? LDAP_SERVER_DOWN : code);
    }

    // What nobody reads fills the buffers of the connection, and then the server's queue.
    void overflowQueue() {
        Session monitor(faults_->uri, shortPatience), writer(faults_->uri, shortPatience);
        Registration registration(monitor);
        int code = monitor.bind(adminDn, adminPassword);
        if (code == LDAP_SUCCESS)
            code = writer.bind(adminDn, adminPassword);
        if (code == LDAP_SUCCESS)
            code = registration.begin({valueAdded}, "(string1=*)", shortPatience);
        if (code == LDAP_SUCCESS)
            code = flood(writer);
        if (code == LDAP_SUCCESS)
            code = awaitEnd(registration);
        judge(overflow, overflow, code, LDAP_BUSY);
    }

    int flood(LDAP *ld) {
        constexpr int most = 120, size = 60'000;
        for (int i = 0; i < most; ++i) {
            qldapx_test::Modifications mods;
            mods.bytes(LDAP_MOD_REPLACE, "description",
                       {std::to_string(i) + std::string(size, 'x')});
            if (const int code = ldap_modify_ext_s(ld, adaDn, mods.list(), nullptr, nullptr);
                code != LDAP_SUCCESS)
                return code;
            hand_.beat().going();
        }
        return LDAP_SUCCESS;
    }

    static int awaitEnd(Registration &registration) {
        Notice notice;
        do
            notice = registration.next(shortPatience);
        while (notice.kind == Notice::event);
        return notice.kind == Notice::ended ? notice.code : LDAP_TIMEOUT;
    }

    Hand &hand_;
    FaultBoard &board_;
    std::shared_ptr<const Faults> faults_;
};

} // namespace

void FaultBoard::post(const nlohmann::json &json) {
    auto faults = std::make_shared<Faults>();
    faults->uri = json.at("uri");
    faults->deaf = json.at("deaf").get<std::vector<std::string>>();
    for (const auto &fault : json.at("faults"))
        faults->faults.push_back({fault.at("operation"), fault.at("kind"), fault.at("code")});
    const std::lock_guard lock(mutex_);
    faults_ = std::move(faults);
    seen_.clear();
}

std::shared_ptr<const Faults> FaultBoard::current() const {
    const std::lock_guard lock(mutex_);
    return faults_;
}

void FaultBoard::seen(const std::shared_ptr<const Faults> &of, const std::string &what) {
    const std::lock_guard lock(mutex_);
    if (of == faults_)
        seen_.insert(what);
}

std::vector<std::string> FaultBoard::unseen() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> names = allOf(*faults_);
    std::erase_if(names, [this](const std::string &name) { return seen_.contains(name); });
    return names;
}

void meetFaults(Crew &crew, Hand &hand, FaultBoard &board) {
    while (crew.goOn(hand.beat())) {
        hand.beat().working("faults");
        if (board.current() != nullptr)
            Meeting(hand, board).meetSomething();
        std::this_thread::sleep_for(10ms);
    }
}

} // namespace soak
