// notified.h - event notifications that libldap has received.
#pragma once

#include "events/decode.h"
#include "support/ldap_message.h"
#include "support/message_owner.h"
#include "support/scripted_peer.h"

namespace qldapx_test {

// A session on which the server answers a registration with these protocol operations.
class EventStream {
  public:
    explicit EventStream(std::vector<Bytes> operations)
        : peer_({ScriptedPeer::answers(std::move(operations))}) {
        EventSpecification event{7, 0};
        EXPECT_EQ(ldap_monitor_events(session(), 1, &event, &id_), LDAP_SUCCESS);
    }

    LDAP *session() { return peer_.session(); }
    [[nodiscard]] int id() const { return id_; }
    ScriptedPeer &peer() { return peer_; }

    // The registration's next message; NULL when none comes, which fails the test.
    MessagePtr next() {
        LDAPMessage *message = nullptr;
        timeval patience{10, 0};
        EXPECT_GT(ldap_result(session(), id_, LDAP_MSG_ONE, &patience, &message), 0);
        return MessagePtr(message);
    }

  private:
    ScriptedPeer peer_;
    int id_ = 0;
};

struct NotifiedEvent {
    int result = 0;
    int sessionResult = 0;
    int type = 0;
    int eventResult = 0;
    EventPtr data;
    EventPtr address;
};

inline NotifiedEvent parseEvent(LDAP *ld, LDAPMessage *message) {
    NotifiedEvent event;
    void *data = nullptr, *address = nullptr;
    event.result =
        ldap_parse_ds_event_IP(ld, message, &event.type, &event.eventResult, &data, 0, &address);
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &event.sessionResult);
    event.data.reset(data);
    event.address.reset(address);
    return event;
}

// What becomes of a message's value, or of the operation that a server sends.
inline NotifiedEvent notifiedBy(const Bytes &operation) {
    EventStream stream({operation});
    MessagePtr message = stream.next();
    return parseEvent(stream.session(), message.get());
}
inline NotifiedEvent notified(const Bytes &value) {
    return notifiedBy(eventMessage(value));
}

} // namespace qldapx_test
