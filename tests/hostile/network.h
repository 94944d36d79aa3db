// network.h - the functions of the system that libldap waits and connects with, as the run needs
// them.
//
// poll: no time passes. Where nothing is there the wait is over at once, as at its time-out; a wait
// without a time-out would never end and is a fault.
// read: one that would wait for ever, because libldap reads the rest of a message without a
// time-out, finds the end of the connection instead. connect: nobody is there, but for the server
// that is expected. getaddrinfo asks no name server.
#pragma once

#include "support/ber.h"

namespace hostile {

// The next connection is to a server that says these bytes to whatever it hears, and closes.
void expectConnection(const qldapx_test::Bytes &said);
// Whether there was that connection; there will be none then.
bool wasConnected();

// Waits that ended at their time-out.
unsigned long timeOuts();
// Reads that would have waited for ever.
unsigned long stalls();

} // namespace hostile
