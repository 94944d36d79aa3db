// TLS set-up and inspection with memory that runs out at each of its allocations.
#include "support/case_name.h"
#include "support/failing_memory.h"
#include "support/pkcs12_der.h"
#include "support/tls_material.h"
#include "tls/sources/context.h"
#include "tls/sources/source.h"
#include "tls/sources/verification.h"

#include <openssl/crypto.h>
#include <sys/wait.h>

namespace qldapx_test::tls {
namespace {

constexpr char password[] = "secret";

// What OpenSSL's decoder of keys, also of those in certificates, loses where it runs out of memory
// while it looks at names of algorithms.
constexpr long lostByDecoder = 4;

// All of the first allocations, and some of the thousands that reading a key takes.
long nextAllocation(long number) {
    constexpr long all = 100, stride = 29;
    return number < all ? number + 1 : number + stride;
}

int setCertificate(const berval &value, int type) {
    return ldapssl_set_client_cert(&value, type, password);
}

int setKey(const berval &value, int type) {
    return ldapssl_set_client_private_key(&value, type, password);
}

int addAnchor(const berval &value, int type) {
    return ldapssl_add_trusted_cert(&value, type);
}

struct MemoryCase {
    const char *name;
    int (*call)(const berval &value, int type);
    int type;
    Bytes bytes;
    int failure;
};

class NoMemory : public testing::TestWithParam<MemoryCase> {};

// What the library keeps of a context is that of the context given last: a fresh one.
long blocksBetweenContexts() {
    { const Context fresh; }
    OPENSSL_thread_stop();
    return failing_memory::liveBlocks();
}

// The call with that allocation failing, in a context of its own; whether it was asked for.
bool failsAt(long number, const MemoryCase &row) {
    const Context context;
    const berval value = {row.bytes.size(), const_cast<char *>(row.bytes.data())};
    failing_memory::failAllocation(number);
    const int result = row.call(value, row.type);
    const bool failed = failing_memory::disarm();
    EXPECT_TRUE(result == 0 || (failed && result == row.failure)) << result;
    EXPECT_FALSE(Context::keepsPassword());
    return failed;
}

TEST_P(NoMemory, EachAllocation) {
    failsAt(1000000, GetParam());
    bool failed = true;
    for (long number = 1; failed; number = nextAllocation(number)) {
        SCOPED_TRACE(testing::Message() << "allocation " << number);
        const long before = blocksBetweenContexts();
        failed = failsAt(number, GetParam());
        EXPECT_LE(blocksBetweenContexts(), before + lostByDecoder);
        EXPECT_TRUE(failed || number > 1);
        ASSERT_LT(number, 20000);
    }
}

const Bytes clearPkcs12 =
    pkcs12({safe({nestedBag({certificateBag(derOf(clientCertificate), named("n") + keyId("k"))}),
                  keyBag(derOf(clientKey), attribute("1.2.3.4", {}))})});

const MemoryCase memoryCases[] = {
    {"TrustPem", addAnchor, 3, clientCertificate + otherCertificate, -1},
    {"TrustDer", addAnchor, 4, derOf(clientCertificate), -1},
    {"CertificatePem", setCertificate, 3, clientCertificate, 1},
    {"CertificateDer", setCertificate, 4, derOf(clientCertificate), 1},
    {"CertificatePkcs12", setCertificate, 6, clearPkcs12, 1},
    {"CertificateModern", setCertificate, 6, modernPkcs12(), 1},
    {"CertificateLegacy", setCertificate, 6, legacyPkcs12(), 1},
    {"KeyPem", setKey, 3, clientKey, 1},
    {"KeyEncrypted", setKey, 3, encryptedKey, 1},
    {"KeyTraditional", setKey, 3, traditionalKey, 1},
    {"KeyPkcs12", setKey, 6, clearPkcs12, 1},
};

INSTANTIATE_TEST_SUITE_P(Buffers, NoMemory, testing::ValuesIn(memoryCases), caseName<MemoryCase>);

// Lets each allocation of the call, which works on no context, fail in turn.
template <class Call>
void exhaustCall(Call call) {
    call();
    bool failed = true;
    for (long number = 1; failed; number = nextAllocation(number)) {
        SCOPED_TRACE(testing::Message() << "allocation " << number);
        OPENSSL_thread_stop();
        const long before = failing_memory::liveBlocks();
        failing_memory::failAllocation(number);
        call();
        failed = failing_memory::disarm();
        OPENSSL_thread_stop();
        EXPECT_LE(failing_memory::liveBlocks(), before + lostByDecoder);
        ASSERT_LT(number, 20000);
    }
}

// What BIO_printf has no memory for is missing from the text; the PEM in it is whole.
TEST(NoMemoryText, Pkcs12) {
    const auto textOf = [](const Bytes &bytes) {
        const BioPtr in(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
        return BioPtr(in == nullptr ? nullptr : pkcs12_BIO_to_clear_BIO(in.get(), password));
    };
    for (const Bytes &bytes : {clearPkcs12, modernPkcs12()}) {
        const Bytes whole = blocksOf(contentsOf(textOf(bytes).get()));
        exhaustCall([&] {
            const BioPtr text = textOf(bytes);
            const failing_memory::Pause memory;
            if (text != nullptr) {
                EXPECT_EQ(blocksOf(contentsOf(text.get())), whole);
            }
        });
    }
}

TEST(NoMemoryInspection, Certificate) {
    const X509Ptr certificate = certificateIn(clientCertificate);
    const Current current(certificate.get());
    for (int format : {3, 4}) {
        char whole[1000], buffer[1000];
        berval expected = {sizeof whole, whole};
        ASSERT_EQ(ldapssl_get_cert(current, format, &expected), 0);
        exhaustCall([&] {
            berval output = {sizeof buffer, buffer}, size = {0, nullptr};
            const int result = ldapssl_get_cert(current, format, &output);
            const int sizeResult = ldapssl_get_cert(current, format, &size);
            const failing_memory::Pause memory;
            EXPECT_EQ(output.bv_len, result == 0 ? expected.bv_len : 0);
            EXPECT_EQ(size.bv_len, sizeResult == 0 ? expected.bv_len : 0);
            EXPECT_TRUE(result == 0 || result == -1);
            EXPECT_TRUE(sizeResult == 0 || sizeResult == -1);
        });
    }
}

TEST(NoMemoryInspection, Attributes) {
    const X509Ptr certificate = certificateIn(clientCertificate);
    const Current current(certificate.get());
    for (int attribute : {1, 2, 3})
        exhaustCall([&] {
            char buffer[100] = {};
            int length = sizeof buffer;
            const int result = ldapssl_get_cert_attribute(current, attribute, buffer, &length);
            const failing_memory::Pause memory;
            EXPECT_TRUE(result == 0 || result == -1);
            EXPECT_EQ(length, result != 0 ? 100 : attribute == 3 ? 88 : 17);
        });
}

enum FirstUse { passed, recovered, wrongResult, staysFailed };

// What the library sets up once for PKCS #12, in a process that has not used it yet. (OpenSSL's own
// set-up, which ldapssl_client_init begins with, does not recover from a failure.)
FirstUse firstUse(long number) {
    const Context context;
    const Bytes bytes = legacyPkcs12();
    const berval value = {bytes.size(), const_cast<char *>(bytes.data())};
    failing_memory::failAllocation(number);
    const int set = ldapssl_set_client_cert(&value, 6, password);
    const bool failed = failing_memory::disarm();
    if (set != 0 && (set != 1 || !failed))
        return wrongResult;
    // Once there is memory again, all is well.
    if (ldapssl_set_client_cert(&value, 6, password) != 0)
        return staysFailed;
    return failed ? recovered : passed;
}

FirstUse inAChild(long number) {
    const pid_t child = fork();
    if (child == 0)
        _exit(firstUse(number));
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "allocation " << number << ": " << status;
    return static_cast<FirstUse>(WEXITSTATUS(status));
}

// What the library does itself comes first; behind it are few places where OpenSSL remembers that
// it found nothing.
TEST(NoMemoryFirstUse, EachAllocationInAProcessOfItsOwn) {
    constexpr long ofTheLibrary = 1000;
    constexpr int ofOpenSsl = 4;
    int stayFailed = 0;
    FirstUse use = recovered;
    for (long number = 1; use != passed; number = nextAllocation(number)) {
        use = inAChild(number);
        ASSERT_NE(use, wrongResult) << "allocation " << number;
        ASSERT_TRUE(use != staysFailed || number > ofTheLibrary) << "allocation " << number;
        stayFailed += use == staysFailed ? 1 : 0;
        ASSERT_LT(number, 100000);
    }
    EXPECT_LE(stayFailed, ofOpenSsl);
}

} // namespace
} // namespace qldapx_test::tls
