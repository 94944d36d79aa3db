// description_writer.h - the text of a schema description, one blank between its parts.
#pragma once

#include <cstddef>
#include <cstring>

namespace qldapx::schema {

class DescriptionWriter {
  public:
    // Without a buffer it only measures.
    explicit DescriptionWriter(char *buffer) : buffer_(buffer) {}

    std::size_t length() const { return length_; }

    void put(const char *word) {
        if (length_ > 0)
            append(" ", 1);
        append(word, std::strlen(word));
    }

    void putQuoted(const char *keyword, const char *text) {
        if (text == nullptr)
            return;
        put(keyword);
        putQuoted(text);
    }

    void putQuotedList(const char *keyword, char *const *list) {
        if (list == nullptr)
            return;
        put(keyword);
        if (list[0] != nullptr && list[1] == nullptr)
            return putQuoted(list[0]);
        put("(");
        for (; *list != nullptr; ++list)
            putQuoted(*list);
        put(")");
    }

  private:
    void putQuoted(const char *text) {
        put("'");
        append(text, std::strlen(text));
        append("'", 1);
    }

    void append(const char *text, std::size_t size) {
        if (buffer_ != nullptr)
            std::memcpy(buffer_ + length_, text, size);
        length_ += size;
    }

    char *buffer_;
    std::size_t length_ = 0;
};

} // namespace qldapx::schema
