// SPDX-License-Identifier: Apache-2.0
// Writes the manual pages and the shell's completion into a directory; run by the build.
//
// usage: ddspart_manual DIRECTORY
#include <iostream>
#include <string>

#include "man_page.h"
#include "manual.h"

int main(int argc, char **argv) {
    if (argc != 2) {
        std::cerr << "usage: ddspart_manual DIRECTORY\n";
        return 2;
    }
    const std::string program = std::string(argv[1]) + "/ddspart";
    bool is_written = write_page(program + ".1", manual_page("")) &&
                      write_page(program + ".bash", bash_completion());

    for (const std::string &command : command_names()) {
        std::string page = program;

        page.append("-").append(command).append(".1");
        is_written = is_written && write_page(page, manual_page(command));
    }
    return is_written ? 0 : 1;
}
