#include "ssl/key_derivation.h"

#include "ssl/handles.h"

#include <algorithm>
#include <cstring>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/provider.h>

namespace qldapx {
namespace {

template <class Record, void (*release)(Record *)>
using Owned = std::unique_ptr<Record, Releaser<release>>;

using PbePtr = Owned<PBEPARAM, PBEPARAM_free>;
using Pbe2Ptr = Owned<PBE2PARAM, PBE2PARAM_free>;
using Pbkdf2Ptr = Owned<PBKDF2PARAM, PBKDF2PARAM_free>;
using ScryptPtr = Owned<SCRYPT_PARAMS, SCRYPT_PARAMS_free>;

// NULL: the parameters are not this record. OpenSSL will say so then.
template <class Owner>
Owner parametersOf(const X509_ALGOR *algorithm, const ASN1_ITEM *record) {
    const ASN1_OBJECT *object = nullptr;
    int type = 0;
    const void *value = nullptr;
    X509_ALGOR_get0(&object, &type, &value, algorithm);
    if (type != V_ASN1_SEQUENCE)
        return nullptr;
    return Owner(static_cast<typename Owner::pointer>(
        ASN1_item_unpack(static_cast<const ASN1_STRING *>(value), record)));
}

constexpr long tooMuch = 100'000'000; // more than anybody may spend

// An absent number counts as one, a negative one as too much.
long numberOf(const ASN1_INTEGER *number) {
    int64_t value = 0;
    if (number == nullptr)
        return 1;
    if (ASN1_INTEGER_get_int64(&value, number) != 1 || value < 0)
        return tooMuch;
    return std::min<long>(value, tooMuch);
}

long product(long a, long b) {
    return std::min(a * b, tooMuch);
}

long costOf(const PBKDF2PARAM *parameters) {
    return parameters != nullptr ? numberOf(parameters->iter) : 0;
}

// A block that is mixed takes about as long as two rounds.
long costOf(const SCRYPT_PARAMS *parameters) {
    if (parameters == nullptr)
        return 0;
    const long mixed = product(
        numberOf(parameters->costParameter),
        product(numberOf(parameters->blockSize), numberOf(parameters->parallelizationParameter)));
    return product(mixed, 2);
}

long costOf(const PBE2PARAM *parameters) {
    if (parameters == nullptr)
        return 0;
    const X509_ALGOR *derivation = parameters->keyfunc;
    switch (OBJ_obj2nid(derivation->algorithm)) {
    case NID_id_pbkdf2:
        return costOf(parametersOf<Pbkdf2Ptr>(derivation, ASN1_ITEM_rptr(PBKDF2PARAM)).get());
    case NID_id_scrypt:
        return costOf(parametersOf<ScryptPtr>(derivation, ASN1_ITEM_rptr(SCRYPT_PARAMS)).get());
    default:
        return 0; // OpenSSL knows no other
    }
}

long costOf(const X509_ALGOR *encryption) {
    if (OBJ_obj2nid(encryption->algorithm) == NID_pbes2)
        return costOf(parametersOf<Pbe2Ptr>(encryption, ASN1_ITEM_rptr(PBE2PARAM)).get());
    const auto parameters = parametersOf<PbePtr>(encryption, ASN1_ITEM_rptr(PBEPARAM));
    return parameters ? numberOf(parameters->iter) : 0;
}

// The library's own, since a program that loads the old algorithms into the common one loses the
// usual ones there, unless it loads them as well. It lives as long as the process.
OSSL_LIB_CTX *newAlgorithms() {
    OSSL_LIB_CTX *made = OSSL_LIB_CTX_new();
    if (made != nullptr && OSSL_PROVIDER_load(made, "default") != nullptr)
        return made;
    OSSL_LIB_CTX_free(made);
    return nullptr;
}

// RC2 and the like; not installed everywhere.
bool addOldAlgorithms(OSSL_LIB_CTX *to) {
    ERR_set_mark();
    const bool isThere = OSSL_PROVIDER_load(to, "legacy") != nullptr;
    ERR_pop_to_mark();
    return isThere;
}

struct PemBlock {
    char *name = nullptr;
    char *header = nullptr;
    unsigned char *bytes = nullptr;
    long size = 0;

    PemBlock() = default;
    PemBlock(const PemBlock &) = delete;
    PemBlock &operator=(const PemBlock &) = delete;
    ~PemBlock() {
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_clear_free(bytes, static_cast<std::size_t>(size)); // a key, perhaps
    }
};

// RFC 7468, 11. The older form of encryption derives its key in one round.
bool payForKey(const PemBlock &block) {
    if (std::strcmp(block.name, PEM_STRING_PKCS8) != 0)
        return true;
    const unsigned char *bytes = block.bytes;
    const Owned<X509_SIG, X509_SIG_free> key(d2i_X509_SIG(nullptr, &bytes, block.size));
    if (!key)
        return true; // OpenSSL will say so
    const X509_ALGOR *encryption = nullptr;
    X509_SIG_get0(key.get(), &encryption, nullptr);
    return Effort().pay(encryption);
}

} // namespace

bool Effort::pay(const X509_ALGOR *encryption) {
    const long cost = costOf(encryption);
    if (cost > left_)
        return false;
    left_ -= cost;
    return true;
}

// What has failed for want of memory is tried again.
OSSL_LIB_CTX *algorithms() {
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static OSSL_LIB_CTX *library = nullptr;
    static bool hasOldOnes = false;
    const Lock lock(mutex);
    if (library == nullptr)
        library = newAlgorithms();
    if (library != nullptr && !hasOldOnes)
        hasOldOnes = addOldAlgorithms(library);
    return library;
}

bool canAffordFirstKey(BIO *pem) {
    for (;;) {
        PemBlock block;
        ERR_set_mark();
        const bool isRead =
            PEM_read_bio(pem, &block.name, &block.header, &block.bytes, &block.size) == 1;
        ERR_pop_to_mark();
        if (!isRead)
            return true; // OpenSSL will say so
        if (std::strstr(block.name, "PRIVATE KEY") != nullptr)
            return payForKey(block);
    }
}

} // namespace qldapx
