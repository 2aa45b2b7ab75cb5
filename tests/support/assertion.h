// A way to see which assertion stopped an action.
#pragma once

#include <tarnkit/exceptions.h>

#include <string>

namespace Tarn {

/// "file:line" of the assertion that stops `action`, or "none".
template<class Action>
std::u16string AssertionOf(Action action) {
    try {
        action();
    } catch (CInternalError* e) {
        const std::string line = std::to_string(e->Line());
        std::u16string result =
            e->SourceFile() + std::u16string(u":") + std::u16string(line.begin(), line.end());
        e->Delete();
        return result;
    }
    return u"none";
}

} // namespace Tarn
