#pragma once

#include "load/options.h"
#include "load/record.h"

#include <optional>

namespace qldapx {

/** Why a renaming cannot be sent as part of a bulk update. */
inline std::optional<RecordFault> renameFault(const Record &record, const LoadOptions &options) {
    if (!options.bulkRenames || record.kind != Update::Rename)
        return {};
    if (!record.deletesOldRdn())
        return RecordFault{record.line, "deleteoldrdn: 0 cannot be said with --rename bulk"};
    if (record.newSuperior() != nullptr)
        return RecordFault{record.line, "newsuperior: cannot be said with --rename bulk"};
    return {};
}

} // namespace qldapx
