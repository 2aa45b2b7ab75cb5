#include "catalogue/resource_registry.h"

extern "C" {
// Compiled from the catalogue with this prefix.
int TarnkitGetResourceID(const char16_t* name);
int TarnkitNumberOfMessages();
const char16_t* TarnkitGetMessageName(int index);
extern const Tarn::CResourceStrings Tarnkit___TarnkitStrings;
}

namespace Tarn {

CResourceModule GetOwnTexts(HINSTANCE module) {
    CResourceModule texts;
    texts.module = module;
    texts.exports.getResourceId = TarnkitGetResourceID;
    texts.exports.numberOfMessages = TarnkitNumberOfMessages;
    texts.exports.getMessageName = TarnkitGetMessageName;
    texts.strings = &Tarnkit___TarnkitStrings;
    return texts;
}

} // namespace Tarn
