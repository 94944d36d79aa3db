#include "harmless_json.h"

#include "text.h"

#include <cstdint>
#include <fmt/format.h>

namespace qldapx {

// The writer of JSON escapes the others itself.
std::string harmlessJson(std::string json) {
    constexpr std::string_view suspicious = "\x7f\xc2\xe2"; // what steers begins with these
    for (std::size_t at = json.find_first_of(suspicious); at != std::string::npos;
         at = json.find_first_of(suspicious, at + 1)) {
        const CodePoint point = firstCodePoint(std::string_view(json).substr(at));
        const std::string_view text = std::string_view(json).substr(at, point.length);
        if (printable(text) != text)
            json.replace(at, point.length, fmt::format("\\u{:04x}", std::uint32_t{point.value}));
    }
    return json;
}

} // namespace qldapx
