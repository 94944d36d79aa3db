#pragma once

#include "system/process.h"

namespace test {

/** `qldapx events watch` with these arguments, at work; its output can be looked at meanwhile. */
class Watching {
  public:
    explicit Watching(const Arguments &arguments);

    [[nodiscard]] std::string printed() const { return readFile(out_); }
    [[nodiscard]] std::string said() const { return readFile(err_); }
    /** Waits until that was printed, or said on standard error. */
    [[nodiscard]] bool prints(const std::string &text) const;
    [[nodiscard]] bool says(const std::string &text) const;
    /** Standard output, one value a line. */
    [[nodiscard]] std::vector<Json> lines() const { return jsonLines(printed()); }
    [[nodiscard]] const Process &process() const { return process_; }
    /** How it ended; the texts are printed() and said(). */
    Result wait() { return process_.wait(); }

    static std::vector<Json> jsonLines(const std::string &text);

  private:
    TemporaryFolder folder_;
    std::string out_ = folder_.write("out", "");
    std::string err_ = folder_.write("err", "");
    Process process_;
};

} // namespace test
