// SPDX-License-Identifier: Apache-2.0
// A stderr that a test reads.
#include "redirected_stderr.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace {

int checked(int result) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), "no file for stderr");
    }
    return result;
}

/** The end to read from and the one to write to. */
using Ends = std::array<int, 2>;

Ends open_file() {
    const int file = checked(memfd_create("stderr", MFD_CLOEXEC));
    const std::string path = "/proc/self/fd/" + std::to_string(file);

    return {checked(open(path.c_str(), O_RDONLY | O_CLOEXEC)), file};
}

/** The controlling end of a terminal, and the one of the programs in it. */
Ends open_terminal() {
    const int reader = checked(posix_openpt(O_RDWR | O_NOCTTY));
    std::array<char, 64> name{};
    termios settings{};

    checked(grantpt(reader));
    checked(unlockpt(reader));
    checked(-ptsname_r(reader, name.data(), name.size()));
    const int writer = checked(open(name.data(), O_RDWR | O_NOCTTY));

    checked(tcgetattr(writer, &settings));
    cfmakeraw(&settings);
    checked(tcsetattr(writer, TCSANOW, &settings));
    return {reader, writer};
}

Ends open_ends(Kind kind) {
    Ends ends{};

    switch (kind) {
    case Kind::REGULAR_FILE:
        return open_file();
    case Kind::PIPE:
        checked(pipe(ends.data()));
        return ends;
    case Kind::SOCKET:
        checked(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()));
        return ends;
    case Kind::TERMINAL:
        return open_terminal();
    case Kind::TERMINAL_EMULATOR:
        break;
    }
    const auto [emulator, program] = open_terminal();

    return {program, emulator};
}

} // namespace

RedirectedStderr::RedirectedStderr(Kind kind) : former_(checked(dup(STDERR_FILENO))) {
    const auto [reader, writer] = open_ends(kind);

    reader_ = reader;
    checked(dup2(writer, STDERR_FILENO));
    checked(close(writer));
}

RedirectedStderr::~RedirectedStderr() {
    (void)dup2(former_, STDERR_FILENO);
    (void)close(former_);
    close_reader();
}

std::string RedirectedStderr::read() {
    std::string text;
    std::array<char, 4096> part{};
    pollfd readable = {reader_, POLLIN, 0};

    while (poll(&readable, 1, 0) > 0) {
        const ssize_t length = ::read(reader_, part.data(), part.size());

        if (length <= 0) {
            break;
        }
        text.append(part.data(), static_cast<std::size_t>(length));
    }
    return text;
}

void RedirectedStderr::close_reader() {
    if (reader_ >= 0) {
        (void)close(reader_);
        reader_ = -1;
    }
}
