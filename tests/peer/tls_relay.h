// tls_relay.h - stands between clients and a server: sees what they send, cuts and holds back what
// the server sends.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test {

class TlsRelay {
  public:
    explicit TlsRelay(int serverPort);
    ~TlsRelay();
    TlsRelay(const TlsRelay &) = delete;
    TlsRelay &operator=(const TlsRelay &) = delete;

    [[nodiscard]] std::string uri(const std::string &host = "localhost") const;

    // Passes what both sides send on in pieces of so many bytes.
    void cutInto(std::size_t size);

    // Passes so many more of the server's bytes and holds back the others, or ends the connection
    // instead of holding them.
    enum class Then { hold, close };
    void passOnly(std::size_t count, Then then);
    // Waits until bytes are held back; false: for too long.
    [[nodiscard]] bool awaitHeld();
    void passAll();

    // How many bytes of the server's have been passed on.
    [[nodiscard]] std::size_t passed();
    // What each client has sent.
    [[nodiscard]] std::vector<std::string> fromClients();

  private:
    struct Connection {
        int client, server;
        std::string sent{}, held{};
        bool isOpen = true;
    };

    void run();
    void accept();
    void passToServer(Connection &connection);
    void takeFromServer(Connection &connection);
    void passToClient(Connection &connection);
    [[nodiscard]] bool sendPieces(int socket, const std::string &bytes) const;
    void wake() const;

    static constexpr std::size_t everything = static_cast<std::size_t>(-1);

    int serverPort_, listener_, port_ = 0;
    int wakeRead_ = -1, wakeWrite_ = -1;
    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    std::size_t piece_ = everything, allowance_ = everything, passed_ = 0;
    Then then_ = Then::hold;
    bool ends_ = false;
    std::list<Connection> connections_;
    std::thread thread_;
};

// The bytes are whole records of TLS (RFC 8446, 5.1) and nothing else.
bool isTlsOnly(const std::string &bytes);

// Expects that so many clients were there, and sent nothing else.
void expectOnlyTls(TlsRelay &relay, std::size_t connections);

} // namespace test
