// What each program in C++ costs before its main().
int main() {}
