// Checks of what a caller must provide.
#pragma once

#include <tarnkit/failures.h>

namespace Tarn {

/// Asserts in the name of one source file. A source file declares one and calls it:
/// `if (!require(size >= 0, __LINE__)) return;`
class CRequirement {
public:
    constexpr explicit CRequirement(const char16_t* assertingFile) : sourceFile(assertingFile) {}

    /// Returns `condition`, after an assertion if it is false. Inside a static part that assertion returns,
    /// so the caller must be ready to give up.
    bool operator()(bool condition, long line) const {
        if (!condition) [[unlikely]]
            GenAssert(sourceFile, line);
        return condition;
    }

private:
    const char16_t* sourceFile;
};

} // namespace Tarn
