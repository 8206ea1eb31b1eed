"""What is wrong with a site, one thing each: the client's sentences about its configuration, its tree files and its
servers."""

ORGANIZATION = "dn: o=acme\nobjectClass: organization\no: acme\n"
LDIF_TREE = '[[tree]]\nname = "A"\nldif = "tree.ldif"\n'


def tree(keys):
    return '[[tree]]\nname = "A"\n' + keys + "\n"


CONFIGURATIONS = [
    "",
    "name = 1",
    tree(""),
    "default_tree = 7",
    'default_tree = "a\\u0000b"',
    'default_tree = "NONE"',
    "tree = 1",
    '[[tree]]\nname = ""',
    '[[tree]]\nname = "A_"',
    tree('ldif = "none.ldif"'),
    tree('ldif = "."'),
    tree('ldif = "tree.ldif"\nbase = "o=x"'),
    tree('ldif = "tree.ldif"\nbase = "x"'),
    tree('ldif = "tree.ldif"\ndefault_server = "SRV9"'),
    tree('ldif = "none.ldif"') + tree('ldif = "none.ldif"'),
    tree("uris = 1"),
    tree("uris = [1]"),
    tree("uris = []"),
    tree('uris = ["http://x"]'),
    tree('uris = ["ldap://x"]\nldif = "y"'),
    tree('uris = ["ldap://x"]\nsasl_external = true'),
    tree('uris = ["ldap://x"]\nsasl_external = 1'),
    tree('uris = ["ldapi://x"]\nsasl_gssapi = true'),
    tree('uris = ["ldap://x"]\nsasl_gssapi = true\noffline = true'),
    tree('uris = ["ldap://x"]\ntime_limit = 0'),
    tree('uris = ["ldap://x"]\nattributes = 1'),
    tree('uris = ["ldap://x"]\nattributes = { a = "b" }'),
    tree('uris = ["ldap://x"]\nattributes = { userPassword = "b" }'),
    tree('uris = ["ldap://x"]\nattributes = { sn = "a", surname = "b" }'),
    tree('uris = ["ldap://x"]\nsearch_base = "x"'),
    tree('uris = ["ldap://[x"]\nbase = "o=acme"'),
    tree('uris = ["ldap://127.0.0.1:1"]\nbase = "o=acme"'),
    tree('uris = ["ldap://127.0.0.1:1"]\nbase = "o=acme"\nsearch_base = "o=other"'),
    tree(f'uris = ["ldapi://%2F{"x" * 200}"]\nbase = "o=acme"'),
]


def with_value(line):
    return ORGANIZATION + line + "\n"


def alias_to(name):
    return ORGANIZATION + f"\ndn: cn=jdoe,o=acme\nobjectClass: alias\ncn: jdoe\naliasedObjectName: {name}\n"


def person(password, lock=""):
    return ORGANIZATION + f"\ndn: cn=jdoe,o=acme\nobjectClass: person\ncn: jdoe\nuserPassword: {password}\n{lock}"


HASH = "{CRYPT}$1$salt$9GHNWvCB1UrDZjPi7uags0" # of the password that these logins have

TREE_FILES = [
    person("x"),
    person(HASH, "qrtLoginDisabled: TRUE\n"),
    person(HASH, "qrtLoginExpirationTime: 20000101000000Z\n"),
    "dn: x\no: x\n",
    "o: acme\n",
    " more\n",
    "dn: o=acme\no acme\n",
    "dn: o=acme\n=: x\n",
    "dn: o=acme\n\n",
    "dn: o=acme\no: \0\n",
    "dn: o=acme\no:: ?\n",
    "dn: o=acme\no:< http://x\n",
    "dn: o=acme\no:< file://host/x\n",
    "dn: o=acme\no:< file:%\n",
    "dn: o=acme\no:< file:none\n",
    "dn: o=acme\no:< file:/etc/hostname\n",
    "dn: o=acme\nchangetype: delete\n",
    "dn: o=acme\ndn: o=acme\n",
    "version: 2\n",
    "include: file:tree.ldif\n",
    "dn: o=acme\no: acme\n",
    "dn: o=acme\nobjectClass: organization\n",
    ORGANIZATION + "\ndn: ou=x,o=other\nobjectClass: organizationalUnit\nou: x\n",
    "dn: o=acme\n2.5.4.10: acme\n",
    f"dn: o={'x' * 600}\nobjectClass: organization\no: {'x' * 600}\n",
    ORGANIZATION + "\n" + ORGANIZATION,
    ORGANIZATION + f"\ndn: cn={'x' * 60},o=acme\nobjectClass: qrtServer\ncn: {'x' * 60}\n",
    "dn: o=acme\nobjectClass: alias\no: acme\n",
    alias_to("cn=jdoe,o=acme"),
    with_value("qrtLocked: maybe"),
    with_value("qrtLoginExpirationTime: soon"),
    with_value("qrtLoginExpirationTime: 20261399000000Z"),
    with_value("qrtLoginGraceLimit: many"),
    with_value("qrtPath: x"),
    with_value("qrtPath: x#o=acme#y"),
    with_value("member: x"),
    with_value(f"member: o={'x' * 600}"),
    with_value("qrtNetworkAddress: x"),
    with_value("qrtNetworkAddress: x#00"),
    with_value("postalAddress: a$b$c$d$e$f$g"),
    with_value("description:: AA=="),
    with_value(f"qrtLoginTime: {'1' * 40}"),
    with_value("sn:"),
]

# What an odd server (odd_server.py) does, and further keys of its tree; "CA" stands for the file of its certificate.
SERVERS = [
    ("silent", ""),
    ("closes", ""),
    ("half_and_closes", ""),
    ("huge", ""),
    ("garbage", ""),
    ("busy", ""),
    ("empty", ""),
    ("busy", 'start_tls = true\nca_file = "CA"'),
    ("refuses", 'start_tls = true\nca_file = "CA"'),
    ("closes", 'start_tls = true\nca_file = "none.pem"'),
    ("closes", 'start_tls = true\nca_file = "tree.ldif"'),
    ("tls", 'ca_file = "CA"'),
    ("tls", 'ca_file = "OTHER"'),
    ("tls_garbage", 'ca_file = "CA"'),
]
