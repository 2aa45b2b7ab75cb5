// What most tests use: the test framework, the system, everyday parts of the standard library.
#pragma once

#include "tests/support/capabilities.h"
#include "tests/support/system.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <thread>
