// model_run.h - a schema handle and its model, edited alike and compared.
#pragma once

#include "model_store.h"

#include <random>

namespace qldapx_test::model {

// The same at every run of a seed.
class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}
    unsigned below(unsigned limit) { return static_cast<unsigned>(engine_() % limit); }
    bool oneIn(unsigned chances) { return below(chances) == 0; }

  private:
    std::mt19937 engine_;
};

class Comparison {
  public:
    // Fetches these.
    Comparison(std::array<std::vector<Element>, kindCount> elements);

    void add(unsigned kind, const Element &element);
    void modify(unsigned kind, const std::string &key, const std::vector<FieldChange> &changes);
    void erase(unsigned kind, const std::string &key);
    void removeElement(unsigned kind, const std::string &key);
    // Saves to a server that answers so.
    void save(int answer);

    [[nodiscard]] const Store &store() const { return store_; }
    // Of an element that the handle finds by a key; nullptr: it finds none, nor should it.
    Node *lookUp(unsigned kind, const std::string &key);

    // All of a kind: how many, in which order, found under which keys and under which not.
    void compare(unsigned kind);
    void compareAll();

  private:
    Contents contents(unsigned kind, Values *order);

    Store store_;
    SchemaPtr schema_;
};

} // namespace qldapx_test::model
