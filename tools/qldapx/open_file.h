#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace qldapx {

/** An open file, closed at the end; or one that could not be opened, for errno's reason. */
class OpenFile {
  public:
    OpenFile(const char *path, int flags) : descriptor_(open(path, flags | O_CLOEXEC)) {}
    ~OpenFile() {
        if (isOpen())
            close(descriptor_);
    }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;
    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }
    [[nodiscard]] int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

} // namespace qldapx
