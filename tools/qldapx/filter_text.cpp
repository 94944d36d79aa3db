#include "filter_text.h"

#include "errors.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>

namespace qldapx {
namespace {

[[noreturn]] void refuse(std::string_view text, const std::string &why) {
    throw UsageError(fmt::format("\"{}\" is no filter text: {}", printable(text), why),
                     "--class person=cn,sn --class device=cn, or as a text in single quotes: "
                     "'person$cn$sn$$device$cn$$$' (a $ after each class and each attribute, "
                     "one more after each group, and one at the end)");
}

/** Reads a filter's text piece by piece. */
class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text) {}

    [[nodiscard]] bool atDollar() const { return rest().starts_with('$'); }
    void skipDollar() { ++position_; }
    [[nodiscard]] std::string_view rest() const { return text_.substr(position_); }

    std::string name(const char *what) {
        const std::size_t end = text_.find('$', position_);
        if (end == std::string_view::npos)
            refuse(text_, rest().empty()
                              ? fmt::format("it ends where a \"$\" has to follow ({})", what)
                              : fmt::format("no \"$\" follows \"{}\"", printable(rest())));
        std::string piece(text_.substr(position_, end - position_));
        position_ = end + 1;
        return piece;
    }

  private:
    std::string_view text_;
    std::size_t position_ = 0;
};

bool isName(const std::string &name) {
    return !name.empty() && name.find('$') == std::string::npos &&
           name.find(' ') == std::string::npos;
}

} // namespace

Filter parseFilter(std::string_view text) {
    Reader reader(text);
    Filter filter;
    while (!reader.atDollar()) {
        FilterClass group = {reader.name("the closing one"), {}};
        while (!reader.atDollar())
            group.attributes.push_back(reader.name("after each class"));
        reader.skipDollar();
        filter.push_back(std::move(group));
    }
    reader.skipDollar();
    if (!reader.rest().empty())
        refuse(text,
               fmt::format("\"{}\" stands after the closing \"$\"", printable(reader.rest())));
    return filter;
}

std::string filterText(const Filter &filter) {
    std::string text;
    for (const FilterClass &group : filter) {
        text += group.name + "$";
        for (const std::string &attribute : group.attributes)
            text += attribute + "$";
        text += "$";
    }
    return text + "$";
}

FilterClass parseFilterClass(const std::string &text) {
    const std::size_t equals = text.find('=');
    FilterClass group = {text.substr(0, equals), {}};
    if (equals != std::string::npos && equals + 1 < text.size())
        group.attributes = split(std::string_view(text).substr(equals + 1), ',');
    if (!isName(group.name) ||
        !std::all_of(group.attributes.begin(), group.attributes.end(), isName))
        throw UsageError(fmt::format("--class {}: a class or attribute is empty or has a space or "
                                     "a $ in it",
                                     printable(text)),
                         "--class person=cn,sn");
    return group;
}

} // namespace qldapx
