#include "tls/words.h"
#include "wire.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

/** An attribute of a name; `type` is the kind of string that its value is stored as. */
struct Part {
    const char *attribute;
    std::string value;
    int type = MBSTRING_UTF8;
    bool sameRdn = false; // as the one before
};

std::string subjectWith(const std::vector<Part> &parts) {
    const stratasim::tls::Certificate certificate(X509_new());
    X509_NAME *name = X509_get_subject_name(certificate.get());
    for (const Part &part : parts)
        EXPECT_EQ(X509_NAME_add_entry_by_txt(
                      name, part.attribute, part.type,
                      reinterpret_cast<const unsigned char *>(part.value.data()),
                      static_cast<int>(part.value.size()), -1, part.sameRdn ? -1 : 0),
                  1);
    return stratasim::tls::subjectOf(certificate.get());
}

TEST(TlsName, IsWrittenAsRfc4514Wants) {
    using std::string;
    struct Case {
        std::vector<Part> parts;
        string text;
    };
    const Case cases[] = {
        {{}, ""},
        {{{"DC", "com"}, {"DC", "example"}, {"CN", "Ada Brandt"}},
         "CN=Ada Brandt,DC=example,DC=com"},
        {{{"CN", "Grüße α"}}, "CN=Grüße α"},
        {{{"CN", "a,b+c\"d\\e<f>g;h"}}, "CN=a\\,b\\+c\\\"d\\\\e\\<f\\>g\\;h"},
        {{{"CN", " x "}}, "CN=\\ x\\ "},
        {{{"CN", "#x"}}, "CN=\\#x"},
        {{{"CN", string("a\0b", 3), V_ASN1_UTF8STRING}}, "CN=a\\00b"},
        {{{"CN", "a\nb"}}, "CN=a\\0Ab"},
        {{{"OU", "a"}, {"CN", "b", MBSTRING_UTF8, true}}, "CN=b+OU=a"},
        {{{"1.2.3.4", "x", V_ASN1_UTF8STRING}}, "1.2.3.4=#0C0178"},
        {{{"UID", "ada"}}, "UID=ada"},
        {{{"CN", wire::hex("004d00fc"), V_ASN1_BMPSTRING}}, "CN=Mü"},
        {{{"CN", wire::hex("4dfc"), V_ASN1_T61STRING}}, "CN=Mü"},
        {{{"CN", wire::hex("ff"), V_ASN1_UTF8STRING}}, ""},
    };
    for (const Case &c : cases)
        EXPECT_EQ(subjectWith(c.parts), c.text);
}

} // namespace
