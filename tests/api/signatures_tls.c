/*
 * The same for TLS.
 */
#include <openssl/ssl.h>
#include <qldapx.h>
#include <qldapx/tls_certificate.h>
#include <stddef.h>

int tls_interface_is_right(void);

static int (*const init)(const char *) = ldapssl_client_init;
static int (*const deinit)(void) = ldapssl_client_deinit;
static LDAP *(*const open_session)(const char *, int, int) = ldapssl_init;
static int (*const set_mode)(int) = ldapssl_set_verify_mode;
static int (*const get_mode)(int *) = ldapssl_get_verify_mode;
static int (*const set_callback)(int (*)(X509_STORE_CTX *)) = ldapssl_set_verify_callback;
static int (*const trust)(const void *, int) = ldapssl_add_trusted_cert;
static int (*const identity[])(const void *, int, const char *) = {ldapssl_set_client_cert,
                                                                   ldapssl_set_client_private_key};
static int (*const get_cert)(X509_STORE_CTX *, int, struct berval *) = ldapssl_get_cert;
static int (*const get_attribute)(X509_STORE_CTX *, int, void *,
                                  int *) = ldapssl_get_cert_attribute;
static int (*const verify)(int, X509_STORE_CTX *) = verify_callback;
static int (*const add)(X509 *) = add_cert;
static BIO *(*const open_file)(const char *) = file_to_BIO;
static BIO *(*const to_clear)(BIO *, const char *) = pkcs12_BIO_to_clear_BIO;
static int (*const dump_buf)(BIO *, BIO *, const char *) = dump_certs_keys_buf;
static int (*const dump_p12)(BIO *, const PKCS12 *, const char *) = dump_certs_keys_p12;
static int (*const dump_bags)(BIO *, const STACK_OF(PKCS12_SAFEBAG) *,
                              const char *) = dump_certs_pkeys_bags;
static int (*const dump_bag)(BIO *, const PKCS12_SAFEBAG *, const char *) = dump_certs_pkeys_bag;
static int (*const attributes)(BIO *, const STACK_OF(X509_ATTRIBUTE) *,
                               const char *) = print_attribs;
static int (*const hex)(BIO *, const unsigned char *, int) = hex_prin;
static int (*const text)(BIO *, X509 *) = dump_cert_text;

static int layout_is_right(void) {
    return sizeof(LdapSslValidity) == 88 && offsetof(LdapSslValidity, notBefore) == 0 &&
           offsetof(LdapSslValidity, notBeforeKind) == 40 &&
           offsetof(LdapSslValidity, notAfter) == 44 &&
           offsetof(LdapSslValidity, notAfterKind) == 84;
}

int tls_interface_is_right(void) {
    return init && deinit && open_session && set_mode && get_mode && set_callback && trust &&
           identity[0] && identity[1] && get_cert && get_attribute && verify && add && open_file &&
           to_clear && dump_buf && dump_p12 && dump_bags && dump_bag && attributes && hex && text &&
           layout_is_right();
}
