// Bodies for text that comes from another code page.
#pragma once

#include "platform/platform.h"
#include "strings/text_units.h"

#include <tarnkit/string.h>

#include <algorithm>
#include <memory>

namespace Tarn {

/// Makes a body of what `convert(buffer, size)` writes; without a buffer, it returns the number of units that
/// it would write, and 0 when it fails. A NUL ends the text. Null if nothing can be converted. Text is
/// converted once, into room for `likelySize` units, and moved. Only what turns out to be larger, or is too
/// large to be held twice, is converted another time to find its size first.
template<class Unit, class Convert>
CStringBodyOf<Unit>* MakeConvertedBody(Int64 likelySize, Convert convert) {
    using Body = CStringBodyOf<Unit>;
    const auto finish = [](Body* body, int count) {
        body->Body()[count] = 0;
        body->SetLength(TextUnits::LengthUpTo(body->Body(), count));
        return body;
    };
    const auto tryOnce = [&](Unit* buffer, int size) -> Body* {
        const int count = buffer != nullptr ? convert(buffer, size) : 0;
        if (count <= 0)
            return nullptr;
        Body* body = Body::MakeNew(count);
        std::copy_n(buffer, count, body->Body());
        return finish(body, count);
    };
    constexpr int kShort = 8192 / sizeof(Unit); // what a stack has room for
    constexpr int kLong = 0x40000;
    Body* body = nullptr;
    if (likelySize <= kShort) {
        Unit buffer[kShort];
        body = tryOnce(buffer, kShort);
    } else if (likelySize <= kLong) {
        const int size = static_cast<int>(likelySize);
        const auto free = [](void* memory) { Platform::HeapFree(Platform::GetProcessHeap(), memory); };
        const std::unique_ptr<void, decltype(free)> buffer(
            Platform::HeapAlloc(Platform::GetProcessHeap(),
                                static_cast<std::size_t>(likelySize) * sizeof(Unit)),
            free);
        body = tryOnce(static_cast<Unit*>(buffer.get()), size);
    }
    if (body != nullptr)
        return body;
    const int size = convert(nullptr, 0);
    if (size <= 0)
        return nullptr;
    body = Body::MakeNew(size);
    return finish(body, convert(body->Body(), size));
}

} // namespace Tarn
