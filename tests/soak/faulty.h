// faulty.h - the work with servers that answer wrongly: whatever they do is reported.
#pragma once

#include "crew.h"
#include "hand.h"

#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <set>
#include <string>
#include <vector>

namespace soak {

struct Fault {
    std::string operation; // as the simulator names it
    std::string kind;
    int code; // that it has to give
};

/** What there is to find until the servers are started anew with something else. */
struct Faults {
    std::string uri;               // of the server with the faults
    std::vector<Fault> faults;     // of all its answers to these operations
    std::vector<std::string> deaf; // servers with which nobody can begin a session
};

/** The faults of the moment, which threads share. */
class FaultBoard {
  public:
    /** From {"uri", "faults": [{"operation", "kind", "code"}], "deaf": [...]}. */
    void post(const nlohmann::json &faults);
    [[nodiscard]] std::shared_ptr<const Faults> current() const;

    void seen(const std::shared_ptr<const Faults> &of, const std::string &what);
    /** What of the current ones nobody has seen with its own code. */
    [[nodiscard]] std::vector<std::string> unseen() const;

  private:
    mutable std::mutex mutex_;
    std::shared_ptr<const Faults> faults_;
    std::set<std::string> seen_;
};

/** The work of a thread. */
void meetFaults(Crew &crew, Hand &hand, FaultBoard &board);

} // namespace soak
