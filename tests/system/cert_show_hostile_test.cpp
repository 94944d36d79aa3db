// qldapx cert show: certificates and servers that mean no good.
#include "system/tls_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

std::string file(const char *name) {
    return TlsFiles::get().path(name);
}

Result show(const std::string &source, const Arguments &more = {}) {
    Arguments all = {"cert", "show", source};
    all.insert(all.end(), more.begin(), more.end());
    return runTls(all);
}

/** A certificate with this line of openssl's configuration, in a file with its key. */
std::string strangeCertificate(const TemporaryFolder &folder, const std::string &names) {
    const std::string configuration =
        folder.write("configuration", "[req]\ndistinguished_name=dn\nx509_extensions=ext\n"
                                      "prompt=no\n[dn]\nCN=strange\n[ext]\nsubjectAltName=" +
                                          names + "\n");
    const std::string path = folder.path("strange.pem");
    const Result made =
        runShell("openssl req -x509 -new -key " + file("ca.key") + " -config " + configuration +
                 " -out " + path + " && cat " + file("ca.key") + " >>" + path);
    EXPECT_EQ(made.status, 0) << made.err;
    return path;
}

TEST(CertShowHostile, NamesDoNotSteerTheTerminal) {
    const TemporaryFolder folder;
    // DNS:a NUL ESC [31m
    const std::string path = strangeCertificate(folder, "DER:30:09:82:07:61:00:1b:5b:33:31:6d");
    const Result result = show(path);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("DNS:a\\x00\\x1b[31m"));
    EXPECT_THAT(result.out, Not(HasSubstr("\x1b")));
    EXPECT_EQ(show(path, {"--json"}).json()["certificates"][0]["names"][0],
              std::string("DNS:a\0\x1b[31m", 11));
}

TEST(CertShowHostile, VeryManyNamesAreCounted) {
    const TemporaryFolder folder;
    std::string names = "DNS:name0.example.com";
    for (int i = 1; i < 10000; ++i)
        names += ",DNS:name" + std::to_string(i) + ".example.com";
    const std::string path = strangeCertificate(folder, names);
    const OpensslServer server({"-cert", path, "-key", path});
    for (const std::string &source : {path, "127.0.0.1:" + server.port()}) {
        const Result result = show(source);
        EXPECT_EQ(result.status, 1);
        EXPECT_LT(result.out.size(), 4000U);
        EXPECT_THAT(result.out, AllOf(HasSubstr("name19.example.com and"), HasSubstr("9980")));
        const Json leaf = show(source, {"--json"}).json()["certificates"][0];
        EXPECT_EQ(leaf["nameCount"], 10000);
        EXPECT_EQ(leaf["names"].size(), 100U);
    }
}

TEST(CertShowHostile, VeryLongNamesAreCut) {
    const TemporaryFolder folder;
    const std::string path = strangeCertificate(folder, "DNS:" + std::string(1 << 20, 'x'));
    for (const Arguments &more : {Arguments{}, Arguments{"--json"}}) {
        const Result result = show(path, more);
        EXPECT_EQ(result.status, 1) << result.err;
        EXPECT_LT(result.out.size(), 8000U);
        EXPECT_THAT(result.out, HasSubstr("1048576"));
    }
}

TEST(CertShowHostile, DamagedFilesEndInAMessage) {
    const std::string der = readFile(file("client.der"));
    const TemporaryFolder folder;
    for (std::size_t size = 1; size < der.size(); size += 37) {
        const Result result = show(folder.write("cut.der", der.substr(0, size)), {"--json"});
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.error()["reason"].get<std::string>(),
                    HasSubstr("there is no certificate"));
    }
}

} // namespace
} // namespace test
