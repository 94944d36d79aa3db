// source.h - bytes as the library takes them: in a file, or in memory that ends where they end.
#pragma once

#include "support/ber.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <ldap.h>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace qldapx_test::tls {

// Memory behind whose last byte nobody can read.
class GuardedBytes {
  public:
    explicit GuardedBytes(const Bytes &bytes) : size_(bytes.size()) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        mapped_ = (size_ + page - 1) / page * page + page;
        void *start =
            mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (start == MAP_FAILED)
            throw std::runtime_error("no memory to guard");
        start_ = static_cast<char *>(start);
        mprotect(start_ + mapped_ - page, page, PROT_NONE);
        bytes.copy(data(), size_);
    }
    ~GuardedBytes() { munmap(start_, mapped_); }
    GuardedBytes(const GuardedBytes &) = delete;
    GuardedBytes &operator=(const GuardedBytes &) = delete;

    [[nodiscard]] char *data() const {
        return start_ + mapped_ - static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) - size_;
    }
    [[nodiscard]] berval value() const { return {size_, data()}; }
    [[nodiscard]] Bytes bytes() const { return {data(), size_}; }

  private:
    std::size_t size_, mapped_;
    char *start_;
};

// A folder of its own, gone at its end with all that is in it.
class Folder {
  public:
    Folder() {
        std::string pattern = std::filesystem::temp_directory_path() / "qldapx-tls-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("no folder for the test");
        path_ = pattern;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    [[nodiscard]] std::string path(const std::string &name) const { return path_ / name; }
    [[nodiscard]] std::string write(const std::string &name, const Bytes &bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }

  private:
    std::filesystem::path path_;
};

// Calls call(source) with the bytes as a source of that type.
template <class Call>
int withSource(const Bytes &bytes, int type, Call call) {
    constexpr int fileTypes[] = {1, 2, 5};
    for (int fileType : fileTypes)
        if (type == fileType) {
            const Folder folder;
            return call(static_cast<const void *>(folder.write("source", bytes).c_str()));
        }
    const GuardedBytes guarded(bytes);
    const berval value = guarded.value();
    return call(static_cast<const void *>(&value));
}

} // namespace qldapx_test::tls
