#pragma once

#include "schema/element.h"

namespace qldapx {

/** A field on the command line: FIELD=VALUE, FIELD+=VALUE, FIELD-=VALUE, FIELD- or a flag. */
struct FieldArgument {
    enum class Change { Set, Insert, TakeOut, Clear };
    std::string keyword; // as keywordsOf spells it
    Change change = Change::Set;
    std::string value;
    bool hasValue = false;
};

/** Throws UsageError for a field that elements of the kind do not have. */
FieldArgument parseFieldArgument(Kind kind, const std::string &text);

} // namespace qldapx
