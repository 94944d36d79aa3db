#include "schema/macros.h"

#include "schema/description.h"
#include "text.h"

#include <fmt/format.h>

namespace stratasim::schema {

bool Macros::define(std::string_view name, std::string_view value) {
    const auto [place, isNew] = values_.emplace(lowerCase(name), value);
    return isNew || place->second == value;
}

std::string Macros::expand(std::string_view word) const {
    std::string expanded(word);
    for (std::size_t steps = 0;; ++steps) {
        const std::size_t colon = expanded.find(':');
        const auto found = values_.find(lowerCase(std::string_view(expanded).substr(0, colon)));
        if (found == values_.end())
            return expanded;
        if (steps > values_.size())
            throw SyntaxError(fmt::format("the OID macro {} stands for itself", found->first));
        expanded = colon == std::string::npos ? found->second
                                              : found->second + "." + expanded.substr(colon + 1);
    }
}

} // namespace stratasim::schema
