// model_run.h - the library's readings of lists and challenges, in the words of the model. Every
// text lies at the end of a block of the heap, so that a sanitizer sees who reads behind it.
#pragma once

#include "sasl/model_challenge.h"

#include <memory>
#include <qldapx/digest_challenge.h>

namespace qldapx_test::digest_model {

class ExactText {
  public:
    explicit ExactText(std::string_view text);
    [[nodiscard]] char *get() const { return bytes_.get(); }
    [[nodiscard]] std::size_t size() const { return size_; }

  private:
    std::unique_ptr<char[]> bytes_;
    std::size_t size_;
};

std::vector<Directive> describe(const ParsedDirective *list);
DirectiveList librarysDirectives(std::string_view text);

class LibrarysTokenList {
  public:
    explicit LibrarysTokenList(std::string_view text) : text_(text) {}
    ~LibrarysTokenList();
    LibrarysTokenList(const LibrarysTokenList &) = delete;
    LibrarysTokenList &operator=(const LibrarysTokenList &) = delete;

    TokenCall next();

  private:
    ExactText text_;
    void *state_ = nullptr;
};

// A challenge record that the library's handlers fill.
class LibrarysChallenge {
  public:
    LibrarysChallenge();
    explicit LibrarysChallenge(DigestChallenge *challenge) : challenge_(challenge) {}
    ~LibrarysChallenge();
    LibrarysChallenge(const LibrarysChallenge &) = delete;
    LibrarysChallenge &operator=(const LibrarysChallenge &) = delete;

    // The handler with that number.
    int handle(std::size_t handler, const Directive &directive);
    // The record does not say how long its nonce is.
    [[nodiscard]] Challenge describe(const std::optional<std::string> &nonce) const;

  private:
    DigestChallenge *challenge_;
};

// The nonce as long as that one.
Reading librarysChallenge(std::string_view text, bool staleAllowed, const Reading &expected);
// The value as long as that one.
Proof librarysProof(std::string_view text, const Proof &expected);

} // namespace qldapx_test::digest_model
