/**
 * bulk_import - loads a file of LDIF (RFC 2849) by a bulk update, many records in a request and
 * several requests under way, and shows on a terminal how far it is.
 *
 *   bulk_import -H ldap://127.0.0.1:1389 -D cn=admin,dc=example,dc=com -y PASSWORD_FILE people.ldif
 *
 * Records are adds, unless they say that they modify or delete. What fails is told, line by line of
 * the file, and does not stop the rest; Ctrl-C does, after what is under way. Exit status: 0 all
 * was loaded, 1 some was not, 2 it could not be done, or not to the end.
 */
#include "ldif_file.hpp"

#include <deque>

namespace {

using namespace std::chrono_literals;
using steady = std::chrono::steady_clock;

constexpr int incomplete = 1, trouble = 2;

/** One line on a terminal, which is written over; nothing anywhere else. */
class progress {
  public:
    void show(const ldif_file &file, std::size_t done, std::size_t failed) {
        if (!is_terminal_ || steady::now() < next_)
            return;
        next_ = steady::now() + 100ms;
        std::fprintf(stderr, "\r\033[K%3d %%  %zu records, %zu failed, %.0f a second",
                     file.percent(), done, failed, static_cast<double>(done) / seconds());
        is_shown_ = true;
    }
    void clear() {
        if (is_shown_)
            std::fputs("\r\033[K", stderr);
        is_shown_ = false;
    }
    [[nodiscard]] double seconds() const {
        return std::chrono::duration<double>(steady::now() - begin_).count();
    }

  private:
    bool is_terminal_ = isatty(STDERR_FILENO) == 1, is_shown_ = false;
    steady::time_point begin_ = steady::now(), next_ = begin_;
};

class importer {
  public:
    importer(ldif_file &file, qldapx::bulk::updater update)
        : file_(file), update_(std::move(update)),
          size_(static_cast<std::size_t>(std::clamp(update_.transaction_size(), 1, 1000))) {}

    int run() {
        while (signals_.wait(0ms) < 0) {
            std::unique_ptr<record> next = file_.next();
            if (!next) {
                finish();
                return report();
            }
            if (const char *fault = fault_of(*next))
                refuse(next->line(), fault);
            else if (next->has_dn())
                taken_.push_back(std::move(next));
            if (taken_.size() == size_)
                send();
        }
        finish();
        complain(file_.line(), "interrupted: what comes behind this record was not loaded");
        report();
        return incomplete;
    }

  private:
    static const char *fault_of(const record &which) {
        if (!which.is_well_formed())
            return "this is no LDIF";
        return which.is_rename() ? "a bulk update renames nothing" : nullptr;
    }

    /** Sends what was taken, when there is room for it among what is under way. */
    void send() {
        if (taken_.empty())
            return;
        if (update_.is_full())
            collect();
        qldapx::bulk::batch batch;
        for (const auto &each : taken_)
            batch.push_back(each->operation());
        if (const auto sent = update_.send(batch); !sent)
            give_up(*taken_.front(), sent.error());
        under_way_.push_back(std::move(taken_));
        taken_.clear();
    }

    void collect() {
        const auto answer = update_.collect();
        const records &asked = under_way_.front();
        if (!answer)
            give_up(*asked.front(), answer.error());
        if (!answer->outcome) // none behind it is carried out either
            give_up(*asked.front(), answer->outcome.error());
        done_ += asked.size();
        failed_ += std::min(answer->outcome->size(), asked.size());
        for (const qldapx::bulk::failure &each : *answer->outcome)
            tell(asked, each);
        under_way_.pop_front();
        progress_.show(file_, done_, failed_);
    }

    void finish() {
        send();
        while (update_.under_way() > 0)
            collect();
        if (const auto ended = update_.finish(); !ended)
            complain(file_.line(), "the update was not ended: " + words(ended.error()));
        progress_.clear();
    }

    void tell(const records &asked, const qldapx::bulk::failure &failure) {
        const auto at = static_cast<std::size_t>(failure.operationNumber) - 1;
        const record &about = *asked[std::min(at, asked.size() - 1)];
        const char *said = failure.errorMessage == nullptr ? "" : failure.errorMessage;
        complain(about.line(), about.dn() + ": " + ldap_err2string(failure.resultCode) +
                                   (*said == 0 ? "" : ": ") + said);
    }

    void refuse(unsigned long line, const char *why) {
        ++done_;
        ++failed_;
        complain(line, why);
    }

    void complain(unsigned long line, const std::string &what) {
        progress_.clear();
        std::fprintf(stderr, "line %lu: %s\n", line, printable(what).c_str());
    }

    [[noreturn]] void give_up(const record &first, const qldapx::error &why) {
        complain(first.line(),
                 "whether records from here on were loaded is not known: " + words(why));
        std::exit(trouble);
    }

    int report() {
        std::printf("%zu of %zu records loaded in %.1f s\n", done_ - failed_, done_,
                    progress_.seconds());
        return failed_ == 0 ? 0 : incomplete;
    }

    ldif_file &file_;
    qldapx::bulk::updater update_;
    std::size_t size_;
    signals signals_{SIGINT, SIGTERM};
    records taken_; // not sent yet
    std::deque<records> under_way_;
    std::size_t done_ = 0, failed_ = 0;
    progress progress_;
};

} // namespace

int main(int argc, char **argv) {
    const options given(argc, argv, "H:D:y:", trouble);
    const std::string server = given.text('H');
    if (server.empty() || given.rest().size() != 1)
        fail(trouble, "usage: bulk_import -H URI [-D DN -y PASSWORD_FILE] FILE");
    ldif_file file(given.rest().front());
    const auto session = connect(server, given.who(), 30s);
    if (!session)
        fail(trouble, server + ": " + words(session.error()));
    auto update = qldapx::bulk::start(*session);
    if (!update)
        fail(trouble, server + ": no bulk update: " + words(update.error()));
    return importer(file, *std::move(update)).run();
}
