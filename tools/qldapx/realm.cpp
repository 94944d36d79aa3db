#include "realm.h"

#include "errors.h"
#include "interruption.h"
#include "open_file.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fmt/format.h>

namespace qldapx {
namespace {

constexpr const char *useOption = "name the realm with -R";

[[noreturn]] void refuse(const ConnectionOptions &options, const std::string &reason,
                         const char *hint = useOption) {
    throw Failure({"bind", options.who(), {}, {}, reason, {}, {}, hint});
}

bool contains(const std::vector<std::string> &realms, const std::string &name) {
    return std::find(realms.begin(), realms.end(), name) != realms.end();
}

/** The realms in words, one by one; a server may offer thousands. */
std::string inWords(const std::vector<std::string> &offered, const char *separator,
                    bool withNumbers) {
    constexpr std::size_t mostShown = 50;
    const std::size_t shown = std::min(offered.size(), mostShown);
    std::string words;
    for (std::size_t i = 0; i < shown; ++i)
        words +=
            fmt::format("{}{}\"{}\"", i == 0 ? "" : separator,
                        withNumbers ? fmt::format("{:3}  ", i + 1) : "", printable(offered[i]));
    if (shown < offered.size())
        words += fmt::format("{}and {} more", separator, offered.size() - shown);
    return words;
}

std::string offer(const std::vector<std::string> &offered) {
    return "the server offers " + inWords(offered, ", ", false);
}

/** The realm that was typed, by its number in the list or by its name. */
const std::string *typedRealm(const std::vector<std::string> &offered, const std::string &typed) {
    std::size_t number = 0;
    const char *end = typed.data() + typed.size();
    const auto [rest, error] = std::from_chars(typed.data(), end, number);
    if (error == std::errc() && rest == end && number >= 1 && number <= offered.size())
        return &offered[number - 1];
    const auto found = std::find(offered.begin(), offered.end(), typed);
    return found == offered.end() ? nullptr : &*found;
}

/** A conversation on the terminal that the process belongs to. */
class Conversation {
  public:
    [[nodiscard]] bool isPossible() const { return terminal_.isOpen(); }
    bool say(const std::string &text) const {
        return write(terminal_.descriptor(), text.data(), text.size()) >= 0;
    }
    /** A line without its end; nothing when there is none, or the command is to end. */
    [[nodiscard]] std::optional<std::string> hear() const;

  private:
    const Interruption interruption_;
    const OpenFile terminal_{"/dev/tty", O_RDWR | O_NOCTTY};
};

std::optional<std::string> Conversation::hear() const {
    std::array<pollfd, 1> ends = {{{terminal_.descriptor(), POLLIN, 0}}};
    while (!Interruption::requested() && ends[0].revents == 0)
        Interruption::wait(ends, std::chrono::seconds(1));
    std::array<char, 4096> line{}; // longer ones no terminal gives at once
    const ssize_t got =
        Interruption::requested() ? 0 : read(terminal_.descriptor(), line.data(), line.size());
    if (got <= 0)
        return std::nullopt;
    const std::string_view typed(line.data(), static_cast<std::size_t>(got));
    return std::string(typed.substr(0, typed.find('\n')));
}

std::string ask(const std::vector<std::string> &offered, const ConnectionOptions &options) {
    constexpr int mostQuestions = 4; // three more after a wrong answer
    const Conversation conversation;
    if (!options.mayAsk || !conversation.isPossible())
        refuse(options, offer(offered) + ", and there is no terminal free to ask on");
    bool goesOn = conversation.say(
        fmt::format("Realms that the server offers:\n{}\n", inWords(offered, "\n", true)));
    for (int i = 0; i < mostQuestions && goesOn; ++i) {
        conversation.say("Realm (number or name): ");
        const auto typed = conversation.hear();
        if (const std::string *realm = typed ? typedRealm(offered, *typed) : nullptr)
            return *realm;
        goesOn = conversation.say(typed ? "There is no such realm.\n" : "\n") && typed;
    }
    refuse(options, "no realm was chosen; " + offer(offered));
}

} // namespace

std::string chooseRealm(const std::vector<std::string> &offered, ConnectionOptions &options) {
    if (offered.empty())
        refuse(options, "the server offers no realm, without which its challenge has no answer",
               "bind with -D and a password, and encrypt the connection (-ZZ)");
    if (options.realm && !contains(offered, *options.realm))
        refuse(options, fmt::format("there is no realm \"{}\"; {}", printable(*options.realm),
                                    offer(offered)));
    if (options.realm)
        return *options.realm;
    if (offered.size() == 1)
        return offered.front();
    if (!options.chosenRealm || !contains(offered, *options.chosenRealm))
        options.chosenRealm = ask(offered, options);
    return *options.chosenRealm;
}

} // namespace qldapx
