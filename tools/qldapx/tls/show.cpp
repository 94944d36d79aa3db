#include "tls/show.h"

#include "text.h"
#include "tls/chain.h"
#include "tls/file.h"
#include "tls/identity.h"
#include "tls/probe.h"

#include <algorithm>
#include <fmt/format.h>

namespace qldapx {
namespace {

using Json = Output::Json;

/** A chain, where it came from, and what became of verifying it. */
struct Shown {
    std::string source;
    std::optional<std::string> host; // of a server
    Certificates chain;
    ChainVerdict verdict;
    std::string trust;
};

Certificates certificatesOfFile(const std::string &path, const Run &run) {
    const Secret content = readTlsFile("", path);
    if (!isPem(content.view()) && isPkcs12(content.view()))
        return pkcs12Certificates("", path, content, run.connection().tls, run.out.isJson());
    return certificatesIn(named("", path), content.view());
}

Shown examined(Run &run, const std::string &source) {
    const ConnectionOptions &connection = run.connection();
    const Trust trust(connection.tls);
    const auto server = serverAddress(source);
    Shown shown;
    shown.source = server ? server->text() : source;
    if (server)
        shown.host = server->host;
    shown.chain =
        server ? presentedChain(*server, connection.timeout) : certificatesOfFile(source, run);
    shown.verdict = verifyChain(shown.chain, trust, shown.host);
    shown.trust = trust.isEmpty() ? "nobody: the system has no trust store" : trust.name();
    return shown;
}

std::vector<std::string> faultTexts(const std::vector<CertificateFault> &faults,
                                    const std::string &host) {
    std::vector<std::string> texts;
    for (const CertificateFault &fault : faults)
        texts.push_back(faultText(fault, host));
    return texts;
}

std::string keyText(const CertificateFacts &facts) {
    return facts.keyBits == 0 ? printable(facts.keyType)
                              : fmt::format("{}, {} bits", printable(facts.keyType), facts.keyBits);
}

std::string verdictText(const Shown &shown) {
    const std::string host =
        shown.host ? fmt::format(" for the host {}", printable(*shown.host)) : std::string();
    return fmt::format("{}{}; trusted: {}", shown.verdict.isFine() ? "verifies" : "does not verify",
                       host, shown.trust);
}

/** Writes text for people. */
class CertificateWriter {
  public:
    explicit CertificateWriter(Output &out) : out_(out), width_(textWidth()) {}

    void certificate(const std::string &title, X509 *certificate);
    void faults(const std::vector<std::string> &texts);
    void verdict(const Shown &shown);

  private:
    static constexpr std::size_t indent = 15;

    static std::size_t textWidth() {
        const std::size_t terminal = terminalWidth();
        return std::max<std::size_t>(terminal == 0 ? screenWidth : terminal, 2 * indent) - indent;
    }
    void item(const char *label, const std::string &text);

    Output &out_;
    const std::size_t width_;
};

/** Lines of at most that many columns; words that are longer are cut. */
std::vector<std::string> fitted(const std::string &text, std::size_t width) {
    std::vector<std::string> lines;
    for (const std::string &line : wrapped(text, width))
        for (std::string_view rest = line; !rest.empty();) {
            const std::string_view part = prefixOf(rest, width);
            lines.emplace_back(part);
            rest.remove_prefix(part.size());
        }
    return lines;
}

void CertificateWriter::item(const char *label, const std::string &text) {
    const char *shown = label;
    for (const std::string &line : fitted(text, width_)) {
        out_.line(fmt::format("  {:<{}}{}", shown, indent - 2, line));
        shown = "";
    }
}

/** With a place to break the line in the middle. */
std::string breakable(std::string fingerprint) {
    constexpr std::size_t half = 16 * std::string_view("00:").size();
    return fingerprint.size() > half ? fingerprint.insert(half, " ") : fingerprint;
}

void CertificateWriter::certificate(const std::string &title, X509 *certificate) {
    constexpr std::size_t longest = 20;
    const CertificateFacts facts = factsOf(certificate);
    out_.line(out_.style().bold(title));
    item("subject", printable(facts.subject));
    item("issuer", printable(facts.issuer));
    item("valid from", facts.notBefore);
    item("valid until", fmt::format("{} ({})", facts.notAfter, facts.validity));
    item("names", facts.nameCount == 0 ? "none" : facts.nameList(longest));
    item("key", keyText(facts));
    item("signature", facts.signature);
    item("serial", facts.serial);
    item("SHA-256", breakable(facts.fingerprint));
}

void CertificateWriter::faults(const std::vector<std::string> &texts) {
    for (const std::string &text : texts) {
        const char *label = "fault";
        for (const std::string &line : fitted(text, width_)) {
            const std::string padded = fmt::format("{:<{}}", label, indent - 2);
            out_.line("  " + (*label == '\0' ? padded : out_.style().red(padded)) + line);
            label = "";
        }
    }
}

void CertificateWriter::verdict(const Shown &shown) {
    const std::string text = fmt::format("{} {}", printable(shown.source), verdictText(shown));
    for (const std::string &line : fitted(text, width_ + indent))
        out_.line(shown.verdict.isFine() ? out_.style().green(line) : out_.style().red(line));
}

void writeText(Output &out, const Shown &shown) {
    CertificateWriter writer(out);
    const std::string host = shown.host.value_or("");
    for (std::size_t i = 0; i < shown.chain.size(); ++i) {
        writer.certificate(fmt::format("certificate {} of {}", i + 1, shown.chain.size()),
                           shown.chain[i].get());
        writer.faults(faultTexts(shown.verdict.faults[i], host));
    }
    writer.faults(faultTexts(shown.verdict.others, host));
    writer.verdict(shown);
}

Json jsonFaults(const std::vector<CertificateFault> &faults, const std::string &host) {
    Json list = Json::array();
    for (const CertificateFault &fault : faults)
        list.push_back({{"code", fault.code},
                        {"name", X509_verify_cert_error_string(fault.code)},
                        {"text", faultText(fault, host)}});
    return list;
}

Json jsonCertificate(X509 *certificate) {
    const CertificateFacts facts = factsOf(certificate);
    return {{"subject", facts.subject},     {"issuer", facts.issuer},
            {"notBefore", facts.notBefore}, {"notAfter", facts.notAfter},
            {"validity", facts.validity},   {"names", facts.names},
            {"nameCount", facts.nameCount}, {"keyType", facts.keyType},
            {"keyBits", facts.keyBits},     {"signature", facts.signature},
            {"serial", facts.serial},       {"sha256", facts.fingerprint}};
}

void writeJson(Output &out, const Shown &shown) {
    const std::string host = shown.host.value_or("");
    Json list = Json::array();
    for (std::size_t i = 0; i < shown.chain.size(); ++i) {
        list.push_back(jsonCertificate(shown.chain[i].get()));
        list.back()["faults"] = jsonFaults(shown.verdict.faults[i], host);
    }
    out.json({{"source", shown.source},
              {"host", shown.host ? Json(*shown.host) : Json(nullptr)},
              {"trust", shown.trust},
              {"verifies", shown.verdict.isFine()},
              {"certificates", std::move(list)},
              {"faults", jsonFaults(shown.verdict.others, host)}});
}

void writePem(Output &out, const Shown &shown) {
    for (const CertificatePtr &certificate : shown.chain)
        out.text(pemOf(certificate.get()));
}

} // namespace

void showCertificates(Run &run, const CertificateOptions &options) {
    if (options.pem && run.out.isJson())
        throw UsageError("--pem and --json exclude each other", "one of them");
    const Shown shown = examined(run, options.source);
    if (options.pem)
        writePem(run.out, shown);
    else if (run.out.isJson())
        writeJson(run.out, shown);
    else
        writeText(run.out, shown);
    if (!shown.verdict.isFine())
        run.endsInFailure();
}

} // namespace qldapx
