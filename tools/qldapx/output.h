#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace qldapx {

/** Colour on a terminal that has it, unless NO_COLOR asks for none. */
class Style {
  public:
    explicit Style(int descriptor);
    [[nodiscard]] std::string bold(const std::string &text) const { return wrap("1", text); }
    [[nodiscard]] std::string red(const std::string &text) const { return wrap("1;31", text); }
    [[nodiscard]] std::string green(const std::string &text) const { return wrap("32", text); }

  private:
    [[nodiscard]] std::string wrap(const char *code, const std::string &text) const;
    bool coloured_;
};

/** Whatever bytes a server sent, the text is valid JSON. */
template <typename Json>
std::string jsonText(const Json &json, int indent = -1) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

/** Standard output: text for people or JSON for programs. All of it throws OutputError. */
class Output {
  public:
    using Json = nlohmann::ordered_json;
    using Rows = std::vector<std::vector<std::string>>;

    explicit Output(bool json);

    [[nodiscard]] bool isJson() const { return json_; }
    [[nodiscard]] const Style &style() const { return style_; }

    void text(const std::string &text);
    void line(const std::string &text) { this->text(text + "\n"); }
    void json(const Json &json) { line(jsonText(json, 2)); }
    /** Rows in columns; the first is a label. */
    void table(const Rows &rows);
    /** The outcome of an operation that gives no data. */
    void done(const std::string &sentence, const Json &fields);
    void flush();

  private:
    bool json_;
    Style style_;
};

} // namespace qldapx
