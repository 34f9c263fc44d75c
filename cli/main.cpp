#include <cstdio>
int main() { std::puts("tarn " TARN_VERSION); return 0; }
