#include "qldapx/backup.h"
#include "core/exchange.h"
#include "core/session.h"

#include <charconv>
#include <cstdio>
#include <cstring>

namespace {

using namespace qldapx;

// The server's own code counts for less than that it was this operation which it answered.
constexpr Operation backup = {"2.16.840.1.907341.1.27.100.96", "2.16.840.1.907341.1.27.100.97",
                              Operation::First::ResponseOid};
constexpr Operation restore = {"2.16.840.1.907341.1.27.100.98", "2.16.840.1.907341.1.27.100.99",
                               Operation::First::ResponseOid};

struct State {
    int first = 0;
    int second = 0;
};

// Decimal number of the next token; 0 when there is no token. strtok_r, since strtok keeps its
// place for the whole process.
int nextNumber(char *text, const char *separator, char **rest) {
    const char *token = strtok_r(text, separator, rest);
    return token == nullptr ? 0 : static_cast<int>(std::strtol(token, nullptr, 10));
}

// Reads "5+7". A number that is 0 cannot be told from one that is not there.
bool readState(char *text, State &state) {
    char *rest = nullptr;
    state.first = nextNumber(text, "+", &rest);
    if (state.first == 0)
        return false;
    state.second = nextNumber(nullptr, "+", &rest);
    return state.second != 0;
}

char *stateText(State state) {
    char text[32];
    std::snprintf(text, sizeof text, "%d+%d", state.first, state.second);
    return strdup(text);
}

// Numbers with ";" after each.
class NumberList {
  public:
    [[nodiscard]] bool append(int number) {
        if (length_ + longest > capacity_ && !grow())
            return false;
        char *end = std::to_chars(text_.get() + length_, text_.get() + capacity_, number).ptr;
        *end++ = ';';
        *end = '\0';
        length_ = static_cast<std::size_t>(end - text_.get());
        return true;
    }

    [[nodiscard]] const char *text() const { return text_.get(); }

  private:
    static constexpr std::size_t longest = sizeof "-2147483648;";

    bool grow() {
        capacity_ = capacity_ == 0 ? 512 : 2 * capacity_;
        auto *grown = static_cast<char *>(std::realloc(text_.get(), capacity_));
        if (grown == nullptr)
            return false;
        static_cast<void>(text_.release());
        text_.reset(grown);
        return true;
    }

    HeapPtr text_;
    std::size_t length_ = 0;
    std::size_t capacity_ = 0;
};

struct Piece {
    int length = 0;
    State next;
    berval image{};
    NumberList chunkSizes;
};

// SEQUENCE { count INTEGER, sizes SET OF SEQUENCE { size INTEGER } }
// The count says how many sizes to read; the SET, where they end.
int readChunkSizes(Decoder &value, NumberList &sizes) {
    int count = 0, size = 0;
    ber_len_t afterSet = 0, afterSize = 0;
    if (!value.enter(LBER_SEQUENCE) || !value.integer(&count) || !value.enter(LBER_SET, &afterSet))
        return LDAP_DECODING_ERROR;
    if (!sizes.append(count))
        return LDAP_NO_MEMORY;
    for (int i = 0; i < count; ++i) {
        if (!value.insideOf(afterSet) || !value.enter(LBER_SEQUENCE, &afterSize) ||
            !value.integer(&size) || !value.endOf(afterSize))
            return LDAP_DECODING_ERROR;
        if (!sizes.append(size))
            return LDAP_NO_MEMORY;
    }
    return value.isWholeUpTo(afterSet) ? LDAP_SUCCESS : LDAP_DECODING_ERROR;
}

// dataLength INTEGER, stateFirst INTEGER, stateSecond INTEGER, data (an element of any tag),
// chunk sizes
int readPiece(Decoder &value, Piece &piece) {
    if (!value.integer(&piece.length) || !value.integer(&piece.next.first) ||
        !value.integer(&piece.next.second) || !value.contents(&piece.image))
        return LDAP_DECODING_ERROR;
    // A negative length is one beyond every image.
    if (static_cast<ber_len_t>(piece.length) > piece.image.bv_len)
        return LDAP_DECODING_ERROR;
    return readChunkSizes(value, piece.chunkSizes);
}

struct BackupOutputs {
    char **state;
    char **data;
    char **chunkSizes;
    int *dataLength;

    // Sets them all, or none.
    int set(Piece &piece) const {
        auto length = static_cast<std::size_t>(piece.length);
        HeapPtr image(static_cast<char *>(std::malloc(length + 1)));
        HeapPtr sizes(strdup(piece.chunkSizes.text()));
        HeapPtr next(stateText(piece.next));
        if (image == nullptr || sizes == nullptr || next == nullptr)
            return LDAP_NO_MEMORY;
        std::memcpy(image.get(), piece.image.bv_val, length);
        *dataLength = piece.length;
        *data = image.release();
        *chunkSizes = sizes.release();
        std::free(*state);
        *state = next.release();
        return LDAP_SUCCESS;
    }
};

const char *orEmpty(const char *text) {
    return text != nullptr ? text : "";
}

// Encodes "count;size;size;..." as readChunkSizes() decodes it; -1 when it cannot.
int encodeChunkSizes(BerElement *request, char *text) {
    char *rest = nullptr;
    const char *format = "{i[";
    for (char *token = strtok_r(text, ";", &rest); token != nullptr;
         token = strtok_r(nullptr, ";", &rest)) {
        if (ber_printf(request, format, static_cast<int>(std::strtol(token, nullptr, 10))) == -1)
            return -1;
        format = "{i}";
    }
    // Without a number nothing was opened, and this fails.
    return ber_printf(request, "]}");
}

} // namespace

extern "C" {

int ldap_backup_object(LDAP *ld, char *objectDN, char *password, char **state, char **data,
                       char **chunkSizes, int *dataLength) {
    if (objectDN == nullptr)
        return LDAP_PARAM_ERROR;
    State asked;
    if (*state != nullptr && !readState(*state, asked))
        return LDAP_ENCODING_ERROR;
    Exchange exchange(ld);
    int called =
        exchange.call(backup, "siis", objectDN, asked.first, asked.second, orEmpty(password));
    return exchange.response(called, [&](Decoder &value) {
        Piece piece;
        int read = readPiece(value, piece);
        if (read != LDAP_SUCCESS)
            return read;
        return BackupOutputs{state, data, chunkSizes, dataLength}.set(piece);
    });
}

int ldap_restore_object(LDAP *ld, char *objectDN, char *password, char *data, char *chunkSizes,
                        int dataLength) {
    if (objectDN == nullptr || data == nullptr || chunkSizes == nullptr)
        return LDAP_PARAM_ERROR;
    Exchange exchange(ld);
    BerElement *request = exchange.newEncoder();
    if (request == nullptr)
        return LDAP_NO_MEMORY;
    if (dataLength < 0 ||
        ber_printf(request, "ssio", objectDN, orEmpty(password), dataLength, data,
                   static_cast<ber_len_t>(dataLength)) == -1 ||
        encodeChunkSizes(request, chunkSizes) == -1)
        return storeResult(ld, LDAP_ENCODING_ERROR);
    return storeResult(ld, exchange.send(restore));
}

ber_tag_t get_returnedBuffer(BerElement *ber, char **buffer) {
    *buffer = nullptr;
    berval contents{};
    // Copied from where it lies: ber_read would leave liblber with a wrong idea of the next tag.
    ber_tag_t tag = ber_skip_element(ber, &contents);
    if (tag == LBER_ERROR)
        return LBER_ERROR;
    *buffer = static_cast<char *>(ber_memalloc(contents.bv_len + 1));
    if (*buffer == nullptr)
        return LBER_ERROR;
    std::memcpy(*buffer, contents.bv_val, contents.bv_len);
    (*buffer)[contents.bv_len] = '\0';
    return tag;
}
}
