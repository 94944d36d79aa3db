#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qldapx {

/** A line of LDIF with those that continue it. */
struct LdifLine {
    std::string_view whole; // without the last line end
    unsigned long number;   // from 0
    bool folded;

    [[nodiscard]] std::string_view first() const { return whole.substr(0, whole.find('\n')); }
    [[nodiscard]] bool isComment() const { return whole.starts_with('#'); }
};

class LdifLines {
  public:
    explicit LdifLines(std::string_view text) : text_(text) {}

    bool next(LdifLine &line);
    /** Those that were passed, and all that are left. */
    [[nodiscard]] unsigned long count() const;
    [[nodiscard]] std::size_t offsetOf(const LdifLine &line) const {
        return static_cast<std::size_t>(line.whole.data() - text_.data());
    }

  private:
    std::string_view text_;
    std::size_t position_ = 0;
    unsigned long number_ = 0;
};

/** A name, how its value is written, and the value where it stands as it is. */
struct LdifField {
    enum class Form { Plain, Base64, File };
    std::string_view name, value;
    Form form = Form::Plain;
};

/** Whether names are the same, in small or capital letters. */
bool sameName(std::string_view left, std::string_view right);

/** A text of the file's for a message. */
std::string inQuotes(std::string_view text);

std::string_view withoutFill(std::string_view text);

/** Finds the field in the line; why there is none, empty when there is one. */
std::string parseField(const LdifLine &line, LdifField &field);

/** Why the file of a value cannot be read, empty when it can; its size counts. */
std::string fileFault(const LdifLine &line, const LdifField &field, std::uint64_t &bytes);

} // namespace qldapx
