#include "ldif.h"

#include "result.h"
#include "schema.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace stratasim {
namespace {

[[noreturn]] void fail(int line, const std::string &problem) {
    throw LdifError(fmt::format("line {}: {}", line, problem));
}

/** Gives logical lines: continuations joined, comments left out, an empty line after each record.
 */
class LineReader {
  public:
    explicit LineReader(std::istream &in) : in_(in) { readPhysical(); }

    bool next(std::string &line) {
        do {
            if (!ahead_)
                return false;
            line = *std::exchange(ahead_, std::nullopt);
            number_ = aheadNumber_;
            while (readPhysical() && ahead_->starts_with(' ') && !line.empty())
                line += ahead_->substr(1);
        } while (line.starts_with('#'));
        return true;
    }

    int number() const { return number_; }

  private:
    bool readPhysical() {
        std::string line;
        if (!std::getline(in_, line)) {
            ahead_.reset();
            return false;
        }
        if (line.ends_with('\r'))
            line.pop_back();
        ahead_ = std::move(line);
        ++aheadNumber_;
        return true;
    }

    std::istream &in_;
    std::optional<std::string> ahead_;
    int aheadNumber_ = 0;
    int number_ = 0;
};

struct Pair {
    std::string name;
    std::string value;
};

Pair parseLine(const std::string &line, int number) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos)
        fail(number, fmt::format("no colon in \"{}\"", line));
    Pair pair{line.substr(0, colon), {}};
    const std::string_view rest = std::string_view(line).substr(colon + 1);
    if (rest.starts_with('<'))
        fail(number, "values from URLs (\":<\") are not read: put the value itself there");
    if (!rest.starts_with(':')) {
        pair.value = rest.substr(std::min(rest.find_first_not_of(' '), rest.size()));
        return pair;
    }
    const auto decoded = decodeBase64(trim(rest.substr(1)));
    if (!decoded)
        fail(number, fmt::format("the value of {} is not base64", pair.name));
    pair.value = *decoded;
    return pair;
}

/** A dump with all operational attributes has those that depend on an entry's place, too. */
bool isComputed(std::string_view name) {
    const auto &names = computedAttributes();
    return std::any_of(names.begin(), names.end(), [name](const std::string &computed) {
        return equalIgnoringCase(computed, name);
    });
}

/** Collects the lines of one record and puts the entry into the tree. */
class Record {
  public:
    explicit Record(Tree &tree) : tree_(tree) {}

    void take(const Pair &pair, int number) {
        if (!dn_) {
            begin(pair, number);
        } else if (equalIgnoringCase(pair.name, "changetype")) {
            fail(number, "change records are not read: send them with ldapmodify");
        } else {
            if (schema::keyOf(pair.name).empty())
                fail(number, fmt::format("\"{}\" is no attribute", pair.name));
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
            fail(line_, error.what());
        }
        dn_.reset();
        entry_ = {};
    }

  private:
    void begin(const Pair &pair, int number) {
        if (equalIgnoringCase(pair.name, "version"))
            return;
        if (!equalIgnoringCase(pair.name, "dn"))
            fail(number, fmt::format("\"{}\" where a record's \"dn:\" is due", pair.name));
        dn_ = Dn::parse(pair.value);
        if (!dn_ || dn_->isRoot())
            fail(number, fmt::format("\"{}\" is not a distinguished name", pair.value));
        line_ = number;
    }

    Tree &tree_;
    std::optional<Dn> dn_;
    Entry entry_;
    int line_ = 0;
};

} // namespace

void loadLdif(std::istream &in, Tree &tree) {
    LineReader lines(in);
    Record record(tree);
    for (std::string line; lines.next(line);) {
        if (line.empty())
            record.finish();
        else
            record.take(parseLine(line, lines.number()), lines.number());
    }
    record.finish();
}

} // namespace stratasim
