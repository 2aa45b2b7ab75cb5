// Checks the arguments that callers pass.
#pragma once

#include <tarnkit/failures.h>

namespace Tarn {

/// Reports assertions for one source file. The source file declares one and calls it:
/// `if (!require(size >= 0, __LINE__)) return;`
class CRequirement {
public:
    constexpr explicit CRequirement(const char16_t* assertingFile) : sourceFile(assertingFile) {}

    /// Asserts if `condition` is false. Returns `condition`: inside a static part the assertion returns too,
    /// so the caller must be able to give up.
    bool operator()(bool condition, long line) const {
        if (!condition) [[unlikely]]
            GenAssert(sourceFile, line);
        return condition;
    }

private:
    const char16_t* sourceFile;
};

} // namespace Tarn
