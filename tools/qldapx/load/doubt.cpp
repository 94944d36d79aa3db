#include "load/doubt.h"

#include "interruption.h"
#include "load/dn_order.h"
#include "load/found_entry.h"

#include <algorithm>
#include <strings.h>
#include <unordered_map>

namespace qldapx {
namespace {

using Verdict = DoubtfulRecord::Verdict;

/** Whether what a change asks for is to be seen. */
enum class Sight { Visible, Invisible, Unknown };

/** Servers store these otherwise than they were sent, or show them to nobody. */
bool isSecret(const char *attribute) {
    constexpr std::array names = {"userPassword", "authPassword", "unicodePwd"};
    return std::any_of(names.begin(), names.end(), [attribute](const char *each) {
        return strncasecmp(attribute, each, std::char_traits<char>::length(each)) == 0;
    });
}

std::vector<std::string> attributesOf(const Record &record) {
    std::vector<std::string> names;
    for (LDAPMod **each = record.changes(); each != nullptr && *each != nullptr; ++each)
        names.emplace_back((*each)->mod_type);
    return names;
}

std::size_t countOf(berval **values) {
    return static_cast<std::size_t>(ldap_count_values_len(values));
}

Sight sightOf(FoundEntry &entry, const LDAPMod &change) {
    const char *name = change.mod_type;
    berval **values = change.mod_bvalues;
    if (isSecret(name))
        return Sight::Unknown;
    bool visible = false;
    switch (change.mod_op & ~LDAP_MOD_BVALUES) {
    case LDAP_MOD_ADD:
        visible = entry.hasAll(name, values);
        break;
    case LDAP_MOD_DELETE:
        visible = values == nullptr ? entry.count(name) == 0 : entry.hasNone(name, values);
        break;
    case LDAP_MOD_REPLACE:
        visible = entry.count(name) == countOf(values) && entry.hasAll(name, values);
        break;
    default:
        return Sight::Unknown;
    }
    return visible ? Sight::Visible : Sight::Invisible;
}

Verdict judgeAdd(Channel &channel, const Record &record) {
    FoundEntry entry(channel, record.dn(), attributesOf(record));
    if (!entry.exists())
        return Verdict::NotDone;
    for (LDAPMod **each = record.changes(); each != nullptr && *each != nullptr; ++each)
        if (sightOf(entry, **each) == Sight::Invisible)
            return Verdict::Unclear;
    return Verdict::Done;
}

// A modification is carried out whole or not at all.
Verdict judgeModify(Channel &channel, const Record &record) {
    FoundEntry entry(channel, record.dn(), attributesOf(record));
    if (!entry.exists())
        return Verdict::NotDone;
    std::size_t visible = 0, invisible = 0;
    for (LDAPMod **each = record.changes(); each != nullptr && *each != nullptr; ++each) {
        const Sight sight = sightOf(entry, **each);
        visible += sight == Sight::Visible ? 1 : 0;
        invisible += sight == Sight::Invisible ? 1 : 0;
    }
    if ((visible > 0) == (invisible > 0))
        return Verdict::Unclear;
    return visible > 0 ? Verdict::Done : Verdict::NotDone;
}

Verdict judgeRename(Channel &channel, const Record &record, bool bulk) {
    const auto exists = [&](const std::string &dn) { return FoundEntry(channel, dn, {}).exists(); };
    const auto newExists = [&](const char *superior) {
        return exists(renamedDn(record.dn(), record.newRdn(), superior));
    };
    const bool oldExists = exists(record.dn());
    // The new superior that goes with it may be taken at its word, or not.
    if (bulk)
        return !oldExists && (newExists(record.newRdn()) || newExists(nullptr)) ? Verdict::Done
                                                                                : Verdict::NotDone;
    if (oldExists == newExists(record.newSuperior()))
        return Verdict::Unclear;
    return oldExists ? Verdict::NotDone : Verdict::Done;
}

Verdict judgeOne(Channel &channel, const Record &record, bool bulkRenames) {
    switch (record.kind) {
    case Update::Add:
        return judgeAdd(channel, record);
    case Update::Delete:
        return FoundEntry(channel, record.dn(), {}).exists() ? Verdict::NotDone : Verdict::Done;
    case Update::Modify:
        return judgeModify(channel, record);
    default:
        return judgeRename(channel, record, bulkRenames);
    }
}

/** What the records behind one tell about it. */
class Hindsight {
  public:
    explicit Hindsight(bool bulk) : bulk_(bulk) {}

    [[nodiscard]] Verdict correct(const DoubtfulRecord &each) const {
        if (each.verdict == Verdict::Done)
            return Verdict::Done;
        const auto found = later_.find(comparableDn(each.record.dn()));
        const Later later = found == later_.end() ? Later::Nothing : found->second;
        // Whatever it did, what is there now has come after it.
        if (later == Later::Anew || (later == Later::Modified && each.record.kind == Update::Add))
            return Verdict::Unknown;
        const bool unclear = each.verdict == Verdict::Unclear || later == Later::Modified;
        if (unclear)
            return tried_ ? Verdict::Unknown : Verdict::Unclear;
        return each.verdict;
    }
    void add(const DoubtfulRecord &each) {
        if (each.verdict != Verdict::Done)
            return;
        const bool modified = each.record.kind == Update::Modify;
        Later &later = later_[comparableDn(each.record.dn())];
        later = std::max(later, modified ? Later::Modified : Later::Anew);
        // What is not there may never have been there, and what a modification asks for may have
        // been so before it.
        tried_ |= bulk_ && each.record.kind == Update::Add;
    }

  private:
    /** What a later update of the same entry has done. */
    enum class Later { Nothing, Modified, Anew };

    bool bulk_;
    bool tried_ = false; // a later update was carried out, so this one was tried
    std::unordered_map<std::string, Later> later_;
};

} // namespace

void judge(Channel &channel, std::vector<DoubtfulRecord> &records, bool bulk, bool bulkRenames) {
    Hindsight hindsight(bulk);
    for (auto each = records.rbegin(); each != records.rend(); ++each) {
        if (each->fault)
            continue;
        if (Interruption::requested())
            return;
        each->verdict = judgeOne(channel, each->record, bulkRenames);
        each->verdict = hindsight.correct(*each);
        hindsight.add(*each);
    }
}

} // namespace qldapx
