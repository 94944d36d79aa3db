// memory_file.h - a file that holds the bytes, for readers that take a path.
#pragma once

#include "heap_watch.h"
#include "support/ber.h"

#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace qldapx_fuzz {

class MemoryFile {
  public:
    explicit MemoryFile(const qldapx_test::Bytes &bytes)
        : descriptor_(memfd_create("fuzzed", MFD_CLOEXEC)),
          path_("/proc/self/fd/" + std::to_string(descriptor_)) {
        require(write(descriptor_, bytes.data(), bytes.size()) ==
                    static_cast<ssize_t>(bytes.size()),
                "no file");
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    [[nodiscard]] const std::string &path() const { return path_; }

  private:
    int descriptor_;
    std::string path_;
};

} // namespace qldapx_fuzz
