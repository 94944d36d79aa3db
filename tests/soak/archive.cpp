#include "jobs.h"
#include "owners.h"

namespace soak {
namespace {

struct Piece {
    std::string data;
    std::string chunks;
};

std::vector<Piece> backUp(Hand &hand, const std::string &dn, const std::string &password) {
    std::vector<Piece> pieces;
    char *state = nullptr;
    do {
        TextPtr data, chunks;
        int length = 0;
        const int code = ldap_backup_object(hand.session(), arg(dn), arg(password), &state,
                                            out(data), out(chunks), &length);
        if (code != LDAP_SUCCESS)
            ldapx_memfree(state);
        hand.expect("ldap_backup_object", code);
        pieces.push_back({{data.get(), static_cast<std::size_t>(length)}, chunks.get()});
    } while (std::string(state) != "0+0");
    ldapx_memfree(state);
    return pieces;
}

void restore(Hand &hand, const std::string &dn, const std::string &password,
             std::vector<Piece> pieces) {
    for (Piece &piece : pieces)
        hand.expect("ldap_restore_object",
                    ldap_restore_object(hand.session(), arg(dn), arg(password), piece.data.data(),
                                        piece.chunks.data(), static_cast<int>(piece.data.size())));
}

} // namespace

void archive(Hand &hand) {
    constexpr int most = 150'000; // three pieces
    const std::string dn = hand.freshDn("archived"), password = hand.letters(12);
    const std::string content = hand.bytes(1 + hand.below(most));
    addPerson(hand, dn, content);
    const std::vector<Piece> pieces = backUp(hand, dn, password);
    deleteEntry(hand, dn);
    restore(hand, dn, password, pieces);
    hand.verify(valueOf(hand, dn, "description") == content, "a restored entry differs");
    deleteEntry(hand, dn);
}

} // namespace soak
