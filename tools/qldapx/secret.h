#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace qldapx {

/** A password: not copied, and overwritten in memory when it is done with. */
class Secret {
  public:
    Secret() = default;
    explicit Secret(std::string_view text) : bytes_(text.begin(), text.end()) {}
    ~Secret() { wipe(); }
    Secret(Secret &&other) noexcept : bytes_(std::move(other.bytes_)) {}
    Secret &operator=(Secret &&other) noexcept;
    Secret(const Secret &) = delete;
    Secret &operator=(const Secret &) = delete;

    /** Room for that many bytes; what was there before is overwritten, not left behind. */
    char *resize(std::size_t size);
    [[nodiscard]] char *data() { return bytes_.data(); }
    [[nodiscard]] std::size_t size() const { return bytes_.size(); }
    [[nodiscard]] bool empty() const { return bytes_.empty(); }
    [[nodiscard]] std::string_view view() const { return {bytes_.data(), bytes_.size()}; }
    void wipe();

  private:
    std::vector<char> bytes_;
};

/**
 * From now on malloc overwrites what is released, but for blocks of up to a KiB. That reaches
 * libldap's copies of what it sends: its buffers are larger, and its memory hooks go unused.
 */
void wipeReleasedMemory();

/** A command line whose passwords (-w) are taken out, and overwritten in argv itself. */
struct HiddenArguments {
    std::vector<std::string> arguments; // a placeholder in place of a password
    Secret password;                    // the last one given
};

/** `withValue` names the options that take a value, so that no value is taken for a -w. */
HiddenArguments hidePasswords(int argc, char **argv, const std::set<std::string> &withValue);

} // namespace qldapx
