/** connection.hpp - what the example programs share: command lines, sessions, signals, words. */
#ifndef EXAMPLES_CONNECTION_HPP
#define EXAMPLES_CONNECTION_HPP

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <qldapx.hpp>
#include <string>
#include <unistd.h>
#include <vector>

/** Who a program binds as; nobody when both are empty. */
struct identity {
    std::string dn, password;
};

/** What comes from elsewhere may hold what a terminal obeys. */
inline std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char each) { return each < ' ' || each == 127; },
        '?');
    return text;
}

/** The result code in words, with those of the server behind it. */
inline std::string words(const qldapx::error &why) {
    std::string text(why.name().view());
    if (!why.message().empty())
        text.append(" (").append(why.message().view()).append(")");
    return printable(std::move(text));
}

[[noreturn]] inline void fail(int status, const std::string &text) {
    std::fprintf(stderr, "%s\n", text.c_str());
    std::exit(status);
}

/** The first line of a file: a password on the command line is everybody's to see. */
inline std::string read_password(const std::string &path, int status) {
    std::ifstream file(path);
    std::string line;
    if (!std::getline(file, line) || line.empty())
        fail(status, "cannot read a password from " + path);
    return line;
}

/** What stands on a command line: options of one letter, each with a value, and the rest. */
class options {
  public:
    /** status: that a mistake ends the program with; getopt has told of it. */
    options(int argc, char **argv, const char *known, int status) : status_(status) {
        for (int letter; (letter = getopt(argc, argv, known)) != -1;)
            if (letter == '?')
                std::exit(status);
            else
                given_[letter] = optarg;
        rest_.assign(argv + optind, argv + argc);
    }
    [[nodiscard]] std::string text(char letter, const char *otherwise = "") const {
        const auto found = given_.find(letter);
        return found == given_.end() ? otherwise : found->second;
    }
    [[nodiscard]] const std::vector<std::string> &rest() const { return rest_; }
    /** Of -D and -y. */
    [[nodiscard]] identity who() const {
        const std::string file = text('y');
        return {text('D'), file.empty() ? "" : read_password(file, status_)};
    }

  private:
    int status_;
    std::map<int, std::string> given_;
    std::vector<std::string> rest_;
};

/** Signals, which wait until the program asks for them: nothing is interrupted anywhere. */
class signals {
  public:
    signals(std::initializer_list<int> which) {
        sigemptyset(&set_);
        for (const int each : which)
            sigaddset(&set_, each);
        sigprocmask(SIG_BLOCK, &set_, nullptr);
    }
    /** The next one; below 0 when none comes in time. */
    [[nodiscard]] int wait(std::chrono::milliseconds longest) const {
        const auto whole = std::chrono::floor<std::chrono::seconds>(longest);
        const timespec time = {whole.count(), std::chrono::nanoseconds(longest - whole).count()};
        return sigtimedwait(&set_, nullptr, &time);
    }

  private:
    sigset_t set_;
};

/** A session that is bound, and that waits no longer than this for an answer. */
inline qldapx::result<qldapx::session> connect(const std::string &uri, const identity &who,
                                               std::chrono::seconds longest) {
    std::signal(SIGPIPE, SIG_IGN); // a connection that breaks is an error, not the end
    qldapx::result<qldapx::session> session = qldapx::initialize(uri);
    if (!session)
        return session;
    qldapx::result<void> ready = session->set_network_timeout(longest);
    if (ready)
        ready = session->set_timeout(longest);
    if (ready)
        ready = session->bind_simple(who.dn, who.password);
    if (!ready)
        return qldapx::unexpected(std::move(ready).error());
    return session;
}

#endif
