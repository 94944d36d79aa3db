#include "support/tls_material.h"

#include <cstdint>

namespace qldapx_test::tls {

namespace {

constexpr std::string_view digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// With the password "secret" and one round: what is slow about the real ones is not tested here.
constexpr char modernText[] =
    "MIIFawIBAzCCBSUGCSqGSIb3DQEHAaCCBRYEggUSMIIFDjCCA6EGCSqGSIb3DQEHBqCCA5IwggOO"
    "AgEAMIIDhwYJKoZIhvcNAQcBMFYGCSqGSIb3DQEFDTBJMCgGCSqGSIb3DQEFDDAbBAi4HnPf1v4x"
    "hAIBATAMBggqhkiG9w0CCQUAMB0GCWCGSAFlAwQBKgQQnopwCNpFNkCFKk5KDleAQYCCAyBjmKrL"
    "/2MSwm4ArDU+8u4GFDm4Y8dRHQgNlHjzhSTIN+l5obeMJJ/jVUqXuvwzuvVziuFt9cESibtqPg71"
    "tRV56nOgo7vDfQoIqhlFwX4ONPtffhnxvh8y1VW6ioVmmj4zaFWCOxs2AxXYHTB53YKmUvAXCSG1"
    "z9y1jsItZnc3LZo2xt/CYkLwKeexCODEYUV5ffZtWh/AKCg/nN7YaGxY56pQrgpBUh3YM42Elf1r"
    "VEeKenwsxVmjDEgGsPt1QH2+tVeEcSI2pTib3iorHWPBd0iMRCAG05NVMuaUGKvwfHsvwNp8PKG6"
    "mxnjaR12WTlOcqO5w+p4KzeZ3pnnBgEF1t4TLNjfj1e383SXH/krzXGjhjXhgd5t5cFsTH9stNbx"
    "K7tx8zy3ooos8yx0u4mc8K1XjyfutVhTNAWvkIXgv+T5AlXaiV6eYaZZelZvwv82ImY18GuAC3dE"
    "oFIEuNoXnU1tETdSjzzw5CzqbPai/2nDyFPurPR3vSfh18lHLkzkN0cpFFs1fl0C3fegfseRICPq"
    "T4nFEXoVD08s+d3oWGuLS+9Va/do9/U9QCgxdX/SM//voZSkOHZqf1wa14EXXta5+SvA35e9siEO"
    "aucSyCTUFJBALbv+ygaNYoyZl61+E0eT4Yf2K2DjOqWA7xcUtfU+IMR+3H8WUrtMnSa9w7j/u9oM"
    "fZfMucapJc8ZH8Kn3rE8JYMRHt1Z7Sue2cYxZiCdi53exgpk2xs/RmLDjkq0zofmJ99zHWNL1Nch"
    "9aIndBUbKLVbfESNp72pbIWkJLJfmpeJa9rceq/Okp0IeR/gM3ohaVIV5SNCSEnDdZ6JgOtuZwrZ"
    "5KFDEMn/soeEFGripNCIj+CDBoOWmERyjqUMEwWpZijMi9O8CxhKD9yJBlKpm71Cc5qVE3J/h9Rh"
    "Yze5helsyX23kHuTTxdg7Pbu/RI4ysd0ks3Ajyl5eAShWlhzTYNTin1LHwX6BMrhfu3PUvP6PuVR"
    "qtt2VkA3OM0UsFivYzIf0T64QskM7w00IZZEyeUYVlrQoIE4eUi+hEEu5Dw/YJZQBUdRv4UjgDCC"
    "AWUGCSqGSIb3DQEHAaCCAVYEggFSMIIBTjCCAUoGCyqGSIb3DQEMCgECoIHuMIHrMFYGCSqGSIb3"
    "DQEFDTBJMCgGCSqGSIb3DQEFDDAbBAjDfqBuMujiZAIBATAMBggqhkiG9w0CCQUAMB0GCWCGSAFl"
    "AwQBKgQQ0a4HAw6XecqejGZr2sDryQSBkFOFkmAoAjprE4amvLEgw0+L/FoihchftLv6c4PS5+OL"
    "AkYh0KWZBEzxhGjX9tWL2y18H2/JRWwWQUWmb1thlu05j95/spQAXzYc1CFQ1DYnyVZnUKBD/p/B"
    "DkPcxNydChXxSvpIMc4251XqSnr3/mc3TsYHE1NgTaX8nUzq/DKTIyX1ZcdC7LWCFhBS4lb0rDFK"
    "MCMGCSqGSIb3DQEJFDEWHhQAdABoAGUAIABjAGwAaQBlAG4AdDAjBgkqhkiG9w0BCRUxFgQUviYU"
    "J9Lp1C1FkJak/y7yV42t9CowPTAxMA0GCWCGSAFlAwQCAQUABCB32PGrqjN9rW9LtTLokmz6Jqw5"
    "VoP8wWh1NXSKbye6AwQI+Xji4OW1kG4=";

constexpr char legacyText[] =
    "MIIDNAIBAzCCAv4GCSqGSIb3DQEHAaCCAu8EggLrMIIC5zCCAd4GCSqGSIb3DQEHBqCCAc8wggHL"
    "AgEAMIIBxAYJKoZIhvcNAQcBMBsGCiqGSIb3DQEMAQYwDQQIvDvx/6XNei8CAQGAggGYgdU964k5"
    "LiMEeSe8ygHOoD8Zetp6xxYPQRxMMUNYgj3ybRd8cw2H7UO/H+UNHsn8X2F4Z9ThAktg1JgSmwmc"
    "ZrVyoZ5gBh8ka3wHIOPncJ84tDnRivNOswnm4kzf1AX2Uila4jequbpBSCEYYC1zEsYXEV/aJCDg"
    "gDjf/9F6GxbbHQzEUyV3iJ5WvlJ6zFsnNZaSBXNaqxVflYSrDIuV8KR0ZA7dKTR/IKRhVH2hmmfc"
    "UAlLj5o8VF0EjEDjmQQ8b+jNEvmlkb+/RXP7I8q8BEf50Xfi1bUByB93SF+WWTBkY6+MXEuHjm+f"
    "ueRf4i4l7qgN2KtW3coLsN7/msACYQ9Hvw+77v3bQJ08lsZ/s9UNPF1f2qzCS7NHpQ7lCGduFh/0"
    "8l4b845YFlGyImIgMi/6O6QaDqQYcFZeutJkcaVHxrKBuHb/NiyMBxaE5LvbRfwHNDD9+RBIElUp"
    "0qB+ueY7uKkG+7AROtCOH+DK8Ika2SvWG8Py4q+DPQO26r8p1GzxO91lam986ytU2parM3dLKTX7"
    "1PX8MIIBAQYJKoZIhvcNAQcBoIHzBIHwMIHtMIHqBgsqhkiG9w0BDAoBAqCBszCBsDAbBgoqhkiG"
    "9w0BDAEDMA0ECLko2nJ219X3AgEBBIGQ9d2xzvLQY5HMRfVYgsKvynJgAqPM7hlyeoBiN8rEVyJ2"
    "KPQlCab+4sf9dBuOfdipeatThr5mQ93/70qf8JDrRy7cA+4hpoq0PADBMly98E/TjGT8ZrnPiwxc"
    "pJlomPUF2OZxw7jDipV2h4P7y/v/t6s0kSsWAGJUDEGo5Ib/qMpQXJCOwV5E263a+HIEP8KwMSUw"
    "IwYJKoZIhvcNAQkVMRYEFL4mFCfS6dQtRZCWpP8u8leNrfQqMC0wITAJBgUrDgMCGgUABBRBSlt3"
    "mODcRvkoQng07p8pGARAbQQIlopumJzJ4lo=";

} // namespace

Bytes fromBase64(std::string_view text) {
    Bytes bytes;
    std::uint32_t bits = 0;
    unsigned count = 0;
    for (char c : text) {
        const std::size_t digit = digits.find(c);
        if (digit == digits.npos)
            continue;
        bits = bits << 6 | static_cast<std::uint32_t>(digit);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes += static_cast<char>(bits >> count & 0xff);
        }
    }
    return bytes;
}

Bytes derOf(std::string_view pem) {
    const std::size_t body = pem.find('\n') + 1;
    return fromBase64(pem.substr(body, pem.find("-----END") - body));
}

Bytes modernPkcs12() {
    return fromBase64(modernText);
}

Bytes legacyPkcs12() {
    return fromBase64(legacyText);
}

} // namespace qldapx_test::tls
