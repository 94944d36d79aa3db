/*
 * qldapx.h - the C interface of libqldapx, the client-side extension library for LDAP v3
 * sessions with the Strata directory server.
 *
 * Valid C99 and C++17. Rules that hold for every function - result codes, who owns and
 * releases what, NULL arguments, threads, time-outs, failing memory - stand once, in
 * CONVENTIONS.md; a function's comment says only what is its own.
 */
#ifndef QLDAPX_H
#define QLDAPX_H

#define QLDAPX_VERSION_MAJOR 0
#define QLDAPX_VERSION_MINOR 1
#define QLDAPX_VERSION_PATCH 0
#define QLDAPX_VERSION "0.1.0"

#include <qldapx/backup.h>
#include <qldapx/control.h>
#include <qldapx/crypto_lock.h>
#include <qldapx/digest_md5.h>
#include <qldapx/event.h>
#include <qldapx/event_decoder.h>
#include <qldapx/identity.h>
#include <qldapx/lburp.h>
#include <qldapx/legacy.h>
#include <qldapx/memory.h>
#include <qldapx/partition.h>
#include <qldapx/random_pool.h>
#include <qldapx/replica.h>
#include <qldapx/replication_filter.h>
#include <qldapx/schema.h>
#include <qldapx/schema_description.h>
#include <qldapx/state.h>
#include <qldapx/tls.h>
#include <qldapx/trigger.h>
#include <qldapx/url.h>

#endif
