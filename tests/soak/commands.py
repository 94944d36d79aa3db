"""What the tool is run with: scripts of commands that leave the server as they have found it.

A row is the command line, its exit status, and what its output has to hold (or nothing). In braces
stand the values of a ToolUser.
"""

ADMIN = "cn=admin,dc=example,dc=com"
ADA = "cn=Ada Brandt,ou=people,dc=example,dc=com"

SCRIPTS = {
    "administration": [
        ("load {add_child}", 0, None),
        ("partition split {area}", 0, "split off"),
        ("partition count {area} --json", 0, '"entries":2'),
        ("replica list {area}", 0, "cn=strata3"),
        ("replica remove {area} {server}", 0, "removed"),
        ("replica add {area} {server} --type 2", 0, "added"),
        ("replica retype {area} {server} --type 3", 0, None),
        ("replica info {area} {server} --json", 0, '"number2":3'),
        ("replica receive-updates {area} {server}", 0, None),
        ("replica send-updates {area}", 0, None),
        ("replica sync {area} {server} --delay 0", 0, None),
        ("replica schema-sync {server}", 0, None),
        ("filter set {server} --class person=cn,sn", 0, "set"),
        ("filter get {server} --raw", 0, "person$cn$sn$$$"),
        ("partition split-orphan {server} {child}", 0, None),
        ("partition remove-orphan {server} {child}", 0, None),
        ("partition split {child} --flags 1", 0, None),
        ("partition abort {child}", 0, "aborted"),
        ("partition merge {area}", 0, "merged"),
        ("load {delete_child}", 0, None),
    ],
    "identity": [
        ("whoami", 0, ADMIN),
        ("whoami --as {ada}", 0, ADA),
        ("privileges {ada} cn mail", 0, "0x0000001f"),
        ("rights {ada} mail --class person", 0, "mail"),
        ("reference {ada}", 0, "ldap"),
        ("status --json", 0, "status1"),
        ("name from-kora {kora}", 0, ADA),
        ("name from-dns people.example.com", 0, "ou=people,dc=example,dc=com"),
        ("refresh", 0, None),
        ("trigger backlink", 0, "started"),
        ("trigger janitor", 0, "started"),
        ("trigger limber --dn {ada}", 0, "started"),
        ("trigger skulker", 0, "started"),
        ("trigger schema-sync", 0, "started"),
        ("trigger partition-purge", 0, "started"),
    ],
    "search": [
        ("search -b ou=people,dc=example,dc=com (cn=Ada*) cn mail", 0, "mail: "),
        ("search -b {area} -s base --json", 0, '"dn"'),
        ("search -b {area} -s base --follow --existing --count 1", 0, "change: existing"),
    ],
    "schema": [
        ("schema list class", 0, "inetOrgPerson"),
        ("schema show inetOrgPerson", 0, "organizationalPerson"),
        ("schema get cn", 0, "2.5.4.3"),
        ("schema graph person", 0, "digraph"),
        ("schema export {schema} --force", 0, None),
        ("schema add attribute OID=2.16.840.1.907341.9.78.1 NAME=soakTool SUP=description", 0, None),
        ("schema modify soakTool DESC=changed", 0, None),
        ("schema get soakTool", 0, "changed"),
        ("schema diff {schema}", 1, "soakTool"),
        ("schema delete soakTool", 0, None),
        ("schema get soakTool", 1, "soakTool"),
    ],
    "archive": [
        ("load {add_child}", 0, None),
        ("backup {child} -o {image} --force --password-file {password}", 0, None),
        ("restore --check {image}", 0, "{child}"),
        ("load {delete_child}", 0, None),
        ("restore {child} {image} --password-file {password}", 0, None),
        ("search -b {child} -s base description", 0, "description: a child"),
        ("load {delete_child}", 0, None),
    ],
    "load": [
        ("load --dry-run {add_many}", 0, "300"),
        ("load {add_many} --json", 0, '"result":"success"'),
        ("load {add_many} --continue --rejects {rejects}", 1, "300"),
        ("partition count {area}", 1, "No such object"),
        ("load {delete_many} --batch 7 --window 9", 0, None),
    ],
    "refusals": [
        ("partition count ou=nobody,dc=example,dc=com", 1, "No such object (32)"),
        ("partition merge {area}", 1, "(32)"),
        ("whoami --no-such-option", 2, None),
        ("load {nothing}", 2, None),
        ("restore {child} {add_child}", 2, None),
    ],
    "without a server": [
        ("--help", 0, "Usage"),
        ("completion bash", 0, "qldapx"),
        ("cert show {client}", 1, "CN=Ada Brandt"),  # nobody trusts it
    ],
}

# With sessions of their own: the rows have to say whom to bind as.
OWN_BIND = {
    "digest": [
        ("whoami -Y DIGEST-MD5 -U ada.brandt -w changeme", 0, ADA),
        ("whoami -Y DIGEST-MD5 -U ada.brandt -w wrong", 1, "(49)"),
        ("whoami", 0, "anonymous"),
        ("whoami -D {admin} -w wrong", 1, "(49)"),
    ],
}

# With TLS only.
TLS = {
    "certificates": [
        ("cert show {address} --cacert {ca}", 0, "verifies"),
        ("cert show {address}", 1, "fault"),
        ("whoami -Y EXTERNAL --cert {client}", 0, ADA),
        ("whoami -Y EXTERNAL --p12 {pkcs12} --key-password-file {pkcs12_password}", 0, ADA),
    ],
}

# The tool's command for an operation with a fault, which has to end with 1.
SPOILT = {
    "split-partition": "partition split ou=people,dc=example,dc=com",
    "merge-partitions": "partition merge ou=emea,dc=example,dc=com",
    "add-replica": "replica add ou=emea,dc=example,dc=com {server} --type 2",
    "remove-replica": "replica remove ou=emea,dc=example,dc=com {server}",
    "partition-entry-count": "partition count ou=emea,dc=example,dc=com",
    "get-replica-info": "replica info ou=emea,dc=example,dc=com {server}",
    "list-replicas": "replica list ou=emea,dc=example,dc=com",
    "request-partition-sync": "replica sync ou=emea,dc=example,dc=com {server}",
    "set-replication-filter": "filter set {server} --clear",
    "get-replication-filter": "filter get {server}",
    "get-bind-dn": "whoami",
    "get-effective-privileges": "privileges {ada} cn",
    "get-effective-privileges-list": "privileges {ada} cn mail",
    "kora-to-ldap": "name from-kora {kora}",
    "dns-to-x500-dn": "name from-dns people.example.com",
    "refresh-server": "refresh",
    "trigger-janitor": "trigger janitor",
    "backup-object": "backup {ada} -o {image} --force",
    "lburp-operation": "load {add_child} --checkpoint {spoilt_checkpoint}",
    "monitor-events": "events watch --type 1 --count 1",
}
