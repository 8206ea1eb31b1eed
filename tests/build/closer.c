/* A program that loads the library at run time, starts a session and unloads it again: an interrupt afterwards meets
 * the handler that the session has installed. */
#include <dlfcn.h>
#include <signal.h>
#include <stdio.h>

int main(int argc, char **argv) {
    void *library = argc == 2 ? dlopen(argv[1], RTLD_NOW) : NULL;
    if (library == NULL) {
        fprintf(stderr, "%s\n", argc == 2 ? dlerror() : "usage: closer LIBRARY");
        return 2;
    }
    int (*start)(void *, FILE *) = NULL;
    *(void **)&start = dlsym(library, "qrt_init");
    if (start == NULL || start(NULL, stdout) != 0) return 3;
    dlclose(library);
    raise(SIGINT);
    return 0;
}
