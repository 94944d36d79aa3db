#include "hostile/ending.h"

#include "fuzz/heap_watch.h"
#include "support/assertion_trap.h"

#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

// Of the sanitizers, where they are there.
extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());

namespace hostile {

namespace {

sigjmp_buf place;
volatile sig_atomic_t isGuarded = 0;

std::FILE *const screen = stderr;
std::FILE *quiet = nullptr;
char message[1024];
std::size_t messageLength = 0;

char epitaph[256];

ssize_t record(void * /*cookie*/, const char *bytes, std::size_t size) {
    const std::size_t room = sizeof message - 1 - messageLength;
    const std::size_t taken = size < room ? size : room;
    std::memcpy(message + messageLength, bytes, taken);
    messageLength += taken;
    message[messageLength] = '\0';
    return static_cast<ssize_t>(size);
}

void sayEpitaph() {
    static_cast<void>(write(STDERR_FILENO, message, messageLength) +
                      write(STDERR_FILENO, epitaph, std::strlen(epitaph)));
}

void onAbort(int /*signal*/) {
    if (isGuarded != 0)
        siglongjmp(place, 1);
    sayEpitaph();
}

void onDeath(int signal) {
    sayEpitaph();
    std::signal(signal, SIG_DFL);
    raise(signal);
}

std::string lastWords() {
    std::string words = message;
    if (!words.empty() && words.back() == '\n')
        words.pop_back();
    return words;
}

Ending endingAfter(const qldapx_test::FailedAssertion &assertion) {
    using Kind = Ending::Kind;
    if (assertion.expression == nullptr)
        return {Kind::abort, lastWords()};
    const char *slash = std::strrchr(assertion.file, '/');
    std::string text = slash != nullptr ? slash + 1 : assertion.file;
    text += ":" + std::to_string(assertion.line) + ": " + assertion.function + ": " +
            assertion.expression;
    return {assertion.isRequired ? Kind::assertion : Kind::otherAssertion, text};
}

} // namespace

void prepareEndings() {
    quiet = fopencookie(nullptr, "w", {nullptr, record, nullptr, nullptr});
    std::setvbuf(quiet, nullptr, _IONBF, 0);
    struct sigaction action = {};
    action.sa_handler = onAbort;
    sigaction(SIGABRT, &action, nullptr);
    std::signal(SIGALRM, onDeath);
    if (__sanitizer_set_death_callback != nullptr)
        __sanitizer_set_death_callback(sayEpitaph);
    else
        std::signal(SIGSEGV, onDeath);
}

Ending endingOf(const std::function<void()> &call) {
    qldapx_test::lastAssertion = {};
    messageLength = 0;
    message[0] = '\0';
    stderr = quiet;
    const bool hasReturned = sigsetjmp(place, 1) == 0;
    if (hasReturned) {
        isGuarded = 1;
        call();
    }
    isGuarded = 0;
    stderr = screen;
    const qldapx_fuzz::Unwatched pause;
    return hasReturned ? Ending() : endingAfter(qldapx_test::lastAssertion);
}

void setEpitaph(const std::string &text) {
    std::snprintf(epitaph, sizeof epitaph, "\n%s\n", text.c_str());
}

} // namespace hostile
