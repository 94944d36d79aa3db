#include "hostile/tally.h"

#include <cstdio>
#include <ldap.h>
#include <numeric>

namespace hostile {

Tally::Tally(std::vector<std::string> operations)
    : names_(std::move(operations)), counts_(names_.size()) {}

// Codes of a challenge begin behind those of LDAP.
Tally::Column Tally::columnOf(int result) {
    constexpr int firstOfChallenges = 1001;
    switch (result) {
    case LDAP_SUCCESS:
        return success;
    case LDAP_ENCODING_ERROR:
    case LDAP_DECODING_ERROR:
        return decoding;
    case LDAP_NOT_SUPPORTED:
        return notSupported;
    default:
        if (result >= firstOfChallenges)
            return decoding;
        return result > 0 ? server : client;
    }
}

void Tally::addResult(std::size_t operation, int result) {
    ++exchanges_;
    ++counts_[operation][columnOf(result)];
    ++results_[result];
}

void Tally::addEnding(std::size_t operation, const Ending &ending) {
    ++exchanges_;
    ++counts_[operation][asserted];
    addPlace(ending);
}

void Tally::printRow(const std::string &name, const Counts &counts) {
    const unsigned long all = std::accumulate(counts.begin(), counts.end(), 0UL);
    std::printf("%-37s %8lu", name.c_str(), all);
    for (const unsigned long count : counts)
        std::printf(" %7lu %3lu%%", count, all == 0 ? 0 : (100 * count + all / 2) / all);
    std::printf("\n");
}

void Tally::printResults() const {
    std::printf("\nResults (above, those of the server and of libldap are put together):\n");
    for (const auto &[result, count] : results_)
        if (result <= 0 || count > exchanges_ / 1000)
            std::printf("%8lu %5d %s\n", count, result, ldap_err2string(result));
}

void Tally::printPlaces() const {
    if (!places_.empty())
        std::printf("\nThe process would have ended:\n");
    for (const auto &[place, count] : places_)
        std::printf("%8lu %s\n", count, place.c_str());
}

void Tally::print() const {
    std::printf("%-37s %8s %12s %12s %12s %12s %12s %12s\n", "operation", "all", "success",
                "decoding", "no such OID", "server", "libldap", "process ends");
    Counts sums = {};
    for (std::size_t i = 0; i < names_.size(); ++i) {
        printRow(names_[i], counts_[i]);
        for (std::size_t column = 0; column < columnCount; ++column)
            sums[column] += counts_[i][column];
    }
    printRow("all", sums);
    printResults();
    printPlaces();
}

} // namespace hostile
