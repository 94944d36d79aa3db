#include "load/record_check.h"

#include "text.h"

#include <algorithm>
#include <array>
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

bool same(std::string_view left, std::string_view right) {
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

/** A line with those that continue it. */
struct Line {
    std::string_view whole; // without the last line end
    unsigned long number;   // from 0
    bool folded;

    [[nodiscard]] std::string_view first() const { return whole.substr(0, whole.find('\n')); }
    [[nodiscard]] bool isComment() const { return whole.starts_with('#'); }
};

class Lines {
  public:
    explicit Lines(std::string_view text) : text_(text) {}

    bool next(Line &line) {
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
    /** Those that were passed, and all that are left. */
    unsigned long count() {
        const auto rest = text_.substr(position_);
        return number_ + static_cast<unsigned long>(std::count(rest.begin(), rest.end(), '\n'));
    }
    [[nodiscard]] std::size_t offsetOf(const Line &line) const {
        return static_cast<std::size_t>(line.whole.data() - text_.data());
    }

  private:
    std::string_view text_;
    std::size_t position_ = 0;
    unsigned long number_ = 0;
};

std::string quoted(std::string_view text) {
    constexpr std::size_t longest = 60;
    const std::string shown = printable(text.substr(0, longest));
    return "\"" + shown + (text.size() > longest ? "...\"" : "\"");
}

/** A name, how its value is written, and the value where it stands as it is. */
struct Field {
    enum class Form { Plain, Base64, File };
    std::string_view name, value;
    Form form = Form::Plain;
};

std::string_view withoutFill(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(" \t"), text.size()));
}

std::string unfolded(std::string_view text) {
    std::string result(text);
    for (std::size_t fold = result.find("\n "); fold != std::string::npos;
         fold = result.find("\n ", fold))
        result.erase(fold, 2);
    return result;
}

/** Why the file of a value cannot be read, empty when it can; its size counts. */
std::string fileFault(const Line &line, const Field &field, std::uint64_t &bytes) {
    std::string path = unfolded(
        line.whole.substr(static_cast<std::size_t>(field.value.data() - line.whole.data())));
    const std::string url = quoted(path);
    constexpr std::string_view scheme = "file:";
    if (!same(std::string_view(path).substr(0, scheme.size()), scheme))
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

/** What a record must say next. */
class Check {
  public:
    explicit Check(RecordLayout &layout) : layout_(layout) {}

    /** Each line in turn; a reason is the record's end. */
    std::string line(const Line &line, std::size_t offset);
    std::string end() const;

  private:
    enum class Expect { Dn, Head, Attribute, Value, ModOp, NewRdn, DeleteOldRdn, NewSuperior, End };

    static std::string parse(const Line &line, Field &field);
    std::string head(const Line &line, const Field &field, std::size_t offset);
    std::string control(const Line &line, std::size_t offset);
    std::string dn(const Line &line, const Field &field, std::size_t offset);
    std::string changeType(const Line &line, const Field &field);
    std::string attribute(const Field &field);
    std::string modOp(const Line &line, const Field &field);
    std::string separator();
    std::string rename(const Line &line, const Field &field);
    std::string order(std::string_view name);

    RecordLayout &layout_;
    Expect expect_ = Expect::Dn;
    bool isAdd_ = true;
    bool needsValue_ = false;
    std::uint64_t changes_ = 0;
    std::uint64_t values_ = 0;     // of the entry, or of the change
    std::uint64_t attributes_ = 0; // how often one follows another one
    std::string_view previous_;
};

std::string Check::parse(const Line &line, Field &field) {
    const std::string_view first = line.first();
    const std::size_t colon = first.find(':');
    if (colon == std::string_view::npos)
        return line.folded ? fmt::format("{} is folded before its colon", quoted(first))
                           : fmt::format("{} has no colon", quoted(first));
    field.name = first.substr(0, colon);
    while (field.name.ends_with(' '))
        field.name.remove_suffix(1);
    const auto isOdd = [](char c) { return c <= ' ' || c == '\x7f'; };
    if (field.name.empty() || std::any_of(field.name.begin(), field.name.end(), isOdd))
        return fmt::format("{} names no attribute before its colon", quoted(first));
    std::string_view rest = first.substr(colon + 1);
    if (rest.starts_with(':') || rest.starts_with('<')) {
        field.form = rest.front() == ':' ? Field::Form::Base64 : Field::Form::File;
        rest.remove_prefix(1);
    }
    field.value = withoutFill(rest);
    const bool isEmpty = field.value.empty() && !line.folded;
    if (isEmpty && field.form != Field::Form::Plain)
        return fmt::format("{} has no value behind \"{}\"", quoted(field.name),
                           field.form == Field::Form::Base64 ? "::" : ":<");
    return {};
}

std::string Check::dn(const Line &line, const Field &field, std::size_t offset) {
    if (same(field.name, "version"))
        return field.value == "1" && field.form == Field::Form::Plain && !line.folded
                   ? std::string()
                   : fmt::format("version {} of LDIF is not known, only 1", quoted(field.value));
    if (!same(field.name, "dn"))
        return fmt::format("a record begins with dn:, and this one with {}", quoted(field.name));
    layout_.body = offset;
    layout_.line = line.number;
    layout_.empty = false;
    expect_ = Expect::Head;
    return {};
}

std::string Check::changeType(const Line &line, const Field &field) {
    struct Row {
        const char *name;
        Expect next;
    };
    constexpr std::array rows = {
        Row{"add", Expect::Attribute}, Row{"modify", Expect::ModOp}, Row{"delete", Expect::End},
        Row{"modrdn", Expect::NewRdn}, Row{"moddn", Expect::NewRdn}, Row{"rename", Expect::NewRdn},
    };
    const auto row = std::find_if(rows.begin(), rows.end(),
                                  [&](const Row &each) { return same(each.name, field.value); });
    if (row == rows.end() || field.form != Field::Form::Plain || line.folded)
        return fmt::format("unknown changetype {}", quoted(field.value));
    expect_ = row->next;
    isAdd_ = expect_ == Expect::Attribute;
    return {};
}

std::string Check::control(const Line &line, std::size_t offset) {
    layout_.controls.push_back(offset);
    const std::size_t file = line.whole.find(":<");
    if (file == std::string_view::npos)
        return {};
    if (line.folded)
        return "a control whose value is a file may not be folded";
    const Field value = {"control", withoutFill(line.whole.substr(file + 2)), Field::Form::File};
    return fileFault(line, value, layout_.fileBytes);
}

std::string Check::head(const Line &line, const Field &field, std::size_t offset) {
    if (same(field.name, "control"))
        return control(line, offset);
    if (same(field.name, "changetype"))
        return changeType(line, field);
    expect_ = Expect::Attribute;
    return attribute(field);
}

// libldap compares every attribute with every line to bring values of one name together.
std::string Check::order(std::string_view name) {
    constexpr std::uint64_t mostComparisons = 1'000'000'000;
    if (!same(name, previous_))
        ++attributes_;
    previous_ = name;
    ++values_;
    return attributes_ * values_ > mostComparisons ? "too many attributes in one entry"
                                                   : std::string();
}

std::string Check::attribute(const Field &field) {
    constexpr std::array reserved = {"dn", "changetype", "control"};
    const auto word = std::find_if(reserved.begin(), reserved.end(),
                                   [&](const char *each) { return same(field.name, each); });
    if (word != reserved.end())
        return fmt::format("a second {}: in the record: is the empty line between two records "
                           "missing, or does it stand in the wrong place?",
                           *word);
    return order(field.name);
}

std::string Check::modOp(const Line &line, const Field &field) {
    constexpr std::array names = {"add", "delete", "replace", "increment"};
    const auto name = std::find_if(names.begin(), names.end(),
                                   [&](const char *each) { return same(field.name, each); });
    if (name == names.end())
        return fmt::format("add:, delete:, replace: or increment: is expected, not {}",
                           quoted(field.name));
    if (field.value.empty() || field.form != Field::Form::Plain || line.folded)
        return fmt::format("{}: names no attribute", *name);
    needsValue_ = same(*name, "add") || same(*name, "increment");
    values_ = 0;
    ++changes_;
    expect_ = Expect::Value;
    return {};
}

std::string Check::separator() {
    if (expect_ != Expect::Value)
        return "\"-\" stands where no change ends";
    if (needsValue_ && values_ == 0)
        return "the change that ends here has no value";
    expect_ = Expect::ModOp;
    return {};
}

std::string Check::rename(const Line &line, const Field &field) {
    const char *name = expect_ == Expect::NewRdn         ? "newrdn"
                       : expect_ == Expect::DeleteOldRdn ? "deleteoldrdn"
                                                         : "newsuperior";
    if (!same(field.name, name))
        return fmt::format("{}: is expected, not {}", name, quoted(field.name));
    const bool isFlag = field.value == "0" || field.value == "1";
    if (expect_ == Expect::NewRdn && field.value.empty() && !line.folded)
        return "newrdn: has no value";
    if (expect_ == Expect::DeleteOldRdn &&
        (!isFlag || line.folded || field.form != Field::Form::Plain))
        return fmt::format("deleteoldrdn: is 0 or 1, not {}", quoted(field.value));
    expect_ = expect_ == Expect::NewRdn         ? Expect::DeleteOldRdn
              : expect_ == Expect::DeleteOldRdn ? Expect::NewSuperior
                                                : Expect::End;
    return {};
}

std::string Check::line(const Line &line, std::size_t offset) {
    if (line.isComment())
        return {};
    if (line.whole.find('\r') != std::string_view::npos &&
        line.whole.find("\r\n") == std::string_view::npos)
        return "a carriage return inside the line: such a value is written in base64";
    if (line.whole == "-")
        return separator();
    Field field;
    std::string reason = parse(line, field);
    if (reason.empty() && field.form == Field::Form::File)
        reason = fileFault(line, field, layout_.fileBytes);
    if (!reason.empty())
        return reason;
    switch (expect_) {
    case Expect::Dn:
        return dn(line, field, offset);
    case Expect::Head:
        return head(line, field, offset);
    case Expect::Attribute:
        return attribute(field);
    case Expect::Value:
        return order(field.name);
    case Expect::ModOp:
        return modOp(line, field);
    case Expect::End:
        return "nothing may follow here; is the empty line between two records missing?";
    default:
        return rename(line, field);
    }
}

std::string Check::end() const {
    switch (expect_) {
    case Expect::Head:
    case Expect::Attribute:
        return values_ == 0 ? "an entry without attributes" : std::string();
    case Expect::ModOp:
        return changes_ == 0 ? "a modification has no change" : std::string();
    case Expect::Value:
        return needsValue_ && values_ == 0 ? "the last change has no value" : std::string();
    case Expect::NewRdn:
        return "newrdn: is missing";
    case Expect::DeleteOldRdn:
        return "deleteoldrdn: is missing";
    default:
        return {};
    }
}

} // namespace

std::optional<RecordFault> checkRecord(std::string_view text, RecordLayout &layout) {
    layout.controls.clear();
    layout = {0, 0, 0, true, std::move(layout.controls), 0};
    Lines lines(text);
    Check check(layout);
    Line line{};
    std::string reason;
    while (reason.empty() && lines.next(line))
        reason = check.line(line, lines.offsetOf(line));
    layout.lines = lines.count();
    if (!reason.empty())
        return RecordFault{line.number, std::move(reason)};
    reason = check.end();
    if (!reason.empty())
        return RecordFault{layout.line, std::move(reason)};
    return {};
}

unsigned long physicalLine(std::string_view text, unsigned long logical) {
    Lines lines(text);
    Line line{};
    while (lines.next(line))
        if (!line.isComment() && logical-- == 0)
            break;
    return line.number;
}

} // namespace qldapx
