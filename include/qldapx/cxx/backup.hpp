/** backup.hpp - backup images of single entries: fetched from the server, and handed back to it. */
#ifndef QLDAPX_CXX_BACKUP_HPP
#define QLDAPX_CXX_BACKUP_HPP

#include <qldapx/cxx/session.hpp>

/**
 * Synchronous extended operations (RFC 4511, 4.12). An image may come in several pieces, which are
 * handed back in the same order. Besides the server's codes: LDAP_NOT_SUPPORTED for an answer that
 * names no operation or another one, a refusal among them; session_ref::result_code has the
 * server's own code then.
 */
namespace qldapx::backup {

/** A piece of an image. */
class piece {
  public:
    /** Owns both texts from now on, as it would with ldapx_memfree. */
    piece(adopt_t, char *data, int size, char *chunk_sizes) noexcept
        : data_(adopt, data), chunk_sizes_(adopt, chunk_sizes), size_(size) {}

    /** Its bytes. */
    [[nodiscard]] std::string_view data() const noexcept {
        return {data_.get(), static_cast<std::size_t>(size_)};
    }
    /** The sizes of its chunks as text, "count;size;size;...", which goes with it. */
    [[nodiscard]] cstring chunk_sizes() const noexcept { return chunk_sizes_; }

  private:
    text data_, chunk_sizes_;
    int size_;
};

/** An image that is being fetched, piece by piece. */
class image {
  public:
    /**
     * dn:       of the entry.
     * password: what protects the image; nullptr is sent as the empty one.
     *
     * Both texts, and the session, must live as long as this.
     */
    explicit image(session_ref at, cstring dn, optional_cstring password = {}) noexcept
        : session_(at), dn_(dn), password_(password) {}

    /**
     * Fetches the next piece. LDAP_ENCODING_ERROR, with nothing sent, when there is none any more;
     * LDAP_OPERATIONS_ERROR for an answer without a value, LDAP_DECODING_ERROR for one that does
     * not decode.
     */
    [[nodiscard]] result<piece> next() noexcept {
        char *state = state_.release(), *data = nullptr, *chunk_sizes = nullptr;
        int size = 0;
        const int code =
            ldap_backup_object(session_.get(), detail::only_read(dn_), detail::only_read(password_),
                               &state, &data, &chunk_sizes, &size);
        state_.reset(state);
        if (code != LDAP_SUCCESS)
            return unexpected(error::of_session(session_.get(), code));
        return piece(adopt, data, size, chunk_sizes);
    }
    /** What the server says about how far it is: two numbers as "5+7"; empty before a piece. */
    [[nodiscard]] cstring state() const noexcept { return state_; }
    /** Whether there is another piece: none of the numbers of its state is 0. */
    [[nodiscard]] bool has_more() const noexcept {
        const std::string_view numbers = state();
        const std::size_t plus = numbers.find('+');
        return plus == std::string_view::npos
                   ? state_.get() == nullptr
                   : numbers.substr(0, plus) != "0" && numbers.substr(plus + 1) != "0";
    }

  private:
    session_ref session_;
    cstring dn_;
    optional_cstring password_;
    text state_;
};

/**
 * Hands a piece of an image back; the server recreates the entry when it has all.
 *
 * data:        the piece.
 * chunk_sizes: what came with it; the C function writes into it.
 *
 * LDAP_ENCODING_ERROR when the chunk sizes have no number.
 */
inline result<void> restore(session_ref at, cstring dn, optional_cstring password,
                            std::string_view data, char *chunk_sizes) noexcept {
    const int code = ldap_restore_object(
        at.get(), detail::only_read(dn), detail::only_read(password),
        const_cast<char *>(data.data()), chunk_sizes, static_cast<int>(data.size()));
    return detail::checked(at.get(), code);
}

} // namespace qldapx::backup

#endif
