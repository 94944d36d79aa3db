#pragma once

#include "command.h"
#include "load/checkpoint.h"
#include "load/doubt.h"
#include "load/options.h"

namespace qldapx {

/** Where the checkpoint of a load is, if it has one. */
std::optional<std::string> checkpointPath(const LoadOptions &options);

/** What a load of this file into this server is called. */
LoadIdentity identityOf(const Run &run, const LoadOptions &options);

/** What a checkpoint says of a load that ended early, and the records that it leaves in doubt. */
class Resumption {
  public:
    /** Throws UsageError when the checkpoint cannot be used, or is another load's. */
    Resumption(std::string path, const LoadIdentity &identity);

    [[nodiscard]] const LoadState &state() const { return state_; }
    /** Passes what is settled. Throws UsageError when what has been sent reads differently now. */
    void read(RecordReader &reader, const std::string &file);
    /** Looks on the server; throws Failure when nobody can tell, and the user does not say. */
    void judge(Channel &channel, const LoadOptions &options);
    /** Those that had been sent and were not settled, in their order. */
    std::vector<DoubtfulRecord> &doubtful() { return doubtful_; }

  private:
    void requireSame(const std::string &what, const std::string &then, const std::string &now);
    [[noreturn]] void refuse(const std::string &reason) const;

    std::string path_;
    std::string file_; // for messages
    LoadState state_;
    std::vector<DoubtfulRecord> doubtful_;
};

} // namespace qldapx
