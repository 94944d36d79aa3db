#include "hostile/verdict.h"

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace {

/** An element as this side reads it: definite lengths of any form, one byte of tag. */
struct Element {
    std::uint8_t tag = 0;
    std::string_view content;
    std::size_t size = 0; // with its head
};

std::optional<Element> read(std::string_view data) {
    if (data.size() < 2 || (data[0] & 0x1f) == 0x1f)
        return std::nullopt;
    std::uint64_t length = static_cast<unsigned char>(data[1]);
    std::size_t head = 2;
    if (length >= 0x80) {
        const std::size_t count = length & 0x7f;
        if (count == 0 || count > 8 || data.size() < 2 + count)
            return std::nullopt;
        length = 0;
        for (; head < 2 + count; ++head)
            length = length << 8 | static_cast<unsigned char>(data[head]);
    }
    if (length > data.size() - head)
        return std::nullopt;
    return Element{static_cast<std::uint8_t>(data[0]), data.substr(head, length), head + length};
}

std::vector<Element> readAll(std::string_view data) {
    std::vector<Element> all;
    while (const auto element = read(data)) {
        all.push_back(*element);
        data.remove_prefix(element->size);
    }
    if (!data.empty())
        all.clear();
    return all;
}

std::int64_t number(std::string_view content) {
    if (content.empty() || content.size() > 8)
        return -1;
    std::uint64_t value = (content[0] & 0x80) != 0 ? ~std::uint64_t{0} : 0;
    for (const char byte : content)
        value = value << 8 | static_cast<unsigned char>(byte);
    return static_cast<std::int64_t>(value);
}

constexpr std::uint8_t kUnbind = 0x42, kAbandon = 0x50, kEntry = 0x64, kIntermediate = 0x79,
                       kSearchDone = 0x65, kExtendedResponse = 0x78;

/** The tags of requests, and of what answers them. */
constexpr std::array<std::pair<std::uint8_t, std::uint8_t>, 10> kRequests{
    {{0x60, 0x61},
     {kUnbind, 0},
     {0x63, kSearchDone},
     {0x66, 0x67},
     {0x68, 0x69},
     {0x4a, 0x6b},
     {0x6c, 0x6d},
     {0x6e, 0x6f},
     {kAbandon, 0},
     {0x77, kExtendedResponse}}};

struct Request {
    std::int64_t id = 0;
    std::uint8_t tag = 0;
    std::uint8_t response = 0;
};

/** Nothing when RFC 4511, 4.1.1 says that the connection has to end. */
std::optional<Request> readRequest(const std::string &sent) {
    const auto outer = read(sent);
    if (!outer || outer->tag != 0x30)
        return std::nullopt;
    const auto id = read(outer->content);
    if (!id || id->tag != 0x02)
        return std::nullopt;
    const std::int64_t value = number(id->content);
    const auto op = read(outer->content.substr(id->size));
    if (!op || value <= 0 || value > 0x7fffffff)
        return std::nullopt;
    for (const auto &[request, response] : kRequests)
        if (request == op->tag)
            return Request{value, request, response};
    return std::nullopt;
}

/** LDAPResult's code, and whether it is one. */
struct Answer {
    std::int64_t id = -1;
    std::uint8_t tag = 0;
    std::int64_t code = -1;
    std::string_view oid;
};

std::optional<Answer> readAnswer(const Element &message) {
    const auto parts = readAll(message.content);
    if (message.tag != 0x30 || parts.size() < 2 || parts.size() > 3 || parts[0].tag != 0x02)
        return std::nullopt;
    Answer answer{number(parts[0].content), parts[1].tag, -1, {}};
    const auto fields = readAll(parts[1].content);
    if (answer.tag == kEntry || answer.tag == kIntermediate)
        return fields.size() == 2 ? std::optional(answer) : std::nullopt;
    if (fields.size() < 3 || fields[0].tag != 0x0a || fields[1].tag != 0x04 ||
        fields[2].tag != 0x04)
        return std::nullopt;
    answer.code = number(fields[0].content);
    if (fields.size() > 3 && fields[3].tag == 0x8a)
        answer.oid = fields[3].content;
    return answer;
}

bool isNotice(const Answer &answer) {
    return answer.id == 0 && answer.tag == kExtendedResponse && answer.code == 2 &&
           answer.oid == "1.3.6.1.4.1.1466.20036";
}

bool isPart(std::uint8_t request, std::uint8_t answer) {
    return (request == 0x63 && answer == kEntry) || (request == 0x77 && answer == kIntermediate);
}

std::string judgeAnswers(const Request &request, const std::vector<Answer> &answers) {
    int results = 0;
    for (const Answer &answer : answers) {
        if (answer.id != request.id)
            return "an answer has another message id";
        if (answer.tag == request.response)
            ++results;
        else if (!isPart(request.tag, answer.tag))
            return "an answer is of another kind";
        if (answer.tag == request.response && (answer.code < 0 || answer.code > 123))
            return "a result code is none";
    }
    return results > 1 ? "there is more than one result" : "";
}

} // namespace

std::optional<std::size_t> messageSize(const std::string &sent) {
    const auto outer = read(sent);
    if (!outer || outer->tag != 0x30)
        return std::nullopt;
    return outer->size;
}

std::string judge(const std::string &sent, const Reaction &reaction) {
    const auto messages = readAll(reaction.bytes);
    if (messages.empty() && !reaction.bytes.empty())
        return "what the server has sent is no BER";
    std::vector<Answer> answers;
    for (const Element &message : messages) {
        const auto answer = readAnswer(message);
        if (!answer)
            return "what the server has sent is no LDAPMessage";
        answers.push_back(*answer);
    }
    const bool noticed = !answers.empty() && isNotice(answers.back());
    if (noticed)
        return reaction.closed && answers.size() == 1 ? ""
                                                      : "after a notice the connection went on";
    const auto request = readRequest(sent);
    if (!request)
        return "there was no notice of disconnection";
    if (request->tag == kUnbind)
        return reaction.closed && answers.empty() ? "" : "unbind does not just end the connection";
    if (request->response == 0)
        return answers.empty() ? "" : "there was an answer to what has none";
    return judgeAnswers(*request, answers);
}
