#pragma once

#include "interruption.h"
#include "load/channel.h"
#include "load/options.h"

#include <memory>

namespace qldapx {

/** What sending works with. */
struct LoadContext {
    Run &run;
    const LoadOptions &options;
    Journal &journal;
    Channel &channel;
    Pace pace;

    /** Nothing more is to be sent. */
    [[nodiscard]] bool stopping() const {
        return Interruption::requested() || (journal.hasFailures() && !options.goOn);
    }
};

/** Sends updates and collects the answers. All of it throws Failure. */
class Sender {
  public:
    Sender() = default;
    virtual ~Sender() = default;
    Sender(const Sender &) = delete;
    Sender &operator=(const Sender &) = delete;

    /** Takes a record's contents; it is sent now or with later ones. */
    virtual void add(Record &record) = 0;
    /** Sends all that was added, unless the load stops. */
    virtual void flush() = 0;
    /** Waits for every answer. */
    virtual void drain() = 0;
    /** Nothing is under way any more, and nothing follows. */
    virtual void end() = 0;
    /** No more answers will come: what is under way is in doubt. */
    virtual void giveUp() = 0;
};

constexpr std::size_t mostBytesUnderWay = std::size_t{64} << 20U;

/** Waits until updates may be sent; answers that come meanwhile go to `take`. */
template <typename Take>
void awaitPace(LoadContext &context, const Take &take) {
    while (!context.stopping() && Pace::Clock::now() < context.pace.due())
        if (const Answer answer = context.channel.receive(context.pace.due()))
            take(answer);
}

/** Sends a record as an ordinary operation, with the session's controls and its own. */
int sendOrdinary(LDAP *ld, Record &record, int &id);

/** Through LBURP; a Failure when the server does not know it, or refuses to begin. */
std::unique_ptr<Sender> bulkSender(LoadContext &context);
std::unique_ptr<Sender> ordinarySender(LoadContext &context);

/** The server would not begin a bulk update. */
class NoBulkUpdate : public Failure {
  public:
    using Failure::Failure;
};

} // namespace qldapx
