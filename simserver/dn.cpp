#include "dn.h"

#include "ber.h"
#include "result.h"
#include "schema.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim {
namespace {

constexpr std::string_view kSpecial = "\"+,;<>\\";
// Whoever looks for a name looks for each one above it as well, which costs the square of its size.
constexpr std::size_t kMaxName = 16384;

std::string keyValue(std::string_view value) {
    std::string out;
    for (const char c : foldText(value)) {
        if (kSpecial.find(c) != std::string_view::npos || c == '=' || c == '#' || c == '\0')
            out += fmt::format("\\{:02x}", static_cast<unsigned char>(c));
        else
            out.push_back(c);
    }
    return out;
}

/** Reads a name from left to right; every read* gives false when the text is no name. */
class Parser {
  public:
    explicit Parser(std::string_view text) : text_(text) {}

    bool atEnd() const { return at_ == text_.size(); }
    /** Where the last value ended, before the spaces that do not count. */
    std::size_t valueEnd() const { return valueEnd_; }

    /** Reads an RDN and the comma after it, if any. */
    bool readRdn(std::vector<Ava> &avas, std::string &rdnText) {
        skipSpaces();
        const std::size_t begin = at_;
        do {
            Ava ava;
            if (!readType(ava.type) || !readValue(ava.value))
                return false;
            avas.push_back(std::move(ava));
        } while (skip('+'));
        rdnText = text_.substr(begin, valueEnd_ - begin);
        return atEnd() || (skip(',') && !atEnd());
    }

  private:
    bool skip(char c) {
        if (atEnd() || text_[at_] != c)
            return false;
        ++at_;
        return true;
    }

    void skipSpaces() {
        while (skip(' '))
            continue;
    }

    bool readType(std::string &type) {
        skipSpaces();
        const std::size_t end = text_.find('=', at_);
        if (end == std::string_view::npos)
            return false;
        type = trim(text_.substr(at_, end - at_));
        at_ = end + 1;
        return type.find(';') == std::string::npos && !schema::keyOf(type).empty();
    }

    bool readValue(std::string &value) {
        skipSpaces();
        if (skip('#'))
            return readHexValue(value);
        // Spaces at the end do not belong to the value unless they are escaped.
        std::size_t keep = 0;
        valueEnd_ = at_;
        while (!atEnd() && text_[at_] != ',' && text_[at_] != '+') {
            const bool plainSpace = text_[at_] == ' ';
            if (!readCharacter(value))
                return false;
            if (!plainSpace) {
                keep = value.size();
                valueEnd_ = at_;
            }
        }
        value.resize(keep);
        return true;
    }

    bool readCharacter(std::string &value) {
        const char c = text_[at_++];
        if (c != '\\') {
            value.push_back(c);
            return c != '\0' && kSpecial.find(c) == std::string_view::npos;
        }
        if (atEnd())
            return false;
        if (kSpecial.find(text_[at_]) != std::string_view::npos || text_[at_] == ' ' ||
            text_[at_] == '#' || text_[at_] == '=') {
            value.push_back(text_[at_++]);
            return true;
        }
        const auto byte = decodeHex(text_.substr(at_, 2));
        if (!byte || byte->empty())
            return false;
        value += *byte;
        at_ += 2;
        return true;
    }

    /** "#" and the hexadecimal digits of a BER value. */
    bool readHexValue(std::string &value) {
        const std::size_t end = std::min(text_.find_first_of(",+", at_), text_.size());
        const std::string_view digits = trim(text_.substr(at_, end - at_));
        const auto bytes = decodeHex(digits);
        valueEnd_ = at_ + digits.size();
        at_ = end;
        if (!bytes)
            return false;
        try {
            ber::Reader reader(asBytes(*bytes));
            value = asText(reader.next("value").value);
            return reader.atEnd();
        } catch (const ber::Error &) {
            return false;
        }
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t valueEnd_ = 0;
};

std::string rdnKey(const std::vector<Ava> &avas) {
    if (avas.size() == 1)
        return schema::keyOf(avas[0].type) + '=' + keyValue(avas[0].value);
    std::vector<std::string> parts;
    parts.reserve(avas.size());
    for (const Ava &ava : avas)
        parts.push_back(schema::keyOf(ava.type) + '=' + keyValue(ava.value));
    std::sort(parts.begin(), parts.end());
    return fmt::format("{}", fmt::join(parts, "+"));
}

} // namespace

std::optional<Dn> Dn::parse(std::string_view text) {
    if (text.size() > kMaxName)
        return std::nullopt;
    Dn dn;
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    Parser parser(text);
    for (bool first = true; !parser.atEnd(); first = false) {
        std::vector<Ava> avas;
        std::string rdnText;
        if (!parser.readRdn(avas, rdnText))
            return std::nullopt;
        if (!first)
            dn.key += ',';
        dn.key += rdnKey(avas);
        if (first) {
            dn.rdn = std::move(avas);
            dn.rdnText = std::move(rdnText);
        }
    }
    dn.text = text.substr(0, parser.valueEnd());
    return dn;
}

Dn requireDn(std::string_view text) {
    if (text.size() > kMaxName)
        throw OperationError(
            ResultCode::InvalidDnSyntax,
            fmt::format("a name of {} bytes: at most {} are served here", text.size(), kMaxName));
    auto dn = Dn::parse(text);
    if (!dn)
        throw OperationError(ResultCode::InvalidDnSyntax,
                             fmt::format("\"{}\" is not a distinguished name", text));
    return *std::move(dn);
}

std::string_view parentKey(std::string_view key) {
    const std::size_t comma = key.find(',');
    return comma == std::string_view::npos ? std::string_view() : key.substr(comma + 1);
}

bool isWithin(std::string_view key, std::string_view base) {
    if (base.empty() || key == base)
        return true;
    return key.size() > base.size() && key.ends_with(base) &&
           key[key.size() - base.size() - 1] == ',';
}

std::string escapeRdnValue(std::string_view value) {
    std::string out;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        const bool edgeSpace = c == ' ' && (i == 0 || i + 1 == value.size());
        if (c == '\0')
            out += "\\00";
        else if (edgeSpace || (c == '#' && i == 0) || kSpecial.find(c) != std::string_view::npos)
            (out += '\\') += c;
        else
            out += c;
    }
    return out;
}

} // namespace stratasim
