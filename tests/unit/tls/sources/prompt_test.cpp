// Nothing is asked on the terminal, whatever password is missing.
#include "support/tls_material.h"
#include "tls/sources/context.h"
#include "tls/sources/source.h"

#include <openssl/pem.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>

namespace qldapx_test::tls {
namespace {

constexpr char typed[] = "secret\n";
constexpr int typedSize = sizeof typed - 1;

Bytes encryptedCertificate() {
    const X509Ptr certificate = certificateIn(clientCertificate);
    return written([&](BIO *bio) {
        PEM_ASN1_write_bio(reinterpret_cast<i2d_of_void *>(i2d_X509), PEM_STRING_X509, bio,
                           certificate.get(), EVP_aes_128_cbc(),
                           reinterpret_cast<const unsigned char *>("secret"), 6, nullptr, nullptr);
    });
}

// How many of the calls, each of which needs the password, succeeded.
int successes() {
    int count = 0;
    const Folder folder;
    for (const Bytes &bytes :
         {encryptedKey, traditionalKey, encryptedCertificate(), modernPkcs12(), legacyPkcs12()}) {
        count += ldapssl_client_init(folder.write("trust", bytes).c_str()) == 0 ? 1 : 0;
        const Context context;
        for (int type = 1; type <= 6; ++type)
            withSource(bytes, type, [&](const void *source) {
                count += ldapssl_set_client_cert(source, type, nullptr) == 0 ? 1 : 0;
                count += ldapssl_set_client_private_key(source, type, nullptr) == 0 ? 1 : 0;
                count += ldapssl_add_trusted_cert(source, type) == 0 ? 1 : 0;
                return 0;
            });
    }
    return count;
}

// In the child, whose terminal holds a line that somebody has typed: waits for it, makes the calls
// and says how much of it is still there.
[[noreturn]] void makeCalls() {
    alarm(60); // rather than waiting for somebody to type
    int unread = 0;
    while (ioctl(STDIN_FILENO, FIONREAD, &unread) == 0 && unread < typedSize)
        usleep(1000);
    const int succeeded = successes();
    ioctl(STDIN_FILENO, FIONREAD, &unread);
    _exit(succeeded == 0 && unread == typedSize ? 0 : 1);
}

std::string shownUntilTheEnd(int terminal) {
    std::string shown;
    char buffer[4096];
    for (ssize_t got = 0; (got = read(terminal, buffer, sizeof buffer)) > 0;)
        shown.append(buffer, static_cast<std::size_t>(got));
    return shown;
}

TEST(Prompt, NothingIsReadOrWritten) {
    termios settings{};
    settings.c_lflag = ICANON;
    settings.c_cflag = CS8 | CREAD;
    settings.c_cc[VMIN] = 1;
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, &settings, nullptr);
    ASSERT_GE(child, 0);
    if (child == 0)
        makeCalls();
    EXPECT_EQ(write(terminal, typed, typedSize), typedSize);
    EXPECT_EQ(shownUntilTheEnd(terminal), "");
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    close(terminal);
}

} // namespace
} // namespace qldapx_test::tls
