// SPDX-License-Identifier: Apache-2.0
// What most sources of the library include of the C++ library. Each includes what it uses all the
// same, as it does where the library is part of another tree, which compiles without this.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <new>
#include <span>
#include <string_view>
#include <utility>
