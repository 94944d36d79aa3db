#pragma once

#include "schema/server_schema.h"

namespace qldapx {

/** What becomes of one element. */
struct PlannedChange {
    const Element *before; // null: it is added
    const Element *after;  // null: it is deleted
};

/** Edits of a server's schema that go in one request. */
class Plan {
  public:
    Plan(Run &run, ServerSchema &server, bool dryRun)
        : run_(run), server_(server), dryRun_(dryRun) {}

    void add(const Element &element);
    void remove(const Element &element);
    void modify(const Element &before, const Element &after);
    /** Takes the element away and adds it anew in one request. */
    void replace(const Element &before, const Element &after);
    /** It is as it shall be. */
    void skip(const Element &element) { skipped_.push_back(&element); }

    /** Sends the request, or prints it, and says what was done. */
    void finish();

  private:
    /** A value of the request. */
    struct Line {
        bool isAddition;
        Kind kind;
        std::string description;
    };
    void print() const;
    void send();
    void report() const;
    [[nodiscard]] Failure explained(const Failure &failure) const;

    Run &run_;
    ServerSchema &server_;
    bool dryRun_;
    std::vector<PlannedChange> changes_;
    std::vector<Line> lines_;
    std::vector<const Element *> skipped_;
};

} // namespace qldapx
