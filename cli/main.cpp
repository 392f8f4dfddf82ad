#include <cstdio>

int main() {
    std::puts("xmldsig: under construction");
    return 0;
}
