#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace stratasim::schema {

/** Short names for OIDs or the beginnings of OIDs; throws SyntaxError for one without an end. */
class Macros {
  public:
    /** False when the name stands for something else already. */
    bool define(std::string_view name, std::string_view value);
    /** NAME and NAME:suffix become OIDs; any other word stays as it is. */
    std::string expand(std::string_view word) const;

  private:
    std::map<std::string, std::string, std::less<>> values_; // by name in lower case
};

} // namespace stratasim::schema
