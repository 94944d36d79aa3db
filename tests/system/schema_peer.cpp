#include "system/schema_peer.h"

#include <algorithm>
#include <openssl/evp.h>
#include <sstream>

namespace test {
namespace {

std::string fromBase64(const std::string &text) {
    std::vector<unsigned char> bytes(text.size());
    const int size =
        EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char *>(text.data()),
                        static_cast<int>(text.size()));
    const auto padding = std::count(text.begin(), text.end(), '=');
    return {bytes.begin(), bytes.begin() + std::max<std::ptrdiff_t>(0, size - padding)};
}

/** Its lines, where a line that begins with a blank belongs to the one before. */
std::vector<std::string> unfolded(const std::string &ldif) {
    std::vector<std::string> lines;
    std::istringstream stream(ldif);
    for (std::string line; std::getline(stream, line);)
        if (!line.empty() && line[0] == ' ' && !lines.empty())
            lines.back() += line.substr(1);
        else
            lines.push_back(line);
    return lines;
}

/** Words, quoted texts, parentheses and dollars. */
std::vector<std::string> tokensOf(const std::string &description) {
    std::vector<std::string> tokens;
    for (std::size_t i = 0; i < description.size();) {
        std::size_t end = i + 1;
        if (description[i] == '\'')
            end = description.find('\'', i + 1) + 1;
        else if (std::string("()$ ").find(description[i]) == std::string::npos)
            end = std::min(description.size(), description.find_first_of("()$ '", i));
        if (description[i] != ' ')
            tokens.push_back(description.substr(i, end - i));
        i = end;
    }
    return tokens;
}

bool hasAnyOrder(const std::string &keyword) {
    for (const char *one : {"MUST", "MAY", "AUX", "NOT", "APPLIES", "SUP"})
        if (keyword == one)
            return true;
    return false;
}

} // namespace

Result SchemaTarget::run(const Arguments &arguments) const {
    Arguments all = {"-H", uri, "-D", dn, "-w", password, "schema"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runTool(all);
}

Result SchemaTarget::modify(const std::string &ldif) const {
    return runShell("ldapmodify -x -H \"$URI\" -D \"$DN\" -w \"$PASSWORD\" <<<\"$LDIF\"",
                    {{{"URI", uri}, {"DN", dn}, {"PASSWORD", password}, {"LDIF", ldif}}, {}, {}});
}

std::string SchemaTarget::exported() const {
    return run({"export"}).out;
}

Result runSchema(const Arguments &arguments, const Surroundings &surroundings) {
    Arguments all = {"schema"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runTool(all, surroundings);
}

LdifValues ldifValues(const std::string &ldif) {
    LdifValues values;
    for (const std::string &line : unfolded(ldif)) {
        const std::size_t colon = line.find(':');
        if (line.empty() || line[0] == '#' || colon == std::string::npos)
            continue;
        const bool isCoded = line.compare(colon, 2, "::") == 0;
        const std::size_t start = line.find_first_not_of(' ', colon + (isCoded ? 2 : 1));
        const std::string value = start == std::string::npos ? "" : line.substr(start);
        values.emplace_back(line.substr(0, colon), isCoded ? fromBase64(value) : value);
    }
    return values;
}

std::multiset<std::string> differences(const Result &diff) {
    std::multiset<std::string> all;
    const Json json = diff.json();
    for (const Json &one : json["differences"])
        all.insert(one["change"].get<std::string>() + " " + one["kind"].get<std::string>() + " " +
                   one["name"].get<std::string>() + " " +
                   one[one.contains("oid") ? "oid" : "ruleId"].get<std::string>());
    return all;
}

bool isSafeForTerminal(const std::string &text) {
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char c) { return c >= ' ' || c == '\n' || c == '\t'; });
}

std::string Rewriter::file(LdifValues values) {
    std::shuffle(values.begin() + 1, values.end(), random_); // behind the dn
    std::string file;
    for (const auto &[name, value] : values) {
        std::string line = name + ":" + blanks() + (value[0] == '(' ? description(value) : value);
        const std::size_t width = 20 + below(100);
        for (std::size_t at = width; at < line.size(); at += width + 2)
            line.insert(at, "\n ");
        file += line + "\n";
    }
    return file;
}

std::string Rewriter::description(const std::string &text) {
    std::vector<std::string> tokens = tokensOf(text);
    for (std::size_t i = 0; i + 1 < tokens.size(); ++i)
        if (hasAnyOrder(tokens[i]) && tokens[i + 1] == "(") {
            const auto end = std::find(tokens.begin() + static_cast<long>(i), tokens.end(), ")");
            shuffleList(tokens, i + 2, static_cast<std::size_t>(end - tokens.begin()));
        }
    std::string written;
    for (const std::string &token : tokens)
        written += token + blanks();
    return written;
}

// Every other one, those between are dollars. Names in other letters are the same names.
void Rewriter::shuffleList(std::vector<std::string> &tokens, std::size_t first, std::size_t last) {
    if (tokens[first][0] == '\'')
        return; // rule ids, with nothing between
    for (std::size_t i = first; i < last; i += 2) {
        std::swap(tokens[i], tokens[first + 2 * below((last - first + 1) / 2)]);
        if (below(2) == 0)
            std::transform(tokens[i].begin(), tokens[i].end(), tokens[i].begin(),
                           [](unsigned char c) { return std::toupper(c); });
    }
}

std::string Rewriter::blanks() {
    return std::string(1 + below(3), ' ');
}

} // namespace test
