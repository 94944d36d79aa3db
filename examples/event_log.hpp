/** event_log.hpp - a file of JSON lines, and events as JSON. */
#ifndef EXAMPLES_EVENT_LOG_HPP
#define EXAMPLES_EVENT_LOG_HPP

#include "connection.hpp"

#include <ctime>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

using json = nlohmann::ordered_json;
using moment = std::chrono::system_clock::time_point;

/** UTC as RFC 3339 writes it. */
inline std::string text(moment when) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(when);
    const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(when - whole);
    const std::time_t seconds = std::chrono::system_clock::to_time_t(whole);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::ostringstream out;
    out << std::put_time(&parts, "%FT%T.") << std::setw(3) << std::setfill('0') << rest.count()
        << 'Z';
    return out.str();
}

inline moment now() {
    return std::chrono::system_clock::now();
}

template <class Value>
const Value &value_of(const qldapx::events::field &field) {
    return *static_cast<const Value *>(field.value);
}

inline json json_of(const char *text) {
    return text == nullptr ? json() : json(text);
}

inline json json_of(char *const *texts) {
    json list = json::array();
    for (; texts != nullptr && *texts != nullptr; ++texts)
        list.push_back(json_of(*texts));
    return list;
}

inline json json_of(const ConnectionInfo *connection) {
    if (connection == nullptr)
        return {};
    return {{"number", connection->number1}, {"dn", json_of(connection->text)}};
}

/** Numbers and texts; null for a field of another type, of which qldapx events watch shows all. */
inline json json_of(const qldapx::events::field &field) {
    switch (field.type) {
    case LDAPX_EVENT_INTEGER:
        return value_of<std::int32_t>(field);
    case LDAPX_EVENT_STRING:
        return json_of(value_of<const char *>(field));
    case LDAPX_EVENT_TEXT:
        return json_of(static_cast<const char *>(field.value));
    case LDAPX_EVENT_SEQUENCE:
        return json_of(value_of<char *const *>(field));
    case LDAPX_EVENT_CONNECTION:
        return json_of(value_of<const ConnectionInfo *>(field));
    default:
        return {};
    }
}

inline json json_of(const qldapx::events::event &event) {
    json line = {{"time", text(now())}, {"event", event.type()}, {"result", event.result_code()}};
    if (!event.data())
        return line;
    line["record"] = event.data().name().c_str();
    for (const qldapx::events::field &field : event.data().fields())
        line["fields"][field.name] = json_of(field);
    return line;
}

class log_file {
  public:
    explicit log_file(std::string path) : path_(std::move(path)) { open(); }

    void open() {
        file_.close();
        file_.open(path_, std::ios::app);
        check();
    }
    /** Text that is no UTF-8 becomes so: a line can be read whatever a server sends. */
    void write(const json &line) {
        file_ << line.dump(-1, ' ', false, json::error_handler_t::replace) << std::endl;
        check();
    }
    void write_state(const char *state, const json &more = json::object()) {
        json line = {{"time", text(now())}, {"state", state}};
        line.update(more);
        write(line);
    }

  private:
    void check() const {
        if (!file_)
            fail(1, path_ + " cannot be written");
    }

    std::string path_;
    std::ofstream file_;
};

#endif
