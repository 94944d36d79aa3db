// The same in C++.
#include <iostream>
#include <qldapx.hpp>

int main() {
    const auto session = qldapx::initialize("ldap://127.0.0.1:1");
    if (!session)
        return 1;
    const auto refreshed = qldapx::trigger::refresh_server(*session);
    if (refreshed)
        return 1;
    std::cout << "qldapx " << QLDAPX_VERSION << ": " << refreshed.error().name() << '\n';
    return refreshed.error().code() == LDAP_SERVER_DOWN ? 0 : 1;
}
