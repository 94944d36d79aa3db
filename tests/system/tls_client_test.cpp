// The client's certificate and key, and binds with EXTERNAL.
#include "system/terminal.h"
#include "system/tls_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

const TlsFiles &files() {
    return TlsFiles::get();
}

std::string text(const Json &error, const char *field) {
    return error[field].get<std::string>();
}

Arguments operator+(Arguments left, const Arguments &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/** A server that asks for a certificate of the CA, and one that lets in nobody without. */
class TlsClient : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        server = std::make_unique<TlsSimulator>(
            Arguments{"--tls-client-ca", files().path("ca.pem"), "--tls-require-client-cert"},
            files().path("server-both.pem"));
    }
    static void TearDownTestSuite() { server.reset(); }

    static Result whoami(const Arguments &more) {
        return server->run(Arguments{"whoami", "--cacert", files().path("ca.pem")} + more);
    }

    static inline std::unique_ptr<TlsSimulator> server;
};

TEST_F(TlsClient, EveryFormOfCertificateAndKeyIsTaken) {
    const std::string cert = files().path("client.pem"), key = files().path("client.key");
    const std::string password = files().path("password");
    const std::vector<Arguments> forms = {
        {"--cert", cert, "--key", key},
        {"--cert", files().path("client.der"), "--key", key},
        {"--cert", files().path("both.pem")},
        {"--cert", files().path("ca-first.pem")},
        {"--cert", cert, "--key", files().path("locked.key"), "--key-password-file", password},
        {"--cert", files().path("locked.pem"), "--key-password-file", password},
        {"--p12", files().path("client.p12"), "--key-password-file", password},
        {"--p12", files().path("open.p12")},
    };
    for (const Arguments &form : forms) {
        const Result result = whoami(form);
        EXPECT_EQ(result.status, 0) << form[1] << ": " << result.err;
        EXPECT_EQ(result.out, "anonymous\n");
    }
}

TEST_F(TlsClient, AServerThatWantsACertificateIsNamed) {
    const Result result = whoami({"--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(text(result.error(), "reason"), HasSubstr("wants a certificate of the client"));
    EXPECT_THAT(text(result.error(), "hint"), AllOf(HasSubstr("--cert"), HasSubstr("--p12")));
}

TEST_F(TlsClient, ACertificateThatTheServerDoesNotTrustIsNamed) {
    const Result result =
        whoami({"--json", "--cert", files().path("other.pem"), "--key", files().path("other.key")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(text(result.error(), "reason"), HasSubstr("the client's certificate"));
    EXPECT_THAT(text(result.error(), "hint"), HasSubstr("qldapx cert show FILE"));
}

struct Mistake {
    Arguments options; // names with a dot or without an option's dash are files
    const char *reason;
    const char *hint;
};

const std::vector<Mistake> mistakes = {
    {{"--cert", "@nowhere"}, "/nowhere: cannot read the file", "name"},
    {{"--cert", "@empty"}, "/empty: the file is empty", "name"},
    {{"--cert", "@none"}, "/none: there is no certificate in the file", "PEM"},
    {{"--cert", "@client.pem"}, "client.pem: there is no private key in PEM", "--key FILE"},
    {{"--cert", "@client.pem", "--key", "@none"}, "--key ", "BEGIN PRIVATE KEY"},
    {{"--cert", "@client.pem", "--key", "@client-key.der"},
     "no private key in PEM",
     "openssl pkey"},
    {{"--cert", "@client.pem", "--key", "@other.key"},
     "the key does not belong to the certificate of --cert",
     "made for"},
    {{"--cert", "@locked.pem", "--key-password-file", "@wrong"},
     "the password is wrong",
     "password"},
    {{"--cert", "@locked.pem", "--key-password-file", "@password-line"},
     "the password is wrong",
     "ends with a line end"},
    {{"--cert", "@locked.pem", "--key-password-file", "@nowhere"}, "password file", "--help"},
    {{"--cert", "@locked.pem"}, "needs a terminal to ask on", "--help"},
    {{"--p12", "@client.p12", "--key-password-file", "@wrong"},
     "the password is wrong",
     "password"},
    {{"--p12", "@client.p12"}, "needs a terminal", "--help"},
    {{"--p12", "@both.pem"}, "this is no PKCS #12", "--cert FILE"},
    {{"--p12", "@empty"}, "the file is empty", "name"},
    {{"--p12", "@no-key.p12"}, "there is no private key", "--key"},
};

TEST_F(TlsClient, MistakesAreNamedAndNothingIsSent) {
    for (const Mistake &mistake : mistakes) {
        SCOPED_TRACE(testing::PrintToString(mistake.options));
        Arguments options = {"--json"};
        for (const std::string &each : mistake.options)
            options.push_back(each[0] == '@' ? files().path(each.substr(1)) : each);
        const Result result = whoami(options);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(text(result.error(), "reason"), HasSubstr(mistake.reason));
        EXPECT_THAT(text(result.error(), "hint"), HasSubstr(mistake.hint));
    }
}

TEST_F(TlsClient, ThePasswordIsAskedForUnseen) {
    for (const Arguments &form : {Arguments{"--cert", files().path("locked.pem")},
                                  Arguments{"--p12", files().path("client.p12")}}) {
        Terminal terminal(
            Arguments{"whoami", "-H", server->uri(), "--cacert", files().path("ca.pem")} + form,
            withLibldap());
        ASSERT_TRUE(terminal.waitFor("Password of " + form[1] + ": "));
        EXPECT_FALSE(terminal.echoes());
        terminal.type(std::string(keyPassword) + "\n");
        const Result result = terminal.finish();
        EXPECT_EQ(result.status, 0) << result.out;
        EXPECT_THAT(result.out, AllOf(HasSubstr("anonymous"), Not(HasSubstr(keyPassword))));
    }
}

TEST(TlsExternal, TheCertificateSaysWhoBinds) {
    const TlsSimulator server({"--tls-client-file", "CLIENT"});
    const Result result = server.run(
        {"whoami", "-Y", "external", "--cacert", server.ca(), "--cert", server.client()});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("Ada Brandt"));
}

TEST(TlsExternal, WithoutACertificateTheServerRefuses) {
    const TlsSimulator server({"--tls-client-file", "CLIENT"});
    const Result result =
        server.run({"whoami", "-Y", "EXTERNAL", "--cacert", server.ca(), "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["operation"], "bind");
    EXPECT_EQ(result.error()["object"], "EXTERNAL");
    EXPECT_THAT(text(result.error(), "hint"), AllOf(HasSubstr("--cert"), HasSubstr("--p12")));
}

TEST(TlsExternal, AnotherSessionUsesTheSameKey) {
    const TlsSimulator server({"--tls-client-file", "CLIENT"});
    const Result result = server.run({"schema", "diff", server.uri(), server.uri(), "--cacert",
                                      server.ca(), "--cert", server.client(), "-Y", "EXTERNAL"});
    EXPECT_EQ(result.status, 0) << result.err;
}

} // namespace
} // namespace test
