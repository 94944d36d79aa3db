#include "digest_password.h"

#include "text.h"

namespace qldapx {

Secret digestPassword(const Secret &password) {
    constexpr char32_t lastOfLatin1 = 0xff;
    Secret converted;
    char *next = converted.resize(password.size());
    std::size_t size = 0;
    for (std::string_view rest = password.view(); !rest.empty();) {
        const CodePoint point = firstCodePoint(rest);
        if (point.length == 0 || point.value > lastOfLatin1)
            return Secret(password.view());
        next[size++] = static_cast<char>(point.value);
        rest.remove_prefix(point.length);
    }
    converted.resize(size);
    return converted;
}

} // namespace qldapx
