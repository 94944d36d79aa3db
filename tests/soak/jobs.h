// jobs.h - the work of the soak. A job leaves the server as it has found it, and reads what it
// wrote.
#pragma once

#include "hand.h"

namespace soak {

struct Job {
    const char *name;
    int weight; // how often, beside the others
    void (*run)(Hand &hand);
};

// Each job reads back what it wrote.
void administer(Hand &hand);    // every administrative operation, in an order in which all succeed
void useControls(Hand &hand);   // proxied authorisation, rights, status, reference
void watchChanges(Hand &hand);  // a persistent search
void searchByUrl(Hand &hand);   // the three URL searches
void archive(Hand &hand);       // a backup in pieces, a deletion, a restore
void editSchema(Hand &hand);    // fetch, read, add, change, delete, save
void monitorEvents(Hand &hand); // a filtered registration of which no event may be missing
void loadInBulk(Hand &hand);    // requests of a bulk update, several under way
void fillBulkQueue(Hand &hand); // more requests than may wait: busy
void bindByDigest(Hand &hand);  // right, wrong, given up
void failOnPurpose(Hand &hand); // what the server refuses is reported
void useLocally(Hand &hand);    // random pool, MD5, names that answer without a server

/** The entry of a person, with a description. */
void addPerson(Hand &hand, const std::string &dn, const std::string &description);
void deleteEntry(Hand &hand, const std::string &dn);
/** The one value of an attribute. */
std::string valueOf(Hand &hand, const std::string &dn, const std::string &attribute);
/** Entries below the area with that filter. */
int countEntries(Hand &hand, const std::string &filter);

} // namespace soak
