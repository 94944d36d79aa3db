#pragma once

#include "schema/macros.h"
#include "schema/model.h"

#include <istream>

namespace stratasim::schema {

/** A file that is no schema; what() names file and line. */
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/**
 * Descriptions from files of two forms: LDIF, with or without a DN, and the directives of slapd's
 * configuration. Macros for OIDs hold in all files, wherever they are defined.
 */
class Files {
  public:
    /** Throws FileError, with `name` for the file. */
    void read(std::istream &in, const std::string &name);
    /** The elements of all files in their order; throws FileError. */
    std::vector<Element> parse() const;

    /** What was passed over, a line each. */
    const std::vector<std::string> &warnings() const { return warnings_; }

  private:
    struct Statement {
        Kind kind;
        std::string text;
        std::string source;
    };

    void readLdif(std::istream &in, const std::string &name);
    void readDirectives(std::istream &in, const std::string &name);
    void takePair(const std::string &attribute, std::string_view value, const std::string &source);
    void takeDirective(std::string_view line, const std::string &source);
    void takeMacro(std::string_view words, const std::string &source);

    std::vector<Statement> statements_;
    Macros macros_;
    std::vector<std::string> warnings_;
};

/** The built-in schema with the elements of the files and `bulk` generated types. */
std::shared_ptr<const Model> load(const Files &files, std::size_t bulk,
                                  std::vector<std::string> &warnings);

} // namespace stratasim::schema
