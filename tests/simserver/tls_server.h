#pragma once

#include "program.h"
#include "wire.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

inline std::string contentOf(const std::string &path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

/** A name for a file of this test alone, which goes with it. */
class TestFile {
  public:
    explicit TestFile(const std::string &name)
        : path_(std::string(TEST_DIR) + "/" + std::to_string(getpid()) + "-" + name) {}
    TestFile(const std::string &name, const std::string &content) : TestFile(name) {
        std::ofstream(path_) << content;
    }
    ~TestFile() { std::remove(path_.c_str()); }
    TestFile(const TestFile &) = delete;
    TestFile &operator=(const TestFile &) = delete;

    const std::string &path() const { return path_; }
    std::string read() const { return contentOf(path_); }

  private:
    std::string path_;
};

/** strata-sim with --tls auto, and what its clients need. */
class TlsServer {
  public:
    explicit TlsServer(const std::vector<std::string> &more = {}, const std::string &log = {})
        : program_(with(more), log) {}

    int port() const { return program_.port(); }
    const std::string &ca() const { return ca_.path(); }
    SimProgram &program() { return program_; }
    std::string openssl() const { return "127.0.0.1:" + std::to_string(port()); }

  private:
    std::vector<std::string> with(const std::vector<std::string> &more) const {
        std::vector<std::string> all = {"--tls", "auto", "--tls-ca-file", ca_.path()};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

    TestFile ca_{"ca.pem"};
    SimProgram program_;
};

/** What strata-sim says when these arguments keep it from starting. */
inline CommandResult startFails(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {STRATA_SIM, "--listen", "127.0.0.1:0"});
    return runCommand(arguments);
}

inline bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

inline const std::string kAnonymousBind = wire::bind("", "");
inline const std::string kBoundAnonymously = wire::hex("300c 020101 6107 0a0100 0400 0400");
