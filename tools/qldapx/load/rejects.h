#pragma once

#include "load/record.h"

#include <string>
#include <vector>

namespace qldapx {

/** The file of what could not be loaded, as LDIF that can be loaded again. Throws Failure. */
class Rejects {
  public:
    /** A file that is there is an error unless it is to be appended to. */
    Rejects(const std::string &path, bool append);
    ~Rejects();
    Rejects(const Rejects &) = delete;
    Rejects &operator=(const Rejects &) = delete;

    [[nodiscard]] const std::string &path() const { return path_; }
    /** Adds a record below its comments. */
    void add(const std::vector<std::string> &comments, const Record &record);
    /** What was added is in the file. */
    void flush();
    /** Brings them to the disk; true when there are none, and then there is no file either. */
    bool finish();

  private:
    [[nodiscard]] bool isEmpty() const;
    [[noreturn]] void fail() const;

    std::string path_;
    std::string waiting_;
    int descriptor_ = -1;
    bool finished_ = false;
};

} // namespace qldapx
