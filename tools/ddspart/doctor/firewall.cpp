// SPDX-License-Identifier: Apache-2.0
#include "doctor/firewall.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/files.h"
#include "numbers.h"
#include "words.h"

namespace doctor {

namespace {

using Words = std::vector<std::string>;

/** Of "7400" or "7400-7413". */
bool contains_any(const std::string &range, const std::set<unsigned> &ports) {
    const Words ends = split(range, '-');
    const auto first = to_number<unsigned>(ends.front());
    const auto last = to_number<unsigned>(ends.back());

    return first && last && std::ranges::any_of(ports, [&](unsigned port) {
               return port >= *first && port <= *last;
           });
}

/** The ports that are written behind "dport": one, a range, or several in braces. */
bool names_any(const Words &words, const std::set<unsigned> &ports) {
    auto word = std::ranges::find(words, "dport");

    if (word == words.end() || ++word == words.end()) {
        return false;
    }
    if (*word != "{") {
        return contains_any(*word, ports);
    }
    while (++word != words.end() && *word != "}") {
        const std::string range = word->ends_with(',') ? word->substr(0, word->size() - 1) : *word;

        if (contains_any(range, ports)) {
            return true;
        }
    }
    return false;
}

bool has(const Words &words, const char *word) {
    return std::ranges::find(words, word) != words.end();
}

bool is_dropping(const Words &words, const std::set<unsigned> &ports) {
    return (has(words, "drop") || has(words, "reject")) &&
           (has(words, "udp") || has(words, "th")) && names_any(words, ports);
}

/** A rule without what is only counted: a comment may follow it. */
std::string without_counters(const Words &words) {
    Words rest;

    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "counter" && i + 4 < words.size() && words[i + 1] == "packets") {
            i += 4; // "counter packets 3 bytes 120"
        } else {
            rest.push_back(words[i]);
        }
    }
    return join(rest, " ");
}

/** A rule without what is in quotes: a comment, or a prefix for the log. */
std::string without_quotes(const std::string &rule) {
    std::string rest;
    bool is_quoted = false;

    for (const char character : rule) {
        is_quoted = is_quoted != (character == '"');
        if (!is_quoted && character != '"') {
            rest += character;
        }
    }
    return rest;
}

/** Whether what comes in or goes out passes it; a chain without a hook may be jumped to. */
bool is_of_this_host(const Words &words) {
    return !has(words, "forward") && !has(words, "postrouting");
}

/** The program's end of a pipe is closed with the object. */
class Pipe {
public:
    Pipe() : is_open_(pipe2(ends_.data(), O_CLOEXEC) == 0) {}
    ~Pipe() {
        close_end(0);
        close_end(1);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    bool is_open() const {
        return is_open_;
    }
    int end(std::size_t which) const {
        return ends_[which];
    }
    void close_end(std::size_t which) {
        if (is_open_ && ends_[which] >= 0) {
            (void)close(ends_[which]);
            ends_[which] = -1;
        }
    }

private:
    std::array<int, 2> ends_ = {-1, -1};
    bool is_open_;
};

/** The program, which writes to the pipe and to nothing else; 0 when it is not there. */
pid_t start(const char *path, const Pipe &output) {
    std::array<char *, 4> arguments = {const_cast<char *>("nft"), const_cast<char *>("list"),
                                       const_cast<char *>("ruleset"), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    sigset_t none;
    pid_t id = 0;

    (void)sigemptyset(&none);
    if (posix_spawn_file_actions_init(&actions) != 0) {
        return 0;
    }
    (void)posix_spawnattr_init(&attributes);
    (void)posix_spawnattr_setsigmask(&attributes, &none);
    (void)posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    (void)posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    (void)posix_spawn_file_actions_adddup2(&actions, output.end(1), STDOUT_FILENO);
    (void)posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const bool is_started =
        posix_spawnp(&id, path, &actions, &attributes, arguments.data(), environ) == 0;

    (void)posix_spawnattr_destroy(&attributes);
    (void)posix_spawn_file_actions_destroy(&actions);
    return is_started ? id : 0;
}

/** All that it writes, if it comes to an end in time. */
std::optional<std::string> read_all(int descriptor, std::chrono::steady_clock::time_point end) {
    std::string text;
    std::array<char, 4096> part{};

    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now())
                .count();
        pollfd waiting = {descriptor, POLLIN, 0};

        if (left <= 0 || poll(&waiting, 1, static_cast<int>(left)) <= 0) {
            return std::nullopt;
        }
        const ssize_t length = read(descriptor, part.data(), part.size());

        if (length < 0) {
            return std::nullopt;
        }
        if (length == 0) {
            return text;
        }
        text.append(part.data(), static_cast<std::size_t>(length));
    }
}

/** How the program has ended; none when it had to be killed, since it had not in time. */
std::optional<int> wait_for(pid_t id, std::chrono::steady_clock::time_point end) {
    constexpr std::chrono::milliseconds PAUSE(1);
    int status = 0;

    do {
        if (waitpid(id, &status, WNOHANG) == id) {
            return status;
        }
        std::this_thread::sleep_for(PAUSE);
    } while (std::chrono::steady_clock::now() < end);
    (void)kill(id, SIGKILL);
    while (waitpid(id, &status, 0) < 0 && errno == EINTR) {}
    return std::nullopt;
}

} // namespace

std::vector<FirewallRule> dropping_rules(const std::string &ruleset,
                                         const std::set<unsigned> &ports) {
    std::vector<FirewallRule> rules;
    std::vector<FirewallRule> policies;
    std::string table;
    std::string chain;
    bool is_passed = true; // the chain, by what this host sends itself

    for (const std::string &line : host::lines_of(ruleset)) {
        const Words words = host::fields_of(line);

        if (words.size() == 4 && words[0] == "table" && words[3] == "{") {
            table = words[1] + " " + words[2];
        } else if (words.size() == 3 && words[0] == "chain" && words[2] == "{") {
            is_passed = true;
            chain = "chain " + words[1] + " of table " + table;
        } else if (!words.empty() && words[0] == "type") {
            is_passed = is_of_this_host(words);
            if (line.find("policy drop;") != std::string::npos &&
                (has(words, "input") || has(words, "prerouting") || has(words, "output"))) {
                policies.push_back({chain, "policy drop"});
            }
        } else if (is_passed && is_dropping(host::fields_of(without_quotes(line)), ports)) {
            rules.push_back({chain, without_counters(words)});
        }
    }
    rules.insert(rules.end(), policies.begin(), policies.end());
    return rules;
}

Ruleset read_ruleset() {
    constexpr std::chrono::milliseconds LONGEST(500);
    const auto end = std::chrono::steady_clock::now() + LONGEST;
    Pipe output;

    if (!output.is_open()) {
        return {std::nullopt, std::generic_category().message(errno)};
    }
    pid_t id = start("nft", output);

    if (id == 0) {
        id = start("/usr/sbin/nft", output); // where it is, though not for everybody's PATH
    }
    if (id == 0) {
        return {std::nullopt, "there is no program nft"};
    }
    output.close_end(1);
    std::optional<std::string> text = read_all(output.end(0), end);
    const std::optional<int> status = wait_for(id, end);

    if (!text || !status) {
        return {std::nullopt, "the program nft has come to no end in time"};
    }
    if (*status != 0) {
        return {std::nullopt, std::string("the program nft did not list them") +
                                  (geteuid() != 0 ? ", which takes root's rights" : "")};
    }
    return {std::move(text), ""};
}

} // namespace doctor
