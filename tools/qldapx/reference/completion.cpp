#include "reference/reference.h"

#include "usage.h"

#include <fmt/format.h>

namespace qldapx {
namespace {

constexpr const char *scriptHead =
    R"(# bash completion for qldapx, printed by: qldapx completion bash
_qldapx() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    local command=qldapx skip='' word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if [[ $skip ]]; then
            skip=''
            continue
        fi
        # bash cuts words at "=" and ":"; what follows belongs to the word before.
        if [[ $word == [=:]* ]]; then
            skip=1
            continue
        fi
)";

constexpr const char *scriptTail = R"(    local word
    COMPREPLY=()
    while IFS='' read -r word; do
        COMPREPLY+=("$word")
    done < <(compgen -W "$words" -- "$current")
}
complete -F _qldapx qldapx
)";

std::string joined(const std::vector<std::string> &words, const char *separator) {
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : separator) + word;
    return text;
}

std::vector<std::string> optionNames(const CommandText &command) {
    std::vector<std::string> names;
    for (const OptionText &option : command.options)
        names.insert(names.end(), option.names.begin(), option.names.end());
    return names;
}

std::vector<std::string> commandNames(const CommandText &command) {
    std::vector<std::string> names;
    for (const CommandText &sub : command.commands)
        names.push_back(sub.name.substr(command.name.size() + 1));
    return names;
}

/** One branch of the script a command: the words that may follow it. */
void appendBranches(std::string &script, const CommandText &command) {
    std::vector<std::string> words = commandNames(command);
    for (const std::string &name : optionNames(command))
        words.push_back(name);
    script += fmt::format("        '{}') words=\"{}\" ;;\n", command.name, joined(words, " "));
    for (const CommandText &sub : command.commands)
        appendBranches(script, sub);
}

void collectFileOptions(std::set<std::string> &names, const CommandText &command) {
    for (const OptionText &option : command.options)
        if (option.value == "FILE")
            names.insert(option.names.begin(), option.names.end());
    for (const CommandText &sub : command.commands)
        collectFileOptions(names, sub);
}

void collectCommands(std::vector<std::string> &paths, const CommandText &command) {
    for (const CommandText &sub : command.commands) {
        paths.push_back("'" + sub.name + "'");
        collectCommands(paths, sub);
    }
}

} // namespace

std::string bashCompletion(const CLI::App &root) {
    const CommandText command = describe(root);
    const std::set<std::string> valued = optionsWithValue(root);
    const std::string takingValue = joined({valued.begin(), valued.end()}, " | ");
    std::set<std::string> files;
    collectFileOptions(files, command);
    std::vector<std::string> paths;
    collectCommands(paths, command);
    std::string script = scriptHead;
    script +=
        fmt::format("        case $word in\n        {}) skip=1 ;;\n        esac\n", takingValue);
    script += fmt::format("        case \"$command $word\" in\n        {}) command+=\" $word\" ;;\n"
                          "        esac\n    done\n",
                          joined(paths, " | "));
    script += fmt::format("    case $previous in\n    {})\n        mapfile -t COMPREPLY < "
                          "<(compgen -f -- \"$current\")\n        return ;;\n",
                          joined({files.begin(), files.end()}, " | "));
    script += fmt::format("    {} | [=:]*) COMPREPLY=(); return ;;\n    esac\n", takingValue);
    script += "    local words\n    case $command in\n";
    appendBranches(script, command);
    script += "    esac\n";
    script += fmt::format("    [[ $command == qldapx ]] || words+=' {}'\n",
                          joined(optionNames(command), " "));
    return script + scriptTail;
}

} // namespace qldapx
