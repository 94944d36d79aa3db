// digest WHAT ROUNDS - the arithmetic of DIGEST-MD5 beside its peers, in turn:
//
//   md5       MD5 of 16 MiB and of 64 bytes; peer: OpenSSL's, as EVP_Digest and, for 64 bytes, also
//             with a context and an algorithm that are kept
//   pool      XRAND_bytes; peer: MD5 of as many blocks
//   response  a challenge read and answered, the pool freshened as the bind does it; peer: the step
//   of
//             cyrus-sasl's client that takes the same challenge
//
// Times are the processor's, of this process. Prints one line per figure.
#include "sasl/response.h"

#include "cyrus_client.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <openssl/evp.h>
#include <qldapx.h>
#include <qldapx/md5.h>
#include <string>
#include <string_view>
#include <sys/random.h>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace {

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

double nanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double time(int times, const std::function<void()> &work) {
    const double start = nanoseconds();
    for (int i = 0; i < times; ++i)
        work();
    return (nanoseconds() - start) / times;
}

void print(const std::string &name, double library, double peer) {
    std::printf("%s-library %.1f\n%s-peer %.1f\n%s-ratio %.4f\n", name.c_str(), library,
                name.c_str(), peer, name.c_str(), library / peer);
}

unsigned char digest[16];

void evp(const std::vector<unsigned char> &data) {
    EVP_Digest(data.data(), data.size(), digest, nullptr, EVP_md5(), nullptr);
}

class KeptEvp {
  public:
    KeptEvp() : algorithm_(EVP_MD_fetch(nullptr, "MD5", nullptr)), context_(EVP_MD_CTX_new()) {}
    ~KeptEvp() {
        EVP_MD_CTX_free(context_);
        EVP_MD_free(algorithm_);
    }
    KeptEvp(const KeptEvp &) = delete;
    KeptEvp &operator=(const KeptEvp &) = delete;

    void run(const std::vector<unsigned char> &data) const {
        EVP_DigestInit_ex2(context_, algorithm_, nullptr);
        EVP_DigestUpdate(context_, data.data(), data.size());
        EVP_DigestFinal_ex(context_, digest, nullptr);
    }

  private:
    EVP_MD *algorithm_;
    EVP_MD_CTX *context_;
};

void measureMd5(int rounds) {
    const std::vector<unsigned char> large(16 << 20, 0xa5), small(64, 0x5a);
    const KeptEvp kept;
    const auto own = [](const auto &data) { MD5(data.data(), data.size(), digest); };
    for (int round = 0; round < rounds; ++round) {
        print("large", time(1, [&] { own(large); }), time(1, [&] { evp(large); }));
        constexpr int times = 100000;
        const double library = time(times, [&] { own(small); });
        print("small", library, time(times, [&] { evp(small); }));
        print("kept", library, time(times, [&] { kept.run(small); }));
    }
}

// A piece of eight bytes takes one block of MD5, and so does the call's end.
void measurePool(int rounds) {
    constexpr int pieces = 1024, times = 300;
    std::vector<unsigned char> out(8 * pieces), block(40, 0x5a);
    XRAND_bytes(out.data(), 8);
    for (int round = 0; round < rounds; ++round)
        print("pool", time(times, [&] { XRAND_bytes(out.data(), 8 * pieces); }), time(times, [&] {
                  for (int i = 0; i <= pieces; ++i)
                      MD5(block.data(), block.size(), digest);
              }));
}

constexpr std::string_view challengeText =
    "nonce=\"9yg2bRkYpZmVYDCF0q5LKfP9HxoEcHgnxcYvQXmd33g=\",realm=\"example.com\","
    "qop=\"auth,auth-int,auth-conf\",cipher=\"rc4-40,rc4-56,rc4,3des,des\",maxbuf=65536,"
    "charset=utf-8,algorithm=md5-sess";

// What the bind does before it draws a nonce.
void freshenPool() {
    unsigned char fresh[12 + sizeof(pid_t)];
    const pid_t process = getpid();
    if (getrandom(fresh, 12, 0) != 12)
        fail("there is no randomness");
    std::memcpy(fresh + 12, &process, sizeof process);
    XRAND_add(fresh, sizeof fresh, 0.0);
}

void answer() {
    berval credentials = {challengeText.size(), const_cast<char *>(challengeText.data())};
    DigestChallenge *challenge = nullptr;
    char cnonce[qldapx::nonceSize];
    berval response = {};
    if (getDigestChallenge(&credentials, &challenge, 0) != LDAP_SUCCESS ||
        qldapx::getNonce(cnonce) != 0 ||
        qldapx::createDigestResponse("joe", "secret", 6, challenge->realms->realm, "localhost",
                                     cnonce, 1, challenge, &response) != LDAP_SUCCESS)
        fail("there is no response");
    std::free(response.bv_val);
    std::free(challenge->realms->realm);
    freeDigestChallenge(challenge);
}

void measureResponse(int rounds) {
    constexpr int times = 500;
    for (int round = 0; round < rounds; ++round) {
        std::vector<bench::CyrusClient> clients(times);
        auto client = clients.begin();
        const double peer = time(times, [&] { (client++)->answer(challengeText); });
        print("response", time(times, answer), peer);
        std::printf("freshen %.1f\n", time(times, freshenPool));
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3)
        fail("digest md5|pool|response ROUNDS");
    const std::string_view what = argv[1];
    const int rounds = std::atoi(argv[2]);
    if (what == "md5")
        measureMd5(rounds);
    else if (what == "pool")
        measurePool(rounds);
    else if (what == "response")
        measureResponse(rounds);
    else
        fail("what is to be measured?");
}
