// SPDX-License-Identifier: LicenseRef-Quillmount
// Says its process number, whatever its arguments are, and waits until its standard input is closed.

#include <cstdio>
#include <unistd.h>

int main() {
    std::printf("%d\n", int(::getpid()));
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    return 0;
}
