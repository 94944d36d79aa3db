#include "image_password.h"

#include "errors.h"
#include "password.h"

namespace qldapx {
namespace {

constexpr PasswordPrompt first = {"Password of the image: ", "--ask-password",
                                  "--password-file FILE"};
constexpr PasswordPrompt again = {"The same again: ", first.option, first.otherwise};

Secret askForImage(bool isNew) {
    Secret password = askPassword(first);
    // A slip of the finger would make the backup useless.
    if (isNew && askPassword(again).view() != password.view())
        throw UsageError("the two passwords differ", "try again");
    return password;
}

} // namespace

void addImagePassword(CLI::App &command, ImagePassword &options) {
    command
        .add_option("--password-file", options.file,
                    "The password that protects the image is this file, whole")
        ->type_name("FILE");
    command.add_flag("--ask-password", options.ask, "Ask for that password on the terminal");
}

Secret imagePassword(const ImagePassword &options, bool isNew, bool json) {
    if (options.ask && options.file)
        throw UsageError("give the image's password once: --ask-password or --password-file");
    Secret password;
    if (options.ask)
        password = askForImage(isNew);
    else if (options.file)
        password = readPasswordFile(*options.file, json);
    if (password.view().find('\0') != std::string_view::npos)
        throw UsageError("the image's password has a zero byte, which it cannot have",
                         "write the file with printf %s");
    const std::size_t size = password.size();
    password.resize(size + 1)[size] = '\0';
    return password;
}

} // namespace qldapx
