/*
 * tls_certificate.h - the parts that tls.h is made of: the verification that the context calls, one
 * trust anchor, and PKCS #12 (RFC 7292) written as text and PEM. Not part of qldapx.h: it needs
 * OpenSSL's headers, and its names are short ones, which programs have themselves.
 *
 * The writers of PKCS #12 return 1, or 0: it does not decode, does not open with the password,
 * asks for more than 5,000,000 rounds to derive keys in one call (a block that scrypt mixes counts
 * as two), or a key or certificate could not be written. What was written until then stays. They
 * check no integrity and verify nothing. Passwords end in a zero byte; NULL is none, which is not
 * the empty one.
 */
#ifndef QLDAPX_TLS_CERTIFICATE_H
#define QLDAPX_TLS_CERTIFICATE_H

#include <openssl/bio.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <qldapx/export.h>

QLDAPX_BEGIN

/*
 * verify_callback - what OpenSSL asks where ldapssl_set_verify_callback was called: gives
 * preverifyOk back, unless that is 0 and there is a callback, whose 0 becomes 1 (accepted) and
 * anything else 0. It holds no lock while the callback runs.
 */
QLDAPX_API int verify_callback(int preverifyOk, X509_STORE_CTX *storeContext);

/*
 * add_cert - adds one trust anchor to g_CryptCtx. The caller holds g_Sync, and keeps x509.
 *
 * Result: 0, or -1: no context, no certificate, OpenSSL refused it, or there is no memory.
 */
QLDAPX_API int add_cert(X509 *x509);

/* file_to_BIO - opens a file for reading; for BIO_free. NULL: it cannot be opened. */
QLDAPX_API BIO *file_to_BIO(const char *path);

/*
 * pkcs12_BIO_to_clear_BIO - decodes the PKCS #12 that input holds (DER) into text with PEM, its
 * keys in clear.
 *
 * Result: a new memory BIO, for BIO_free, which cleanses it; NULL on failure.
 */
QLDAPX_API BIO *pkcs12_BIO_to_clear_BIO(BIO *input, const char *password);

/* dump_certs_keys_buf - decodes the PKCS #12 that input holds (DER) and writes it to output. */
QLDAPX_API int dump_certs_keys_buf(BIO *output, BIO *input, const char *password);

/* dump_certs_keys_p12 - writes the bags of all safes that are data or encrypted by password. */
QLDAPX_API int dump_certs_keys_p12(BIO *output, const PKCS12 *p12, const char *password);

/* dump_certs_pkeys_bags - writes these bags. */
QLDAPX_API int dump_certs_pkeys_bags(BIO *output, const STACK_OF(PKCS12_SAFEBAG) * bags,
                                     const char *password);

/*
 * dump_certs_pkeys_bag - writes one bag: attributes and then a key (PKCS #8 PEM, unencrypted, with
 * its own attributes before it) or an X.509 certificate (names and PEM); of nested bags, all; of
 * others nothing.
 */
QLDAPX_API int dump_certs_pkeys_bag(BIO *output, const PKCS12_SAFEBAG *bag, const char *password);

/*
 * print_attribs - writes attributes (NULL: that there are none) below a heading, a line for each,
 * with the first value of those that have more. Result: 1.
 */
QLDAPX_API int print_attribs(BIO *output, const STACK_OF(X509_ATTRIBUTE) * attributes,
                             const char *heading);

/* hex_prin - writes count bytes as "%02X ". Result: 1. */
QLDAPX_API int hex_prin(BIO *output, const unsigned char *bytes, int count);

/* dump_cert_text - writes subject and issuer, each cut to 255 bytes. Result: 1. */
QLDAPX_API int dump_cert_text(BIO *output, X509 *x509);

QLDAPX_END

#endif
