#include "memory/document.h"

#include "memory/verdict.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace qldapx_test::memory {
namespace {

std::string joined(const std::set<std::string> &texts) {
    std::string list;
    for (const std::string &text : texts)
        list += (list.empty() ? "" : ", ") + text;
    return list;
}

std::string row(const std::string &function, const Record &record) {
    const std::string verdict =
        isNeighbour(function) ? deedsOf(record) : verdictOn(function, record);
    return "| `" + function + "` | " + std::to_string(record.tried) + " | " +
           joined(record.results) + " | " + verdict + " |\n";
}

struct Table {
    const char *name;
    std::function<bool(const std::string &function)> holds;
};

bool isCarrier(const std::string &function) {
    return function.starts_with("carrier:");
}

const Table tables[] = {
    {"functions",
     [](const std::string &function) { return !isNeighbour(function) && !isCarrier(function); }},
    {"connections", isCarrier},
    {"neighbours", isNeighbour},
};

std::string contentsOf(const Table &table, const Records &records) {
    std::string text = "| function | allocations | results without memory | |\n"
                       "| --- | --- | --- | --- |\n";
    for (const auto &[function, record] : records)
        if (table.holds(function))
            text += row(function, record);
    return text;
}

std::string read() {
    std::ostringstream text;
    text << std::ifstream(DOCUMENT).rdbuf();
    return text.str();
}

void replace(std::string &text, const std::string &name, const std::string &contents) {
    const std::string begin = "<!-- begin " + name + " -->\n", end = "<!-- end " + name + " -->";
    const std::size_t from = text.find(begin), to = text.find(end);
    if (from == text.npos || to == text.npos)
        throw std::runtime_error("the document has no place for " + name);
    text.replace(from + begin.size(), to - from - begin.size(), contents);
}

} // namespace

std::map<std::string, std::string> documented() {
    static const std::regex format("\\| `([A-Za-z0-9_:-]+)` \\| [0-9]+ \\| [^|]* \\| (.*) \\|");
    std::map<std::string, std::string> verdicts;
    std::ifstream file(DOCUMENT);
    std::smatch found;
    for (std::string line; std::getline(file, line);)
        if (std::regex_match(line, found, format))
            verdicts[found[1]] = found[2];
    return verdicts;
}

void document(const Records &records) {
    std::string text = read();
    for (const Table &table : tables)
        replace(text, table.name, contentsOf(table, records));
    std::ofstream(DOCUMENT) << text;
}

} // namespace qldapx_test::memory
