// Codes of calls, for all tests of the platform.
#pragma once

#include "platform/platform.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Tarn::Platform {

using Text = std::u16string;

/// That all of some results of different types are one code.
inline void expectEach(Int64 code, const std::vector<Int64>& results) {
    EXPECT_EQ(results, std::vector<Int64>(results.size(), code));
}

} // namespace Tarn::Platform
