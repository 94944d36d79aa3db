// writer.h - writes BER elements as ber_printf does, in a third of its instructions: bulk updates
// are made of millions of small strings, and ber_printf appends each in pieces, by way of its
// format. The elements are collected here and reach the encoder in one piece.
#pragma once

#include "core/handle.h"

#include <arpa/inet.h>
#include <climits>
#include <cstdint>
#include <cstring>

namespace qldapx {

class Writer {
  public:
    // Lengths of constructed elements are written as `encoder` would write them.
    explicit Writer(BerElement *encoder) : encoder_(encoder) {
        int options = 0;
        ber_get_option(encoder, LBER_OPT_BER_OPTIONS, &options);
        isDer_ = (options & LBER_USE_DER) != 0;
    }
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    // A constructed element, open for as long as it lives.
    class Element {
      public:
        Element(Writer &writer, ber_tag_t tag) : writer_(writer), start_(writer.open(tag)) {}
        ~Element() { writer_.close(start_); }
        Element(const Element &) = delete;
        Element &operator=(const Element &) = delete;

      private:
        Writer &writer_;
        std::size_t start_;
    };

    void octets(const char *bytes, std::size_t length, ber_tag_t tag = LBER_OCTETSTRING) {
        if (length > longest)
            return fail();
        if (!makeRoom(mostHeadBytes + length))
            return;
        unsigned char *to = bytes_ + used_;
        *to++ = static_cast<unsigned char>(tag);
        to = putLength(to, length);
        if (length > 0)
            std::memcpy(to, bytes, length);
        used_ = static_cast<std::size_t>(to - bytes_) + length;
    }

    void octets(const berval &value) { octets(value.bv_val, value.bv_len); }

    // The string must be there.
    void string(const char *text, ber_tag_t tag = LBER_OCTETSTRING) {
        if (text == nullptr)
            return fail();
        octets(text, std::strlen(text), tag);
    }

    void boolean(bool value) {
        const char octet = value ? '\xff' : '\0';
        octets(&octet, 1, LBER_BOOLEAN);
    }

    void integer(int value, ber_tag_t tag = LBER_INTEGER) {
        char content[sizeof value]; // two's complement, as short as it goes
        std::size_t start = sizeof content;
        bool isNegative = false;
        do {
            content[--start] = static_cast<char>(value);
            isNegative = (value & 0x80) != 0;
            value >>= 8;
        } while (value != (isNegative ? -1 : 0));
        octets(content + start, sizeof content - start, tag);
    }

    [[nodiscard]] bool hasFailed() const { return failed_; }

    // Appends what was written to the encoder; false: something did not go, and nothing was
    // appended.
    [[nodiscard]] bool finish() {
        return !failed_ && ber_write(encoder_, reinterpret_cast<char *>(bytes_), used_, 0) >= 0;
    }

  private:
    // As liblber has it: what fits an int with a head before it.
    static constexpr std::size_t longest = INT_MAX - 17;
    static constexpr std::size_t lengthBytes = 4;
    static constexpr std::size_t mostHeadBytes = 2 + lengthBytes;

    std::size_t open(ber_tag_t tag) {
        if (makeRoom(mostHeadBytes)) {
            bytes_[used_] = static_cast<unsigned char>(tag);
            used_ += mostHeadBytes;
        }
        return used_;
    }

    void close(std::size_t start) {
        std::size_t length = used_ - start;
        if (failed_ || length > longest)
            return fail();
        unsigned char *head = bytes_ + start - mostHeadBytes + 1;
        if (!isDer_) {
            putWideLength(head, length);
            return;
        }
        unsigned char *to = putLength(head, length);
        std::memmove(to, bytes_ + start, length);
        used_ = static_cast<std::size_t>(to - bytes_) + length;
    }

    static void putWideLength(unsigned char *to, std::size_t length) {
        const std::uint32_t bigEndian = htonl(static_cast<std::uint32_t>(length));
        *to++ = 0x80 | lengthBytes;
        std::memcpy(to, &bigEndian, sizeof bigEndian);
    }

    static unsigned char *putLength(unsigned char *to, std::size_t length) {
        if (length < 0x80) {
            *to++ = static_cast<unsigned char>(length);
            return to;
        }
        int bytes = length < 0x100 ? 1 : length < 0x10000 ? 2 : length < 0x1000000 ? 3 : 4;
        *to++ = static_cast<unsigned char>(0x80 | bytes);
        while (--bytes >= 0)
            *to++ = static_cast<unsigned char>(length >> 8 * bytes);
        return to;
    }

    void fail() { failed_ = true; }

    [[nodiscard]] bool makeRoom(std::size_t size) {
        if (size > capacity_ - used_ && !grow(used_ + size))
            failed_ = true;
        return !failed_;
    }

    bool grow(std::size_t size) {
        std::size_t capacity = 2 * size;
        auto *grown = static_cast<unsigned char *>(std::realloc(heap_.get(), capacity));
        if (grown == nullptr)
            return false;
        if (heap_ == nullptr)
            std::memcpy(grown, few_, used_);
        static_cast<void>(heap_.release());
        heap_.reset(reinterpret_cast<char *>(grown));
        bytes_ = grown;
        capacity_ = capacity;
        return true;
    }

    BerElement *encoder_;
    bool isDer_ = false;
    bool failed_ = false;
    std::size_t used_ = 0;
    std::size_t capacity_ = sizeof few_;
    unsigned char *bytes_ = few_;
    HeapPtr heap_;
    unsigned char few_[4096]; // enough for most operations
};

} // namespace qldapx
