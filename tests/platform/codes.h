// Codes of calls, for all tests of the platform.
#pragma once

#include "platform/platform.h"
#include "tests/support/capabilities.h"

#include <string>
#include <vector>

namespace Tarn::Platform {

using Text = std::u16string;

/// That all of some results of different types are one code.
inline void expectEach(Int64 code, const std::vector<Int64>& results) {
    EXPECT_EQ(results, std::vector<Int64>(results.size(), code));
}

/// A result; what Wine is known to give instead of the documented one is taken for that.
inline Int64 orWines(Int64 wines, Int64 documented, Int64 result) {
    return !kDocumentedCalls && result == wines ? documented : result;
}

} // namespace Tarn::Platform
