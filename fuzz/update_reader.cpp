// Reads an operation with liblber and compares it with what was written.
#include "contents.h"
#include "update.h"

namespace qldapx_fuzz {

namespace {

constexpr ber_tag_t controlsTag = LBER_CLASS_CONTEXT | LBER_CONSTRUCTED;

void requireAttribute(Contents &contents, const Changes::Change &change) {
    contents.octets(change.type);
    Contents values(contents.element(LBER_SET));
    for (const Bytes &value : change.values)
        values.octets(value);
    values.end();
    contents.end();
}

void requireChanges(Contents &request, const Update &update) {
    request.octets(update.dn);
    Contents list(request.element(LBER_SEQUENCE));
    for (const Changes::Change &change : update.changes.changes()) {
        Contents contents(list.element(LBER_SEQUENCE));
        if (update.type == LDAP_REQ_MODIFY) {
            contents.integer(change.operation, LBER_ENUMERATED);
            Contents attribute(contents.element(LBER_SEQUENCE));
            requireAttribute(attribute, change);
            contents.end();
        } else {
            requireAttribute(contents, change);
        }
    }
    list.end();
    request.end();
}

void requireRename(Contents &request, const Update &update) {
    request.octets(update.dn);
    request.octets(update.newRdn);
    request.boolean(update.deletesOldRdn);
    if (update.newSuperior)
        request.octets(update.newSuperior);
    request.end();
}

void requireControls(Contents &operation, const Controls &controls) {
    if (!controls.isThere())
        return;
    Contents list(operation.element(controlsTag));
    for (const Controls::Control &control : controls.controls()) {
        Contents contents(list.element(LBER_SEQUENCE));
        contents.octets(control.oid);
        if (control.isCritical)
            contents.boolean(true);
        if (control.value)
            contents.octets(control.value);
        contents.end();
    }
    list.end();
}

} // namespace

void requireOperation(Contents &batch, const Update &update) {
    Contents operation(batch.element(LBER_SEQUENCE));
    if (update.type == LDAP_REQ_DELETE) {
        operation.octets(update.dn, LDAP_REQ_DELETE);
    } else {
        Contents request(operation.element(update.type));
        update.type == LDAP_REQ_MODDN ? requireRename(request, update)
                                      : requireChanges(request, update);
    }
    requireControls(operation, update.controls);
    operation.end();
}

} // namespace qldapx_fuzz
