#pragma once

#include "options.h"

#include <CLI/CLI.hpp>

namespace stratasim {

void addTls(CLI::App &app, tls::Settings &settings);

/** Throws CLI::ValidationError when something of TLS is asked for without what it needs. */
void requireTlsFor(const Options &options);

} // namespace stratasim
