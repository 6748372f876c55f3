// SPDX-License-Identifier: Apache-2.0
// Writes the manual page and the shell's completion into a directory; run by the build.
//
// usage: ddssim_manual DIRECTORY
#include <iostream>

#include "man_page.h"
#include "manual.h"

int main(int argc, char **argv) {
    if (argc != 2) {
        std::cerr << "usage: ddssim_manual DIRECTORY\n";
        return 2;
    }
    const std::string program = std::string(argv[1]) + "/ddssim";

    return write_page(program + ".1", ddssim::manual_page()) &&
                   write_page(program + ".bash", ddssim::bash_completion())
               ? 0
               : 1;
}
