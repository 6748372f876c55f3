// SPDX-License-Identifier: Apache-2.0
// ddspart ports: which ports participants have, whether they are safe, and rules that let them be.
#include "commands.h"
#include "output.h"
#include "port_check.h"
#include "port_rules.h"
#include "ports.h"
#include "streams.h"

namespace {} // namespace

int execute(const PortsOptions &options) {
    if (options.nft) {
        write_data(nft_rules(options));
        return 0;
    }
    if (options.check) {
        const PortCheck check = check_ports(options, holdings(ports_to_look_at(options), false),
                                            host::ephemeral_ports());

        show(check, options.json);
        return check.has_findings() ? FINDINGS : 0;
    }
    for (const PortSettings &settings : options.each_domain()) {
        show(port_table(settings, options.indices), options.json);
    }
    return 0;
}
