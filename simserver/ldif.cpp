#include "ldif_lines.h"

#include "result.h"
#include "schema.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace stratasim {
namespace {

/** A dump with all operational attributes has those that depend on an entry's place, too. */
bool isComputed(std::string_view name) {
    const auto &names = computedAttributes();
    return std::any_of(names.begin(), names.end(), [name](const std::string &computed) {
        return equalIgnoringCase(computed, name);
    });
}

/** Collects the lines of one record and puts the entry into the tree. */
class EntryRecord {
  public:
    explicit EntryRecord(Tree &tree) : tree_(tree) {}

    void take(const LdifPair &pair, int number) {
        if (!dn_) {
            begin(pair, number);
        } else if (equalIgnoringCase(pair.name, "changetype")) {
            failLdif(number, "change records are not read: send them with ldapmodify");
        } else {
            if (schema::keyOf(pair.name).empty())
                failLdif(number, fmt::format("\"{}\" is no attribute", pair.name));
            if (!isComputed(pair.name))
                entry_.add(pair.name, pair.value);
        }
    }

    void finish() {
        if (!dn_)
            return;
        try {
            if (tree_.find(parentKey(dn_->key)))
                tree_.add(*dn_, std::move(entry_));
            else
                tree_.addRoot(*dn_, std::move(entry_));
        } catch (const OperationError &error) {
            failLdif(line_, error.what());
        }
        dn_.reset();
        entry_ = {};
    }

  private:
    void begin(const LdifPair &pair, int number) {
        if (equalIgnoringCase(pair.name, "version"))
            return;
        if (!equalIgnoringCase(pair.name, "dn"))
            failLdif(number, fmt::format("\"{}\" where a record's \"dn:\" is due", pair.name));
        dn_ = Dn::parse(pair.value);
        if (!dn_ || dn_->isRoot())
            failLdif(number, fmt::format("\"{}\" is not a distinguished name", pair.value));
        line_ = number;
    }

    Tree &tree_;
    std::optional<Dn> dn_;
    Entry entry_;
    int line_ = 0;
};

} // namespace

void loadLdif(std::istream &in, Tree &tree) {
    LdifLines lines(in);
    EntryRecord record(tree);
    for (std::string line; lines.next(line);) {
        if (line.empty())
            record.finish();
        else
            record.take(parseLdifLine(line, lines.number()), lines.number());
    }
    record.finish();
}

} // namespace stratasim
