#!/bin/bash
# needed.sh LIBRARY PART...: libqrtscript needs the C and C++ libraries and the two platform libraries, nothing else; and
# it is linked hardened. The other parts need nothing that a start would wait for and most runs do without.
set -euo pipefail
needed() { # FILE
    readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'
}
allowed='libzkclient\.so\.1|libtreelogin\.so\.1|libstdc\+\+\.so\.6|libgcc_s\.so\.1|libm\.so\.6|libc\.so\.6|ld-linux-x86-64\.so\.2|lib(asan|ubsan)\.so\.[0-9]+'
others=$(needed "$1" | grep -vxE "$allowed" || true)
[ -z "$others" ] || { echo "also needs: $others"; exit 1; }
for part in "${@:2}"; do
    late=$(needed "$part" | grep -E '^lib(ldap|lber|sasl|gnutls|bsd|md|crypt|unistring|tomlplusplus)' || true)
    [ -z "$late" ] || { echo "$part needs $late"; exit 1; }
done
readelf -d "$1" | grep -q 'SONAME.*libqrtscript\.so\.1' || { echo "no SONAME libqrtscript.so.1"; exit 1; }
readelf -lW "$1" | grep -q GNU_RELRO && readelf -d "$1" | grep -q BIND_NOW || { echo "not hardened"; exit 1; }
readelf -lW "$1" | grep -E 'GNU_STACK' | grep -qv 'RWE' || { echo "an executable stack"; exit 1; }
