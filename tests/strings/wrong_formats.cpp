// Compiled with a number, FAULT, for each fault of a format; only 0 compiles.
#include <tarnkit/checked_format.h>

#include <string>

Tarn::CString formatted(int number, const std::string& text);

Tarn::CString formatted([[maybe_unused]] int number, [[maybe_unused]] const std::string& text) {
#if FAULT == 0
    return Tarn::CheckedFormat("%s: %5d%%", text, number);
#elif FAULT == 1
    return Tarn::CheckedFormat("%s: %n", text, &number);
#elif FAULT == 2
    return Tarn::CheckedFormat("%s: %*d", text, number);
#elif FAULT == 3
    return Tarn::CheckedFormat("%s", text, number);
#else
    return Tarn::CheckedFormat("%d", text);
#endif
}
