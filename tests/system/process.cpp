// SPDX-License-Identifier: Apache-2.0
#include "process.h"

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/** A file in memory: it takes any amount without anybody reading at the other end. */
int new_file() {
    return checked(memfd_create("output", MFD_CLOEXEC), "memfd_create");
}

std::string contents(int file) {
    std::string text;
    std::array<char, 4096> part{};
    ssize_t length = 0;

    while ((length = pread(file, part.data(), part.size(), static_cast<off_t>(text.size()))) > 0) {
        text.append(part.data(), static_cast<std::size_t>(length));
    }
    return text;
}

unsigned long long bit(int signal) {
    return 1ULL << (signal - 1);
}

[[noreturn]] void become(char *const *arguments, pid_t parent, int output, int errors) {
    const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);

    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() == parent && dup2(input, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0 &&
        dup2(errors, STDERR_FILENO) >= 0) {
        (void)execvp(arguments[0], arguments);
    }
    _exit(127);
}

} // namespace

int checked(int result, const char *what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

Process::Process(const std::vector<std::string> &command)
    : id_(-1), id_descriptor_(-1), output_(new_file()), errors_(new_file()) {
    std::vector<char *> arguments;
    const pid_t parent = getpid();

    for (const std::string &word : command) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    id_ = checked(fork(), "fork");
    if (id_ == 0) {
        become(arguments.data(), parent, output_, errors_);
    }
    id_descriptor_ = checked(static_cast<int>(syscall(SYS_pidfd_open, id_, 0)), "pidfd_open");
}

Process::Process(Process &&other) noexcept
    : id_(std::exchange(other.id_, -1)), id_descriptor_(std::exchange(other.id_descriptor_, -1)),
      output_(std::exchange(other.output_, -1)), errors_(std::exchange(other.errors_, -1)),
      ended_(std::exchange(other.ended_, true)), exit_(other.exit_) {}

Process::~Process() {
    if (!ended_) {
        (void)stop(SIGKILL);
    }
    for (const int descriptor : {id_descriptor_, output_, errors_}) {
        if (descriptor >= 0) {
            (void)close(descriptor);
        }
    }
}

std::string Process::output() const {
    return contents(output_);
}

std::string Process::errors() const {
    return contents(errors_);
}

bool Process::wait_for_output(const std::string &text) {
    const auto written = [&] { return output().find(text) != std::string::npos; };

    return eventually([&] { return written() || has_ended(); }) && written();
}

bool Process::wait_until_signals_are_held() {
    const auto held = [this] {
        std::ifstream status("/proc/" + std::to_string(id_) + "/status");
        std::string word;

        while (status >> word) {
            if (word == "SigBlk:") {
                status >> word;
                const unsigned long long blocked = std::stoull(word, nullptr, 16);

                // A runtime library that holds signals for a moment holds all of them.
                return (blocked & bit(SIGTERM)) != 0 && (blocked & bit(SIGHUP)) == 0;
            }
        }
        return false;
    };

    // Asked once: a moment later the thread may hold all signals, in order to start another.
    bool is_held = false;

    (void)eventually([&] { return (is_held = held()) || has_ended(); });
    return is_held;
}

void Process::send(int signal) const {
    (void)kill(id_, signal);
}

Exit Process::wait() {
    pollfd ending = {id_descriptor_, POLLIN, 0};
    const auto patience = std::chrono::duration_cast<std::chrono::milliseconds>(PATIENCE);

    if (!ended_ && poll(&ending, 1, static_cast<int>(patience.count())) > 0) {
        (void)has_ended();
    }
    return exit_;
}

bool Process::has_ended() {
    int status = 0;

    if (!ended_ && waitpid(id_, &status, WNOHANG) == id_) {
        ended_ = true;
        exit_ = WIFEXITED(status) ? Exit{WEXITSTATUS(status), 0} : Exit{-1, WTERMSIG(status)};
    }
    return ended_;
}

Exit Process::stop(int signal) {
    send(signal);
    return wait();
}

std::size_t Process::number_of_threads() const {
    const std::filesystem::directory_iterator threads("/proc/" + std::to_string(id_) + "/task");

    return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

Process ddspart(const std::vector<std::string> &arguments) {
    std::vector<std::string> command = {DDSPART_PATH};

    command.insert(command.end(), arguments.begin(), arguments.end());
    return Process(command);
}

Process once_joined(Process process) {
    EXPECT_TRUE(process.wait_for_output("Default multicast locators")) << process.errors();
    return process;
}

std::size_t count(const std::string &text, const std::string &part) {
    std::size_t found = 0;

    for (std::size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + part.size())) {
        ++found;
    }
    return found;
}

void pause_shortly() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}
