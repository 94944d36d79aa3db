#include "tls_client.h"
#include "tls_server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace std::chrono_literals;

class TlsLog : public testing::Test {
  protected:
    /** Waits until the log has the text. */
    void expectLogged(const std::string &text) {
        for (int tries = 0; tries < 500 && !contains(log_.read(), text); ++tries)
            std::this_thread::sleep_for(20ms);
        EXPECT_TRUE(contains(log_.read(), text)) << text << " is not in:\n" << log_.read();
    }

    TestFile log_{"log"};
    TestFile ada_{"log-ada.pem"};
    TlsServer server_{{"--verbose", "--tls-client-file", ada_.path(), "--tls-handshake-time", "1",
                       "--fault", "tls-handshake@5=garbage"},
                      log_.path()};
};

TEST_F(TlsLog, SaysWhatEachConnectionIs) {
    TlsClient::Session session;
    {
        TlsClient client(server_.port(), {.version = TLS1_2_VERSION});
        client.ask(kAnonymousBind);
        session = client.session();
        client.finishSending();
        client.readAll();
        expectLogged("connection 1 TLSv1.2 " + std::string(SSL_get_cipher_name(client.ssl())) +
                     ", new session, client without a certificate\n");
    }
    const TlsClient again(server_.port(), {.version = TLS1_2_VERSION, .session = session});
    expectLogged("connection 2 TLSv1.2 " + std::string(SSL_get_cipher_name(again.ssl())) +
                 ", resumed session, client without a certificate\n");
    const TlsClient ada(server_.port(), {.identity = ada_.path()});
    expectLogged("connection 3 TLSv1.3 " + std::string(SSL_get_cipher_name(ada.ssl())) +
                 ", new session, client \"CN=Ada Brandt,OU=people,DC=example,DC=com\"\n");
}

TEST_F(TlsLog, SaysWhyAHandshakeHasFailed) {
    RawClient(server_.port()).send(wire::message(1, kAnonymousBind));
    expectLogged("connection 1 TLS: the client does not speak TLS; plain LDAP, perhaps\n");
    RawClient(server_.port()).send("GET / HTTP/1.1\r\n\r\n");
    expectLogged("connection 2 TLS: the client speaks HTTP\n");
    const TlsClient old(server_.port(), {.version = TLS1_1_VERSION});
    expectLogged("connection 3 TLS: the client speaks no version of TLS from 1.2 on\n");
    RawClient(server_.port()).send(clientHello().substr(0, 50));
    expectLogged("connection 4 TLS: the client has gone in the middle\n");
    const TlsClient spoilt(server_.port());
    expectLogged("connection 5 TLS: spoilt by a fault\n");
    const RawClient still(server_.port());
    expectLogged("connection 6 TLS: no handshake within 1 s\n");
    const TestFile other("log-other.pem");
    const SimProgram second({"--tls", "auto", "--tls-client-file", other.path()});
    const TlsClient stranger(server_.port(), {.identity = other.path()});
    expectLogged("connection 7 TLS: the client's certificate is refused: ");
    const TlsServer untrusted;
    const TlsClient distrustful(server_.port(), {.ca = untrusted.ca(), .version = TLS1_2_VERSION});
    expectLogged("connection 8 TLS: the client refuses: tlsv1 alert unknown ca\n");
}

} // namespace
