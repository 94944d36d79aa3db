/**
 * qldapx.hpp - the C++ interface of libqldapx, on top of the C one: owners, results as values, and
 * ranges. C++17; it needs neither exceptions nor RTTI, and throws nothing itself.
 *
 * Rules that hold for all of it:
 *
 * - Whatever can fail gives a result<T>: a value or an error (result.hpp). Look before you take.
 * - Whatever has to be released has an owner, and every owner a raw pointer (handle.hpp).
 * - Texts go in and come out as cstring, which a literal, a std::string and a const char * become
 *   by themselves. Nothing is copied; an argument is only read, and only during the call unless the
 *   comment says more.
 * - A session, and what was made with it, is used by one thread at a time. No function waits longer
 *   than the session's time-outs allow, which libldap has not set: session_ref::set_timeout.
 * - A call costs what the C call costs, and allocates no more, unless it fails.
 *
 * What a function's comment leaves out stands with the C function that it calls.
 */
#ifndef QLDAPX_HPP
#define QLDAPX_HPP

#include <qldapx/cxx/backup.hpp>
#include <qldapx/cxx/bulk_update.hpp>
#include <qldapx/cxx/control.hpp>
#include <qldapx/cxx/digest.hpp>
#include <qldapx/cxx/event_stream.hpp>
#include <qldapx/cxx/identity.hpp>
#include <qldapx/cxx/partition.hpp>
#include <qldapx/cxx/random_pool.hpp>
#include <qldapx/cxx/replica.hpp>
#include <qldapx/cxx/replication_filter.hpp>
#include <qldapx/cxx/schema.hpp>
#include <qldapx/cxx/tls_certificate.hpp>
#include <qldapx/cxx/trigger.hpp>
#include <qldapx/cxx/url.hpp>

#endif
