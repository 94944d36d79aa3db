// hand.h - what one thread works with: its session, its part of the tree, its chance.
#pragma once

#include "beat.h"
#include "session.h"
#include "tally.h"

#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace soak {

/** A job cannot go on. */
struct Trouble : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** A server without faults, and whom a thread works beside there. */
struct Place {
    std::string group; // of its calls in the tally
    std::string uri;
    std::string area; // the entry below which only this thread writes
};

class Hand {
  public:
    Hand(Place place, Tally &tally, Beat &beat, unsigned seed);
    ~Hand();
    Hand(const Hand &) = delete;
    Hand &operator=(const Hand &) = delete;

    [[nodiscard]] const Place &place() const { return place_; }
    [[nodiscard]] Tally &tally() const { return tally_; }
    [[nodiscard]] Beat &beat() const { return beat_; }

    /** The session of the administrator; opens it if there is none. */
    Session &session();
    void closeSession() { session_.reset(); }
    /** Another session, bound as somebody. */
    std::unique_ptr<Session> another(const std::string &dn, const std::string &password);

    /** Counts the call; another code than the wanted one is a complaint and ends the job. */
    void expect(const std::string &call, int code, int wanted = LDAP_SUCCESS);
    /** What is read has to be what was written. */
    void verify(bool holds, const std::string &what);

    /** A number from 0 up to and without the end. */
    int below(int end);
    /** That many bytes of any value. */
    std::string bytes(int count);
    /** That many letters. */
    std::string letters(int count);
    /** Within the area; no other entry has had the name in this run. */
    std::string freshDn(const std::string &prefix);
    int freshNumber() { return ++names_; }

    /** Makes the area anew, as a child of the naming context. */
    void makeArea();
    void removeArea();

  private:
    Place place_;
    Tally &tally_;
    Beat &beat_;
    std::mt19937 random_;
    std::unique_ptr<Session> session_;
    int names_ = 0;
};

/** How long a faultless server may take on a machine with much else to do. */
constexpr std::chrono::seconds longPatience{40};

} // namespace soak
