#include "tls/file.h"

#include "errors.h"
#include "open_file.h"
#include "text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <new>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>

namespace qldapx {
namespace {

constexpr std::size_t maxFile = std::size_t{16} << 20;
constexpr std::size_t maxCertificates = 1000;

constexpr const char *pemStart = "-----BEGIN ";

using Pkcs12Ptr = std::unique_ptr<PKCS12, OpensslRelease<PKCS12_free>>;

[[noreturn]] void cannotRead(const std::string &option, const std::string &path, const char *why) {
    throw UsageError(fmt::format("{}: cannot read the file: {}", named(option, path), why),
                     option.empty() ? "check the file's name; a server is HOST:PORT or ldaps://HOST"
                                    : "check the file's name and who may read it");
}

const unsigned char *bytesOf(std::string_view content) {
    return reinterpret_cast<const unsigned char *>(content.data());
}

Certificates certificateOfDer(const std::string &name, std::string_view content) {
    const unsigned char *next = bytesOf(content);
    Certificates all;
    all.emplace_back(d2i_X509(nullptr, &next, static_cast<long>(content.size())));
    ERR_clear_error();
    if (all.front() == nullptr || next != bytesOf(content) + content.size())
        throw UsageError(fmt::format("{}: there is no certificate in the file", name),
                         "a file with PEM (-----BEGIN CERTIFICATE-----) or one DER certificate");
    return all;
}

/** Whether the reader stopped at the end, not at something that it could not read. */
bool stoppedAtTheEnd() {
    const unsigned long error = ERR_peek_last_error();
    ERR_clear_error();
    return ERR_GET_REASON(error) == PEM_R_NO_START_LINE;
}

Certificates certificatesOfPem(const std::string &name, std::string_view content) {
    const BioPtr reader = readerOf(content);
    Certificates all;
    ERR_clear_error();
    while (X509 *next = PEM_read_bio_X509_AUX(reader.get(), nullptr, refusePassword, nullptr)) {
        all.emplace_back(next);
        if (all.size() > maxCertificates)
            throw UsageError(
                fmt::format("{}: there are more than {} certificates", name, maxCertificates),
                "a file with fewer");
    }
    if (!stoppedAtTheEnd())
        throw UsageError(fmt::format("{}: certificate {} is damaged", name, all.size() + 1),
                         "fetch the file again from where it came");
    if (all.empty())
        throw UsageError(fmt::format("{}: there is PEM in the file, but no certificate", name),
                         "the file with -----BEGIN CERTIFICATE-----");
    return all;
}

} // namespace

std::string named(const std::string &option, const std::string &path) {
    return option.empty() ? printable(path) : option + " " + printable(path);
}

Secret readTlsFile(const std::string &option, const std::string &path) {
    const OpenFile file(path.c_str(), O_RDONLY);
    if (!file.isOpen())
        cannotRead(option, path, std::strerror(errno));
    Secret content;
    std::size_t size = 0;
    ssize_t got = 0;
    do {
        if (size == content.size())
            content.resize(std::max<std::size_t>(2 * size, 65536));
        got = read(file.descriptor(), content.data() + size, content.size() - size);
        size += got > 0 ? static_cast<std::size_t>(got) : 0;
        if (size > maxFile)
            cannotRead(option, path, "it is larger than 16 MiB");
    } while (got > 0);
    if (got < 0)
        cannotRead(option, path, std::strerror(errno));
    if (size == 0)
        throw UsageError(fmt::format("{}: the file is empty", named(option, path)),
                         "check the file's name");
    content.resize(size);
    return content;
}

bool isPem(std::string_view content) {
    return content.find(pemStart) != std::string_view::npos;
}

bool isPkcs12(std::string_view content) {
    const unsigned char *next = bytesOf(content);
    const Pkcs12Ptr decoded(d2i_PKCS12(nullptr, &next, static_cast<long>(content.size())));
    ERR_clear_error();
    return decoded != nullptr;
}

Certificates certificatesIn(const std::string &name, std::string_view content) {
    return isPem(content) ? certificatesOfPem(name, content) : certificateOfDer(name, content);
}

BioPtr readerOf(std::string_view content) {
    BioPtr reader(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
    if (reader == nullptr)
        throw std::bad_alloc();
    return reader;
}

int refusePassword(char * /*buffer*/, int /*size*/, int /*forWriting*/, void * /*data*/) {
    return -1;
}

} // namespace qldapx
