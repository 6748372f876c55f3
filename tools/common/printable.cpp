// SPDX-License-Identifier: Apache-2.0
#include "printable.h"

#include "dds_c/dds_c_logger.h"

std::string printable(const std::string &text) {
    std::string line(4 * text.size() + 1, '\0');

    line.resize(KOLS_Config_Logger_filter_text(text.data(), text.size(), line.data(), line.size()));
    return line;
}
