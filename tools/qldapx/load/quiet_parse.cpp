#include "load/quiet_parse.h"

#include <array>
#include <cstdio>
#include <ldif.h>
#include <new>

namespace qldapx {
namespace {

/**
 * While this lives, stderr is a text in memory: libldap prints why a record is malformed, with
 * lines of its own count and the name of a program, and the report is the tool's to make. The C
 * library lets programs set the variable, and costs nothing for the records that are well-formed.
 */
class CapturedErrors {
  public:
    CapturedErrors() : stderr_(stderr) {
        std::rewind(memory());
        stderr = memory();
    }
    ~CapturedErrors() { stderr = stderr_; }
    CapturedErrors(const CapturedErrors &) = delete;
    CapturedErrors &operator=(const CapturedErrors &) = delete;

    static std::string text() {
        const long end = std::ftell(memory());
        return {buffer().data(), end > 0 ? static_cast<std::size_t>(end) : 0};
    }

  private:
    static std::array<char, 4096> &buffer() {
        static std::array<char, 4096> bytes;
        return bytes;
    }
    static FILE *memory() {
        static FILE *file = [] {
            FILE *opened = fmemopen(buffer().data(), buffer().size(), "w");
            if (opened == nullptr)
                throw std::bad_alloc();
            setvbuf(opened, nullptr, _IONBF, 0);
            return opened;
        }();
        return file;
    }

    FILE *stderr_;
};

} // namespace

int parseQuietly(berval text, LDIFRecord &record, std::string &complaint) {
    const CapturedErrors captured;
    const int result = ldap_parse_ldif_record(&text, 0, &record, "", LDIF_DEFAULT_ADD);
    if (result != LDAP_SUCCESS)
        complaint = CapturedErrors::text();
    return result;
}

int parseLineQuietly(char *line, berval &name, berval &value, int &isOwn) {
    const CapturedErrors captured;
    return ldif_parse_line2(line, &name, &value, &isOwn);
}

} // namespace qldapx
