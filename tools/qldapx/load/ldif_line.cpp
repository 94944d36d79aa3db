#include "load/ldif_line.h"

#include "text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <strings.h>
#include <sys/stat.h>

// libldap exports what it finds the files of values with, but declares it in a private header.
extern "C" void ldap_pvt_hex_unescape(char *text);

namespace qldapx {
namespace {

constexpr std::uint64_t largestFile = std::uint64_t{64} << 20U;

std::string unfolded(std::string_view text) {
    std::string result(text);
    for (std::size_t fold = result.find("\n "); fold != std::string::npos;
         fold = result.find("\n ", fold))
        result.erase(fold, 2);
    return result;
}

} // namespace

bool LdifLines::next(LdifLine &line) {
    if (position_ >= text_.size())
        return false;
    const std::size_t begin = position_;
    line.number = number_;
    line.folded = false;
    while (true) {
        position_ = std::min(text_.find('\n', position_), text_.size() - 1) + 1;
        ++number_;
        if (position_ >= text_.size() || text_[position_] != ' ')
            break;
        line.folded = true;
    }
    const bool ended = text_[position_ - 1] == '\n';
    line.whole = text_.substr(begin, position_ - begin - (ended ? 1 : 0));
    if (line.whole.ends_with('\r'))
        line.whole.remove_suffix(1);
    return true;
}

unsigned long LdifLines::count() const {
    const std::string_view rest = text_.substr(position_);
    return number_ + static_cast<unsigned long>(std::count(rest.begin(), rest.end(), '\n'));
}

bool sameName(std::string_view left, std::string_view right) {
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

std::string inQuotes(std::string_view text) {
    constexpr std::size_t longest = 60;
    const std::string shown = printable(text.substr(0, longest));
    return "\"" + shown + (text.size() > longest ? "...\"" : "\"");
}

std::string_view withoutFill(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(" \t"), text.size()));
}

std::string parseField(const LdifLine &line, LdifField &field) {
    const std::string_view first = line.first();
    const std::size_t colon = first.find(':');
    if (colon == std::string_view::npos)
        return line.folded ? fmt::format("{} is folded before its colon", inQuotes(first))
                           : fmt::format("{} has no colon", inQuotes(first));
    field.name = first.substr(0, colon);
    const auto isOdd = [](char c) { return c <= ' ' || c == '\x7f'; };
    if (field.name.empty() || std::any_of(field.name.begin(), field.name.end(), isOdd))
        return fmt::format("{} names no attribute before its colon", inQuotes(first));
    std::string_view rest = first.substr(colon + 1);
    if (rest.starts_with(':') || rest.starts_with('<')) {
        field.form = rest.front() == ':' ? LdifField::Form::Base64 : LdifField::Form::File;
        rest.remove_prefix(1);
    }
    field.value = withoutFill(rest);
    const bool isEmpty = field.value.empty() && !line.folded;
    if (isEmpty && field.form != LdifField::Form::Plain)
        return fmt::format("{} has no value behind \"{}\"", inQuotes(field.name),
                           field.form == LdifField::Form::Base64 ? "::" : ":<");
    return {};
}

std::string fileFault(const LdifLine &line, const LdifField &field, std::uint64_t &bytes) {
    std::string path = unfolded(
        line.whole.substr(static_cast<std::size_t>(field.value.data() - line.whole.data())));
    const std::string url = inQuotes(path);
    constexpr std::string_view scheme = "file:";
    if (!sameName(std::string_view(path).substr(0, scheme.size()), scheme))
        return fmt::format("{} is no file:// URL, and others are not fetched", url);
    path.erase(0, scheme.size());
    if (path.starts_with("//"))
        path.erase(0, 2);
    ldap_pvt_hex_unescape(path.data());
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        return fmt::format("cannot read {}: {}", url, std::strerror(errno));
    if (!S_ISREG(status.st_mode))
        return fmt::format("{} is not a file", url);
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size > largestFile)
        return fmt::format("{} has more than {} MiB", url, largestFile >> 20U);
    bytes += size;
    return {};
}

} // namespace qldapx
