// What most tests use: the test framework, the system, everyday parts of the standard library.
#pragma once

#include "tests/support/capabilities.h"
#include "tests/support/system.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>
