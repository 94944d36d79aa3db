#include "ssl/key_derivation.h"

#include "ssl/handles.h"

#include <algorithm>
#include <openssl/err.h>
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
    OSSL_LIB_CTX *library = OSSL_LIB_CTX_new();
    if (library == nullptr)
        return nullptr;
    if (OSSL_PROVIDER_load(library, "default") == nullptr) {
        OSSL_LIB_CTX_free(library);
        return nullptr;
    }
    ERR_set_mark();
    OSSL_PROVIDER_load(library, "legacy"); // RC2 and the like; not installed everywhere
    ERR_pop_to_mark();
    return library;
}

} // namespace

bool Effort::pay(const X509_ALGOR *encryption) {
    const long cost = costOf(encryption);
    if (cost > left_)
        return false;
    left_ -= cost;
    return true;
}

OSSL_LIB_CTX *algorithms() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    static OSSL_LIB_CTX *library = nullptr;
    pthread_once(&once, [] { library = newAlgorithms(); });
    return library;
}

} // namespace qldapx
