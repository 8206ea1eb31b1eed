// The catalogue as the code under test sees it: there are no translations.
extern "C" {
char *fuzz_dcgettext(const char *, const char *message, int) {
    return const_cast<char *>(message);
}

char *fuzz_dgettext(const char *, const char *message) {
    return const_cast<char *>(message);
}

char *fuzz_dngettext(const char *, const char *one, const char *many, unsigned long count) {
    return const_cast<char *>(count == 1 ? one : many);
}

} // extern "C"
