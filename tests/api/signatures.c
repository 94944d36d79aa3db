/*
 * Every function of the interface through a pointer of exactly its type: a changed argument
 * does not compile, a missing export does not link. The record's layout is part of it.
 */
#include <qldapx.h>
#include <qldapx/schema_element.h>
#include <stddef.h>
#include <stdio.h>

typedef int (*Dn)(LDAP *, char *);
typedef int (*DnInt)(LDAP *, char *, int);
typedef int (*DnDn)(LDAP *, char *, char *);
typedef int (*DnDnInt)(LDAP *, char *, char *, int);
typedef int (*DnDnIntInt)(LDAP *, char *, char *, int, int);
typedef int (*DnDnDn)(LDAP *, char *, char *, char *);
typedef int (*DnNumber)(LDAP *, char *, int *);
typedef int (*DnText)(LDAP *, char *, char **);
typedef int (*Text)(LDAP *, char **);
typedef int (*Session)(LDAP *);

static const DnInt partition_operations[] = {
    ldap_split_partition,       ldap_merge_partitions,      ldap_abort_partition_operation,
    ldap_create_naming_context, ldap_merge_naming_contexts, ldap_abort_naming_context_operation,
    ldap_request_schema_sync,
};
static const DnNumber counts[] = {ldap_partition_entry_count, ldap_naming_context_entry_count};
static const DnDn pairs[] = {
    ldap_split_orphan_partition,
    ldap_remove_orphan_partition,
    ldap_create_orphan_naming_context,
    ldap_remove_orphan_naming_context,
    ldap_send_all_updates,
    ldap_set_replication_filter,
};
static const DnDnIntInt replicas[] = {ldap_add_replica, ldap_change_replica_type};
static const DnDnInt pairs_and_number[] = {
    ldap_remove_replica,
    ldap_request_partition_sync,
    ldap_request_naming_context_sync,
};
static const DnDnDn triples[] = {ldap_receive_all_updates};
static int (*const info)(LDAP *, char *, char *, ReplicaInfo *) = ldap_get_replica_info;
static int (*const list)(LDAP *, char *, char ***) = ldap_list_replicas;
static const DnText texts[] = {ldap_get_replication_filter, ldap_dns_to_x500_dn};
static const Text identities[] = {ldap_get_bind_dn, ldap_get_context_identity_name};
static int (*const one)(LDAP *, char *, char *, char *, int *) = ldap_get_effective_privileges;
static int (*const many)(LDAP *, char *, char *, char **,
                         int *) = ldap_get_effective_privileges_list;
static int (*const bounded)(LDAP *, char *, char *, char **, int *, int,
                            int *) = ldapx_get_effective_privileges_list;
static int (*const kora)(LDAP *, const unsigned short *, char **) = ldap_kora_to_ldap;
static const Session sessions[] = {
    ldap_refresh_server,
    wrapper_ldap_trigger_backlink,
    wrapper_ldap_trigger_janitor,
    wrapper_ldap_trigger_skulker,
    wrapper_ldap_trigger_schema_sync,
    wrapper_ldap_trigger_partition_purge,
};
static const Dn limber = wrapper_ldap_trigger_limber;
static int (*const by_number)(LDAP *, int, char *) = ldap_trigger_back_process;
static int (*const url)(LDAP *, const char *, int) = ldap_url_search;
static int (*const url_s)(LDAP *, const char *, int, LDAPMessage **) = ldap_url_search_s;
static int (*const url_st)(LDAP *, const char *, int, struct timeval *,
                           LDAPMessage **) = ldap_url_search_st;

static int (*const persistent)(LDAP *, int, int, int, char,
                               LDAPControl **) = ldap_create_persistentsearch_control;
static int (*const entry_change)(LDAP *, LDAPControl **, int *, char **, int *,
                                 int *) = ldap_parse_entrychange_control;
static int (*const proxy)(LDAP *, const char *, LDAPControl **) = ldap_create_proxyauth_control;
static int (*const rights)(LDAP *, GetEffectiveItem **, int, int,
                           LDAPControl **) = ldap_create_geteffective_control;
static int (*const status)(LDAP *, int *, int, LDAPControl **) = ldap_create_sstatus_control;
static int (*const status_of)(LDAP *, LDAPControl **, int *, int *, int *,
                              int *) = ldap_parse_sstatus_control;
static int (*const reference)(LDAP *, int, LDAPControl **) = ldap_create_reference_control;
static int (*const reference_of)(LDAP *, LDAPControl **, char *, int, char *, int, char **,
                                 char **) = ldap_parse_reference_control;
static int (*const backup)(LDAP *, char *, char *, char **, char **, char **,
                           int *) = ldap_backup_object;
static int (*const restore)(LDAP *, char *, char *, char *, char *, int) = ldap_restore_object;
static ber_tag_t (*const returned)(BerElement *, char **) = get_returnedBuffer;

/* Bulk update. */
static int (*const encode_add)(LDAP *, char *, LDAPMod **, LDAPControl **,
                               BerElement *) = LBURPEncodeAdd;
static int (*const encode_delete)(LDAP *, char *, LDAPControl **, BerElement *) = LBURPEncodeDelete;
static int (*const encode_mod)(LDAP *, char *, LDAPMod **, LDAPControl **,
                               BerElement *) = LBURPEncodeMod;
static int (*const encode_modrdn)(LDAP *, char *, char *, char *, int, LDAPControl **,
                                  BerElement *) = LBURPEncodeModRDN;
static int (*const bulk_start)(LDAP *, int *) = ldap_lburp_start_request;
static int (*const bulk_started)(LDAP *, LDAPMessage *, int *, char **, int *,
                                 int) = ldap_parse_lburp_start_response;
static int (*const bulk_operations)(LDAP *, int, LBURPOperation **,
                                    int *) = ldap_lburp_operation_request;
static int (*const bulk_failures)(LDAP *, LDAPMessage *, int *, char **, int *,
                                  LBURPOperationFailure **,
                                  int) = ldap_parse_lburp_operation_response;
static int (*const bulk_end)(LDAP *, int, int *) = ldap_lburp_end_request;
static int (*const schema_fetch)(LDAP *, LDAPSchema **, const char *) = ldap_schema_fetch;
static int (*const schema_by_name)(LDAPSchema *, const char *, unsigned,
                                   LDAPSchemaElement **) = ldap_schema_get_by_name;
static int (*const schema_by_index)(LDAPSchema *, int, unsigned,
                                    LDAPSchemaElement **) = ldap_schema_get_by_index;
static int (*const schema_count)(LDAPSchema *, unsigned) = ldap_schema_get_count;
static int (*const schema_free)(LDAPSchema *) = ldap_schema_free;
static int (*const schema_dn)(LDAP *, char **) = get_schema_dn;
static int (*const field_names)(LDAPSchemaElement *, char ***) = ldap_schema_get_field_names;
static int (*const field_values)(LDAPSchemaElement *, const char *,
                                 char ***) = ldap_schema_get_field_values;
static int (*const element_to_string)(LDAPSchemaElement *, char **,
                                      const char **) = ldap_schema_element_to_string;
static int (*const schema_add)(LDAPSchema *, unsigned, LDAPMod **) = ldap_schema_add;
static int (*const schema_modify)(LDAPSchema *, const char *, unsigned,
                                  LDAPMod **) = ldap_schema_modify;
static int (*const schema_delete)(LDAPSchema *, unsigned, const char *) = ldap_schema_delete;
static int (*const schema_save)(LDAP *, LDAPSchema *, const char *) = ldap_schema_save;
static char **(*const strings_copy)(char **) = str_array_dup;
static int (*const string_given)(char ***, const char *) = single_string_dup;
static int (*const strings_given)(char ***, char **) = double_string_dup;
static int (*const element_change)(LDAPSchemaElement *, const char *, char **,
                                   int) = modify_element;
static int (*const value_change)(char **, char **, int) = new_value;
static int (*const values_change)(char ***, char **, int) = new_values;
static int (*const element_copy)(LDAPSchemaElement *, LDAPSchemaElement **) = dup_element;
static int (*const element_remove)(LDAPSchema *, const char *, unsigned) = remove_element;
static int (*const change_add)(LDAPSchema *, LDAPMod *) = add_change;
static int (*const change_note)(LDAPSchema *, LDAPSchemaElement *, int) = store_update;
static void (*const changes_free)(LDAPSchema *) = free_changes;
static LDAPContentRule *(*const content_rule)(const char *, int *, const char **,
                                              unsigned) = ldap_str2ditcontentrule;
static char *(*const content_rule_text)(LDAPContentRule *) = ldap_ditcontentrule2str;
static void (*const content_rule_free)(LDAPContentRule *) = ldap_ditcontentrule_free;
static LDAPDITStructureRule *(*const structure_rule)(const char *, int *, const char **,
                                                     unsigned) = ldap_str2ditstructurerule;
static char *(*const structure_rule_text)(LDAPDITStructureRule *) = ldap_ditstructurerule2str;
static void (*const structure_rule_free)(LDAPDITStructureRule *) = ldap_ditstructurerule_free;
static int (*const bulk_ended)(LDAP *, LDAPMessage *, int *, char **,
                               int) = ldap_parse_lburp_end_response;

/* Event monitoring. */
typedef int (*Payload)(LDAP *, BerElement *, void **, void **);
static int (*const monitor)(LDAP *, int, EventSpecification *, int *) = ldap_monitor_events;
static int (*const monitor_filtered)(LDAP *, int, FilteredEventSpecification *,
                                     int *) = ldap_monitor_events_filtered;
static int (*const monitor_answer)(LDAP *, LDAPMessage *, int *, char **, int *,
                                   EventSpecification **, int) = ldap_parse_monitor_events_response;
static int (*const event_with_ip)(LDAP *, LDAPMessage *, int *, int *, void **, int,
                                  void **) = ldap_parse_ds_event_IP;
static int (*const event)(LDAP *, LDAPMessage *, int *, int *, void **, int) = ldap_parse_ds_event;
static void (*const event_free)(void *) = ldap_event_free;
static int (*const event_kind)(const void *) = ldapx_event_kind;
static const char *(*const event_name)(int) = ldapx_event_record_name;
static int (*const event_field)(const void *, int, LDAPXEventField *) = ldapx_event_field;
static void *(*const alloc_event)(size_t, ber_tag_t) = allocEventData;
static int (*const get_ip)(LDAP *, BerElement *, void **) = ber_get_IP;
static int (*const net_addr)(LDAP *, BerElement *, void **) = parseNetAddrEventData;
static int (*const octets)(BerElement *, char **, ber_len_t *, ber_tag_t) = parseOctetString;
static int (*const string)(BerElement *, char **, ber_tag_t) = parseLDAPString;
static int (*const sequence)(BerElement *, char ***) = parseStringSequence;
static void (*const sequence_free)(char **) = freeStringSequence;
static int (*const referrals)(BerElement *, int *, ReferralEntry **) = parseReferralList;
static void (*const referrals_free)(int, ReferralEntry *) = freeReferralList;
static int (*const connection)(BerElement *, ConnectionInfo **) = parseConnectionData;
static void (*const connection_free)(ConnectionInfo *) = freeConnectionData;
static int (*const update)(LDAP *, BerElement *, int, void **, void **) = parseUpdateEventData;
static const Payload payloads[] = {
    parseEntryEventData,          parseValueEventData,
    parseGeneralEventData,        parseSkulkEventData,
    parseBinderyEventData,        parseSEVEventData,
    parseModuleStateEventData,    parseConnectionStateData,
    parseChangeServerAddressData, parseChangeConfigParamData,
    parseStatusLogEventData,      parseDebugEventData,
    parseAuthEventData,           parseConnectionEventData,
    parseSearchEventData,         parseSearchEntryResponseEventData,
    parseCompareEventData,        parseModDNEventData,
    parseAbandonEventData,        parseExtOpEventData,
    parseSysExtOpEventData,       parseResponseEventData,
    parsePasswordModifyData,      parseUnknownOp,
};

#define HAVE_ALL(array) have_all((const void *)(array), sizeof(array) / sizeof *(array))

static int have_all(const void *functions, size_t count) {
    const unsigned char *bytes = functions;
    size_t i, set = 0;
    for (i = 0; i < count * sizeof(void *); i++)
        set |= bytes[i];
    return set != 0;
}

static int schema_layout_is_right(void) {
    return sizeof(LDAPSchemaElement) == 16 && offsetof(LDAPSchemaElement, record) == 8 &&
           offsetof(LDAPDITStructureRule, sr_names) == 8 &&
           offsetof(LDAPDITStructureRule, sr_desc) == 16 &&
           offsetof(LDAPDITStructureRule, sr_obsolete) == 24 &&
           offsetof(LDAPDITStructureRule, sr_nameform) == 32 &&
           offsetof(LDAPDITStructureRule, sr_sup_ruleids) == 40 &&
           offsetof(LDAPDITStructureRule, sr_extensions) == 48 &&
           sizeof(LDAPDITStructureRule) == 56;
}

static int layout_is_right(void) {
    return offsetof(ReplicaInfo, number1) == 0 && offsetof(ReplicaInfo, number5) == 16 &&
           offsetof(ReplicaInfo, dn) == 20 && sizeof(((ReplicaInfo *)0)->dn) == 771 &&
           offsetof(ReplicaInfo, number6) == 792 && offsetof(ReplicaInfo, number7) == 796 &&
           sizeof(ReplicaInfo) == 800 && offsetof(GetEffectiveItem, second) == sizeof(char *) &&
           sizeof(GetEffectiveItem) == 2 * sizeof(char *) && offsetof(LBURPOperation, dn) == 8 &&
           offsetof(LBURPOperation, changes) == 16 && offsetof(LBURPOperation, controls) == 24 &&
           sizeof(LBURPOperation) == 32 && offsetof(LBURPOperationFailure, resultCode) == 4 &&
           offsetof(LBURPOperationFailure, errorMessage) == 8 &&
           sizeof(LBURPOperationFailure) == 16;
}

int sasl_interface_is_right(void);
int tls_interface_is_right(void);
int data_interface_is_right(void);

int main(void) {
    int all = HAVE_ALL(partition_operations) && HAVE_ALL(counts) && HAVE_ALL(pairs) &&
              HAVE_ALL(replicas) && HAVE_ALL(pairs_and_number) && HAVE_ALL(triples) &&
              HAVE_ALL(texts) && HAVE_ALL(identities) && HAVE_ALL(sessions);
    all = all && info && list && one && many && bounded && kora && limber && by_number && url &&
          url_s && url_st;
    all = all && persistent && entry_change && proxy && rights && status && status_of &&
          reference && reference_of && backup && restore && returned;
    all = all && encode_add && encode_delete && encode_mod && encode_modrdn && bulk_start &&
          bulk_started && bulk_operations && bulk_failures && bulk_end && bulk_ended;
    all = all && monitor && monitor_filtered && monitor_answer && event_with_ip && event &&
          event_free && event_kind && event_name && event_field && alloc_event && get_ip &&
          net_addr && octets && string && sequence && sequence_free && referrals &&
          referrals_free && connection && connection_free && update && HAVE_ALL(payloads);
    all = all && schema_fetch && schema_by_name && schema_by_index && schema_count && schema_free &&
          schema_dn && field_names && field_values && element_to_string && schema_add &&
          schema_modify && schema_delete && schema_save && strings_copy && string_given &&
          strings_given && element_change && value_change && values_change && element_copy &&
          element_remove && change_add && change_note && changes_free && content_rule &&
          content_rule_text && content_rule_free && structure_rule && structure_rule_text &&
          structure_rule_free;
    if (!all || !layout_is_right() || !schema_layout_is_right() || !sasl_interface_is_right() ||
        !tls_interface_is_right() || !data_interface_is_right()) {
        fputs("a function is missing or a record has moved\n", stderr);
        return 1;
    }
    ldapx_memfree(NULL);
    return ldap_bind_quill_s(NULL, NULL, NULL) == LDAP_NOT_SUPPORTED &&
                   ldap_bind_quill_ex_s(NULL, NULL, NULL, NULL) == LDAP_NOT_SUPPORTED &&
                   ldap_quill_get_errcode(NULL, NULL) == LDAP_NOT_SUPPORTED
               ? 0
               : 1;
}
