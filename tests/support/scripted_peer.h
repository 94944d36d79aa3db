// scripted_peer.h - the server's end of a session, played by a thread on a socketpair.
#pragma once

#include "support/ber.h"

#include <functional>
#include <ldap.h>
#include <optional>
#include <thread>
#include <vector>

namespace qldapx_test {

class ScriptedPeer {
  public:
    // What the peer does after one message has arrived whole.
    struct Step {
        // Protocol operations, each sent in a message with the id of the one that arrived.
        std::vector<Bytes> answers;
        // Bytes sent as they stand.
        Bytes raw;
        // Ends the peer's side of the connection.
        bool close = false;
        // Makes one more operation, of the message that arrived.
        std::function<Bytes(const Bytes &message)> compute = nullptr;
    };
    static Step answer(Bytes operation) { return {{std::move(operation)}, {}}; }
    static Step answers(std::vector<Bytes> operations) { return {std::move(operations), {}}; }
    static Step computed(std::function<Bytes(const Bytes &message)> compute) {
        return {{}, {}, false, std::move(compute)};
    }
    static Step raw(Bytes bytes) { return {{}, std::move(bytes)}; }
    static Step silence() { return {{}, {}}; }
    static Step closeConnection() { return {{}, {}, true}; }

    // Plays one step a message; what arrives after the last step is only recorded.
    explicit ScriptedPeer(std::vector<Step> script);
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer &) = delete;
    ScriptedPeer &operator=(const ScriptedPeer &) = delete;

    // The client's end, LDAP version 3, opened at the first call.
    LDAP *session();
    void closeSession();

    // Closes the session, joins the thread and returns every message that arrived, but for the
    // unbind that closed the session. A peer that waited too long has failed the test.
    const std::vector<Bytes> &received();

  private:
    void play();
    void playStep(const Step &step, const Bytes &message);
    std::optional<Bytes> readMessage();
    bool readInto(Bytes &bytes, std::size_t size);
    void fail(const char *reason);
    void join();

    const std::vector<Step> script_;
    int clientFd_ = -1;
    int peerFd_ = -1;
    LDAP *session_ = nullptr;
    // Written by the thread; read after it has been joined.
    std::vector<Bytes> received_;
    std::string fault_;
    std::thread thread_;
};

} // namespace qldapx_test
