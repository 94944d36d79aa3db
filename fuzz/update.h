// update.h - update operations made of any bytes.
#pragma once

#include "contents.h"

#include <cstdint>
#include <deque>
#include <ldap.h>
#include <optional>
#include <qldapx.h>
#include <string_view>
#include <vector>

namespace qldapx_fuzz {

// Takes what is made from the bytes, from the front; when they are used up, zeros.
class Source {
  public:
    explicit Source(std::string_view bytes) : rest_(bytes) {}

    [[nodiscard]] bool isEmpty() const { return rest_.empty(); }
    unsigned byte();
    int number();
    bool coin() { return byte() % 2 == 1; }
    // So many bytes as the first one says, or fewer.
    Bytes octets();
    // NULL now and then; otherwise without NULs.
    std::optional<Bytes> text();

  private:
    std::string_view rest_;
};

// A list of attributes or changes, and the modifications that say the same.
class Changes {
  public:
    struct Change {
        int operation = 0;
        std::optional<Bytes> type;
        std::vector<Bytes> values;
    };

    explicit Changes(Source &source);
    // NULL: there is no list.
    [[nodiscard]] LDAPMod **list();
    [[nodiscard]] const std::deque<Change> &changes() const { return changes_; }
    [[nodiscard]] bool isEncodable() const;

  private:
    void add(Source &source);
    void addValues(Change &change, LDAPMod &mod, bool hasBytes);

    bool isThere_;
    std::deque<Change> changes_;
    std::deque<LDAPMod> mods_;
    std::deque<std::vector<char *>> strings_;
    std::deque<berval> bervals_;
    std::deque<std::vector<berval *>> bervalLists_;
    std::vector<LDAPMod *> list_;
};

class Controls {
  public:
    struct Control {
        std::optional<Bytes> oid;
        bool isCritical = false;
        std::optional<Bytes> value;
    };

    explicit Controls(Source &source);
    [[nodiscard]] LDAPControl **list();
    [[nodiscard]] bool isThere() const { return isThere_; }
    [[nodiscard]] const std::deque<Control> &controls() const { return controls_; }
    [[nodiscard]] bool isEncodable() const;

  private:
    bool isThere_;
    std::deque<Control> controls_;
    std::deque<LDAPControl> structs_;
    std::vector<LDAPControl *> list_;
};

struct Update {
    explicit Update(Source &source);

    [[nodiscard]] bool isEncodable() const;

    ber_tag_t type;
    std::optional<Bytes> dn, newRdn, newSuperior;
    bool deletesOldRdn;
    Changes changes;
    Controls controls;
};

// NULL for none.
inline char *pointerTo(std::optional<Bytes> &text) {
    return text ? text->data() : nullptr;
}

// Ends the process unless that operation comes next.
void requireOperation(Contents &batch, const Update &update);

} // namespace qldapx_fuzz
