// description_reader.h - the tokens of schema descriptions (RFC 4512, 4.1), read as libldap's own
// parsers read them, which do not export theirs. Strings are made in liblber's memory.
#pragma once

#include "core/handle.h"

#include <ldap_schema.h>
#include <utility>

namespace qldapx::schema {

using StringPtr = std::unique_ptr<char, Releaser<ber_memfree>>;

inline void releaseItem(LDAPSchemaExtensionItem *item) {
    ber_memfree(item->lsei_name);
    ber_memvfree(reinterpret_cast<void **>(item->lsei_values));
    ber_memfree(item);
}
using ItemPtr = std::unique_ptr<LDAPSchemaExtensionItem, Releaser<releaseItem>>;

// An array ended by NULL that grows by doubling: a hostile one may be as long as a message.
template <class Owner>
class ListBuilder {
  public:
    using Item = typename Owner::pointer;

    ListBuilder() = default;
    ~ListBuilder() {
        while (count_ > 0)
            static_cast<void>(Owner(items_[--count_]));
        ber_memfree(items_);
    }
    ListBuilder(const ListBuilder &) = delete;
    ListBuilder &operator=(const ListBuilder &) = delete;

    [[nodiscard]] int add(Owner item) {
        if (count_ + 2 > capacity_ && !grow())
            return LDAP_SCHERR_OUTOFMEM;
        items_[count_++] = item.release();
        items_[count_] = nullptr;
        return 0;
    }
    // An array even when nothing was added.
    [[nodiscard]] int end() { return items_ != nullptr || grow() ? 0 : LDAP_SCHERR_OUTOFMEM; }

    // What was added first; the rest stays here.
    Owner takeFirst() { return Owner(std::exchange(items_[0], nullptr)); }
    Item *release() {
        count_ = 0;
        return std::exchange(items_, nullptr);
    }

  private:
    bool grow() {
        const std::size_t wanted = capacity_ == 0 ? 2 : 2 * capacity_;
        auto *grown = static_cast<Item *>(ber_memrealloc(items_, wanted * sizeof(Item)));
        if (grown == nullptr)
            return false;
        items_ = grown;
        items_[count_] = nullptr;
        capacity_ = wanted;
        return true;
    }

    Item *items_ = nullptr;
    std::size_t count_ = 0;
    std::size_t capacity_ = 0;
};

using StringListBuilder = ListBuilder<StringPtr>;
using ItemListBuilder = ListBuilder<ItemPtr>;

enum class TokenType { End, Left, Right, Dollar, Word, Quoted, Other };

struct Token {
    TokenType type = TokenType::End;
    StringPtr text; // of a word or quoted string
};

// Each function skips the blanks and tabs in front of what it reads, and gives 0 or an
// LDAP_SCHERR_... code.
class DescriptionReader {
  public:
    explicit DescriptionReader(const char *text) : at_(text) {}

    const char *position() const { return at_; }
    void goBack(const char *position) { at_ = position; }
    void skipBlanks();

    [[nodiscard]] int take(Token &token);
    // Numbers with dots between them; the position is kept when there is not even a digit.
    [[nodiscard]] int takeOid(bool mayBeQuoted, char *&oid);
    // 'a' or ( 'a' 'b' ), which may be empty.
    [[nodiscard]] int takeQuotedList(StringListBuilder &list);
    // a or ( a $ b ), and for rule ids ( a b ).
    [[nodiscard]] int takeOids(bool mayBeQuoted, StringListBuilder &list);

  private:
    int takeQuoted(Token &token);
    int takeOidsInside(bool mayBeQuoted, StringListBuilder &list);

    const char *at_;
};

} // namespace qldapx::schema
