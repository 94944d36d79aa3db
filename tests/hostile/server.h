// server.h - what a right server answers to every request that the interface can make.
#pragma once

#include "hostile/random.h"
#include "hostile/tree.h"

#include <map>
#include <string>

namespace hostile {

struct Request {
    int id = 0;
    Node operation;
};
// None: the bytes are no message.
std::optional<Request> parseRequest(std::string_view bytes);

class Server {
  public:
    Server();

    // Protocol operations, each with the controls that may follow it.
    [[nodiscard]] std::vector<Bytes> answersTo(const Request &request, Random &random) const;
    // Of any request.
    [[nodiscard]] const std::vector<Bytes> &anyAnswers() const { return any_; }

    // The user whose proof the bind gives.
    static constexpr char user[] = "joe", password[] = "secret", host[] = "hostile.example";

  private:
    [[nodiscard]] std::vector<Bytes> extended(const Request &request, Random &random) const;
    [[nodiscard]] std::vector<Bytes> search(const Request &request) const;

    // Under the OIDs of the requests.
    std::map<std::string, Bytes> extended_;
    std::vector<Bytes> notifications_;
    std::vector<Bytes> any_;
};

} // namespace hostile
