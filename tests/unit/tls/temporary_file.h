// temporary_file.h - a file with these bytes, as long as it lives.
#pragma once

#include <fstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace test {

class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string &content) {
        const int file = mkstemp(path_.data());
        if (file < 0 ||
            write(file, content.data(), content.size()) != static_cast<ssize_t>(content.size()))
            throw std::runtime_error("cannot write a temporary file");
        close(file);
    }
    ~TemporaryFile() { unlink(path_.c_str()); }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;

    [[nodiscard]] const char *path() const { return path_.c_str(); }

  private:
    std::string path_ = "/tmp/qldapx-test-XXXXXX";
};

} // namespace test
