// SPDX-License-Identifier: Apache-2.0
// What most sources of ddspart include and what is slow to compile. Each includes what it uses all
// the same.
#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <variant>
#include <vector>
