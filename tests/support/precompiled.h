// SPDX-License-Identifier: Apache-2.0
// What most tests include and what is slow to compile; each file still includes what it uses. What
// g++ instantiates at the end of each source all the same, as of the JSON library, has no place
// here.
#pragma once

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
