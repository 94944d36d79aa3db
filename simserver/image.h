#pragma once

#include "dn.h"
#include "entry.h"
#include "tree.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace stratasim::image {

/**
 * Everything that is to be known of an entry to make it again, as one run of bytes. Numbers are
 * 8 bytes, the most significant first; a text is its length and its bytes:
 *
 *     magic, version, length of the whole image,
 *     DN, salt, verifier of the password, number of attributes,
 *     for each attribute: name, number of values, values,
 *     SHA-256 of all bytes before
 *
 * The password is asked for when the image is used; nothing in the image is encrypted.
 */
std::string make(const Node &node, std::string_view password);

/** The length of the whole image; throws unwillingToPerform unless an image begins like that. */
std::uint64_t lengthOf(std::string_view beginning);

struct Content {
    Dn dn;
    std::string salt;
    std::string verifier;
    Entry entry;

    bool isPassword(std::string_view password) const;
};

/** Reads a whole image; throws unwillingToPerform when it is not as make() has written one. */
Content open(std::string_view image);

} // namespace stratasim::image
