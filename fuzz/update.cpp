#include "update.h"

#include <algorithm>

namespace qldapx_fuzz {

unsigned Source::byte() {
    if (rest_.empty())
        return 0;
    unsigned first = static_cast<unsigned char>(rest_[0]);
    rest_.remove_prefix(1);
    return first;
}

int Source::number() {
    std::uint32_t bits = 0;
    for (int i = 0; i < 4; ++i)
        bits = bits << 8 | byte();
    return static_cast<int>(bits);
}

Bytes Source::octets() {
    const std::size_t length = std::min<std::size_t>(byte(), rest_.size());
    Bytes taken(rest_.substr(0, length));
    rest_.remove_prefix(length);
    return taken;
}

std::optional<Bytes> Source::text() {
    if (!rest_.empty() && rest_[0] == '\xff')
        return byte(), std::nullopt;
    Bytes text = octets();
    text.resize(std::min(text.size(), text.find('\0')));
    return text;
}

Changes::Changes(Source &source) : isThere_(!source.coin()) {
    for (unsigned left = isThere_ ? source.byte() % 8 : 0; left > 0; --left)
        add(source);
    for (LDAPMod &mod : mods_)
        list_.push_back(&mod);
    list_.push_back(nullptr);
}

void Changes::add(Source &source) {
    Change &change = changes_.emplace_back();
    change.operation = source.coin() ? source.number() : static_cast<int>(source.byte() % 4);
    const bool hasBytes = source.coin();
    change.operation &= ~LDAP_MOD_BVALUES;
    change.type = source.text();
    for (unsigned left = source.byte() % 8; left > 0; --left)
        change.values.push_back(hasBytes ? source.octets() : source.text().value_or(""));
    LDAPMod &mod = mods_.emplace_back();
    mod.mod_op = change.operation | (hasBytes ? LDAP_MOD_BVALUES : 0);
    mod.mod_type = pointerTo(change.type);
    // A list without values may be one that is not there.
    if (!change.values.empty() || source.coin())
        addValues(change, mod, hasBytes);
}

void Changes::addValues(Change &change, LDAPMod &mod, bool hasBytes) {
    if (hasBytes) {
        std::vector<berval *> &list = bervalLists_.emplace_back();
        for (Bytes &value : change.values)
            list.push_back(&bervals_.emplace_back(berval{value.size(), value.data()}));
        list.push_back(nullptr);
        mod.mod_bvalues = list.data();
    } else {
        std::vector<char *> &list = strings_.emplace_back();
        for (Bytes &value : change.values)
            list.push_back(value.data());
        list.push_back(nullptr);
        mod.mod_values = list.data();
    }
}

LDAPMod **Changes::list() {
    return isThere_ ? list_.data() : nullptr;
}

bool Changes::isEncodable() const {
    return std::all_of(changes_.begin(), changes_.end(),
                       [](const Change &change) { return change.type.has_value(); });
}

Controls::Controls(Source &source) : isThere_(source.coin()) {
    for (unsigned left = isThere_ ? source.byte() % 4 : 0; left > 0; --left) {
        Control &control = controls_.emplace_back();
        control.oid = source.text();
        control.isCritical = source.coin();
        if (source.coin())
            control.value = source.octets();
        berval value{control.value ? control.value->size() : 0, pointerTo(control.value)};
        structs_.push_back({pointerTo(control.oid), value, control.isCritical ? '\1' : '\0'});
    }
    for (LDAPControl &control : structs_)
        list_.push_back(&control);
    list_.push_back(nullptr);
}

LDAPControl **Controls::list() {
    return isThere_ ? list_.data() : nullptr;
}

bool Controls::isEncodable() const {
    return std::all_of(controls_.begin(), controls_.end(),
                       [](const Control &control) { return control.oid.has_value(); });
}

namespace {

constexpr ber_tag_t types[] = {LDAP_REQ_ADD, LDAP_REQ_DELETE, LDAP_REQ_MODIFY, LDAP_REQ_MODDN};

} // namespace

Update::Update(Source &source)
    : type(types[source.byte() % std::size(types)]), dn(source.text()), newRdn(source.text()),
      newSuperior(source.text()), deletesOldRdn(source.coin()), changes(source), controls(source) {}

bool Update::isEncodable() const {
    if (!dn || !controls.isEncodable())
        return false;
    if (type == LDAP_REQ_MODDN)
        return newRdn.has_value();
    return type == LDAP_REQ_DELETE || changes.isEncodable();
}

} // namespace qldapx_fuzz
