// damage.h - what a hostile server makes of a right answer.
#pragma once

#include "hostile/random.h"
#include "hostile/tree.h"

namespace hostile {

// One fault more in an element of the message, or in a list of elements.
void damageElement(Node &message, Random &random);
// In the bytes, wherever they belong.
void damageBytes(Bytes &message, Random &random);

// Answers on their way: the messages, and whether the connection ends behind them.
struct Sent {
    std::vector<Bytes> messages;
    bool ends = false;
};
// Messages that are missing, doubled, in another order, under another id or not to be expected, and
// connections that end. `others` are operations that answer other requests.
void disturb(Sent &sent, int id, const std::vector<Bytes> &others, Random &random);

// One of all of these, or several.
void damage(Sent &sent, int id, const std::vector<Bytes> &others, Random &random);

} // namespace hostile
