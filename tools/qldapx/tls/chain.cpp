#include "tls/chain.h"

#include <algorithm>
#include <new>
#include <openssl/err.h>
#include <unistd.h>

namespace qldapx {
namespace {

struct FreeStack {
    void operator()(STACK_OF(X509) * stack) const { sk_X509_free(stack); }
};
using StackPtr = std::unique_ptr<STACK_OF(X509), FreeStack>;

template <typename Pointer>
Pointer required(Pointer pointer) {
    if (pointer == nullptr)
        throw std::bad_alloc();
    return pointer;
}

/** Verifies one certificate after the other, with the others at hand. */
class Verifier {
  public:
    Verifier(const Certificates &chain, const Trust &trust);

    void verify(std::size_t index, const std::optional<std::string> &host);
    /** It was in the chain of one that was verified. */
    [[nodiscard]] bool isDone(std::size_t index) const { return done_[index]; }
    [[nodiscard]] ChainVerdict take() { return std::move(verdict_); }

  private:
    static int note(int fine, X509_STORE_CTX *context);
    void add(CertificateFault fault, const X509 *certificate);
    void markDone(X509_STORE_CTX *context);
    [[nodiscard]] std::size_t indexOf(const X509 *certificate) const;

    const Certificates &chain_;
    StorePtr store_;
    StackPtr stack_;
    std::vector<bool> done_;
    ChainVerdict verdict_;
};

Verifier::Verifier(const Certificates &chain, const Trust &trust)
    : chain_(chain), store_(required(StorePtr(X509_STORE_new()))),
      stack_(required(StackPtr(sk_X509_new_null()))), done_(chain.size()) {
    trust.addTo(store_.get());
    for (const CertificatePtr &certificate : chain)
        sk_X509_push(stack_.get(), certificate.get());
    verdict_.faults.resize(chain.size());
}

std::size_t Verifier::indexOf(const X509 *certificate) const {
    const auto found = std::find_if(chain_.begin(), chain_.end(), [&](const auto &each) {
        return certificate != nullptr && X509_cmp(each.get(), certificate) == 0;
    });
    return static_cast<std::size_t>(found - chain_.begin());
}

void Verifier::add(CertificateFault fault, const X509 *certificate) {
    const std::size_t index = indexOf(certificate);
    auto &faults = index < chain_.size() ? verdict_.faults[index] : verdict_.others;
    // OpenSSL says twice that there is no issuer, in two ways.
    const bool isKnown = std::any_of(faults.begin(), faults.end(), [&](const auto &each) {
        return (each.code == fault.code && each.facts.fingerprint == fault.facts.fingerprint) ||
               fault.code == X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE;
    });
    if (!isKnown)
        faults.push_back(std::move(fault));
}

// Goes on, so that every fault is found.
int Verifier::note(int fine, X509_STORE_CTX *context) {
    if (fine != 0)
        return fine;
    auto *verifier = static_cast<Verifier *>(X509_STORE_CTX_get_app_data(context));
    X509 *certificate = X509_STORE_CTX_get_current_cert(context);
    CertificateFault fault = {X509_STORE_CTX_get_error(context), {}};
    if (certificate != nullptr)
        fault.facts = factsOf(certificate);
    verifier->add(std::move(fault), certificate);
    return 1;
}

void Verifier::markDone(X509_STORE_CTX *context) {
    const STACK_OF(X509) *built = X509_STORE_CTX_get0_chain(context);
    for (int i = 0; i < sk_X509_num(built); ++i)
        if (const std::size_t index = indexOf(sk_X509_value(built, i)); index < chain_.size())
            done_[index] = true;
}

// "localhost" is this machine, by its own name, too.
void expectHost(X509_VERIFY_PARAM *param, const std::string &host) {
    if (X509_VERIFY_PARAM_set1_ip_asc(param, host.c_str()) == 1)
        return;
    X509_VERIFY_PARAM_set1_host(param, host.c_str(), host.size());
    char machine[256] = {};
    if (host == "localhost" && gethostname(machine, sizeof machine - 1) == 0)
        X509_VERIFY_PARAM_add1_host(param, machine, 0);
}

/** What OpenSSL demands of keys and digests in a session here. */
int usualSecurityLevel() {
    const SslContextPtr context(SSL_CTX_new(TLS_client_method()));
    return context == nullptr ? 0 : SSL_CTX_get_security_level(context.get());
}

void Verifier::verify(std::size_t index, const std::optional<std::string> &host) {
    const StoreContextPtr context = required(StoreContextPtr(X509_STORE_CTX_new()));
    if (X509_STORE_CTX_init(context.get(), store_.get(), chain_[index].get(), stack_.get()) != 1)
        throw std::bad_alloc();
    X509_VERIFY_PARAM *param = X509_STORE_CTX_get0_param(context.get());
    X509_VERIFY_PARAM_set_auth_level(param, usualSecurityLevel());
    if (host) {
        X509_STORE_CTX_set_default(context.get(), "ssl_server");
        expectHost(param, *host);
    }
    X509_STORE_CTX_set_app_data(context.get(), this);
    X509_STORE_CTX_set_verify_cb(context.get(), note);
    // A failure without a fault: memory, or a certificate that does not decode.
    if (X509_verify_cert(context.get()) != 1 && verdict_.isFine())
        add({X509_STORE_CTX_get_error(context.get()), factsOf(chain_[index].get())},
            chain_[index].get());
    markDone(context.get());
    done_[index] = true;
    ERR_clear_error();
}

} // namespace

bool ChainVerdict::isFine() const {
    return others.empty() &&
           std::all_of(faults.begin(), faults.end(), [](const auto &each) { return each.empty(); });
}

ChainVerdict verifyChain(const Certificates &chain, const Trust &trust,
                         const std::optional<std::string> &host) {
    Verifier verifier(chain, trust);
    verifier.verify(0, host);
    for (std::size_t i = 1; i < chain.size() && !host; ++i)
        if (!verifier.isDone(i))
            verifier.verify(i, host);
    return verifier.take();
}

} // namespace qldapx
