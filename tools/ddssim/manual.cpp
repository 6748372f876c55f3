// SPDX-License-Identifier: Apache-2.0
#include "manual.h"

#include <sstream>

#include <CLI/CLI.hpp>

#include "man_page.h"
#include "options.h"
#include "report.h"
#include "scenario_file.h"
#include "settings.h"

namespace ddssim {

namespace {

void write_files(std::ostream &page) {
    page << ".SH SCENARIO FILES\n"
            "A scenario is a mapping in YAML. Its keys are the names of the options for settings, "
            "without the dashes in front and with\n.B _\nin place of those between words, and\n"
            ".BR events ,\na list. Options go before what a file says. A key that there is not, a "
            "value that is not allowed and a key that is there twice are refused, with line and "
            "column.\n.PP\n.RS\n.nf\n"
         << escaped("title: A cable that is cut\nhosts: 16\nloss: 1%\nfor: 5 min\nevents:\n"
                    "  - {at: 1 min, do: partition, hosts: 1-8, for: 2 min}\n"
                    "  - {at: 4 min, do: leave, hosts: [3, 5-7], every: 1 s}")
         << "\n.fi\n.RE\n.PP\nThose that come along are in\n.I " << escaped(NUVDDS_SCENARIO_DIR)
         << "\n.SH EVENTS\nEach is a mapping:\n";
    for (const EventKey &key : event_keys()) {
        page << ".TP\n\\fB" << key.key << ":\\fR \\fI" << escaped(key.type) << "\\fR\n"
             << escaped(sentence(key.text)) << '\n';
    }
    page << ".PP\nWhat can be done:\n";
    for (const IncidentKind &kind : incident_kinds()) {
        page << ".TP\n.B " << kind.word << '\n' << escaped(sentence(kind.text)) << '\n';
        if (kind.undone != nullptr) {
            page << "At the end of its\n.BR for ,\n" << escaped(kind.undone) << ".\n";
        }
    }
}

void write_json(std::ostream &page) {
    std::string record;

    page << ".SH JSON\nEach line of\n.B \\-\\-json\nis an object with\n.BR version ,\nwhich rises "
            "when a program that reads it has to change, and\n.BR record ,\nwhich says what it "
            "is:\n";
    for (const JsonField &field : json_fields()) {
        if (record != field.record) {
            record = field.record;
            page << ".TP\n.B " << record << '\n';
        } else {
            page << ".br\n";
        }
        page << "\\fI" << escaped(field.name) << "\\fR: " << escaped(field.text) << ".\n";
    }
}

void write_examples(std::ostream &page) {
    page << ".SH EXAMPLES\n";
    for (const Example &example : examples()) {
        page << ".TP\n\\fB" << escaped(example.option) << "\\fR\n" << escaped(example.line) << '\n';
    }
}

void write_ending(std::ostream &page) {
    page << ".SH EXIT STATUS\n"
            ".TP\n0\nAll is done.\n"
            ".TP\n1\nIt could not be done, or was ended by a signal: then what is shown is what "
            "there was by then. A line on standard error says so.\n"
            ".TP\n2\nWrong usage, or a mistake in a file; a line on standard error says what is "
            "allowed.\n"
            ".TP\n3\nIn the end not all participants that are there know all others.\n"
            ".SH SEE ALSO\n.BR ddspart (1),\n.BR nuvdds (7)\n";
}

} // namespace

std::string manual_page() {
    const auto app = describe_options();
    std::ostringstream page;

    page << ".TH ddssim 1 \"\" \"nuvdds " << NUVDDS_VERSION_TEXT << "\" \"DDS participants\"\n"
         << ".SH NAME\nddssim \\- "
         << escaped(phrase("simulate participants of a DDS domain on many hosts"))
         << "\n.SH SYNOPSIS\n.B ddssim\n[\\fIOPTION\\fR...] [\\fISCENARIO\\fR]\n"
            ".SH DESCRIPTION\n"
         << escaped(sentence(app->get_description()))
         << "\nThe participants are the library's own; their hosts, the switch between these and "
            "the time are not. What happens is the same each time from the same seed, which the "
            "hash at the end of the report shows.\n.PP\nData goes to standard output, messages to "
            "standard error. A run that takes long shows there how far it is, on a terminal.\n";
    write_options(page, *app);
    write_files(page);
    write_json(page);
    write_examples(page);
    write_ending(page);
    return page.str();
}

std::string bash_completion() {
    const auto app = describe_options();
    std::ostringstream script;

    script << "# Completion of ddssim for bash; what is no option is a file.\n\n"
              "_ddssim() {\n"
              "    local current=${COMP_WORDS[COMP_CWORD]}\n\n"
              "    COMPREPLY=()\n"
              "    if [[ $current == -* ]]; then\n"
              "        mapfile -t COMPREPLY < <(compgen -W '"
           << long_options(*app)
           << "' -- \"$current\")\n"
              "    fi\n"
              "}\n\ncomplete -o default -F _ddssim ddssim\n";
    return script.str();
}

} // namespace ddssim
