/**
 * monitor - a daemon that writes a server's events to a file, one JSON object a line, and goes on
 * when the server has been away.
 *
 *   monitor -H ldap://127.0.0.1:1389 -D cn=admin,dc=example,dc=com -y PASSWORD_FILE \
 *           -o events.log [-e 1,2,3,4] [-w LONGEST_PAUSE]
 *
 * Without a connection it tries again after pauses that grow up to -w seconds (60). Events of that
 * time are lost; the line "gap" says from when to when. SIGTERM and SIGINT end it, SIGHUP makes it
 * open its file anew, after logrotate has moved it away. Exit status: 0 it was told to end, 1 it
 * cannot go on, 2 a mistake on the command line.
 */
#include "event_log.hpp"

#include <exception>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr int unable = 1, misused = 2;

struct settings {
    std::string server, file;
    identity who;
    std::vector<qldapx::events::specification> events;
    std::chrono::milliseconds longest_pause;
};

/** Whether it helps to try again, and not to mend something first. */
bool may_pass(int code) {
    constexpr int codes[] = {LDAP_SERVER_DOWN, LDAP_TIMEOUT, LDAP_CONNECT_ERROR, LDAP_BUSY,
                             LDAP_UNAVAILABLE};
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

class monitor {
  public:
    explicit monitor(settings how) : how_(std::move(how)), log_(how_.file) {}

    void run() {
        while (!ended_) {
            const qldapx::error why = watch();
            if (ended_)
                break;
            if (!registered_ && !may_pass(why.code()))
                fail(unable, how_.server + ": " + words(why));
            lost(why);
            pause();
        }
        log_.write_state("ended");
    }

  private:
    /** Connects, registers and writes events until that ends, and says why. */
    qldapx::error watch() {
        registered_ = false;
        qldapx::result<qldapx::session> session = connect(how_.server, how_.who, 10s);
        if (!session)
            return std::move(session).error();
        auto stream = qldapx::events::monitor(*session, how_.events);
        if (!stream)
            return std::move(stream).error();
        registered(stream->accepted_events().size());
        stream->set_patience(200ms);
        while (!ended_) {
            qldapx::result<qldapx::events::event> event = stream->next();
            if (!event && !take(event.error()))
                return std::move(event).error();
            if (event)
                take(*event);
            obey(signals_.wait(0ms));
        }
        return qldapx::error(LDAP_USER_CANCELLED);
    }

    void registered(std::size_t types) {
        const moment time = now();
        if (is_lost_ && last_sign_ != moment())
            log_.write_state("gap", {{"since", text(last_sign_)}, {"until", text(time)}});
        log_.write_state("registered", {{"server", how_.server}, {"types", types}});
        registered_ = true;
        is_lost_ = false;
        registered_at_ = last_sign_ = time;
    }

    void take(const qldapx::events::event &event) {
        last_sign_ = now();
        log_.write(json_of(event));
    }
    /** False when it has ended the registration. */
    bool take(const qldapx::error &why) {
        if (why.code() == LDAP_DECODING_ERROR)
            log_.write_state("undecodable");
        return why.code() == LDAP_DECODING_ERROR || why.code() == LDAP_TIMEOUT;
    }

    /** Once, however often the server is tried in vain. */
    void lost(const qldapx::error &why) {
        if (!is_lost_)
            log_.write_state("lost", {{"reason", words(why)}});
        is_lost_ = true;
    }

    /** Longer each time, until a registration has stood for long. */
    void pause() {
        if (registered_ && now() - registered_at_ > how_.longest_pause)
            pause_ = shortest_pause;
        obey(signals_.wait(pause_));
        pause_ = std::min(pause_ * 2, how_.longest_pause);
    }

    void obey(int signal) {
        if (signal == SIGHUP)
            log_.open();
        else if (signal > 0)
            ended_ = true;
    }

    static constexpr std::chrono::milliseconds shortest_pause = 100ms;

    signals signals_{SIGTERM, SIGINT, SIGHUP};
    settings how_;
    log_file log_;
    std::chrono::milliseconds pause_ = shortest_pause;
    moment registered_at_, last_sign_; // the server's last of life
    bool registered_ = false, is_lost_ = false, ended_ = false;
};

std::vector<qldapx::events::specification> read_events(const std::string &list) {
    std::vector<qldapx::events::specification> events;
    std::istringstream in(list);
    for (int type = 0; in >> type; in.ignore())
        events.push_back({type, 0});
    if (events.empty() || !in.eof())
        fail(misused, list + " is no list of event types such as 1,2,3,4");
    return events;
}

std::chrono::milliseconds read_pause(const std::string &seconds) {
    char *end = nullptr;
    const double value = std::strtod(seconds.c_str(), &end);
    if (end == seconds.c_str() || *end != '\0' || !(value >= 0.1 && value <= 86400))
        fail(misused, seconds + " is no pause: from 0.1 to 86400 seconds");
    return std::chrono::milliseconds(static_cast<long>(value * 1000));
}

settings read_settings(int argc, char **argv) {
    const options given(argc, argv, "H:D:y:o:e:w:", misused);
    settings read;
    read.server = given.text('H');
    read.file = given.text('o');
    if (read.server.empty() || read.file.empty() || !given.rest().empty())
        fail(misused, "usage: monitor -H URI -o FILE [-D DN -y PASSWORD_FILE] [-e TYPE,TYPE...] "
                      "[-w SECONDS]");
    read.who = given.who();
    read.events = read_events(given.text('e', "1,2,3,4"));
    read.longest_pause = read_pause(given.text('w', "60"));
    return read;
}

/** Whoever is gone without a word is missed by the system, which asks after each connection. */
void notice_silence() {
    const int idle = 60, probes = 3, interval = 10;
    ldap_set_option(nullptr, LDAP_OPT_X_KEEPALIVE_IDLE, &idle);
    ldap_set_option(nullptr, LDAP_OPT_X_KEEPALIVE_PROBES, &probes);
    ldap_set_option(nullptr, LDAP_OPT_X_KEEPALIVE_INTERVAL, &interval);
}

} // namespace

int main(int argc, char **argv) {
    try {
        notice_silence();
        monitor(read_settings(argc, argv)).run();
        return 0;
    } catch (const std::exception &error) { // of the standard library or of nlohmann's
        std::fprintf(stderr, "%s\n", error.what());
        return unable;
    }
}
