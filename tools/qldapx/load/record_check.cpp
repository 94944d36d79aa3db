#include "load/record_check.h"

#include "load/ldif_line.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace qldapx {
namespace {

/** What a record must say next. */
class Check {
  public:
    explicit Check(RecordLayout &layout) : layout_(layout) {}

    /** Each line in turn; a reason is the record's end. */
    std::string line(const LdifLine &line, std::size_t offset);
    std::string end() const;

  private:
    enum class Expect { Dn, Head, Attribute, Value, ModOp, NewRdn, DeleteOldRdn, NewSuperior, End };

    std::string head(const LdifLine &line, const LdifField &field, std::size_t offset);
    std::string control(const LdifLine &line, std::size_t offset);
    std::string dn(const LdifLine &line, const LdifField &field, std::size_t offset);
    std::string changeType(const LdifLine &line, const LdifField &field);
    std::string attribute(const LdifField &field);
    std::string modOp(const LdifLine &line, const LdifField &field);
    std::string separator();
    std::string rename(const LdifLine &line, const LdifField &field);
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

std::string Check::dn(const LdifLine &line, const LdifField &field, std::size_t offset) {
    if (sameName(field.name, "version"))
        return field.value == "1" && field.form == LdifField::Form::Plain && !line.folded
                   ? std::string()
                   : fmt::format("version {} of LDIF is not known, only 1", inQuotes(field.value));
    if (!sameName(field.name, "dn"))
        return fmt::format("a record begins with dn:, and this one with {}", inQuotes(field.name));
    layout_.body = offset;
    layout_.line = line.number;
    layout_.empty = false;
    expect_ = Expect::Head;
    return {};
}

std::string Check::changeType(const LdifLine &line, const LdifField &field) {
    struct Row {
        const char *name;
        Expect next;
    };
    constexpr std::array rows = {
        Row{"add", Expect::Attribute}, Row{"modify", Expect::ModOp}, Row{"delete", Expect::End},
        Row{"modrdn", Expect::NewRdn}, Row{"moddn", Expect::NewRdn}, Row{"rename", Expect::NewRdn},
    };
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const Row &each) {
        return sameName(each.name, field.value);
    });
    if (row == rows.end() || field.form != LdifField::Form::Plain || line.folded)
        return fmt::format("unknown changetype {}", inQuotes(field.value));
    expect_ = row->next;
    isAdd_ = expect_ == Expect::Attribute;
    return {};
}

std::string Check::control(const LdifLine &line, std::size_t offset) {
    layout_.controls.push_back(offset);
    const std::size_t file = line.whole.find(":<");
    if (file == std::string_view::npos)
        return {};
    if (line.folded)
        return "a control whose value is a file may not be folded";
    const LdifField value = {"control", withoutFill(line.whole.substr(file + 2)),
                             LdifField::Form::File};
    return fileFault(line, value, layout_.fileBytes);
}

std::string Check::head(const LdifLine &line, const LdifField &field, std::size_t offset) {
    if (sameName(field.name, "control"))
        return control(line, offset);
    if (sameName(field.name, "changetype"))
        return changeType(line, field);
    expect_ = Expect::Attribute;
    return attribute(field);
}

// libldap compares every attribute with every line to bring values of one name together.
std::string Check::order(std::string_view name) {
    constexpr std::uint64_t mostComparisons = 1'000'000'000;
    if (!sameName(name, previous_))
        ++attributes_;
    previous_ = name;
    ++values_;
    return attributes_ * values_ > mostComparisons ? "too many attributes in one entry"
                                                   : std::string();
}

std::string Check::attribute(const LdifField &field) {
    constexpr std::array reserved = {"dn", "changetype", "control"};
    const auto word = std::find_if(reserved.begin(), reserved.end(),
                                   [&](const char *each) { return sameName(field.name, each); });
    if (word != reserved.end())
        return fmt::format("a second {}: in the record: is the empty line between two records "
                           "missing, or does it stand in the wrong place?",
                           *word);
    return order(field.name);
}

std::string Check::modOp(const LdifLine &line, const LdifField &field) {
    constexpr std::array names = {"add", "delete", "replace", "increment"};
    const auto name = std::find_if(names.begin(), names.end(),
                                   [&](const char *each) { return sameName(field.name, each); });
    if (name == names.end())
        return fmt::format("add:, delete:, replace: or increment: is expected, not {}",
                           inQuotes(field.name));
    if (field.value.empty() || field.form != LdifField::Form::Plain || line.folded)
        return fmt::format("{}: names no attribute", *name);
    needsValue_ = sameName(*name, "add") || sameName(*name, "increment");
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

std::string Check::rename(const LdifLine &line, const LdifField &field) {
    const char *name = expect_ == Expect::NewRdn         ? "newrdn"
                       : expect_ == Expect::DeleteOldRdn ? "deleteoldrdn"
                                                         : "newsuperior";
    if (!sameName(field.name, name))
        return fmt::format("{}: is expected, not {}", name, inQuotes(field.name));
    const bool isFlag = field.value == "0" || field.value == "1";
    if (expect_ == Expect::NewRdn && field.value.empty() && !line.folded)
        return "newrdn: has no value";
    if (expect_ == Expect::DeleteOldRdn &&
        (!isFlag || line.folded || field.form != LdifField::Form::Plain))
        return fmt::format("deleteoldrdn: is 0 or 1, not {}", inQuotes(field.value));
    expect_ = expect_ == Expect::NewRdn         ? Expect::DeleteOldRdn
              : expect_ == Expect::DeleteOldRdn ? Expect::NewSuperior
                                                : Expect::End;
    return {};
}

std::string Check::line(const LdifLine &line, std::size_t offset) {
    if (line.isComment())
        return {};
    if (line.whole.find('\r') != std::string_view::npos &&
        line.whole.find("\r\n") == std::string_view::npos)
        return "a carriage return inside the line: such a value is written in base64";
    if (line.whole == "-")
        return separator();
    LdifField field;
    std::string reason = parseField(line, field);
    if (reason.empty() && field.form == LdifField::Form::File)
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
    LdifLines lines(text);
    Check check(layout);
    LdifLine line{};
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
    LdifLines lines(text);
    LdifLine line{};
    while (lines.next(line))
        if (!line.isComment() && logical-- == 0)
            break;
    return line.number;
}

} // namespace qldapx
