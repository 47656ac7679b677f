// A place for the precompiled headers of tests/CMakeLists.txt, and nothing else.
int main() {}
