// What many tests use, compiled once for all of them. It changes nothing but the time: each test includes
// what it needs.
#include "tests/support/testing.h"

#include <tarnkit/tarnkit.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <numeric>
#include <sstream>
#include <string>
#include <utility>
#include <vector>
