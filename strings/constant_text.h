// A text that never allocates: its body is in static storage. For messages that must be shown when there is
// no memory left.
#pragma once

#include <tarnkit/unicode_string.h>

#include <cstddef>

namespace Tarn {

// A string body, followed by the units of its text that the body's own field has no room for.
template<class Unit, int kUnits>
class CConstantText : private CStringBodyOf<Unit> {
    using Body = CStringBodyOf<Unit>;
    using String = typename CStringOf<Unit>::String;

    // So high that the body is never taken for unshared or destroyed, even if threads that share it lose
    // counts.
    static constexpr int kEndlessCount = 0x40000000;

public:
    constexpr explicit CConstantText(const Unit (&literal)[kUnits])
        : Body(kEndlessCount, Body::RequiredMemorySize(kUnits - 1), kUnits - 1, literal[0]) {
        for (int i = 1; i < kUnits; i++)
            rest[i - 1] = literal[i];
    }

    /// A string that shares the text.
    String Text() {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof" // holds for this class on all targets
        static_assert(offsetof(CConstantText, rest) == Body::RequiredMemorySize(0));
#pragma GCC diagnostic pop
        return CSharingString(this);
    }

private:
    Unit rest[kUnits - 1] = {};

    class CSharingString : public String {
    public:
        // Adds the reference that the string's destructor releases.
        explicit CSharingString(Body* shared) : String(shared) { shared->IncRef(); }
    };
};

} // namespace Tarn
