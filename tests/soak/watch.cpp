#include "watch.h"

#include "registration.h"

#include <thread>

namespace soak {
namespace {

using namespace std::chrono_literals;

class Watch {
  public:
    Watch(Crew &crew, Hand &hand)
        : crew_(crew), hand_(hand), session_(hand.another(adminDn, adminPassword)),
          registration_(*session_) {}

    void run() {
        hand_.expect("ldap_monitor_events",
                     registration_.begin({entryAdded, entryDeleted, entryModified, entryRenamed},
                                         "", longPatience));
        bool isQuiet = false;
        // Rests only when nothing is left to read.
        while (!(isQuiet && crew_.isCalled()) || crew_.goOn(hand_.beat())) {
            hand_.beat().working("watch");
            isQuiet = !take(registration_.next(200ms));
        }
    }

  private:
    bool take(const Notice &notice) {
        if (notice.kind == Notice::nothing)
            return false;
        hand_.verify(notice.kind == Notice::event, "the server ended the watch");
        hand_.expect("ldap_parse_ds_event", notice.code);
        hand_.verify(last_ == 0 || notice.change == last_ + 1,
                     "events are missing between the changes " + std::to_string(last_) + " and " +
                         std::to_string(notice.change));
        last_ = notice.change;
        return true;
    }

    Crew &crew_;
    Hand &hand_;
    std::unique_ptr<Session> session_;
    Registration registration_;
    int last_ = 0;
};

} // namespace

void watchAll(Crew &crew, Hand &hand) {
    try {
        Watch(crew, hand).run();
    } catch (const Trouble &trouble) {
        hand.tally().complain(std::string("watch: ") + trouble.what());
        while (crew.goOn(hand.beat())) {
            hand.beat().idle();
            std::this_thread::sleep_for(50ms);
        }
    }
}

} // namespace soak
