"""Which faults a server gets, and what they have to come to."""

import dataclasses

# What an operation answers: nothing ("plain"), a value ("value"), a value under any OID ("any"), or
# it depends on what was before ("stateful"), so that it must not be carried out.
OPERATIONS = {
    "split-partition": "stateful",
    "merge-partitions": "stateful",
    "abort-partition-operation": "stateful",
    "add-replica": "stateful",
    "remove-replica": "stateful",
    "change-replica-type": "stateful",
    "split-orphan-partition": "stateful",
    "remove-orphan-partition": "stateful",
    "partition-entry-count": "value",
    "get-replica-info": "value",
    "list-replicas": "value",
    "receive-all-updates": "plain",
    "send-all-updates": "plain",
    "request-partition-sync": "plain",
    "request-schema-sync": "plain",
    "set-replication-filter": "plain",
    "get-replication-filter": "any",
    "get-bind-dn": "value",
    "get-effective-privileges": "value",
    "get-effective-privileges-list": "value",
    "kora-to-ldap": "value",
    "dns-to-x500-dn": "value",
    "refresh-server": "plain",
    "trigger-backlink": "plain",
    "trigger-janitor": "plain",
    "trigger-limber": "plain",
    "trigger-skulker": "plain",
    "trigger-schema-sync": "plain",
    "trigger-partition-purge": "plain",
    "backup-object": "backup",
    "lburp-operation": "bulk",
    "monitor-events": "monitor",
    "digest-md5-challenge": "challenge",
    "digest-md5-proof": "proof",
}

SLOW = "delay:8000"  # longer than anybody's patience here


@dataclasses.dataclass
class Kind:
    text: str
    code: int  # of the library
    natures: str

    @property
    def is_slow(self):
        return self.text in (SLOW, "drop")


KINDS = [
    Kind("no-oid", -12, "plain value any backup bulk"),
    Kind("oid:1.2.3", -12, "plain value backup bulk"),
    Kind("no-value", 1, "value any backup"),
    Kind("truncate:1", -3, "value"),
    Kind("truncate:1", -4, "any backup"),
    Kind("value:ff01", -3, "value"),
    Kind("value:ff01", -4, "any backup"),
    Kind("code:53:not now", 53, "plain value any stateful monitor bulk backup"),
    Kind("drop", -1, "plain value any monitor bulk proof challenge"),
    Kind("cut", -1, "plain value any"),
    Kind(SLOW, -5, "plain value any monitor bulk proof challenge"),
    Kind(SLOW, -12, "backup"),  # it looks for the response OID first, which is missing then
    Kind("stale", 1009, "challenge"),
    Kind("no-nonce", 1008, "challenge"),
    Kind("no-qop", 1006, "challenge"),
    Kind("no-algorithm", 1010, "challenge"),
    Kind("algorithm:md5", 1003, "challenge"),
    Kind("charset:latin1", 1004, "challenge"),
    Kind("maxbuf:0", 1001, "challenge"),
    Kind("nonce-twice", 1002, "challenge"),
    Kind("success", 2, "challenge"),
    Kind("wrong-rspauth", 49, "proof"),
    Kind("empty-rspauth", 2, "proof"),
    Kind("other-directive", 2, "proof"),
]

QUICK_HANDSHAKES = ["closed", "garbage"]
HANDSHAKES = ["silent", *QUICK_HANDSHAKES]


def choose(chance, slow_left):
    """A kind of fault for each operation: {operation: Kind}; so many at most are slow."""
    chosen = {}
    left_out = chance.choice(["digest-md5-challenge", "digest-md5-proof"])  # it needs the other
    for operation in chance.sample(sorted(OPERATIONS), len(OPERATIONS)):
        kinds = [
            kind
            for kind in KINDS
            if OPERATIONS[operation] in kind.natures.split() and (slow_left or not kind.is_slow)
        ]
        if operation != left_out:
            chosen[operation] = chance.choice(kinds)
            slow_left -= chosen[operation].is_slow
    return chosen


def options(chosen):
    """The arguments of strata-sim for these faults."""
    return [
        word
        for operation, kind in chosen.items()
        for word in ("--fault", f"{operation}={kind.text}")
    ]


def as_json(chosen):
    return [
        {"operation": operation, "kind": kind.text, "code": kind.code}
        for operation, kind in chosen.items()
    ]
