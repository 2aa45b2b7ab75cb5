// A resource module with one message name and no text for it.
#include <tarnkit/export.h>

#include <string_view>

extern "C" TARNKIT_MODULE_EXPORT int GetResourceID(const char16_t* name) {
    return name == std::u16string_view(u"TEST_TEXTLESS") ? 1 : 0;
}
