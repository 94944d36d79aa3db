// prepared.h - sessions whose first answer is there before it is asked for: without a thread, so
// that all of their memory is this thread's.
#pragma once

#include "schema/samples.h"

#include <openldap.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qldapx_test::memory {

class Prepared {
  public:
    // To the first request, these protocol operations.
    explicit Prepared(const std::vector<Bytes> &operations) {
        Bytes bytes;
        for (const Bytes &operation : operations)
            bytes += ldapMessage(1, operation);
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_), 0);
        EXPECT_EQ(send(ends_[1], bytes.data(), bytes.size(), 0),
                  static_cast<ssize_t>(bytes.size()));
        EXPECT_EQ(ldap_init_fd(ends_[0], LDAP_PROTO_TCP, "ldap://prepared.example", &session_), 0);
        const int version = LDAP_VERSION3;
        ldap_set_option(session_, LDAP_OPT_PROTOCOL_VERSION, &version);
    }
    ~Prepared() {
        ldap_unbind_ext(session_, nullptr, nullptr);
        close(ends_[1]);
    }
    Prepared(const Prepared &) = delete;
    Prepared &operator=(const Prepared &) = delete;

    operator LDAP *() const { return session_; }

  private:
    int ends_[2] = {-1, -1};
    LDAP *session_ = nullptr;
};

inline SchemaPtr preparedSchema(const std::vector<std::string> &types) {
    const Prepared session({subentry({{schemaAttributes[0], types}}), searchDone(LDAP_SUCCESS)});
    LDAPSchema *schema = nullptr;
    EXPECT_EQ(ldap_schema_fetch(session, &schema, "cn=schema"), LDAP_SUCCESS);
    return SchemaPtr(schema);
}

} // namespace qldapx_test::memory
