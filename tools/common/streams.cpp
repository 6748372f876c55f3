// SPDX-License-Identifier: Apache-2.0
#include "streams.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "dds_c/dds_c_logger.h"

void occupy_closed_streams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDONLY) != stream) {
            throw std::system_error(errno, std::generic_category(), "cannot open /dev/null");
        }
    }
}

void write_data(const std::string &lines) {
    if (std::fwrite(lines.data(), 1, lines.size(), stdout) != lines.size() ||
        std::fflush(stdout) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot write to stdout");
    }
}

void write_message(const std::string &line) {
    KOLS_Config_Logger_write_text(line.c_str());
}
