#pragma once

#include "message.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace stratasim {

/** The search stays open and reports changes. */
struct PersistentControl {
    std::int64_t changeTypes = 0; // sum of 1 add, 2 delete, 4 modify, 8 modify DN
    bool changesOnly = false;
    bool returnEntryChange = false;
};

/** Each entry comes with the rights that the speaker has there. */
struct RightsControl {
    enum class Attributes { None, All, Listed };
    Attributes attributes = Attributes::None;
    std::vector<std::string> listed;
};

/** The result says how the server is: state, connections, searches, seconds since its start. */
struct StatusControl {
    std::array<bool, 4> wanted{};
};

/** What the controls of a search ask for beside its entries. */
struct SearchControls {
    std::optional<PersistentControl> persistent;
    std::optional<RightsControl> rights;
    std::optional<StatusControl> status;
    bool reference = false; // the result says where the base lies
};

/** Throws protocolError for a value that is not what the control takes, or a control twice. */
SearchControls decodeSearchControls(const std::vector<Control> &controls);

} // namespace stratasim
