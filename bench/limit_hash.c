/* What the password of a login in an LDIF file costs at least: a start and one hash. */
#include <crypt.h>
#include <stdio.h>
#include <string.h>

int main(int count, char **arguments) {
    if (count < 3) return 64;
    const char *hash = crypt(arguments[1], arguments[2]);
    return hash != NULL && strcmp(hash, arguments[2]) == 0 ? 0 : 1;
}
