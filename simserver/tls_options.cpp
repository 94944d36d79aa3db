#include "tls_options.h"

#include <map>

namespace stratasim {
namespace {

const std::map<std::string, tls::Flaw> &flaws() {
    static const std::map<std::string, tls::Flaw> all = {
        {"expired", tls::Flaw::Expired},
        {"not-yet-valid", tls::Flaw::NotYetValid},
        {"wrong-name", tls::Flaw::WrongName},
        {"self-signed", tls::Flaw::SelfSigned},
    };
    return all;
}

void addCertificate(CLI::App &app, tls::Settings &settings) {
    app.add_option("--tls", settings.certificate,
                   "Speak TLS (ldaps), and nothing else, at the address: \"auto\" makes a CA and a "
                   "certificate for this run, for localhost, this machine's name and the address; "
                   "or the server's certificate in PEM, those of its issuers behind it")
        ->type_name("auto|CERTFILE");
    app.add_option("--tls-key", settings.key,
                   "The certificate's private key in PEM, without a password; unless given it is "
                   "in CERTFILE")
        ->type_name("FILE");
    app.add_option("--tls-ca-file", settings.caFile,
                   "Write the CA certificate of --tls auto to this file: clients that trust it "
                   "trust the server")
        ->type_name("FILE");
    app.add_option_function<std::string>(
           "--tls-auto-cert",
           [&settings](const std::string &flaw) { settings.flaw = flaws().at(flaw); },
           "What is wrong with the certificate of --tls auto: expired, not-yet-valid, wrong-name "
           "(that of another host) or self-signed (by no CA)")
        ->type_name("FLAW")
        ->check(CLI::IsMember(flaws()));
}

void addClients(CLI::App &app, tls::Settings &settings) {
    app.add_option("--tls-client-ca", settings.clientCa,
                   "Ask clients for a certificate, and refuse one that these CAs (PEM) have not "
                   "issued; who has one may bind with SASL EXTERNAL")
        ->type_name("FILE");
    app.add_option("--tls-client-file", settings.clientFile,
                   "Write a certificate of Ada Brandt, with its key, to this file (PEM): the CA of "
                   "--tls auto issues it, and then is one of --tls-client-ca")
        ->type_name("FILE");
    app.add_flag("--tls-require-client-cert", settings.requireClient,
                 "Refuse clients without a certificate");
    app.add_option("--tls-handshake-time", settings.handshakeSeconds,
                   "Seconds that a client has for the handshake of TLS")
        ->type_name("SECONDS")
        ->capture_default_str()
        ->check(CLI::Range(1, 3600));
}

/** An option that means nothing without another one. */
struct Need {
    const char *option;
    bool given;
    bool met;
    const char *problem;
};

} // namespace

void addTls(CLI::App &app, tls::Settings &settings) {
    addCertificate(app, settings);
    addClients(app, settings);
}

void requireTlsFor(const Options &options) {
    const tls::Settings &tls = options.tls;
    const bool any = !tls.certificate.empty();
    constexpr const char *noTls = "there is no TLS without --tls auto or --tls CERTFILE";
    constexpr const char *noAuto = "there is nothing to write or to spoil without --tls auto";
    const Need needs[] = {
        {"--tls-ca-file", !tls.caFile.empty(), tls.isAuto(), noAuto},
        {"--tls-client-file", !tls.clientFile.empty(), tls.isAuto(), noAuto},
        {"--tls-auto-cert", tls.flaw != tls::Flaw::None, tls.isAuto(), noAuto},
        {"--tls-key", !tls.key.empty(), any, noTls},
        {"--tls-key", !tls.key.empty(), !tls.isAuto(), "--tls auto makes its own key"},
        {"--tls-client-ca", !tls.clientCa.empty(), any, noTls},
        {"--fault tls-handshake", options.faults.concern(kHandshake), any, noTls},
        {"--tls-require-client-cert", tls.requireClient, tls.asksClients(),
         "nobody's certificate would be good enough: name their CA with --tls-client-ca, or have "
         "one issued with --tls-client-file"},
    };
    for (const Need &need : needs)
        if (need.given && !need.met)
            throw CLI::ValidationError(need.option, need.problem);
}

} // namespace stratasim
