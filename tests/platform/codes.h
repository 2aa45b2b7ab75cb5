// The codes that calls return, for all tests of the platform layer.
#pragma once

#include "platform/platform.h"
#include "tests/support/testing.h"

namespace Tarn::Platform {

using Text = std::u16string;

/// Expects each of the results, which may have different types, to be `code`.
inline void expectEach(Int64 code, const std::vector<Int64>& results) {
    EXPECT_EQ(results, std::vector<Int64>(results.size(), code));
}

/// Returns the result; under Wine, the value that it is known to return counts as the documented one.
inline Int64 orWines(Int64 wines, Int64 documented, Int64 result) {
    return !kDocumentedCalls && result == wines ? documented : result;
}

} // namespace Tarn::Platform
