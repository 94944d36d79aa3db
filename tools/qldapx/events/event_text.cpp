#include "events/event_text.h"

#include "encoding.h"
#include "events/address.h"
#include "events/moment.h"
#include "text.h"

#include <fmt/format.h>
#include <ldap.h>
#include <vector>

namespace qldapx {
namespace {

std::string quoted(std::string_view text) {
    if (!isUtf8(text))
        return bytesText(text);
    std::string shown = "\"";
    for (const char c : printable(text)) {
        if (c == '"')
            shown += '\\';
        shown += c;
    }
    return shown + "\"";
}

std::string textOf(const char *text) {
    return text == nullptr ? "-" : quoted(text);
}

std::string bytesAt(const void *bytes, std::size_t count) {
    return bytes == nullptr ? "-" : quoted({static_cast<const char *>(bytes), count});
}

/** The elements in brackets. */
template <typename Show>
std::string listed(std::size_t count, Show show) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += (i == 0 ? "" : ", ") + show(i);
    return "[" + text + "]";
}

std::string sequenceText(char *const *strings) {
    std::size_t count = 0;
    while (strings[count] != nullptr)
        ++count;
    return listed(count, [&](std::size_t i) { return textOf(strings[i]); });
}

std::string connectionText(const ConnectionInfo &connection) {
    return fmt::format("({}, {}, {})", connection.number1, connection.number2,
                       textOf(connection.text));
}

std::string triplesText(const std::int32_t *numbers, std::size_t count) {
    return listed(numbers == nullptr ? 0 : count, [&](std::size_t i) {
        const std::int32_t *triple = numbers + 3 * i;
        return fmt::format("({}, {}, {})", triple[0], triple[1], triple[2]);
    });
}

std::string itemText(const DebugItem &item) {
    switch (item.kind) {
    case 2:
        return textOf(item.text);
    case 3:
        return bytesAt(item.pointer, static_cast<std::size_t>(item.number));
    case 5:
        return fmt::format("({}, {})", item.number,
                           bytesAt(item.pointer, static_cast<std::size_t>(item.length)));
    case 6:
        return fmt::format("({}, {}, {})", item.number, item.length, item.third);
    case 7:
        return triplesText(static_cast<const std::int32_t *>(item.pointer),
                           static_cast<std::size_t>(item.number));
    default:
        return std::to_string(item.number);
    }
}

/** Without a value: nothing came, and nothing is shown. */
std::string valueText(const void *record, const events::field &field) {
    const auto pointer = [&] { return valueOf<const void *>(field) != nullptr; };
    switch (field.type) {
    case LDAPX_EVENT_INTEGER:
        return std::to_string(valueOf<std::int32_t>(field));
    case LDAPX_EVENT_STRING:
        return pointer() ? textOf(valueOf<char *>(field)) : "";
    case LDAPX_EVENT_BYTES:
        return pointer() ? quoted(bytesOf(field)) : "";
    case LDAPX_EVENT_TEXT:
        return textOf(&valueOf<char>(field));
    case LDAPX_EVENT_SEQUENCE:
        return pointer() ? sequenceText(valueOf<char **>(field)) : "";
    case LDAPX_EVENT_CONNECTION:
        return pointer() ? connectionText(*valueOf<ConnectionInfo *>(field)) : "";
    case LDAPX_EVENT_REFERRALS:
        return listed(field.count, [&](std::size_t i) {
            const ReferralEntry &entry = valueOf<ReferralEntry *>(field)[i];
            return fmt::format("({}, {})", entry.type, bytesAt(entry.value, entry.length));
        });
    case LDAPX_EVENT_INTEGERS:
        return listed(field.count, [&](std::size_t i) {
            return std::to_string((&valueOf<std::int32_t>(field))[i]);
        });
    case LDAPX_EVENT_STRINGS:
        return listed(field.count,
                      [&](std::size_t i) { return textOf((&valueOf<char *>(field))[i]); });
    case LDAPX_EVENT_ITEMS:
        return listed(field.count,
                      [&](std::size_t i) { return itemText(valueOf<DebugItem *>(field)[i]); });
    default: // LDAPX_EVENT_ADDRESS: only an address has it
        return addressText(record);
    }
}

std::string part(const void *record, const events::field &field) {
    const std::string value = valueText(record, field);
    return value.empty() ? value : fmt::format("{}={}", field.name, value);
}

std::string addressPart(const Event &event) {
    return event.address() == nullptr ? "" : "from=" + addressText(event.address());
}

/** Lines of at most so many columns; parts that are longer than a line are cut into pieces. */
class Paragraph {
  public:
    explicit Paragraph(std::size_t width) : width_(width < smallest ? smallest : width) {}

    void add(std::string_view part) {
        if (part.empty())
            return;
        std::size_t size = columns(part);
        if (used_ > 0 && used_ + 2 + size > width_)
            end();
        text_ += used_ == 0 ? indent : "  ";
        used_ += used_ == 0 ? indent.size() : 2;
        for (std::size_t room = width_ - used_; size > room; size -= room)
            part.remove_prefix(fill(part, room));
        text_ += part;
        used_ += size;
    }
    std::string finish() {
        if (used_ > 0)
            end();
        return std::move(text_);
    }

  private:
    static constexpr std::string_view indent = "    ";
    static constexpr std::size_t smallest = 20;

    void end() {
        text_ += '\n';
        used_ = 0;
    }
    /** Fills the line and begins another; gives the bytes that it took. */
    std::size_t fill(std::string_view part, std::size_t room) {
        const std::string_view piece = prefixOf(part, room);
        text_ += piece;
        end();
        text_ += indent;
        used_ = indent.size();
        return piece.size();
    }

    std::size_t width_;
    std::size_t used_ = 0;
    std::string text_;
};

} // namespace

const char *recordName(const Event &event) {
    return event.data() ? event.data().name().c_str() : "-";
}

std::string resultText(int result) {
    if (result <= 0)
        return std::to_string(result);
    const std::string_view name = ldap_err2string(result);
    return name == "Unknown error" ? std::to_string(result) : fmt::format("{} {}", result, name);
}

std::string bytesText(std::string_view bytes) {
    constexpr std::size_t most = 32;
    return fmt::format("<{} byte{}: {}{}>", bytes.size(), bytes.size() == 1 ? "" : "s",
                       hexadecimal(bytes.substr(0, most)), bytes.size() > most ? "..." : "");
}

std::string eventText(const Event &event, std::size_t width) {
    std::string text =
        fmt::format("{}  type {:>5}  {:<28}  result {}\n", localTime(event.time), event.type(),
                    recordName(event), resultText(event.result_code()));
    Paragraph paragraph(width == 0 ? std::string::npos : width);
    for (const events::field &field : event.data().fields())
        paragraph.add(part(event.data().get(), field));
    paragraph.add(addressPart(event));
    return text + paragraph.finish();
}

std::string eventFields(const Event &event, std::size_t enough) {
    std::string line, connection;
    for (const events::field &field : event.data().fields()) {
        if (line.size() >= enough)
            break;
        const std::string text = part(event.data().get(), field);
        std::string &place = field.type == LDAPX_EVENT_CONNECTION ? connection : line;
        place += text.empty() ? "" : text + " ";
    }
    return line + connection + addressPart(event);
}

} // namespace qldapx
