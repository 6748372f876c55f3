// SPDX-License-Identifier: Apache-2.0
#include "man_page.h"

#include <fstream>
#include <iostream>
#include <ostream>

#include <CLI/CLI.hpp>

#include "words.h"

namespace {

/** All names of an option, as "-h, --help". */
std::string names_of(const CLI::Option &option) {
    std::vector<std::string> names;

    for (const std::string &name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string &name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return join(names, ", ");
}

} // namespace

std::string escaped(std::string_view text) {
    std::string result = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";

    for (const char character : text) {
        if (character == '\\') {
            result += "\\e";
        } else if (character == '-') {
            result += "\\-";
        } else {
            result += character;
        }
    }
    return result;
}

std::string sentence(std::string text) {
    if (!text.empty() && text.front() >= 'a' && text.front() <= 'z') {
        text.front() = static_cast<char>(text.front() - 'a' + 'A');
    }
    return text.ends_with('.') ? text : text + '.';
}

std::string phrase(std::string text) {
    if (!text.empty() && text.front() >= 'A' && text.front() <= 'Z') {
        text.front() = static_cast<char>(text.front() - 'A' + 'a');
    }
    return text.substr(0, text.find_last_not_of('.') + 1);
}

std::vector<const CLI::Option *> options_of(const CLI::App &app) {
    return app.get_options([](const CLI::Option *option) { return option->nonpositional(); });
}

bool takes_value(const CLI::Option &option) {
    return option.get_items_expected_max() > 0;
}

void write_options(std::ostream &page, const CLI::App &app) {
    page << ".SH OPTIONS\n";
    for (const CLI::Option *option : options_of(app)) {
        page << ".TP\n\\fB" << escaped(names_of(*option)) << "\\fR";
        if (takes_value(*option)) {
            page << " \\fI" << escaped(option->get_type_name()) << "\\fR";
        }
        page << '\n' << escaped(sentence(option->get_description())) << '\n';
        if (!option->get_envname().empty()) {
            page << "Where it is not given, the variable\n.B " << option->get_envname()
                 << "\nof the environment is its value, if that is set.\n";
        }
    }
}

std::string long_options(const CLI::App &app) {
    std::string names;

    for (const CLI::Option *option : options_of(app)) {
        for (const std::string &name : option->get_lnames()) {
            names += "--" + name + ' ';
        }
    }
    return names;
}

bool write_page(const std::string &path, const std::string &text) {
    std::ofstream file(path);

    file << text << std::flush;
    if (!file) {
        std::cerr << "cannot write " << path << '\n';
    }
    return file.good();
}
