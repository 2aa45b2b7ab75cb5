// While nodes are being deleted, failures in their destructors are shown, because these must not throw.
#pragma once

#include <tarnkit/lifecycle.h>

namespace Tarn {

/// A scope in which the thread's assertions and checks are shown instead of thrown.
class CShowingFailures {
public:
    CShowingFailures() { BeginStaticPart(); }
    ~CShowingFailures() {
        if (!wasInside)
            EndStaticPart();
    }

    /// To be called before each action: static parts do not nest, so one that an action ended is begun again.
    void Renew() { BeginStaticPart(); }

    CShowingFailures(const CShowingFailures&) = delete;
    CShowingFailures& operator=(const CShowingFailures&) = delete;

private:
    bool wasInside = IsInsideStaticPart();
};

} // namespace Tarn
