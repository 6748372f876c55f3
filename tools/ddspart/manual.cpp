// SPDX-License-Identifier: Apache-2.0
// The manual pages and the shell's completion, made from the commands and options themselves.
#include "manual.h"

#include <sstream>
#include <string_view>

#include "commandLine.h"
#include "man_page.h"
#include "words.h"

namespace {

constexpr const char *PROGRAM = "ddspart";

std::vector<const CLI::App *> commands_of(const CommandLine &line) {
    return line.app.get_subcommands([](const CLI::App *) { return true; });
}

std::vector<const CLI::Option *> arguments_of(const CLI::App &app) {
    return app.get_options([](const CLI::Option *option) { return !option->nonpositional(); });
}

std::string page_name(const std::string &command) {
    return command.empty() ? PROGRAM : PROGRAM + ("-" + command);
}

void write_synopsis(std::ostream &page, const CommandLine &line, const std::string &command) {
    page << ".SH SYNOPSIS\n.B " << PROGRAM << '\n';
    if (command.empty()) {
        page << ".I COMMAND\n[\\fIOPTION\\fR...]\n.br\n.B " << PROGRAM
             << "\n\\fB\\-\\-help\\fR | \\fB\\-\\-version\\fR\n";
    } else {
        page << ".B " << escaped(command) << "\n[\\fIOPTION\\fR...]\n";
        for (const CLI::Option *argument : arguments_of(*line.app.get_subcommand(command))) {
            const std::string name = "\\fI" + escaped(argument->get_name(true)) + "\\fR";

            page << (argument->get_required() ? name : "[" + name + "]") << '\n';
        }
    }
}

void write_commands(std::ostream &page, const CommandLine &line) {
    page << ".SH COMMANDS\n";
    for (const CLI::App *command : commands_of(line)) {
        page << ".TP\n.B " << escaped(command->get_name()) << '\n'
             << escaped(sentence(command->get_description())) << "\nSee\n.BR "
             << escaped(page_name(command->get_name())) << " (1).\n";
    }
}

void write_arguments(std::ostream &page, const CLI::App &app) {
    if (!arguments_of(app).empty()) {
        page << ".SH ARGUMENTS\n";
    }
    for (const CLI::Option *argument : arguments_of(app)) {
        page << ".TP\n.I " << escaped(argument->get_name(true)) << '\n'
             << escaped(sentence(argument->get_description())) << '\n';
    }
}

/** The footer of a command is a line that says of what it is an example, and the command line. */
void write_example(std::ostream &page, const std::string &footer) {
    constexpr std::string_view HEADING = "Example: ";
    const std::size_t end = footer.find('\n');
    const std::size_t command_line = footer.find_first_not_of(' ', end + 1);

    page << ".SH EXAMPLE\n"
         << escaped(sentence(footer.substr(HEADING.size(), end - HEADING.size())))
         << "\n.PP\n.RS\n.nf\n"
         << escaped(footer.substr(command_line)) << "\n.fi\n.RE\n";
}

void write_finding_names(std::ostream &page, const CommandLine &line, const CLI::App &app) {
    const auto names = line.finding_names.find(&app);

    if (names == line.finding_names.end()) {
        return;
    }
    page << ".SH FINDINGS\n";
    for (const auto &[name, meaning] : names->second) {
        page << ".TP\n.B " << escaped(name) << '\n' << escaped(meaning) << '\n';
    }
}

void write_ending(std::ostream &page, const CommandLine &line, const std::string &command) {
    page << ".SH EXIT STATUS\n"
            ".TP\n0\nAll is done.\n"
            ".TP\n1\nIt could not be done; a line on standard error says why.\n"
            ".TP\n2\nWrong usage; a line on standard error says what is allowed.\n";
    if (command.empty()) {
        page << ".TP\n3\nThere are findings:\n";
    }
    for (const CLI::App *each : commands_of(line)) {
        const auto finding = line.findings.find(each);

        if (finding == line.findings.end()) {
            continue;
        }
        if (command.empty()) {
            page << ".br\n" << each->get_name() << ": " << escaped(finding->second) << '\n';
        } else if (each->get_name() == command) {
            page << ".TP\n3\n" << escaped(finding->second) << '\n';
        }
    }
    page << ".SH SEE ALSO\n";
    if (!command.empty()) {
        page << ".BR " << PROGRAM << " (1),\n";
    }
    for (const CLI::App *other : commands_of(line)) {
        if (other->get_name() != command) {
            page << ".BR " << escaped(page_name(other->get_name())) << " (1),\n";
        }
    }
    page << ".BR nuvdds (7)\n";
}

/** The branches of a shell's "case" for the options of a command that take a value. */
void write_values(std::ostream &script, const CommandLine &line, const CLI::App &command) {
    std::vector<std::string> others; // of which nobody knows the value

    for (const CLI::Option *option : options_of(command)) {
        const std::string name = command.get_name() + ":--" + option->get_lnames().front();
        const bool is_list = option->get_type_name().find(",...") != std::string::npos;
        const auto words = line.words.find(option);

        if (words != line.words.end()) {
            script << "        " << name << ") "
                   << (is_list ? "head=${current%\"${current##*,}\"} " : "") << "words='"
                   << join(words->second, " ") << "' ;;\n";
        } else if (takes_value(*option)) {
            others.push_back(name);
        }
    }
    script << "        " << join(others, " | ") << ") ;;\n";
}

} // namespace

std::vector<std::string> command_names() {
    const CommandLine line;
    std::vector<std::string> names;

    for (const CLI::App *command : commands_of(line)) {
        names.push_back(command->get_name());
    }
    return names;
}

std::string manual_page(const std::string &command) {
    const CommandLine line;
    const CLI::App &app = command.empty() ? line.app : *line.app.get_subcommand(command);
    std::ostringstream page;

    page << ".TH " << escaped(page_name(command)) << " 1 \"\" \"nuvdds " << NUVDDS_VERSION_TEXT
         << "\" \"DDS participants\"\n.SH NAME\n"
         << escaped(page_name(command)) << " \\- " << escaped(phrase(app.get_description()))
         << '\n';
    write_synopsis(page, line, command);
    page << ".SH DESCRIPTION\n"
         << escaped(sentence(app.get_description()))
         << "\nData goes to standard output, messages to standard error.\n";
    if (command.empty()) {
        write_commands(page, line);
    }
    write_arguments(page, app);
    write_options(page, app);
    if (!command.empty()) {
        write_finding_names(page, line, app);
        write_example(page, app.get_footer());
    }
    write_ending(page, line, command);
    return page.str();
}

std::string bash_completion() {
    const CommandLine line;
    const std::string function = std::string("_") + PROGRAM;
    std::ostringstream script;

    // The shell takes "--option=value" for three words.
    script << "# Completion of " << PROGRAM << " for bash.\n\n"
           << function << "() {\n"
           << "    local current=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]}\n"
              "    local command=${COMP_WORDS[1]} words='' head=''\n\n"
              "    if [[ $option == = ]]; then\n"
              "        option=${COMP_WORDS[COMP_CWORD - 2]}\n"
              "    elif [[ $current == = ]]; then\n"
              "        current=''\n"
              "    fi\n"
              "    if ((COMP_CWORD == 1)); then\n"
              "        command=''\n"
              "    fi\n"
              "    case $command:$option in\n";
    for (const CLI::App *command : commands_of(line)) {
        write_values(script, line, *command);
    }
    script << "        :*) words='" << join(command_names(), " ") << ' ' << long_options(line.app)
           << "' ;;\n";
    for (const CLI::App *command : commands_of(line)) {
        script << "        " << command->get_name() << ":*) words='" << long_options(*command)
               << "' ;;\n";
    }
    script << "    esac\n"
              "    mapfile -t COMPREPLY < <(compgen -P \"$head\" -W \"$words\" -- "
              "\"${current#\"$head\"}\")\n"
              "}\n\ncomplete -F "
           << function << ' ' << PROGRAM << '\n';
    return script.str();
}
