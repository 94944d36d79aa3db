#pragma once

#include "events/event.h"

namespace qldapx {

/**
 * The event for people: a line that says when and what, and its fields below, in lines of at most
 * that many columns; 0 for one line whatever its length.
 */
std::string eventText(const Event &event, std::size_t width);

/**
 * The event's fields in a line, until there are that many bytes. The client's connection, which
 * says least of what happened, comes last.
 */
std::string eventFields(const Event &event, std::size_t enough);

/** The name of the event's record; "-" without one. */
const char *recordName(const Event &event);

/** A result as a number, with LDAP's name for it. */
std::string resultText(int result);

/** Bytes in hexadecimal, the first ones only when there are many. */
std::string bytesText(std::string_view bytes);

} // namespace qldapx
