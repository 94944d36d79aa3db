#include "backup_file.h"
#include "errors.h"
#include "image_password.h"
#include "operation.h"
#include "progress.h"
#include "text.h"

#include <ctime>
#include <fmt/format.h>
#include <memory>
#include <system_error>

namespace qldapx {
namespace {

struct Arguments {
    std::string dn;
    std::string file;
    bool force = false;
    ImagePassword password;
};

[[noreturn]] void fail(const Arguments &args, const std::string &reason, const std::string &hint) {
    throw Failure({"backup", args.dn, {}, {}, reason, {}, {}, hint});
}

/** What the server says of the next piece: two numbers, "0+0" when there is none. */
enum class Following { Piece, End, Unreachable };

Following following(std::string_view state) {
    const std::size_t plus = state.find('+');
    const bool firstIsZero = state.substr(0, plus) == "0";
    const bool secondIsZero = plus == std::string_view::npos || state.substr(plus + 1) == "0";
    if (firstIsZero && secondIsZero)
        return Following::End;
    return firstIsZero || secondIsZero ? Following::Unreachable : Following::Piece;
}

/** Fetches an entry's image into a file. */
class Fetch {
  public:
    Fetch(Run &run, Arguments &args, Secret &password, BackupWriter &writer)
        : run_(run), args_(args), password_(password), writer_(writer) {}

    void all();

  private:
    std::size_t next();
    backup::image &imageOf(session_ref at);
    void refuseStandstill(const std::string &asked, std::size_t bytes);

    Run &run_;
    Arguments &args_;
    Secret &password_;
    BackupWriter &writer_;
    std::optional<backup::image> image_;
    std::size_t emptyPieces_ = 0; // one after the other
};

/** Fetches a piece; gives its size. */
std::size_t Fetch::next() {
    const backup::piece piece =
        performed(run_, args_.dn, [this](session_ref at) { return imageOf(at).next(); });
    writer_.piece(piece.chunk_sizes(), piece.data());
    return piece.data().size();
}

// The session opens with the first operation.
backup::image &Fetch::imageOf(session_ref at) {
    if (!image_)
        image_.emplace(at, args_.dn, password_.data());
    return *image_;
}

// A server that never comes to an end is not waited for.
void Fetch::refuseStandstill(const std::string &asked, std::size_t bytes) {
    constexpr std::size_t patience = 1000;
    emptyPieces_ = bytes == 0 ? emptyPieces_ + 1 : 0;
    if (emptyPieces_ > patience || (bytes == 0 && asked == image_->state()))
        fail(args_,
             fmt::format("after {} pieces the server sends empty ones and comes to no end; its "
                         "state is {}",
                         writer_.pieces(), printable(image_->state())),
             "see the server's log");
}

void Fetch::all() {
    Progress progress(run_.out.isJson());
    do {
        const std::string asked(image_ ? image_->state() : cstring());
        const std::size_t bytes = next();
        refuseStandstill(asked, bytes);
        progress.show(writer_.pieces(), writer_.bytes());
    } while (following(image_->state()) == Following::Piece);
    if (following(image_->state()) == Following::Unreachable)
        fail(args_,
             fmt::format("the backup is incomplete: after {} piece{} the server's state is {}, "
                         "and a state with one 0 cannot be passed back to it",
                         writer_.pieces(), writer_.pieces() == 1 ? "" : "s",
                         image_->state().view()),
             "nothing was kept; see the server's log, and make the backup anew");
}

void fetchInto(Run &run, Arguments &args, Secret &password) {
    NewFile file(args.file, args.force);
    BackupWriter writer(file, {args.dn, run.uri(), std::time(nullptr)});
    Fetch(run, args, password, writer).all();
    writer.finish();
    file.keep();
    run.done(fmt::format("backup of {} written to {}: {} in {} piece{}", printable(args.dn),
                         printable(args.file), byteCount(writer.bytes()), writer.pieces(),
                         writer.pieces() == 1 ? "" : "s"),
             {{"object", args.dn},
              {"file", args.file},
              {"bytes", writer.bytes()},
              {"pieces", writer.pieces()}});
}

void makeBackup(Run &run, Arguments &args) {
    checkTarget(args.file, args.force);
    Secret password = imagePassword(args.password, true, run.out.isJson());
    run.open();
    try {
        fetchInto(run, args, password);
    } catch (const std::system_error &error) {
        fail(args, error.what(),
             error.code() == std::errc::file_exists ? "--force replaces it"
                                                    : "make room, or choose another place with -o");
    }
}

} // namespace

void addBackup(CLI::App &root, Tool &tool) {
    CLI::App &command =
        addCommand(root, "backup", "Fetch an entry's backup image into a file, for restore",
                   {"backup 'cn=Ada Brandt,ou=people,dc=example,dc=com' -o ada.backup"});
    auto args = std::make_shared<Arguments>();
    command.add_option("DN", args->dn, "DN of the entry")->required();
    command.add_option("-o", args->file, "The file; it appears when it is whole")
        ->type_name("FILE")
        ->required();
    command.add_flag("--force", args->force, "Replace the file if it exists");
    addImagePassword(command, args->password);
    command.callback([&tool, args] { tool.action = [args](Run &run) { makeBackup(run, *args); }; });
}

} // namespace qldapx
