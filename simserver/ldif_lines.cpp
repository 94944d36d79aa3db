#include "ldif_lines.h"

#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace stratasim {

void failLdif(int line, const std::string &problem) {
    throw LdifError(fmt::format("line {}: {}", line, problem));
}

bool LdifLines::next(std::string &line) {
    do {
        if (!ahead_)
            return false;
        line = *std::exchange(ahead_, std::nullopt);
        number_ = aheadNumber_;
        while (readPhysical() && ahead_->starts_with(' ') && !line.empty())
            line.append(*ahead_, 1);
    } while (line.starts_with('#'));
    return true;
}

bool LdifLines::readPhysical() {
    std::string line;
    if (!std::getline(in_, line)) {
        ahead_.reset();
        return false;
    }
    if (line.ends_with('\r'))
        line.pop_back();
    ahead_ = std::move(line);
    ++aheadNumber_;
    return true;
}

LdifPair parseLdifLine(const std::string &line, int number) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos)
        failLdif(number, fmt::format("no colon in \"{}\"", line));
    LdifPair pair{line.substr(0, colon), {}};
    const std::string_view rest = std::string_view(line).substr(colon + 1);
    if (rest.starts_with('<'))
        failLdif(number, "values from URLs (\":<\") are not read: put the value itself there");
    if (!rest.starts_with(':')) {
        pair.value = rest.substr(std::min(rest.find_first_not_of(' '), rest.size()));
        return pair;
    }
    const auto decoded = decodeBase64(trim(rest.substr(1)));
    if (!decoded)
        failLdif(number, fmt::format("the value of {} is not base64", pair.name));
    pair.value = *decoded;
    return pair;
}

} // namespace stratasim
