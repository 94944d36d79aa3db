#include "schema.h"

#include "text.h"

#include <map>

namespace stratasim::schema {
namespace {

/** Reads the words of an object class description (RFC 4512, 4.1.1) one after the other. */
class Words {
  public:
    explicit Words(std::string_view text) : words_(splitAt(text, ' ')) {}

    bool atEnd() const { return next_ == words_.size(); }
    std::string_view take() { return atEnd() ? std::string_view() : words_[next_++]; }

    /** One word, or a list in parentheses with dollars between its words. */
    std::vector<std::string_view> takeList() {
        std::vector<std::string_view> list = {take()};
        if (list[0] != "(")
            return list;
        list.clear();
        for (auto word = take(); word != ")" && !atEnd(); word = take())
            if (word != "$")
                list.push_back(word);
        return list;
    }

  private:
    std::vector<std::string_view> words_;
    std::size_t next_ = 0;
};

using Classes = std::map<std::string, std::vector<std::string>, std::less<>>;

std::string_view unquote(std::string_view name) {
    return name.substr(1, name.size() - 2);
}

void read(std::string_view description, Classes &classes) {
    Words words(description);
    words.take(); // the parenthesis
    const std::string oid(words.take());
    std::string name;
    std::vector<std::string> attributes;
    while (!words.atEnd()) {
        const std::string_view word = words.take();
        if (word == "NAME")
            name = lowerCase(unquote(words.take()));
        else if (word == "SUP") // stands above in the list of classes
            attributes = classes.find(lowerCase(words.take()))->second;
        else if (word == "MUST" || word == "MAY")
            for (const std::string_view attribute : words.takeList())
                attributes.emplace_back(attribute);
    }
    classes.emplace(oid, attributes);
    classes.emplace(name, std::move(attributes));
}

Classes readAll() {
    Classes classes;
    for (const std::string &description : objectClasses())
        read(description, classes);
    return classes;
}

} // namespace

std::vector<std::string> attributesOfClass(std::string_view name) {
    static const Classes classes = readAll();
    const auto found = classes.find(lowerCase(name));
    return found == classes.end() ? std::vector<std::string>() : found->second;
}

} // namespace stratasim::schema
